// The result grids: layout, filling, averages, phase marker, compare and performance views.
#include "report/Paint.h"

#include <gtest/gtest.h>

#include "report/CompareReport.h"
#include "report/ReportFixtures.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

std::string De(double value) {
    return Format(value, "##0.00");
}

struct GridFixture : ::testing::Test {
    GlobalVariables ws;
    ResultGridModel grid;
    Paint paint{ws, grid};
    PerformanceView view{paint};
    std::filesystem::path report =
        test::ScratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name()) /
        kCompareReportName;
    void SetUp() override {
        ws.TwipsPerPixel = 15;
        paint.Window = GridArea{15000, 9000, 600, 300};
        view.CompareReportFile = report;
        ws.SingleSampleTolerance = 1.0;
        ws.AverageTolerance = 0.8;
    }
};

TEST_F(GridFixture, CorrelationGridOfThirtyTwoTilesIsLaidOutAndFilled) {
    test::FillTiles(ws, 32);
    paint.BuildEmptyCorrelationGrid();
    paint.RefreshDisplay();
    ASSERT_EQ(grid.Rows(), 35);
    EXPECT_EQ(grid.FormatString(),
              "Tile Name|>Raw DE|>Phase #1|>Phase #2|>Phase #3|>Phase #4|>Final DE");
    EXPECT_EQ(grid.TextMatrix(0, 1) + "|" + grid.TextMatrix(0, 6), "Raw DE|Final DE");
    EXPECT_EQ(grid.ColAlignment(6), CellAlignment::Right);
    // Centred, 40 pixels below the upper bar, clear of twice the status bar.
    const int width = (200 + 6 * 80 + 3) * 15;
    EXPECT_EQ(std::tuple(grid.Width, grid.Left, grid.Top, grid.Height, grid.Visible()),
              std::tuple(width, (15000 - width) / 2, 600 + 40 * 15, 9000 - 1200 - 2 * 300, true));
    // The average row, a spacer, then tile i in row i + 3 with the columns in phase order; green
    // on even rows and yellow on odd ones, the name column keeping the fixed colour.
    EXPECT_EQ(grid.TextMatrix(1, 0) + "|" + grid.TextMatrix(3, 0) + "|" + grid.TextMatrix(34, 0),
              "Average DE|Tile 1|Tile 32");
    for (int c = 0; c < 7; ++c) {
        EXPECT_EQ(grid.TextMatrix(2, c), "");
        EXPECT_EQ(grid.CellBackColor(1, c), c > 0 ? std::optional(kAverageColor) : std::nullopt);
    }
    for (int r = 2; r <= 34; ++r) {
        EXPECT_EQ(grid.CellBackColor(r, 3), r % 2 == 0 ? kGreenColor : kYellowColor) << r;
        EXPECT_FALSE(grid.CellBackColor(r, 0).has_value()) << r;
    }
    const auto value = [&](int i, int c) {
        const double values[] = {ws.RawDE(i, 3),    ws.OffsetDE[i],     ws.GainDE[i],
                                 ws.LinearityDE[i], ws.WavelengthDE[i], ws.FinalDE(i, 3)};
        return values[c - 1];
    };
    for (int c = 1; c < 7; ++c) {
        for (int i : {0, 7, 31})
            EXPECT_EQ(grid.TextMatrix(i + 3, c), De(value(i, c))) << i << " " << c;
        // The averages take TileCount + 1 entries: entry 32, which has no row, counts.
        double sum = 0.0;
        for (int i = 0; i <= 32; ++i)
            sum += value(i, c);
        EXPECT_EQ(grid.TextMatrix(1, c), De(sum / 33)) << c;
        EXPECT_NE(grid.TextMatrix(1, c), De((sum - value(32, c)) / 32)) << c;
    }
    EXPECT_EQ(
        paint.InstrumentPanel1 + "|" + paint.InstrumentPanel2,
        "Master : Datacolor SF600 Plus-CT   /   LAIIUX|Target : Color-Eye 7000A   /   LAIIUX");
}

