// The profile component report: golden text, name fields, signed values and averages.
#include "report/ProfileReport.h"

#include <gtest/gtest.h>

#include <sstream>

#include "report/ReportFixtures.h"
#include "report/ReportText.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

constexpr const char* kDate = "04/02/2024";

std::string Report(const GlobalVariables& ws) {
    std::ostringstream out;
    WriteProfileReport(ws, out, kDate);
    return out.str();
}

GlobalVariables ProfiledWorkspace() {
    GlobalVariables ws;
    test::FillTiles(ws, 32);
    ws.TileNames[4] = std::string("Green Tile\0garbage", 18);  // text after a NUL is not shown
    ws.TileNames[5] = "A very long ceramic tile name beyond thirty characters";
    ws.RawDE(1, 0) = -0.5;
    ws.RawDE(1, 1) = 0.5;
    return ws;
}

TEST(ProfileReport, MatchesTheGoldenReportByteForByte) {
    const auto scratch = test::ScratchDir("ProfileReportGolden");
    for (int16_t space : {0, 2}) {
        GlobalVariables ws = ProfiledWorkspace();
        ws.ColorSpace = space;
        const std::string name = space == 0 ? "ProfileReport.txt" : "ProfileReportHunter.txt";
        const std::string text = Report(ws);
        if (text != test::ReadFile(test::DataPath("report/" + name))) {
            const auto actual = scratch / name;
            std::ofstream(actual, std::ios::binary) << text;
            ADD_FAILURE() << name << " differs from the golden file; actual text in " << actual;
        }
    }
}

TEST(ProfileReport, TileLinesCarrySignedValuesInFixedFields) {
    GlobalVariables ws = ProfiledWorkspace();
    const auto lines = test::CrLfLines(Report(ws));
    // Header lines 0..5, two empty lines, three caption lines: tile i is line 11 + i.
    const std::string& tile2 = lines[12];
    EXPECT_EQ(tile2.substr(0, 30), "Tile 2" + std::string(24, ' '));
    EXPECT_EQ(tile2.substr(30, 5), "-0.50");
    EXPECT_EQ(tile2.substr(35, 4 + 5), "     0.50");
    EXPECT_EQ(lines[15].substr(0, 30), "Green Tile" + std::string(20, ' '));
    EXPECT_EQ(lines[16].substr(0, 30), "A very long ceramic tile name ");
    EXPECT_EQ(lines[16].substr(30, 1), " ");  // value field starts right after the cut

    // Eight blanks between the raw DE and the first final value, four elsewhere.
    const std::string expected =
        SignedValue(ws.RawDE(6, 0)) + "    " + SignedValue(ws.RawDE(6, 1)) + "    " +
        SignedValue(ws.RawDE(6, 2)) + "    " + SignedValue(ws.RawDE(6, 3)) + "        " +
        SignedValue(ws.FinalDE(6, 0)) + "    " + SignedValue(ws.FinalDE(6, 1)) + "    " +
        SignedValue(ws.FinalDE(6, 2)) + "    " + SignedValue(ws.FinalDE(6, 3));
    EXPECT_EQ(lines[17].substr(30), expected);
    EXPECT_EQ(lines[11 + 31].substr(0, 7), "Tile 32");
}

TEST(ProfileReport, AveragesAreTheMeansOverTheTilesListed) {
    GlobalVariables ws = ProfiledWorkspace();
    const auto lines = test::CrLfLines(Report(ws));
    double raw = 0.0, final = 0.0;
    for (int i = 0; i < 32; ++i) {
        raw += ws.RawDE(i, 3);
        final += ws.FinalDE(i, 3);
    }
    const std::string& average = lines[11 + 32 + 1];
    EXPECT_EQ(average, "Average DE                                      Actual ->" +
                           Format(raw / 32, " ##0.00") + "                      Correlated ->" +
                           Format(final / 32, " ##0.00"));
    EXPECT_EQ(lines.back(), std::string(53, ' ') + "Date : " + kDate);
}

TEST(ProfileReport, IncompleteTablesAreRefusedAndFilesReplacedWhole) {
    GlobalVariables ws = ProfiledWorkspace();
    const auto dir = test::ScratchDir("ProfileReportFile");
    const auto file = dir / kProfileReportName;
    std::ofstream(file, std::ios::binary) << "earlier";
    ws.TileNames.resize(10);
    EXPECT_THROW(WriteProfileReport(ws, file, kDate), Error);
    EXPECT_EQ(test::ReadFile(file), "earlier");  // a refused report leaves the old file

    GlobalVariables good = ProfiledWorkspace();
    WriteProfileReport(good, file, kDate);
    EXPECT_EQ(test::ReadFile(file), Report(good));
}

TEST(ProfileReport, AnEmptyTileSetAveragesToZero) {
    GlobalVariables ws;
    test::FillHeaders(ws);
    const auto lines = test::CrLfLines(Report(ws));
    ASSERT_EQ(lines.size(), 6u + 2u + 3u + 1u + 1u + 2u + 1u + 1u + 1u);
    EXPECT_EQ(lines[12],
              "Average DE                                      Actual -> 0.00"
              "                      Correlated -> 0.00");
}

}  // namespace
}  // namespace tintara
