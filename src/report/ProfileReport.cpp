#include "report/ProfileReport.h"

#include <ostream>
#include <sstream>

#include "report/PrintCertificate.h"
#include "report/ReportText.h"
#include "workspace/Utf8Text.h"

namespace tintara {

void WriteProfileReport(const GlobalVariables& ws, std::ostream& out, const std::string& dateText) {
    RequireTileData(ws);
    std::ostringstream text;
    // Names print whole in some lines; a byte that is not UTF-8 must not reach the file as is.
    auto line = [&text](const std::string& s) { text << ValidUtf8(s) << "\r\n"; };

    for (const auto& s : IdentificationLines("Master", MasterIdentification(ws)))
        line(s);
    for (const auto& s : IdentificationLines("Target", TargetIdentification(ws)))
        line(s);
    line("");
    line("");
    line(
        "                                         Actual Data                             "
        "Correlated Data");
    if (ws.ColorSpace != 0) {
        line(
            "Tilename                       DL       Da       Db       DE           DL       Da  "
            "     Db       DE");
    } else {
        line(
            "Tilename                       DL*      Da*      Db*      DE           DL*      Da* "
            "     Db*      DE");
    }
    line(
        "-----------                   -----    -----    -----    -----        -----    -----    "
        "-----    -----");
    for (int i = 0; i < ws.TileCount; ++i) {
        std::string row = PadCut(CutAtNull(ws.TileNames[i]), 30);
        for (int k = 0; k < 4; ++k) {
            if (k > 0)
                row += "    ";
            row += SignedValue(ws.RawDE(i, k));
        }
        row += "        ";
        for (int k = 0; k < 4; ++k) {
            if (k > 0)
                row += "    ";
            row += SignedValue(ws.FinalDE(i, k));
        }
        line(row);
    }
    PrintCertificate averages(ws);
    averages.CalculateAverageDE();
    line(
        "-----------                                              -----                          "
        "         -----");
    line("Average DE                                      Actual ->" +
         AverageValue(averages.AverageRawDE) + "                      Correlated ->" +
         AverageValue(averages.AverageFinalDE));
    line(" ");
    line(" ");
    line(
        "Certified by : _____________________________________ Name : "
        "_____________________________________");
    line(" ");
    line("                                                     Date : " + dateText);
    out << text.str();
}

void WriteProfileReport(const GlobalVariables& ws, const std::filesystem::path& file,
                        const std::string& dateText) {
    std::ostringstream text;
    WriteProfileReport(ws, text, dateText);
    SaveTextFile(file, text.str());
}

std::string FullFilePathText(const std::filesystem::path& file) {
    std::error_code ec;
    const std::filesystem::path full = std::filesystem::absolute(file, ec);
    return "Full File Path is " + (ec ? file : full).string();
}

}  // namespace tintara
