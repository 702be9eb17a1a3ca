#include <gtest/gtest.h>

#include "app/CommandHarness.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

using C = CommandId;
using test::CommandHarness;
using test::SetOptions;
using test::WriteSet;

TEST(MasterTileSet, LoadsTheSetStripsControlCharactersAndEnablesTheTarget) {
    CommandHarness h("master-load");
    h.ui.Files = {WriteSet(h.folder, "master.wsv", SetOptions{}).string()};
    h.commands->Execute(C::MasterInstrumentTileSet);
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_EQ(h.ui.FileRequests[0].Filter, "Master Reflectance Save Sets | *.wsv");
    EXPECT_EQ(h.ui.GeometryDialogs, 0) << "a set of one geometry asks no question";
    EXPECT_EQ(h.ws.TileCount, 32);
    EXPECT_TRUE(h.ws.MasterTilesSelected && h.ws.MasterTileSetLoaded && !h.ws.TargetTilesSelected);
    EXPECT_TRUE(h.Enabled(C::TargetInstrumentTileSet));
    EXPECT_EQ(h.ws.MasterCompany + "|" + h.ws.MasterSerial + "|" + h.ws.MasterOperator + "|" +
                  h.ws.MasterTileSetSerial,
              "Fixture Lab|SN-42|Pat|AV2024");  // tab and carriage return dropped
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 1), "Master Tiles file is master.wsv");
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 1), "Master : Macbeth Color i7   /   PBII01");
    EXPECT_EQ(h.commands->CurrentFolder(), h.folder);
}

TEST(MasterTileSet, CancelStillMarksTheMasterLoadedAndEnablesTheTarget) {
    CommandHarness h("master-cancel");
    h.ui.Files = {WriteSet(h.folder, "master.wsv", SetOptions{}).string(), ""};
    h.commands->MasterInstrumentTileSet_Click();
    h.commands->Menu().SetEnabled(C::TargetInstrumentTileSet, false);
    const Matrix before = h.ws.MasterReflectance;
    h.ws.MasterTileSetLoaded = false;
    h.ui.Status.clear();

    h.commands->MasterInstrumentTileSet_Click();
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_EQ(h.ws.MasterReflectance, before);
    EXPECT_TRUE(h.ws.MasterTileSetLoaded);
    EXPECT_TRUE(h.Enabled(C::TargetInstrumentTileSet));
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 1), "Master : Macbeth Color i7   /   PBII01");
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 1), "");  // only the instrument bar is rewritten
}

TEST(MasterTileSet, BothGeometriesAskWhichOneToRead) {
    CommandHarness h("master-both");
    h.ui.Files = {WriteSet(h.folder, "master.wsv", {.status = "PBBI01"}).string()};
    h.ui.GeometryAnswers = {false};
    h.commands->MasterInstrumentTileSet_Click();
    EXPECT_EQ(h.ui.GeometryDialogs, 1);
    EXPECT_FALSE(h.ws.GeometryChoice);
    EXPECT_EQ(h.ws.MasterStatus, "PBEI01");
    EXPECT_DOUBLE_EQ(h.ws.MasterReflectance(5, 20), test::SampleCurve(5)[20] * 0.97);  // SCE
}

TEST(TargetTileSet, ReadingBothDrawsTheRawDifferencesAndANewMasterInvalidatesTheTarget) {
    CommandHarness h("target-load");
    const auto master = WriteSet(h.folder, "master.wsv", SetOptions{});
    h.ui.Files = {master.string(),
                  WriteSet(h.folder, "target.wsv",
                           {.instrument = 186, .target = true, .company = "Target Lab"})
                      .string()};
    h.commands->MasterInstrumentTileSet_Click();
    h.commands->TargetInstrumentTileSet_Click();
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_EQ(h.ui.FileRequests[1].Filter, "Target Reflectance Save Sets | *.wsv");
    EXPECT_TRUE(h.ws.TargetTilesSelected && h.ws.TargetTileSetLoaded &&
                !h.ws.CoefficientsCalculated);
    EXPECT_EQ(h.ws.TargetCompany + "|" + h.ws.TargetTileSetSerial, "Target Lab|AV2024");
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 2), "Target Tiles file is target.wsv");
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 2), "Target : X-Rite Ci7800   /   PBII01");
    // The raw differences, drawn in the correlation grid: 35 rows, tile 1 in row 3.
    const ResultGridModel& grid = h.commands->Grid();
    EXPECT_TRUE(grid.Visible());
    ASSERT_EQ(grid.Rows(), 35);
    EXPECT_EQ(grid.TextMatrix(3, 0), "Tile 1");
    EXPECT_GT(h.ws.RawDE(0, 3), 0.0);
    EXPECT_EQ(grid.TextMatrix(3, 1), Format(h.ws.RawDE(0, 3), "##0.00"));
    EXPECT_TRUE(h.commands->Menu().Visible(C::DisplayCommand));
    EXPECT_TRUE(h.Enabled(C::GenerateFunction) && h.Enabled(C::GenerateCCF));
    EXPECT_FALSE(h.Enabled(C::GenerateCSS));

    h.ui.Files = {master.string()};
    h.commands->MasterInstrumentTileSet_Click();
    EXPECT_FALSE(h.ws.TargetTilesSelected || h.ws.CoefficientsCalculated);
}

TEST(TargetTileSet, CancelStillCountsForTheMenus) {
    CommandHarness h("target-cancel");
    h.ui.Files = {""};
    h.commands->TargetInstrumentTileSet_Click();
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_TRUE(h.ws.TargetTileSetLoaded);
    EXPECT_FALSE(h.ws.TargetTilesSelected);
}

}  // namespace
}  // namespace tintara
