// Which curves the plots take from the workspace, and what the charts then hold.
#include <gtest/gtest.h>

#include <QBarSeries>
#include <QBarSet>
#include <QChart>
#include <QChartView>
#include <QLineSeries>
#include <QValueAxis>

#include "gui/GuiHarness.h"
#include "gui/SpectralPlots.h"

namespace tintara {
namespace {

using gui::SpectralCurve;

// Two tiles whose every curve is distinguishable: value = 1000 * array + 10 * tile + point / 100.
GlobalVariables TwoTiles() {
    GlobalVariables ws;
    ws.DimensionTileArrays(2);
    Matrix* arrays[] = {&ws.MasterReflectance, &ws.TargetReflectance,    &ws.TargetAfterOffset,
                        &ws.TargetAfterGain,   &ws.TargetAfterLinearity, &ws.TargetAfterWavelength};
    for (int a = 0; a < 6; ++a) {
        arrays[a]->Resize(3, kPointCount);
        for (int t = 0; t < 3; ++t)
            for (int p = 0; p < kPointCount; ++p)
                (*arrays[a])(t, p) = 1000.0 * a + 10.0 * t + p / 100.0;
    }
    return ws;
}

std::vector<std::string> Names(const std::vector<SpectralCurve>& curves) {
    std::vector<std::string> names;
    for (const auto& c : curves)
        names.push_back(c.Name.toStdString());
    return names;
}

TEST(SpectralPlots, TileCurvesFollowTheProfilingState) {
    test::GuiApp();
    GlobalVariables ws = TwoTiles();
    ws.CoefficientsCalculated = false;
    auto curves = gui::TileCurves(ws, 1);
    EXPECT_EQ(Names(curves), (std::vector<std::string>{"Master", "Target"}));
    ASSERT_EQ(curves[1].Values.size(), 40u);
    EXPECT_DOUBLE_EQ(curves[1].Values[7], 1000.0 + 10.0 + 0.07);

    ws.CoefficientsCalculated = true;
    curves = gui::TileCurves(ws, 1);
    EXPECT_EQ(Names(curves), (std::vector<std::string>{"Master", "Target", "Offset", "Gain",
                                                       "Linearity", "Wavelength"}));
    EXPECT_DOUBLE_EQ(curves[5].Values[39], 5000.0 + 10.0 + 0.39);

    // The extra slot at TileCount and anything outside the set give nothing.
    EXPECT_TRUE(gui::TileCurves(ws, 2).empty());
    EXPECT_TRUE(gui::TileCurves(ws, -1).empty());
    ws.TargetAfterGain.Resize(1, kPointCount);  // a table too short for tile 1 is left out
    EXPECT_EQ(gui::TileCurves(ws, 1).size(), 5u);
}

TEST(SpectralPlots, SampleCurvesTakeTheGeometryAndTheConversion) {
    test::GuiApp();
    GlobalVariables ws;
    ws.MasterFandeckReflectance.Resize(3, 2);
    ws.TargetFandeckReflectance.Resize(3, 1);  // one geometry only
    ws.CorrelatedFandeckReflectance.Resize(3, 2);
    for (int r = 0; r < 3; ++r)
        for (int p = 0; p < kPointCount; ++p) {
            ws.MasterFandeckReflectance(p, 0, r) = 100 + r;
            ws.MasterFandeckReflectance(p, 1, r) = 200 + r;
            ws.TargetFandeckReflectance(p, 0, r) = 300 + r;
            ws.CorrelatedFandeckReflectance(p, 1, r) = 400 + r;
        }
    ws.ConversionDone = false;
    auto curves = gui::SampleCurves(ws, 2, 1);
    EXPECT_EQ(Names(curves), (std::vector<std::string>{"Master", "Target"}));
    EXPECT_EQ(curves[0].Values[0], 202);  // SCE of the Master
    EXPECT_EQ(curves[1].Values[0], 302);  // the Target's only geometry
    ws.ConversionDone = true;
    curves = gui::SampleCurves(ws, 2, 1);
    ASSERT_EQ(curves.size(), 3u);
    EXPECT_EQ(curves[2].Values[0], 402);
    EXPECT_TRUE(gui::SampleCurves(ws, 3, 0).empty());
}

TEST(SpectralPlots, ChartsHoldTheCurvesAndTheDifferencesPerTile) {
    test::GuiApp();
    GlobalVariables ws = TwoTiles();
    ws.RawDE.Resize(3, 4);
    ws.FinalDE.Resize(3, 4);
    ws.RawDE(0, 3) = 1.5;
    ws.RawDE(1, 3) = 2.5;
    ws.FinalDE(0, 3) = 0.25;
    ws.FinalDE(1, 3) = 0.75;
    gui::SpectralPlots plots;

    ws.CoefficientsCalculated = true;
    plots.ShowCurves("Tile 1", gui::TileCurves(ws, 0));
    ASSERT_EQ(plots.CurveChart()->series().size(), 6);
    const auto* first = static_cast<QLineSeries*>(plots.CurveChart()->series()[0]);
    EXPECT_EQ(first->at(3), QPointF(390.0, 0.03));
    const auto axes = plots.CurveChart()->axes(Qt::Horizontal);
    ASSERT_EQ(axes.size(), 1);
    EXPECT_EQ(static_cast<QValueAxis*>(axes[0])->min(), 360.0);
    EXPECT_EQ(static_cast<QValueAxis*>(axes[0])->max(), 750.0);
    // Showing another row replaces the curves and the axes rather than piling them up.
    plots.ShowCurves("Tile 2", gui::TileCurves(ws, 1));
    EXPECT_EQ(plots.CurveChart()->series().size(), 6);
    EXPECT_EQ(plots.CurveChart()->axes().size(), 2);

    plots.show();
    plots.ShowTileDifferences(ws);
    EXPECT_TRUE(plots.DifferenceView()->isVisible());
    const auto* bars = static_cast<QBarSeries*>(plots.DifferenceChart()->series()[0]);
    ASSERT_EQ(bars->count(), 2);
    EXPECT_EQ(bars->barSets()[0]->count(), 2);
    EXPECT_EQ(bars->barSets()[0]->at(1), 2.5);
    EXPECT_EQ(bars->barSets()[1]->at(0), 0.25);

    // Before the coefficients, only the raw differences; with no tiles, no chart.
    ws.CoefficientsCalculated = false;
    plots.ShowTileDifferences(ws);
    EXPECT_EQ(static_cast<QBarSeries*>(plots.DifferenceChart()->series()[0])->count(), 1);
    GlobalVariables empty;
    plots.ShowTileDifferences(empty);
    EXPECT_FALSE(plots.DifferenceView()->isVisible());
}

}  // namespace
}  // namespace tintara
