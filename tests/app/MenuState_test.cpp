#include "app/MenuState.h"

#include <gtest/gtest.h>

#include <set>

namespace tintara {
namespace {

using C = CommandId;

// Everything enabled, as before the start-up command runs.
MenuState FreshMenu() {
    return MenuState();
}

TEST(MenuState, TreeHasTheWindowsMenusInOrder) {
    MenuState menu;
    EXPECT_EQ(menu.Children(std::nullopt),
              (std::vector<C>{C::FileMenu, C::GenerateFunction, C::WizardList}));
    EXPECT_EQ(menu.Children(C::FileMenu),
              (std::vector<C>{C::OpenMenu, C::SaveFile, C::PrintReport, C::ProgramExit}));
    EXPECT_EQ(menu.Children(C::OpenMenu),
              (std::vector<C>{C::TileSetMenu, C::FandeckMenu, C::CorrelationFileMenu}));
    EXPECT_EQ(
        menu.Children(C::GenerateFunction),
        (std::vector<C>{C::GenerateCCF, C::GenerateCSS, C::GenerateConvData, C::SetTolerances}));
    EXPECT_EQ(menu.Children(C::SaveFile),
              (std::vector<C>{C::SaveCorrelatedFandeck, C::SaveCoefficients, C::SaveProCompRep}));
    // Captions the user reads, including their odd spacing.
    EXPECT_EQ(menu.Caption(C::CorrelationFileMenu), "Correlation Coefficient File ( *.ccf)");
    EXPECT_EQ(menu.Caption(C::ToFile), "Profile XXX");
    EXPECT_EQ(menu.Caption(C::CorrelatedTargetInstrumentSaveSet),
              "from Correlated Target Instrument");
    // Names are unique and found again.
    std::set<std::string_view> names;
    for (const CommandItem& item : menu.Items()) {
        EXPECT_TRUE(names.insert(item.Name).second) << item.Name;
        EXPECT_EQ(MenuState::FindByName(item.Name), item.Id);
    }
    EXPECT_FALSE(MenuState::FindByName("NoSuchItem").has_value());
}

TEST(MenuState, ItemUnderADisabledHeadIsNotAvailable) {
    MenuState menu;
    menu.SetEnabled(C::GenerateFunction, false);
    EXPECT_TRUE(menu.Enabled(C::GenerateCCF));
    EXPECT_FALSE(menu.Available(C::GenerateCCF));
    menu.SetEnabled(C::GenerateFunction, true);
    menu.SetEnabled(C::OpenMenu, false);
    EXPECT_FALSE(menu.Available(C::MasterInstrumentTileSet));
    EXPECT_TRUE(menu.Available(C::GenerateCCF));
}

TEST(MenuState, ListenerHearsOnlyRealChanges) {
    struct Recorder : CommandListener {
        std::vector<CommandItem> changes;
        void CommandChanged(const CommandItem& item) override { changes.push_back(item); }
    } recorder;
    MenuState menu;
    menu.SetListener(&recorder);
    menu.SetEnabled(C::GenerateCCF, true);  // already enabled
    menu.SetCaption(C::DisplayCommand, "Display");
    EXPECT_TRUE(recorder.changes.empty());
    menu.SetEnabled(C::GenerateCCF, false);
    menu.SetCaption(C::DisplayCommand, "Show SCE Data");
    menu.SetVisible(C::RawDataCommand, false);
    ASSERT_EQ(recorder.changes.size(), 3u);
    EXPECT_EQ(recorder.changes[0].Id, C::GenerateCCF);
    EXPECT_FALSE(recorder.changes[0].Enabled);
    EXPECT_EQ(recorder.changes[1].Caption, "Show SCE Data");
    EXPECT_FALSE(recorder.changes[2].Visible);
}

TEST(UpdateCommandState, BothTileSetsWithoutFandecksAllowProfilingOnly) {
    GlobalVariables ws;
    ws.MasterTileSetLoaded = ws.TargetTileSetLoaded = true;
    MenuState menu = FreshMenu();
    menu.SetEnabled(C::GenerateFunction, false);
    UpdateCommandState(ws, menu);
    EXPECT_TRUE(menu.Enabled(C::GenerateFunction));
    EXPECT_TRUE(menu.Enabled(C::GenerateCCF));
    EXPECT_FALSE(menu.Enabled(C::GenerateCSS));
    EXPECT_TRUE(menu.Enabled(C::GenerateConvData));
}

TEST(UpdateCommandState, OnlyTheMasterFandeckDisablesTheGenerateMenu) {
    GlobalVariables ws;
    ws.MasterSaveSetLoaded = true;
    MenuState menu = FreshMenu();
    UpdateCommandState(ws, menu);
    EXPECT_FALSE(menu.Enabled(C::GenerateFunction));
    // The items under it keep their own flags; the head hides them.
    EXPECT_TRUE(menu.Enabled(C::GenerateCCF));
    EXPECT_FALSE(menu.Available(C::GenerateCCF));
}

TEST(UpdateCommandState, TargetFandeckWithCoefficientsAllowsConversionOnly) {
    GlobalVariables ws;
    ws.TargetSaveSetLoaded = true;
    ws.CoefficientsLoaded = true;
    MenuState menu = FreshMenu();
    menu.SetEnabled(C::GenerateFunction, false);
    menu.SetEnabled(C::GenerateConvData, false);
    UpdateCommandState(ws, menu);
    EXPECT_TRUE(menu.Enabled(C::GenerateFunction));
    EXPECT_TRUE(menu.Enabled(C::GenerateConvData));
    EXPECT_FALSE(menu.Enabled(C::GenerateCCF));
    EXPECT_FALSE(menu.Enabled(C::GenerateCSS));
}

TEST(UpdateCommandState, BothFandecksAndCoefficientsAllowTheCorrelatedSaveSet) {
    GlobalVariables ws;
    ws.MasterSaveSetLoaded = ws.TargetSaveSetLoaded = ws.CoefficientsLoaded = true;
    MenuState menu = FreshMenu();
    for (C id : {C::GenerateFunction, C::GenerateCCF, C::GenerateCSS, C::GenerateConvData}) {
        menu.SetEnabled(id, false);
    }
    UpdateCommandState(ws, menu);
    EXPECT_TRUE(menu.Enabled(C::GenerateFunction));
    EXPECT_TRUE(menu.Enabled(C::GenerateCSS));
    EXPECT_TRUE(menu.Enabled(C::GenerateConvData));
    // Profiling needs tile sets, not fandecks.
    EXPECT_FALSE(menu.Enabled(C::GenerateCCF));
}

TEST(UpdateCommandState, NothingLoadedDisablesGenerate) {
    GlobalVariables ws;
    MenuState menu = FreshMenu();
    UpdateCommandState(ws, menu);
    EXPECT_FALSE(menu.Enabled(C::GenerateFunction));
    EXPECT_FALSE(menu.Enabled(C::SaveCoefficients));
    // SaveFile enabled and no correlated fandeck: its save item goes off.
    EXPECT_FALSE(menu.Enabled(C::SaveCorrelatedFandeck));
    // PrintReport and ToFile both on and nothing calculated: the certificate goes off.
    EXPECT_FALSE(menu.Enabled(C::ToPrinter));
}

TEST(UpdateCommandState, CalculatedCoefficientsOpenSaveAndPrint) {
    GlobalVariables ws;
    ws.MasterTileSetLoaded = ws.TargetTileSetLoaded = true;
    ws.CoefficientsCalculated = true;
    ws.PerformanceDataReady = true;
    MenuState menu = FreshMenu();
    for (C id :
         {C::SaveFile, C::SaveCoefficients, C::SaveProCompRep, C::PrintReport, C::ToPrinter}) {
        menu.SetEnabled(id, false);
    }
    UpdateCommandState(ws, menu);
    for (C id :
         {C::SaveFile, C::SaveCoefficients, C::SaveProCompRep, C::PrintReport, C::ToPrinter}) {
        EXPECT_TRUE(menu.Enabled(id)) << menu.Item(id).Name;
    }
    EXPECT_FALSE(menu.Enabled(C::ToFile));
    // Branch 5 runs after branch 2 and wins.
    EXPECT_FALSE(menu.Enabled(C::InstrumentPerformance));
}

TEST(UpdateCommandState, GeneratedCoefficientsKeepSaveAndPrintOff) {
    GlobalVariables ws;
    ws.CoefficientsCalculated = true;
    ws.CoefficientsGenerated = true;
    MenuState menu = FreshMenu();
    UpdateCommandState(ws, menu);
    EXPECT_FALSE(menu.Enabled(C::SaveCoefficients));
    EXPECT_TRUE(menu.Enabled(C::SaveProCompRep));
    EXPECT_FALSE(menu.Enabled(C::PrintReport));
    EXPECT_TRUE(menu.Enabled(C::ToPrinter));
}

TEST(UpdateCommandState, PerformanceDataEnablesItsPrintout) {
    GlobalVariables ws;
    ws.PerformanceDataReady = true;
    MenuState menu = FreshMenu();
    menu.SetEnabled(C::PrintReport, false);
    menu.SetEnabled(C::InstrumentPerformance, false);
    UpdateCommandState(ws, menu);
    EXPECT_TRUE(menu.Enabled(C::PrintReport));
    EXPECT_TRUE(menu.Enabled(C::InstrumentPerformance));
}

TEST(UpdateCommandState, ConversionAndCorrelatedFandeckOpenTheirSaves) {
    GlobalVariables ws;
    ws.ConversionDone = true;
    ws.CorrelatedFandeckReady = true;
    MenuState menu = FreshMenu();
    menu.SetEnabled(C::SaveFile, false);
    menu.SetEnabled(C::SaveCorrelatedFandeck, false);
    UpdateCommandState(ws, menu);
    EXPECT_TRUE(menu.Enabled(C::SaveFile));
    EXPECT_TRUE(menu.Enabled(C::SaveCorrelatedFandeck));
    EXPECT_FALSE(menu.Enabled(C::SaveCoefficients));
}

TEST(UpdateCommandState, DisabledSaveMenuKeepsItsFandeckItem) {
    GlobalVariables ws;
    MenuState menu = FreshMenu();
    menu.SetEnabled(C::SaveFile, false);
    UpdateCommandState(ws, menu);
    // Only an enabled Save menu has its correlated item switched off.
    EXPECT_TRUE(menu.Enabled(C::SaveCorrelatedFandeck));
}

}  // namespace
}  // namespace tintara
