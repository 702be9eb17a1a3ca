// Fandeck conversion: a Target fandeck corrected record by record with the coefficient file in use.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <optional>
#include <span>

#include "engine/ColorMatch.h"
#include "files/RWSaveSet.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"
#include "workspace/StatusCode.h"

namespace tintara {

namespace {

// Progress is reported in batches: a report per record would cost more than the correction.
constexpr std::size_t kProgressBatch = 1024;

constexpr const char* kCorrelatedCompany = "Pellucidane Profiled Data";
constexpr const char* kCorrelatedNotes = "This Data has been profiled to a ";

const char* GeometryName(Geometry g) {
    return g == Geometry::SCI ? "SCI" : "SCE";
}

// No early exit and no running sum, so the points are checked side by side.
bool Finite(const double* curve) {
    bool finite = true;
    for (int w = 0; w < kPointCount; ++w)
        finite &= std::isfinite(curve[w]);
    return finite;
}

}  // namespace

void RWSaveSet::ReadProfileCoefficients() {
    ProfileCorrector corrector;
    corrector.ReadCoefficientFile(m_ws.CoefficientFile);
    m_corrector = corrector;
}

int16_t RWSaveSet::ReadFandeckandBuildCorrelatedData(const std::string& file,
                                                     ProgressSink& progress) {
    m_correlationWarning.clear();
    m_lastError.clear();
    try {
        ReadProfileCoefficients();
    } catch (const std::exception& e) {
        m_lastError = e.what();
        return kCorrelationUnreadable;
    }

    GlobalVariables::FandeckIdentity fandeck;
    std::optional<FandeckRecords> fandeckRecords;
    try {
        fandeck.File = file;
        StampFandeck(fandeck);
        fandeckRecords.emplace(std::filesystem::path(file));
        m_recordCount = static_cast<int32_t>(fandeckRecords->RecordCount());
        if (m_recordCount == 0) {
            m_ws.LastResult = kFalse;
            m_lastError = file + ": the save set holds no records";
            return kCorrelationUnreadable;
        }
        ReadFandeckIdentity(fandeck, *fandeckRecords);
    } catch (const std::exception& e) {
        m_ws.LastResult = kFalse;
        m_lastError = e.what();
        return kCorrelationUnreadable;
    }
    m_ws.LastResult = kTrue;

    const auto records32 = fandeck.RecordCount;
    const CoefficientFileContents& coefficients = m_corrector.Contents();
    const bool recordMismatch =
        m_ws.MasterSaveSetLoaded && m_ws.MasterFandeck.RecordCount != records32;
    if (recordMismatch || fandeck.InstrumentID != coefficients.Target.InstrumentID) {
        if (recordMismatch) {
            m_lastError = file + " holds " + std::to_string(records32) +
                          " records and the Master fandeck " +
                          std::to_string(m_ws.MasterFandeck.RecordCount);
        } else {
            m_lastError = file + " was measured on instrument " +
                          std::to_string(fandeck.InstrumentID) +
                          ", the coefficient file profiles instrument " +
                          std::to_string(coefficients.Target.InstrumentID);
        }
        // Not converted, but read: it is the Target fandeck now, as any fandeck read.
        try {
            ReadThrough(fandeck, *fandeckRecords);
        } catch (const std::exception& e) {
            m_lastError = e.what();
            return kCorrelationUnreadable;
        }
        KeepFandeck(fandeck, false);
        return recordMismatch ? kCorrelationRecordMismatch : kCorrelationInstrumentMismatch;
    }

    // What each angle position holds and whether the file can correct it.
    struct Position {
        bool held = false;
        Geometry geometry = Geometry::SCI;
        bool apply = false;
    };
    Position positions[2];
    if (fandeck.AngleCount >= 2) {
        positions[0] = {true, Geometry::SCI, false};
        positions[1] = {true, Geometry::SCE, false};
    } else {
        // Third status character "I" is SCI; anything else, a short status too, is SCE.
        const bool sci = StatusCode(fandeck.Status).Sci();
        positions[0] = {true, sci ? Geometry::SCI : Geometry::SCE, false};
    }
    for (Position& p : positions) {
        if (!p.held)
            continue;
        p.apply = m_corrector.HasGeometry(p.geometry);
        if (!p.apply) {
            const std::string name = GeometryName(p.geometry);
            m_correlationWarning = "The coefficient file holds no " + name + " coefficients: the " +
                                   name + " curves of the fandeck were copied unchanged";
        }
    }

    // The correlated fandeck's header: the Target fandeck's own, profiled to the Master the
    // coefficient file names.
    SaveSetData header;
    header.Version = 5;
    header.FileType = 0;
    header.NumAngles = fandeck.AngleCount;
    header.AngleTypes = fandeck.AngleTypes;
    header.Illuminants = fandeck.Illuminants;
    header.CMCFactors = fandeck.CMCFactors;
    header.ColorSpace = 1;
    header.Observer = 1;
    header.WarningLevel = 0.75;
    header.Company = kCorrelatedCompany;
    header.Status = fandeck.Status;
    StatusCode::SetLetter(header.Status, StatusCode::kProfiledPosition, StatusCode::kProfiled);
    header.Instrument = fandeck.InstrumentID;
    const std::string notes =
        kCorrelatedNotes + m_sensors.FindInstrument(coefficients.Master.InstrumentID);

    const auto records = static_cast<std::size_t>(records32);
    progress.SetProgressMaximum(static_cast<long>(records));
    progress.SetProgressValue(0);
    TemporaryFile converted("converted.wsv");
    SaveSetRecord in;
    std::size_t r = 0;
    // One record in, one corrected record out; nothing here allocates once the strings have
    // grown to the longest name.
    const SaveSetRecordSource correct = [&](SaveSetRecord& out) {
        if (!fandeckRecords->Next(in))
            return false;
        NoteSecondPosition(fandeck, in, static_cast<int64_t>(r));
        for (std::size_t a = 0; a < kMaxAngles; ++a) {
            const double* curve = in.Curves[a].data();
            double* result = out.Curves[a].data();
            double bad = 0.0;
            if (positions[a].held &&
                !UsableReflectance(std::span<const double>(curve, kPointCount), &bad)) {
                throw Error(file + ": record " + std::to_string(r + 1) + " " + Excerpt(in.Name) +
                            " holds the reflectance " + NumberText(bad) +
                            ", which is not a usable reading (a number within +-1000 %)");
            }
            if (positions[a].apply) {
                m_corrector.Correct(positions[a].geometry, curve, result);
                if (!Finite(result)) {
                    throw Error("The coefficient file " + m_ws.CoefficientFile + " turns record " +
                                std::to_string(r + 1) + " (" + in.Name +
                                ") into values that are not numbers; its gain-tile readings "
                                "must not be zero");
                }
            } else {
                std::memcpy(result, curve, sizeof(double) * kPointCount);
            }
        }
        out.Name = in.Name;
        out.Name2.clear();
        out.System.clear();
        out.Notes = notes;
        out.Status = header.Status;
        out.Instrument = header.Instrument;
        out.Time = 0;
        ++r;
        if (r % kProgressBatch == 0) {
            progress.SetProgressValue(static_cast<long>(r));
            progress.LetEventsRun();
        }
        return true;
    };
    try {
        StoreSaveSet(header, correct, converted.Path(), Durability::kScratch);
        if (r != records)
            throw Error(file + " holds " + std::to_string(r) + " records, not the " +
                        std::to_string(records) + " it said when opened");
    } catch (const std::exception& e) {
        m_lastError = e.what();
        return kCorrelationUnreadable;
    }
    progress.SetProgressValue(static_cast<long>(records));

    KeepFandeck(fandeck, false);
    m_converted = std::move(converted);
    m_ws.ConvertedCurvesFile = m_converted.Path().string();
    m_ws.ConvertedRecordCount = records32;
    m_ws.ConversionDone = true;
    m_ws.CorrelatedFandeckReady = true;
    m_ws.ConvertedFandeckFile = file;
    return kCorrelationDone;
}

}  // namespace tintara
