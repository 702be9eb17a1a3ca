// The profile component report: golden text, name fields, averages over the listed tiles.
#include "report/ProfileReport.h"

#include <gtest/gtest.h>

#include "report/ReportFixtures.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

std::string Report(const GlobalVariables& ws) {
    std::ostringstream out;
    WriteProfileReport(ws, out, "04/02/2024");
    return out.str();
}

// Both golden files hold a name with text after a NUL (not shown), a name beyond the 30-character
// field and signed values of every magnitude.
GlobalVariables ProfiledWorkspace(int16_t colorSpace = 0) {
    GlobalVariables ws;
    test::FillTiles(ws, 32);
    ws.ColorSpace = colorSpace;
    ws.TileNames[4] = std::string("Green Tile\0garbage", 18);
    ws.TileNames[5] = "A very long ceramic tile name beyond thirty characters";
    ws.RawDE(1, 0) = -0.5;
    ws.RawDE(1, 1) = 0.5;
    return ws;
}

TEST(ProfileReport, MatchesTheGoldenReportsByteForByte) {
    test::ExpectGolden(Report(ProfiledWorkspace(0)), "ProfileReport.txt");
    test::ExpectGolden(Report(ProfiledWorkspace(2)), "ProfileReportHunter.txt");
}

TEST(ProfileReport, AveragesAreTheMeansOverTheListedTilesAndIncompleteTablesAreRefused) {
    GlobalVariables ws = ProfiledWorkspace();
    double raw = 0.0, final = 0.0;
    for (int i = 0; i < 32; ++i) {
        raw += ws.RawDE(i, 3);
        final += ws.FinalDE(i, 3);
    }
    const auto lines = test::CrLfLines(Report(ws));
    ASSERT_EQ(lines.size(), 50u);
    EXPECT_EQ(lines[44], "Average DE" + std::string(38, ' ') + "Actual ->" +
                             Format(raw / 32, " ##0.00") + std::string(22, ' ') + "Correlated ->" +
                             Format(final / 32, " ##0.00"));

    GlobalVariables empty;
    test::FillHeaders(empty);
    EXPECT_EQ(test::CrLfLines(Report(empty))[12],
              "Average DE                                      Actual -> 0.00"
              "                      Correlated -> 0.00");

    ws.TileNames.resize(10);
    std::ostringstream out;
    EXPECT_THROW(WriteProfileReport(ws, out, ""), Error);
    EXPECT_TRUE(out.str().empty());
}

}  // namespace
}  // namespace tintara
