// The plots' guards: rows outside the data, tables too short, a Target read in one geometry.
#include <gtest/gtest.h>

#include <QChartView>

#include "files/RWSaveSet.h"
#include "gui/GuiHarness.h"
#include "gui/SpectralPlots.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

TEST(SpectralPlots, RowsOutsideTheDataAndTablesTooShortGiveNoCurve) {
    test::GuiApp();
    GlobalVariables ws;
    ws.DimensionTileArrays(2);
    ws.CoefficientsCalculated = true;
    EXPECT_EQ(gui::TileCurves(ws, 1).size(), 6u);
    // The spare slot at TileCount and anything outside the set give nothing.
    EXPECT_TRUE(gui::TileCurves(ws, 2).empty());
    EXPECT_TRUE(gui::TileCurves(ws, -1).empty());
    ws.TargetAfterGain.Resize(1, kPointCount);  // too short for tile 1: left out
    EXPECT_EQ(gui::TileCurves(ws, 1).size(), 5u);

    // A Target read in one geometry shows that one whichever is asked for; the curves come from
    // the files, which must not have changed since they were read.
    const auto dir = test::ScratchDir("SpectralPlotsSamples");
    SaveSetData master, target;
    master.NumAngles = 2;
    master.Records.resize(3);
    target.Records.resize(3);
    master.Records[2].Curves[1][0] = 202;
    target.Records[2].Curves[0][0] = 302;
    StoreSaveSet(master, dir / "master.wsv");
    StoreSaveSet(target, dir / "target.wsv");
    RWSaveSet reader(ws);
    ws.MasterSaveSetFile = (dir / "master.wsv").string();
    ws.TargetSaveSetFile = (dir / "target.wsv").string();
    ASSERT_TRUE(reader.ReadMasterFandeck() && reader.ReadTargetFandeck()) << reader.LastError();
    const auto curves = gui::SampleCurves(ws, 2, 1);
    ASSERT_EQ(curves.size(), 2u);
    EXPECT_EQ(curves[0].Values[0], 202);
    EXPECT_EQ(curves[1].Values[0], 302);
    EXPECT_TRUE(gui::SampleCurves(ws, 3, 0).empty());
    target.Records.pop_back();
    StoreSaveSet(target, dir / "target.wsv");
    EXPECT_THROW(gui::SampleCurves(ws, 2, 1), Error);

    // Without tiles the difference chart goes away.
    gui::SpectralPlots plots;
    plots.show();
    plots.ShowTileDifferences(ws);
    EXPECT_TRUE(plots.DifferenceView()->isVisible());
    plots.ShowTileDifferences(GlobalVariables{});
    EXPECT_FALSE(plots.DifferenceView()->isVisible());
}

}  // namespace
}  // namespace tintara
