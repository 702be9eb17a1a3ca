#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "app/DemoRoad.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

using C = CommandId;
using test::CommandHarness;
using test::DemoFiles;

// Both demo tile sets read in SCE, ready to profile.
void LoadDemoTiles(CommandHarness& h, const DemoFiles& demo) {
    h.ui.Files = {demo.masterTiles.string(), demo.targetTiles.string()};
    h.ui.GeometryAnswers = {false};
    h.commands->MasterInstrumentTileSet_Click();
    h.commands->TargetInstrumentTileSet_Click();
    ASSERT_TRUE(h.ui.Messages.empty());
}

TEST(GenerateCCF, ProfilesTheTileSetsAndOpensSaveAndPrint) {
    CommandHarness h("ccf-run");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 5);
    LoadDemoTiles(h, demo);
    EXPECT_FALSE(h.Enabled(C::SaveCoefficients));
    h.ui.HeaderAnswers = {test::HeaderAnswer{true, std::nullopt, std::nullopt,
                                             std::array<std::string, 2>{"Ann", "Bob"}}};
    h.commands->Execute(C::GenerateCCF);
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_TRUE(h.ws.CoefficientsCalculated);
    EXPECT_FALSE(h.ws.ProfileStatusError);
    EXPECT_EQ(h.ws.MasterOperator, "Ann");
    EXPECT_EQ(h.ws.TargetOperator, "Bob");
    // SCE chosen: the SCE date is the clock's, the SCI date untouched.
    EXPECT_EQ(h.ws.SCEProfileDate, h.commands->Clock());
    EXPECT_FALSE(h.ws.SCIProfileDate.has_value());
    for (C id :
         {C::SaveFile, C::SaveCoefficients, C::SaveProCompRep, C::PrintReport, C::ToPrinter}) {
        EXPECT_TRUE(h.Enabled(id)) << h.commands->Menu().Item(id).Name;
    }
    EXPECT_FALSE(h.Enabled(C::ToFile));
    // The grid shows every phase; the final column is the final DE of each tile.
    const ResultGridModel& grid = h.commands->Grid();
    ASSERT_EQ(grid.Rows(), h.ws.TileCount + 3);
    for (int tile = 0; tile < h.ws.TileCount; ++tile) {
        EXPECT_EQ(grid.TextMatrix(tile + 3, 6), Format(h.ws.FinalDE(tile, 3), "##0.00"));
        EXPECT_EQ(grid.TextMatrix(tile + 3, 1), Format(h.ws.RawDE(tile, 3), "##0.00"));
    }
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 1), "Master : X-Rite Ci7800   /   RCEIXX");
}

TEST(GenerateCCF, HeaderQuitKeepsTheOldTextsAndStillProfiles) {
    CommandHarness h("ccf-quit");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 5);
    LoadDemoTiles(h, demo);
    const std::string serial = h.ws.MasterSerial;
    h.ui.HeaderAnswers = {test::HeaderAnswer{false, std::array<std::string, 2>{"x", "y"},
                                             std::array<std::string, 2>{"x", "y"}, std::nullopt}};
    h.commands->GenerateCCF_Click();
    EXPECT_TRUE(h.ws.CoefficientsCalculated);
    EXPECT_EQ(h.ws.MasterSerial, serial);
}

TEST(SaveCoefficients, CancelChangesNothingAndSaveWritesBesideTheChosenFile) {
    CommandHarness h("ccf-save");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 5);
    LoadDemoTiles(h, demo);
    h.ui.HeaderAnswers = {test::HeaderAnswer{}};
    h.commands->GenerateCCF_Click();
    const auto statusBefore = h.ui.Status;

    h.ui.Files = {""};
    h.commands->SaveCoefficients_Click();
    EXPECT_FALSE(h.ws.CoefficientsLoaded);
    EXPECT_TRUE(h.ws.CoefficientFile.empty());
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
    EXPECT_TRUE(std::filesystem::exists(out));
    // One result save set per tile, in the folder of the chosen file.
    int results = 0;
    for (const auto& entry : std::filesystem::directory_iterator(out.parent_path())) {
        results += entry.path().filename().string().ends_with("Results.wsv") ? 1 : 0;
    }
    EXPECT_EQ(results, h.ws.TileCount);
}

TEST(SaveProCompRep, WritesTheReportWhereChosenAndNothingOnCancel) {
    CommandHarness h("procomp");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 5);
    LoadDemoTiles(h, demo);
    h.ui.HeaderAnswers = {test::HeaderAnswer{}};
    h.commands->GenerateCCF_Click();

    h.ui.Files = {"", (h.folder / "Run1.txt").string()};
    h.commands->Execute(C::SaveProCompRep);
    EXPECT_EQ(h.ui.FileRequests.back().Filter, "Profile Report | *.txt");
    EXPECT_EQ(h.ui.FileRequests.back().FileName, "ProfileReport.txt");
    EXPECT_FALSE(std::filesystem::exists(h.folder / "Run1.txt"));

    h.commands->Execute(C::SaveProCompRep);
    std::ifstream in(h.folder / "Run1.txt", std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), {});
    EXPECT_EQ(text.rfind("Master Instrument: X-Rite Ci7800", 0), 0u);
    EXPECT_NE(text.find("\r\n"), std::string::npos);
    EXPECT_TRUE(h.ui.Messages.empty());
}

TEST(ToPrinter, CancelEndsSilently) {
    CommandHarness h("print-cancel");
    h.ui.PrintAnswers = {false};
    h.commands->ToPrinter_Click();
    EXPECT_TRUE(h.ui.Printed.empty());
    EXPECT_TRUE(h.ui.Messages.empty());
}

}  // namespace
}  // namespace tintara
