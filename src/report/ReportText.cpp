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
#include "workspace/StatusCode.h"
#include "workspace/Utf8Text.h"
#include "workspace/WriteFile.h"

namespace tintara {

std::string PadCut(const std::string& text, std::size_t width) {
    return PadCutColumns(text, width);
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

namespace {

std::string ShortDateOf(const std::tm& date) {
    std::ostringstream out;
    try {
        out.imbue(std::locale(""));
    } catch (const std::exception&) {
        out.imbue(std::locale::classic());
    }
    out << std::put_time(&date, "%x");
    return out.str();
}

// The date of a file as the reader stamped it, in the short form; the reader's own text when the
// file time was not stamped.
std::string FileDate(const SystemTime& time, const std::string& text) {
    if (time.wYear <= 0 || time.wMonth < 1 || time.wMonth > 12 || time.wDay < 1)
        return text;
    return ShortDate(time.wYear, time.wMonth, time.wDay);
}

}  // namespace

std::string ShortDate(std::chrono::system_clock::time_point when) {
    const std::time_t t = std::chrono::system_clock::to_time_t(when);
    std::tm local{};
    localtime_r(&t, &local);
    return ShortDateOf(local);
}

std::string ShortDate(int year, int month, int day) {
    std::tm date{};
    date.tm_year = year - 1900;
    date.tm_mon = month - 1;
    date.tm_mday = day;
    return ShortDateOf(date);
}

InstrumentIdentification MasterIdentification(const GlobalVariables& ws) {
    return {ws.MasterType,
            ws.MasterStatus,
            ws.MasterSerial,
            ws.MasterCompany,
            ws.MasterOperator,
            ws.MasterTileSetSerial,
            FileDate(ws.MasterFileTime, ws.MasterDate)};
}

InstrumentIdentification TargetIdentification(const GlobalVariables& ws) {
    return {ws.TargetType,
            ws.TargetStatus,
            ws.TargetSerial,
            ws.TargetCompany,
            ws.TargetOperator,
            ws.TargetTileSetSerial,
            FileDate(ws.TargetFileTime, ws.TargetDate)};
}

InstrumentIdentification FandeckIdentification(const GlobalVariables::FandeckIdentity& deck,
                                               bool sci, const CertificateHeader& header) {
    InstrumentIdentification id{deck.Type,     deck.Status,  deck.Serial, deck.Company,
                                deck.Operator, deck.TileSet, ""};
    if (StatusCode(id.Status).HoldsBoth())
        StatusCode::SetGeometry(id.Status, sci ? StatusCode::kIncluded : StatusCode::kExcluded);
    if (!header.Company.empty())
        id.Company = header.Company;
    if (!header.Operator.empty())
        id.Operator = header.Operator;
    if (!header.TileSet.empty())
        id.TileSet = header.TileSet;
    std::error_code ec;
    const auto written = std::filesystem::last_write_time(deck.File, ec);
    if (!ec) {
        id.LastUpdated =
            ShortDate(std::chrono::time_point_cast<std::chrono::system_clock::duration>(
                std::chrono::file_clock::to_sys(written)));
    }
    return id;
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