TEST_F(GridFixture, RefreshAvianDisplayLaysOutAfreshAndIndicateCellMarksThePhase) {
    test::FillTiles(ws, 32);
    paint.BuildEmptyCompareGrid(ws.TileCount + 2);
    const std::pair<double, const char*> cells[] = {
        {0.004, "0.00"}, {123.4, "123.40"}, {7, "7.00"}, {-0.5, "-0.50"}};
    for (int i = 0; i < 4; ++i)
        ws.RawDE(i, 3) = cells[i].first;
    paint.RefreshAvianDisplay();
    EXPECT_EQ(std::pair(grid.Rows(), grid.Cols()), std::pair(35, 7));
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(grid.TextMatrix(i + 3, 1), cells[i].second);

    paint.IndicateCell(3);
    for (int c = 1; c < 7; ++c)
        EXPECT_EQ(grid.CellBackColor(0, c), c == 3 ? kAverageColor : kGreenColor) << c;
    EXPECT_EQ(grid.CellBackColor(5, 6), kYellowColor);
    paint.IndicateCell(6);
    EXPECT_EQ(grid.CellBackColor(0, 3), kGreenColor);
    EXPECT_EQ(grid.CellBackColor(0, 6), kAverageColor);
    for (int r = 1; r <= 34; ++r)
        EXPECT_EQ(grid.CellBackColor(r, 6), kFinalColor) << r;
    EXPECT_EQ(grid.CellBackColor(4, 5), kGreenColor);  // other columns keep their bands
    EXPECT_THROW(paint.IndicateCell(7), Error);
    EXPECT_THROW(paint.IndicateCell(0), Error);

    ws.OffsetDE.resize(3);  // tables shorter than the tile count
    EXPECT_THROW(paint.RefreshDisplay(), Error);
    test::FillTiles(ws, 40);  // more tiles than the grid has rows
    EXPECT_THROW(paint.RefreshDisplay(), Error);
}

TEST_F(GridFixture, CompareGridShowsTheChosenGeometryInTheColourSpacesCaptions) {
    test::FillSamples(ws, 4, [](int s) { return 0.4 + 0.3 * s; });
    // The compare grid shows the fandecks' identity, in the geometry on show.
    for (auto* fandeck : {&ws.MasterFandeck, &ws.TargetFandeck}) {
        fandeck->File = "deck.wsv";
        fandeck->Type = "Datacolor SF600 Plus-CT";
        fandeck->Status = "LABIUX";
    }
    ws.MasterStatus = ws.TargetStatus = "LABIUX";
    paint.BuildEmptyCompareGrid(ws.SampleCount + 2);
    EXPECT_EQ(grid.Width, (200 + 8 * 60 + 3) * 15);
    EXPECT_EQ(grid.FormatString(), "<Sample Name|> DL*|> Da*|> Db*|> DE|> DL*|> Da*|>  Db*|>DE");
    EXPECT_EQ(grid.TextMatrix(0, 7) + "|" + grid.TextMatrix(0, 8), "  Db*|DE");
    for (const bool sci : {true, false}) {
        SCOPED_TRACE(sci ? "SCI" : "SCE");
        sci ? paint.ShowSCIGridData() : paint.ShowSCEGridData();
        EXPECT_EQ(grid.TextMatrix(1, 0), "Sample 1" + std::string(67, ' '));
        for (int k = 0; k < 8; ++k) {
            const int column = (sci ? kSciUncorrected : kSceUncorrected) + k;
            EXPECT_EQ(grid.TextMatrix(3, k + 1), De(ws.SampleDeltas(2, column))) << k;
            EXPECT_EQ(grid.TextMatrix(6, k + 1), De(ws.SampleDeltas(4, column))) << k;
            EXPECT_EQ(grid.TextMatrix(5, k), "") << "the spacer row";
        }
        EXPECT_EQ(grid.TextMatrix(6, 0), "Average");
        EXPECT_EQ(paint.ViewSwitchCaption, sci ? "Show SCE Data" : "Show SCI Data");
        const std::string status = sci ? "LAIIUX" : "LAEIUX";
        EXPECT_EQ(ws.MasterFandeck.Status + ws.TargetFandeck.Status, status + status);
        EXPECT_EQ(ws.MasterStatus + ws.TargetStatus, "LABIUXLABIUX");  // the tile sets' own
        EXPECT_EQ(paint.InstrumentPanel1, "Master : Datacolor SF600 Plus-CT   /   " + status);
        EXPECT_EQ(ws.GridShowsSCI, sci);
    }
    ws.SampleDeltas.Resize(4, kSampleDeltaColumns);  // no average entry
    EXPECT_THROW(paint.ShowSCIGridData(), Error);
    test::FillSamples(ws, 5, [](int) { return 1.0; });  // no room for the average row
    EXPECT_THROW(paint.ShowSCIGridData(), Error);

    ws.ColorSpace = 2;  // Hunter Lab: no asterisks
    paint.BuildEmptyCompareGrid(5);
    EXPECT_EQ(grid.FormatString(), "<Sample Name|> DL |> Da |> Db |> DE|> DL |> Da |>  Db |>DE");
    paint.BuildEmptyPerformanceGrid(5);
    EXPECT_EQ(grid.FormatString(), "<Sample Name|> DL |> Da |> Db |> DE");
    ws.ColorSpace = 0;
    paint.BuildEmptyPerformanceGrid(5);
    EXPECT_EQ(grid.FormatString(), "<Sample Name|> DL*|> Da*|> Db*|> DE");
}

