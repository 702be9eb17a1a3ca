#include "app/MenuState.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace tintara {
namespace {

using C = CommandId;

TEST(MenuState, TreeCaptionsAvailabilityAndChangeNotices) {
    MenuState menu;
    EXPECT_EQ(menu.Children(std::nullopt),
              (std::vector<C>{C::FileMenu, C::GenerateFunction, C::WizardList}));
    EXPECT_EQ(menu.Children(C::FileMenu),
              (std::vector<C>{C::OpenMenu, C::SaveFile, C::PrintReport, C::ProgramExit}));
    EXPECT_EQ(
        menu.Children(C::GenerateFunction),
        (std::vector<C>{C::GenerateCCF, C::GenerateCSS, C::GenerateConvData, C::SetTolerances}));
    // Captions the user reads, including their odd spacing.
    EXPECT_EQ(menu.Caption(C::CorrelationFileMenu), "Correlation Coefficient File ( *.ccf)");
    EXPECT_EQ(menu.Caption(C::ToFile), "Profile XXX");
    std::set<std::string_view> names;
    for (const CommandItem& item : menu.Items()) {
        EXPECT_TRUE(names.insert(item.Name).second) << item.Name;
        EXPECT_EQ(MenuState::FindByName(item.Name), item.Id);
    }
    EXPECT_FALSE(MenuState::FindByName("NoSuchItem").has_value());

    // An item under a disabled head is not available, whatever its own flag.
    menu.SetEnabled(C::OpenMenu, false);
    EXPECT_TRUE(menu.Enabled(C::MasterInstrumentTileSet));
    EXPECT_FALSE(menu.Available(C::MasterInstrumentTileSet));
    EXPECT_TRUE(menu.Available(C::GenerateCCF));

    // The listener hears real changes only.
    struct Recorder : CommandListener {
        std::vector<CommandItem> changes;
        void CommandChanged(const CommandItem& item) override { changes.push_back(item); }
    } recorder;
    menu.SetListener(&recorder);
    menu.SetEnabled(C::GenerateCCF, true);  // already enabled
    menu.SetCaption(C::DisplayCommand, "Display");
    EXPECT_TRUE(recorder.changes.empty());
    menu.SetEnabled(C::GenerateCCF, false);
    menu.SetCaption(C::DisplayCommand, "Show SCE Data");
    menu.SetVisible(C::RawDataCommand, false);
    ASSERT_EQ(recorder.changes.size(), 3u);
    EXPECT_FALSE(recorder.changes[0].Enabled);
    EXPECT_EQ(recorder.changes[1].Caption, "Show SCE Data");
    EXPECT_FALSE(recorder.changes[2].Visible);
}

TEST(UpdateCommandState, FollowsWhatIsLoadedAndCalculated) {
    using W = GlobalVariables;
    struct Row {
        const char* state;
        std::function<void(W&)> set;
        std::vector<C> startDisabled, enabled, unavailable;
    };
    const std::vector<C> generateMenu = {C::GenerateFunction, C::GenerateCCF, C::GenerateCSS,
                                         C::GenerateConvData, C::SetTolerances};
    const std::vector<Row> rows = {
        {"nothing loaded (start-up)",
         [](W&) {},
         {},
         {},
         {C::GenerateFunction, C::SaveCoefficients, C::SaveCorrelatedFandeck, C::ToPrinter}},
        {"both tile sets, no fandeck",
         [](W& w) { w.MasterTileSetLoaded = w.TargetTileSetLoaded = true; },
         {C::GenerateFunction},
         {C::GenerateFunction, C::GenerateCCF, C::GenerateConvData},
         {C::GenerateCSS}},
        {"only the Master fandeck",
         [](W& w) { w.MasterSaveSetLoaded = true; },
         {},
         {},
         generateMenu},
        {"Target fandeck and coefficients",
         [](W& w) { w.TargetSaveSetLoaded = w.CoefficientsLoaded = true; },
         {C::GenerateFunction, C::GenerateConvData},
         {C::GenerateFunction, C::GenerateConvData},
         {C::GenerateCCF, C::GenerateCSS}},
        {"both fandecks and coefficients",
         [](W& w) { w.MasterSaveSetLoaded = w.TargetSaveSetLoaded = w.CoefficientsLoaded = true; },
         {C::GenerateFunction, C::GenerateCSS, C::GenerateConvData},
         {C::GenerateFunction, C::GenerateCSS, C::GenerateConvData},
         {C::GenerateCCF}},
        {"coefficients calculated (after performance data)",
         [](W& w) { w.CoefficientsCalculated = w.PerformanceDataReady = true; },
         {C::SaveFile, C::SaveCoefficients, C::SaveProCompRep, C::PrintReport, C::ToPrinter},
         {C::SaveFile, C::SaveCoefficients, C::SaveProCompRep, C::PrintReport, C::ToPrinter},
         {C::ToFile, C::InstrumentPerformance}},
        {"coefficients generated",
         [](W& w) { w.CoefficientsCalculated = w.CoefficientsGenerated = true; },
         {},
         {C::SaveProCompRep, C::ToPrinter},
         {C::SaveCoefficients, C::PrintReport}},
        {"performance data",
         [](W& w) { w.PerformanceDataReady = true; },
         {C::PrintReport, C::InstrumentPerformance},
         {C::PrintReport, C::InstrumentPerformance},
         {}},
        {"converted and correlated fandeck",
         [](W& w) { w.ConversionDone = w.CorrelatedFandeckReady = true; },
         {C::SaveFile, C::SaveCorrelatedFandeck},
         {C::SaveFile, C::SaveCorrelatedFandeck},
         {C::SaveCoefficients}},
        {"Save menu disabled", [](W&) {}, {C::SaveFile}, {C::SaveCorrelatedFandeck}, {}},
    };
    for (const Row& row : rows) {
        GlobalVariables ws;
        row.set(ws);
        MenuState menu;  // everything enabled, as before the start-up command runs
        for (C id : row.startDisabled)
            menu.SetEnabled(id, false);
        UpdateCommandState(ws, menu);
        for (C id : row.enabled)
            EXPECT_TRUE(menu.Enabled(id)) << row.state << ": " << menu.Item(id).Name;
        for (C id : row.unavailable)
            EXPECT_FALSE(menu.Available(id)) << row.state << ": " << menu.Item(id).Name;
    }
}

}  // namespace
}  // namespace tintara
