#include "app/ProfileRun.h"

#include "engine/ProfileSequence.h"
#include "engine/Tolerances.h"
#include "engine/Utility.h"
#include "report/PrintCertificate.h"
#include "report/ReportText.h"
#include "workspace/Error.h"
#include "workspace/StatusText.h"

namespace tintara {

namespace {

void CheckProfileStatus(const GlobalVariables& ws) {
    if (!UvExempt(ws.MasterInstrumentID) && !UvExempt(ws.TargetInstrumentID) &&
        (StatusChar(ws.MasterStatus, 4) == "E" || StatusChar(ws.TargetStatus, 4) == "E")) {
        throw Refusal("Status Error",
                      "The Master and Target instruments must be set to UV Component Included");
    }
    if (StatusChar(ws.MasterStatus, 3) != StatusChar(ws.TargetStatus, 3)) {
        throw Refusal("Data Error", "The Master and Target status do NOT Match");
    }
}

void ReadTileSet(GlobalVariables& ws, RWSaveSet& reader, const std::string& file, bool isMaster,
                 std::string* readDetail) {
    bool failed = false;
    reader.ReadWSVRecord(file, isMaster, failed);
    if (failed) {
        if (readDetail)
            *readDetail = reader.LastError();
        if (isMaster) {
            throw Refusal("File Read Error",
                          "There is a problem with the Save_Set File \n\n"
                          "It may be Corrupt, Empty or on a Mapped Drive\n"
                          "This may also be a Windows Permission error\n"
                          "Please contact your IT administrator to resolve these issues");
        }
        throw Refusal("File Read Error", "There is a problem with the Save_Set File ");
    }
    reader.GetLastModifiedDate(file, isMaster);
    // The coefficient file and the certificates carry the last record's header texts.
    (isMaster ? ws.MasterCompany : ws.TargetCompany) = ws.RecordCompany;
    (isMaster ? ws.MasterOperator : ws.TargetOperator) = ws.RecordOperator;
    (isMaster ? ws.MasterSerial : ws.TargetSerial) = ws.RecordSerial;
    (isMaster ? ws.MasterTileSetSerial : ws.TargetTileSetSerial) = ws.RecordTileSetSerial;
    (isMaster ? ws.MasterTilesSelected : ws.TargetTilesSelected) = true;
}

}  // namespace

void ProfileTilePair(GlobalVariables& ws, RWSaveSet& reader, const TilePairRequest& request,
                     std::string* readDetail) {
    ws.InitializeVariables();
    ws.GeometryChoice = request.SCI;
    ws.UseCentroid = request.UseCentroid;
    ReadTileSet(ws, reader, request.Master.string(), true, readDetail);
    ReadTileSet(ws, reader, request.Target.string(), false, readDetail);
    CheckProfileStatus(ws);
    Utility utility(ws);
    ProfileSequence(utility);
    ws.CoefficientsCalculated = true;
}

PageDescription ProfileCertificate(const GlobalVariables& ws, const std::string& dateText,
                                   const PageSetup& paper) {
    PrintCertificate certificate(ws);
    certificate.ProgramDirectory = ProgramDirectory();
    certificate.DateText = dateText;
    certificate.Paper = paper;
    return certificate.PrintDocument();
}

}  // namespace tintara