// ---- performance view (single-sample limit 1.0, average limit 0.8) ------------------------------

TEST_F(GridFixture, TenSamplesPutTheAverageInRowTwelveAndFailAtTheLimit) {
    // Corrected SCI DE: 0.2, 0.4, ... sample 4 is exactly at the 1.0 limit.
    test::FillSamples(ws, 10, [](int s) { return 0.2 * (s + 1); });
    paint.BuildEmptyPerformanceGrid(ws.SampleCount + 2);
    ASSERT_EQ(grid.Rows(), 13);
    view.ShowSCIPerformanceData();
    for (int s = 0; s < 10; ++s) {
        EXPECT_EQ(grid.TextMatrix(s + 1, 0), "Sample " + std::to_string(s + 1));
        for (int k = 0; k < 4; ++k) {
            EXPECT_EQ(grid.TextMatrix(s + 1, k + 1), De(ws.SampleDeltas(s, kSciCorrected + k)));
            EXPECT_EQ(grid.CellBackColor(s + 1, k + 1) == kFailColor, s >= 4) << s << " " << k;
        }
    }
    // A spacer row, then the average row: its label and the average DE only.
    EXPECT_EQ(grid.TextMatrix(11, 0) + "|" + grid.TextMatrix(11, 4) + "|" + grid.TextMatrix(12, 0) +
                  "|" + grid.TextMatrix(12, 1) + "|" + grid.TextMatrix(12, 4),
              "||Average||1.10");
    EXPECT_EQ(grid.CellBackColor(12, 4), kFailColor);  // 1.1 >= 0.8
    EXPECT_TRUE(grid.Visible() && ws.PerformanceShowsSCI && std::filesystem::exists(report));
    EXPECT_EQ(paint.ViewSwitchCaption, "Show SCE Data");
}

