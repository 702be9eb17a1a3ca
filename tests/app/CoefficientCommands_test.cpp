#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "app/CommandHarness.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

using C = CommandId;
using test::CommandHarness;

// Both demo tile sets read in SCE and profiled; the header dialog answered with `header`.
void ProfileDemoInSce(CommandHarness& h, const test::HeaderAnswer& header = {}) {
    const test::DemoFiles demo = test::WriteSmallDemo(h.folder, 5);
    h.ui.Files = {demo.masterTiles.string(), demo.targetTiles.string()};
    h.ui.GeometryAnswers = {false};
    h.ui.HeaderAnswers = {header};
    h.commands->MasterInstrumentTileSet_Click();
    h.commands->TargetInstrumentTileSet_Click();
    EXPECT_FALSE(h.Enabled(C::SaveCoefficients));
    h.commands->Execute(C::GenerateCCF);
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_TRUE(h.ws.CoefficientsCalculated);
}

TEST(GenerateCCF, ProfilesTheTileSetsWithTheHeaderEditsAndOpensSaveAndPrint) {
    CommandHarness h("ccf-run");
    ProfileDemoInSce(h,
                     {true, std::nullopt, std::nullopt, std::array<std::string, 2>{"Ann", "Bob"}});
    EXPECT_EQ(h.ws.MasterOperator + "|" + h.ws.TargetOperator, "Ann|Bob");
    // SCE chosen: the SCE date is the clock's, the SCI date untouched.
    EXPECT_EQ(h.ws.SCEProfileDate, h.commands->Clock());
    EXPECT_FALSE(h.ws.SCIProfileDate.has_value());
    for (C id : {C::SaveFile, C::SaveCoefficients, C::SaveProCompRep, C::PrintReport, C::ToPrinter})
        EXPECT_TRUE(h.Enabled(id)) << h.commands->Menu().Item(id).Name;
    EXPECT_FALSE(h.Enabled(C::ToFile));
    // The grid shows every phase; the first and last columns are each tile's raw and final DE.
    const ResultGridModel& grid = h.commands->Grid();
    ASSERT_EQ(grid.Rows(), h.ws.TileCount + 3);
    for (int tile = 0; tile < h.ws.TileCount; ++tile) {
        EXPECT_EQ(grid.TextMatrix(tile + 3, 1), Format(h.ws.RawDE(tile, 3), "##0.00"));
        EXPECT_EQ(grid.TextMatrix(tile + 3, 6), Format(h.ws.FinalDE(tile, 3), "##0.00"));
    }
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 1), "Master : X-Rite Ci7800   /   RCEIXX");
}

TEST(GenerateCCF, HeaderQuitKeepsTheOldTextsAndStillProfiles) {
    CommandHarness h("ccf-quit");
    const std::array<std::string, 2> edits{"x", "y"};
    ProfileDemoInSce(h, {false, edits, edits, edits});
    EXPECT_NE(h.ws.MasterSerial, "x");
    EXPECT_NE(h.ws.TargetOperator, "y");
}

TEST(SaveCoefficients, CancelChangesNothingAndSaveWritesResultsBesideTheChosenFile) {
    CommandHarness h("ccf-save");
    ProfileDemoInSce(h);
    const auto statusBefore = h.ui.Status;
    h.ui.Files = {""};
    h.commands->SaveCoefficients_Click();
    EXPECT_FALSE(h.ws.CoefficientsLoaded);
    EXPECT_EQ(h.ui.Status, statusBefore);
    EXPECT_EQ(h.ui.FileRequests.back().Filter, "Correlation Coefficient File | *.ccf");
    EXPECT_EQ(h.ui.FileRequests.back().Mode, FileDialogMode::Save);

    const auto out = h.folder / "profiles" / "pair.ccf";
    std::filesystem::create_directories(out.parent_path());
    h.ui.Files = {out.string()};
    h.commands->SaveCoefficients_Click();
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_TRUE(h.ws.CoefficientsLoaded);
    EXPECT_EQ(h.ws.CoefficientFile, out.string());
    int results = 0;  // one result save set per tile
    for (const auto& entry : std::filesystem::directory_iterator(out.parent_path()))
        results += entry.path().filename().string().ends_with("Results.wsv");
    EXPECT_EQ(results, h.ws.TileCount);
    EXPECT_TRUE(std::filesystem::exists(out));

    // The profile component report goes where chosen, nowhere on cancel.
    h.ui.Files = {"", (h.folder / "Run1.txt").string()};
    h.commands->Execute(C::SaveProCompRep);
    EXPECT_EQ(h.ui.FileRequests.back().Filter, "Profile Report | *.txt");
    EXPECT_EQ(h.ui.FileRequests.back().FileName, "ProfileReport.txt");
    EXPECT_FALSE(std::filesystem::exists(h.folder / "Run1.txt"));
    h.commands->Execute(C::SaveProCompRep);
    std::ifstream in(h.folder / "Run1.txt", std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), {});
    EXPECT_TRUE(text.starts_with("Master Instrument: X-Rite Ci7800")) << text;
    EXPECT_TRUE(h.ui.Messages.empty());
}

TEST(CorrelationFileMenu, ChoosingSetsTheFileWithoutReadingIt) {
    CommandHarness h("open-ccf");
    const auto file = h.folder / "sub" / "pair.ccf";  // need not exist: it is read when applied
    h.ui.Files = {"", file.string()};
    h.commands->CorrelationFileMenu_Click();
    EXPECT_FALSE(h.ws.CoefficientsLoaded);
    EXPECT_TRUE(h.commands->CurrentFolder().empty());
    h.commands->CorrelationFileMenu_Click();
    EXPECT_TRUE(h.ws.CoefficientsLoaded);
    EXPECT_EQ(h.ws.CoefficientFile, file.string());
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 3), "Coefficients File is pair.ccf");
    EXPECT_EQ(h.commands->CurrentFolder(), file.parent_path());
    EXPECT_EQ(h.ui.FileRequests[0].Filter, "Instrument Correlation Files | *.ccf");
    EXPECT_TRUE(h.ui.Messages.empty());
}

}  // namespace
}  // namespace tintara
