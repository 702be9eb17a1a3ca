#include "files/FandeckCompare.h"

#include "workspace/Error.h"
#include "workspace/MakeSensorList.h"
#include "workspace/NumberFormat.h"

namespace tintara {

namespace {

// A fandeck's identification for the certificate: its last record's texts, as a tile set's.
void KeepIdentity(GlobalVariables& ws, bool isMaster) {
    (isMaster ? ws.MasterCompany : ws.TargetCompany) = ws.RecordCompany;
    (isMaster ? ws.MasterSerial : ws.TargetSerial) = ws.RecordSerial;
    (isMaster ? ws.MasterOperator : ws.TargetOperator) = ws.RecordOperator;
    (isMaster ? ws.MasterTileSetSerial : ws.TargetTileSetSerial) = ws.RecordTileSetSerial;
}

constexpr const char* kDePattern = "##0.00";

[[noreturn]] void ThrowUnreadable(const RWSaveSet& saveSets) {
    throw Refusal("File Read Error", saveSets.LastError());
}

}  // namespace

int UncorrectedColumn(Geometry geometry) {
    return static_cast<int>(geometry) * kDeltasPerGeometry;
}

int CorrectedColumn(Geometry geometry) {
    return UncorrectedColumn(geometry) + 4;
}

std::string ConvertFandeck(GlobalVariables& ws, RWSaveSet& saveSets,
                           const std::string& coefficientFile, const std::string& targetFile,
                           const std::string& outputFile, ProgressSink& progress,
                           const std::string& lineBreak) {
    ws.CoefficientFile = coefficientFile;
    ws.CoefficientsLoaded = true;
    ws.CorrelatedFandeckReady = false;
    // Converting alone: no Master fandeck takes part, whatever an earlier command loaded.
    const bool masterLoaded = ws.MasterSaveSetLoaded;
    ws.MasterSaveSetLoaded = false;
    const int16_t result = saveSets.ReadFandeckandBuildCorrelatedData(targetFile, progress);
    ws.MasterSaveSetLoaded = masterLoaded;
    if (result == RWSaveSet::kCorrelationInstrumentMismatch) {
        const CoefficientFileContents& file = saveSets.Corrector().Contents();
        const MakeSensorList& sensors = saveSets.Sensors();
        throw Refusal("Instuments do NOT Match",
                      "Profile Master - " + sensors.FindInstrument(file.Master.InstrumentID) +
                          lineBreak + "Profile Target - " +
                          sensors.FindInstrument(file.Target.InstrumentID) + lineBreak +
                          "SaveSet Instrument - " + ws.TargetType);
    }
    if (result != RWSaveSet::kCorrelationDone)
        ThrowUnreadable(saveSets);
    ws.TargetSaveSetLoaded = true;
    ws.CorrelatedSaveSetFile = outputFile;
    saveSets.WriteCorrelatedResults();
    return saveSets.CorrelationWarning();
}

std::string CompareFandecks(GlobalVariables& ws, RWSaveSet& saveSets, Utility& utility,
                            const std::string& masterFile, const std::string& targetFile,
                            const std::string& coefficientFile, ProgressSink& progress) {
    ws.CorrelatedFandeckReady = false;
    ws.PerformanceDataReady = false;
    ws.ConversionDone = false;
    ws.MasterSaveSetFile = masterFile;
    if (!saveSets.ReadMasterFandeck())
        ThrowUnreadable(saveSets);
    KeepIdentity(ws, true);
    ws.MasterSaveSetLoaded = true;
    const std::size_t masterRecords = ws.MasterFandeckReflectance.Records();

    std::string warning;
    ws.TargetSaveSetFile = targetFile;
    if (!coefficientFile.empty()) {
        ws.CoefficientFile = coefficientFile;
        ws.CoefficientsLoaded = true;
        switch (saveSets.ReadFandeckandBuildCorrelatedData(targetFile, progress)) {
            case RWSaveSet::kCorrelationDone:
                break;
            case RWSaveSet::kCorrelationRecordMismatch:
                throw Refusal("Save Set Mis-Match",
                              "Number of records in Files do NOT match - unable to proceed");
            case RWSaveSet::kCorrelationInstrumentMismatch:
                throw Refusal("Instrument Mis-Match",
                              "Instrument types do NOT match - unable to proceed");
            default:
                ThrowUnreadable(saveSets);
        }
        warning = saveSets.CorrelationWarning();
    } else {
        if (!saveSets.ReadTargetFandeck())
            ThrowUnreadable(saveSets);
        if (ws.TargetFandeckReflectance.Records() != masterRecords) {
            throw Refusal("Save Set Mis-Match",
                          "Number of records in Files do NOT match - unable to proceed");
        }
        ws.CorrelatedFandeckReady = true;
    }
    KeepIdentity(ws, false);
    ws.TargetSaveSetLoaded = true;
    utility.ProcessCorrelatedDeltas();
    ws.PerformanceDataReady = true;
    return warning;
}

void IdentifyComparison(GlobalVariables& ws, RWSaveSet& saveSets, Geometry printed,
                        const CertificateHeader& header) {
    for (std::string* status : {&ws.MasterStatus, &ws.TargetStatus}) {
        if (status->size() >= 3 && (*status)[2] == 'B')
            (*status)[2] = printed == Geometry::SCI ? 'I' : 'E';
    }
    saveSets.GetLastModifiedDate(ws.MasterSaveSetFile, true);
    saveSets.GetLastModifiedDate(ws.TargetSaveSetFile, false);
    if (!header.Company.empty())
        ws.MasterCompany = ws.TargetCompany = header.Company;
    if (!header.Operator.empty())
        ws.MasterOperator = ws.TargetOperator = header.Operator;
    if (!header.TileSet.empty())
        ws.MasterTileSetSerial = ws.TargetTileSetSerial = header.TileSet;
}

bool ComparisonHolds(const GlobalVariables& ws, const RWSaveSet& saveSets, Geometry geometry) {
    if (saveSets.MasterFandeckAngleCount() >= 2)
        return true;
    const bool sci = ws.MasterStatus.size() >= 3 && ws.MasterStatus[2] == 'I';
    return sci == (geometry == Geometry::SCI);
}

std::vector<std::vector<std::string>> PerformanceGridRows(const GlobalVariables& ws,
                                                          Geometry geometry) {
    std::vector<std::vector<std::string>> rows;
    if (ws.ColorSpace == 0) {
        rows.push_back({"Sample Name", "DL*", "Da*", "Db*", "DE"});
    } else {
        rows.push_back({"Sample Name", "DL", "Da", "Db", "DE"});
    }
    const int first = CorrectedColumn(geometry);
    const auto samples = static_cast<std::size_t>(ws.SampleCount);
    for (std::size_t s = 0; s < samples; ++s) {
        std::vector<std::string> row{s < ws.SampleNames.size() ? ws.SampleNames[s] : ""};
        for (int k = 0; k < 4; ++k)
            row.push_back(Format(ws.SampleDeltas(s, first + k), kDePattern));
        rows.push_back(std::move(row));
    }
    rows.push_back(
        {"Average", "", "", "", Format(ws.SampleDeltas(samples, first + 3), kDePattern)});
    return rows;
}

bool PerformancePassed(const GlobalVariables& ws, Geometry geometry) {
    const auto samples = static_cast<std::size_t>(ws.SampleCount);
    return !(ws.SampleDeltas(samples, CorrectedColumn(geometry) + 3) > ws.AverageTolerance);
}

std::string VerdictLine(bool passed) {
    return std::string("The Target Instrument has") + (passed ? " PASSED" : " FAILED");
}

}  // namespace tintara