TEST_F(GridFixture, SceViewShowsTheStoredAverageAndLeavesTheReportAlone) {
    test::FillSamples(ws, 3, [](int s) { return 0.1 * s; });
    ws.SampleDeltas(3, kSceCorrected + 3) = 0.8;  // the engine's average, not recomputed here
    ws.MasterFandeck.File = "deck.wsv";
    ws.MasterFandeck.Status = "LABIUX";
    std::ofstream(report, std::ios::binary) << "earlier report";
    paint.BuildEmptyPerformanceGrid(ws.SampleCount + 2);
    view.ShowSCEPerformanceData();
    EXPECT_EQ(grid.TextMatrix(3, 4), De(ws.SampleDeltas(2, kSceCorrected + 3)));
    EXPECT_EQ(grid.TextMatrix(5, 4), "0.80");
    EXPECT_EQ(grid.CellBackColor(5, 1), kFailColor);  // at the average limit
    EXPECT_NE(grid.CellBackColor(1, 1), kFailColor);
    EXPECT_EQ(test::ReadFile(report), "earlier report");
    EXPECT_EQ(paint.ViewSwitchCaption, "Show SCI Data");
    EXPECT_FALSE(paint.ViewSwitchBackColor.has_value());  // the command was not enabled
    EXPECT_EQ(ws.MasterFandeck.Status, "LAEIUX");
    EXPECT_FALSE(ws.PerformanceShowsSCI);

    paint.ViewSwitchEnabled = true;
    view.ShowSCIPerformanceData();
    EXPECT_EQ(paint.ViewSwitchBackColor, kHighlightColor);
    EXPECT_NE(test::ReadFile(report), "earlier report");
}

TEST_F(GridFixture, SampleRowsFollowTheViewOnShowAndSurviveTheArraysBeingEmptied) {
    test::FillSamples(ws, 6, [](int s) { return 0.3 * s; });  // corrected SCI DE 0, 0.3, ... 1.5
    // Laid out for more rows than the samples need: the bands run on to the third-last row.
    paint.BuildEmptyPerformanceGrid(ws.SampleCount + 5);
    view.WriteReport = false;
    view.ShowSCIPerformanceData();
    EXPECT_EQ(grid.CellBackColor(4, 4), kGreenColor);  // 0.9
    EXPECT_EQ(grid.CellBackColor(5, 4), kFailColor);   // 1.2
    EXPECT_EQ(grid.CellBackColor(9, 2), kYellowColor);
    EXPECT_EQ(grid.CellBackColor(10, 2), std::nullopt);
    EXPECT_EQ(grid.CellBackColor(11, 2), kAverageColor);
    EXPECT_EQ(grid.TextMatrix(8, 0), "Average");
    EXPECT_EQ(grid.TextMatrix(9, 0) + grid.TextMatrix(7, 1), "");
    // Both views one after the other, without a new layout: no colour of the first lingers.
    for (int s = 0; s < 6; ++s) {
        ws.SampleDeltas(s, kSceCorrected + 3) = 0.1;
        ws.SampleDeltas(s, kSciCorrected + 3) = 2.0;
    }
    view.ShowSCEPerformanceData();
    for (int row = 1; row <= 6; ++row) {
        EXPECT_EQ(grid.CellBackColor(row, 2), row % 2 ? kYellowColor : kGreenColor) << row;
        EXPECT_EQ(grid.TextMatrix(row, 4), "0.10") << row;
    }
    paint.BuildEmptyCompareGrid(ws.SampleCount + 2);
    paint.ShowSCIGridData();
    EXPECT_EQ(grid.TextMatrix(6, 0), "Sample 6" + std::string(67, ' '));
    EXPECT_EQ(grid.CellBackColor(6, 8), kGreenColor);
    // A new tile set empties the sample arrays before the grid is laid out again; a repaint in
    // between shows blank rows, never reads past the arrays.
    ws.SampleNames.clear();
    ws.SampleDeltas.Resize(0, kSampleDeltaColumns);
    EXPECT_EQ(grid.TextMatrix(6, 0) + grid.TextMatrix(6, 4), "");
    EXPECT_EQ(grid.CellBackColor(6, 8), kGreenColor);
}

}  // namespace
}  // namespace tintara
