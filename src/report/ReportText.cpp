#include "report/ReportText.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <locale>
#include <sstream>
#include <system_error>

#include <unistd.h>

#include "workspace/Error.h"
#include "workspace/NumberFormat.h"
#include "workspace/WriteFile.h"

namespace tintara {

std::string PadCut(const std::string& text, std::size_t width) {
    return (text + std::string(width, ' ')).substr(0, width);
}

std::string CutAtNull(const std::string& text) {
    return text.substr(0, text.find('\0'));
}

std::string SignedValue(double value) {
    return Format(value, " ##0.00;-#0.00");
}

std::string DeltaColumns(const double* values) {
    static const char* const kGaps[] = {"      ", "      ", "     "};
    std::string text;
    for (int k = 0; k < 4; ++k) {
        if (k > 0)
            text += kGaps[k - 1];
        text += SignedValue(values[k]);
    }
    return text;
}

std::string AverageValue(double value) {
    return Format(value, " ##0.00");
}

std::string ShortDate(std::chrono::system_clock::time_point when) {
    const std::time_t t = std::chrono::system_clock::to_time_t(when);
    std::tm local{};
    localtime_r(&t, &local);
    std::ostringstream out;
    try {
        out.imbue(std::locale(""));
    } catch (const std::exception&) {
        out.imbue(std::locale::classic());
    }
    out << std::put_time(&local, "%x");
    return out.str();
}

InstrumentIdentification MasterIdentification(const GlobalVariables& ws) {
    return {ws.MasterType,     ws.MasterStatus,        ws.MasterSerial, ws.MasterCompany,
            ws.MasterOperator, ws.MasterTileSetSerial, ws.MasterDate};
}

InstrumentIdentification TargetIdentification(const GlobalVariables& ws) {
    return {ws.TargetType,     ws.TargetStatus,        ws.TargetSerial, ws.TargetCompany,
            ws.TargetOperator, ws.TargetTileSetSerial, ws.TargetDate};
}

std::vector<std::string> IdentificationLines(const std::string& role,
                                             const InstrumentIdentification& id) {
    return {
        role + " Instrument: " + PadCut(id.Name, 20) + "   Status: " + id.Status +
            "    CalTile # " + id.CalTile,
        "Company: " + id.Company + "  / Operator: " + id.Operator + "  / Tile Set: " + id.TileSet,
        "Tile Data for the " + id.Name + " was last updated on " + id.LastUpdated,
    };
}

void RequireTileData(const GlobalVariables& ws) {
    if (ws.TileCount < 0)
        throw Error("the tile count is negative");
    const auto tiles = static_cast<std::size_t>(ws.TileCount);
    if (ws.RawDE.Rows() < tiles || ws.RawDE.Cols() < 4 || ws.FinalDE.Rows() < tiles ||
        ws.FinalDE.Cols() < 4 || ws.TileNames.size() < tiles) {
        throw Error("the colour-difference tables do not cover " + std::to_string(tiles) +
                    " tiles; load both tile sets and generate the coefficients first");
    }
}

AverageDE MeanTileDE(const GlobalVariables& ws) {
    RequireTileData(ws);
    AverageDE average;
    const int tiles = ws.TileCount;
    if (tiles == 0)
        return average;
    double raw = 0.0, final = 0.0;
    for (int i = 0; i < tiles; ++i) {
        raw += ws.RawDE(i, 3);
        final += ws.FinalDE(i, 3);
    }
    average.Raw = raw / tiles;
    average.Final = final / tiles;
    return average;
}

void SaveTextFile(const std::filesystem::path& file, const std::string& content) {
    WriteFileAtomically(file, content);
}

}  // namespace tintara
