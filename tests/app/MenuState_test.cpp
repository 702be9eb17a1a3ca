#include "app/MenuState.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace tintara {
namespace {

using C = CommandId;

TEST(MenuState, TreeNamesAndChangeNotices) {
    struct Recorder : CommandListener {
        std::vector<std::string> captions;
        void CommandChanged(const CommandItem& item) override { captions.push_back(item.Caption); }
    } recorder;
    MenuState menu;
    EXPECT_EQ(
        menu.Children(C::GenerateFunction),
        (std::vector<C>{C::GenerateCCF, C::GenerateCSS, C::GenerateConvData, C::SetTolerances}));
    EXPECT_EQ(menu.Caption(C::CorrelationFileMenu), "Correlation Coefficient File ( *.ccf)");
    for (const CommandItem& item : menu.Items())
        EXPECT_EQ(MenuState::FindByName(item.Name), item.Id) << item.Name;  // names are unique
    menu.SetListener(&recorder);  // it hears real changes only
    menu.SetEnabled(C::GenerateCCF, true);
    menu.SetCaption(C::DisplayCommand, "Display");
    menu.SetCaption(C::DisplayCommand, "Show SCE Data");
    EXPECT_EQ(recorder.captions, std::vector<std::string>{"Show SCE Data"});
}

// The ids of the items named in `names` (their names, blank-separated).
std::vector<C> Items(const std::string& names) {
    std::istringstream in(names);
    std::vector<C> ids;
    for (std::string name; in >> name;)
        ids.push_back(MenuState::FindByName(name).value());
    return ids;
}

TEST(UpdateCommandState, FollowsWhatIsLoadedAndCalculated) {
    using W = GlobalVariables;
    const std::map<std::string, bool W::*> flags = {
        {"MasterTiles", &W::MasterTileSetLoaded},   {"TargetTiles", &W::TargetTileSetLoaded},
        {"MasterFandeck", &W::MasterSaveSetLoaded}, {"TargetFandeck", &W::TargetSaveSetLoaded},
        {"Loaded", &W::CoefficientsLoaded},         {"Calculated", &W::CoefficientsCalculated},
        {"Generated", &W::CoefficientsGenerated},   {"Performance", &W::PerformanceDataReady},
        {"Converted", &W::ConversionDone},          {"Correlated", &W::CorrelatedFandeckReady}};
    // The state set, the items disabled before, those then enabled, and those not available.
    const char* const rows[][4] = {
        {"", "", "", "GenerateFunction SaveCoefficients SaveCorrelatedFandeck ToPrinter"},
        {"MasterTiles TargetTiles", "GenerateFunction",
         "GenerateFunction GenerateCCF GenerateConvData", "GenerateCSS"},
        {"MasterFandeck", "", "",
         "GenerateFunction GenerateCCF GenerateCSS GenerateConvData SetTolerances"},
        {"TargetFandeck Loaded", "GenerateFunction GenerateConvData",
         "GenerateFunction GenerateConvData", "GenerateCCF GenerateCSS"},
        {"MasterFandeck TargetFandeck Loaded", "GenerateFunction GenerateCSS GenerateConvData",
         "GenerateFunction GenerateCSS GenerateConvData", "GenerateCCF"},
        {"Calculated Performance", "SaveFile SaveCoefficients SaveProCompRep PrintReport ToPrinter",
         "SaveFile SaveCoefficients SaveProCompRep PrintReport ToPrinter",
         "ToFile InstrumentPerformance"},
        {"Calculated Generated", "", "SaveProCompRep ToPrinter", "SaveCoefficients PrintReport"},
        {"Performance", "PrintReport InstrumentPerformance", "PrintReport InstrumentPerformance",
         ""},
        {"Converted Correlated", "SaveFile SaveCorrelatedFandeck", "SaveFile SaveCorrelatedFandeck",
         "SaveCoefficients"},
        {"", "SaveFile", "SaveCorrelatedFandeck", ""},  // a disabled Save menu keeps its item
    };
    for (const auto& [state, disabled, enabled, unavailable] : rows) {
        SCOPED_TRACE(std::string("state: ") + state + "; disabled before: " + disabled);
        GlobalVariables ws;
        std::istringstream in(state);
        for (std::string flag; in >> flag;)
            ws.*flags.at(flag) = true;
        MenuState menu;  // everything enabled, as before the start-up command runs
        for (C id : Items(disabled))
            menu.SetEnabled(id, false);
        UpdateCommandState(ws, menu);
        for (C id : Items(enabled))
            EXPECT_TRUE(menu.Enabled(id)) << menu.Item(id).Name;
        for (C id : Items(unavailable))
            EXPECT_FALSE(menu.Available(id)) << menu.Item(id).Name;
    }
}

}  // namespace
}  // namespace tintara
