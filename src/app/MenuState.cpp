#include "app/MenuState.h"

namespace tintara {

namespace {

struct ItemSpec {
    CommandId id;
    std::string_view name;
    std::string_view caption;
    std::optional<CommandId> parent;
    bool isButton;
};

using C = CommandId;

// The menu bar, depth first, then the three buttons under the grid. Captions are the window's
// own, including the blank inside "( *.ccf)".
constexpr std::array<ItemSpec, kCommandCount> kItems{{
    {C::FileMenu, "FileMenu", "File", std::nullopt, false},
    {C::OpenMenu, "OpenMenu", "Open", C::FileMenu, false},
    {C::TileSetMenu, "TileSetMenu", "Tile Set (*.wsv)", C::OpenMenu, false},
    {C::MasterInstrumentTileSet, "MasterInstrumentTileSet", "from Master Instrument",
     C::TileSetMenu, false},
    {C::TargetInstrumentTileSet, "TargetInstrumentTileSet", "from Target Instrument",
     C::TileSetMenu, false},
    {C::FandeckMenu, "FandeckMenu", "Fandeck WSV SaveSet (*.wsv)", C::OpenMenu, false},
    {C::MasterInstrumentSaveSet, "MasterInstrumentSaveSet", "from Master Instrument",
     C::FandeckMenu, false},
    {C::TargetInstrumentSaveSet, "TargetInstrumentSaveSet", "from Target Instrument",
     C::FandeckMenu, false},
    {C::CorrelatedTargetInstrumentSaveSet, "CorrelatedTargetInstrumentSaveSet",
     "from Correlated Target Instrument", C::FandeckMenu, false},
    {C::CorrelationFileMenu, "CorrelationFileMenu", "Correlation Coefficient File ( *.ccf)",
     C::OpenMenu, false},
    {C::SaveFile, "SaveFile", "Save", C::FileMenu, false},
    {C::SaveCorrelatedFandeck, "SaveCorrelatedFandeck", "Correlated Fandeck SaveSet (*.wsv)",
     C::SaveFile, false},
    {C::SaveCoefficients, "SaveCoefficients", "Correlated Coefficient File (*.ccf)", C::SaveFile,
     false},
    {C::SaveProCompRep, "SaveProCompRep", "Profile Component Report (*.txt)", C::SaveFile, false},
    {C::PrintReport, "PrintReport", "Print", C::FileMenu, false},
    {C::ToFile, "ToFile", "Profile XXX", C::PrintReport, false},
    {C::ToPrinter, "ToPrinter", "Certificate of Performance", C::PrintReport, false},
    {C::InstrumentPerformance, "InstrumentPerformance", "Instrument Performance", C::PrintReport,
     false},
    {C::ProgramExit, "ProgramExit", "Exit", C::FileMenu, false},
    {C::GenerateFunction, "GenerateFunction", "Generate", std::nullopt, false},
    {C::GenerateCCF, "GenerateCCF", "Correlation Coefficients", C::GenerateFunction, false},
    {C::GenerateCSS, "GenerateCSS", "Correlated SaveSet", C::GenerateFunction, false},
    {C::GenerateConvData, "GenerateConvData", "Converted Data", C::GenerateFunction, false},
    {C::SetTolerances, "SetTolerances", "Tolerances", C::GenerateFunction, false},
    {C::WizardList, "WizardList", "Wizards", std::nullopt, false},
    {C::WizardProfile, "WizardProfile", "Profile", C::WizardList, false},
    {C::WizardLegacy, "WizardLegacy", "Legacy Conversion", C::WizardList, false},
    {C::WizardPerformance, "WizardPerformance", "Instrument Performance", C::WizardList, false},
    {C::CorrectedDataCommand, "CorrectedDataCommand", "Corrected Data", std::nullopt, true},
    {C::RawDataCommand, "RawDataCommand", "Raw Data", std::nullopt, true},
    {C::DisplayCommand, "DisplayCommand", "Display", std::nullopt, true},
}};

}  // namespace

MenuState::MenuState() {
    for (std::size_t i = 0; i < kItems.size(); ++i) {
        const ItemSpec& spec = kItems[i];
        CommandItem& item = m_items[i];
        item.Id = spec.id;
        item.Name = spec.name;
        item.Caption = std::string(spec.caption);
        item.Parent = spec.parent;
        item.IsButton = spec.isButton;
    }
}

bool MenuState::Available(CommandId id) const {
    for (std::optional<CommandId> at = id; at; at = Item(*at).Parent) {
        if (!Item(*at).Enabled || !Item(*at).Visible)
            return false;
    }
    return true;
}

void MenuState::SetEnabled(CommandId id, bool enabled) {
    CommandItem& item = m_items[Index(id)];
    if (item.Enabled == enabled)
        return;
    item.Enabled = enabled;
    Notify(id);
}

void MenuState::SetCaption(CommandId id, const std::string& caption) {
    CommandItem& item = m_items[Index(id)];
    if (item.Caption == caption)
        return;
    item.Caption = caption;
    Notify(id);
}

void MenuState::SetVisible(CommandId id, bool visible) {
    CommandItem& item = m_items[Index(id)];
    if (item.Visible == visible)
        return;
    item.Visible = visible;
    Notify(id);
}

void MenuState::SetBackColor(CommandId id, std::optional<uint32_t> color) {
    CommandItem& item = m_items[Index(id)];
    if (item.BackColor == color)
        return;
    item.BackColor = color;
    Notify(id);
}

std::vector<CommandId> MenuState::Children(std::optional<CommandId> parent) const {
    std::vector<CommandId> children;
    for (const CommandItem& item : m_items) {
        if (item.IsButton)
            continue;
        if (item.Parent == parent)
            children.push_back(item.Id);
    }
    return children;
}

std::optional<CommandId> MenuState::FindByName(std::string_view name) {
    for (const ItemSpec& spec : kItems) {
        if (spec.name == name)
            return spec.id;
    }
    return std::nullopt;
}

void MenuState::Notify(CommandId id) {
    if (m_listener)
        m_listener->CommandChanged(Item(id));
}

void UpdateCommandState(const GlobalVariables& ws, MenuState& menu) {
    const auto enableGenerate = [&menu] {
        for (CommandId id :
             {C::GenerateFunction, C::GenerateCCF, C::GenerateCSS, C::GenerateConvData}) {
            menu.SetEnabled(id, true);
        }
    };

    // 1. The Generate menu, from what is loaded.
    if (ws.MasterTileSetLoaded && ws.TargetTileSetLoaded) {
        enableGenerate();
    } else if (ws.MasterSaveSetLoaded && !ws.TargetSaveSetLoaded) {
        menu.SetEnabled(C::GenerateFunction, false);
    } else if (ws.MasterSaveSetLoaded && ws.TargetSaveSetLoaded && ws.CoefficientsLoaded) {
        enableGenerate();
    } else if (ws.TargetSaveSetLoaded && ws.CoefficientsLoaded) {
        menu.SetEnabled(C::GenerateFunction, true);
        menu.SetEnabled(C::GenerateConvData, true);
    } else {
        menu.SetEnabled(C::GenerateFunction, false);
    }

    // 2. A comparison can be printed.
    if (ws.PerformanceDataReady) {
        menu.SetEnabled(C::PrintReport, true);
        menu.SetEnabled(C::InstrumentPerformance, true);
    }

    // 3. Within an enabled Generate menu, each item follows its own inputs.
    if (menu.Enabled(C::GenerateFunction)) {
        menu.SetEnabled(C::GenerateCCF, ws.MasterTileSetLoaded && ws.TargetTileSetLoaded);
        menu.SetEnabled(C::GenerateCSS,
                        ws.MasterSaveSetLoaded && ws.TargetSaveSetLoaded && ws.CoefficientsLoaded);
    }

    // 4. A converted fandeck can be saved, but there are no new coefficients to save.
    if (ws.ConversionDone) {
        menu.SetEnabled(C::SaveFile, true);
        menu.SetEnabled(C::SaveCoefficients, false);
    }

    // 5. Coefficients in memory.
    if (!ws.CoefficientsCalculated) {
        if (menu.Enabled(C::PrintReport) && menu.Enabled(C::ToFile)) {
            menu.SetEnabled(C::ToPrinter, false);
        }
        menu.SetEnabled(C::SaveCoefficients, false);
    } else {
        for (CommandId id :
             {C::SaveFile, C::SaveCoefficients, C::SaveProCompRep, C::PrintReport, C::ToPrinter}) {
            menu.SetEnabled(id, true);
        }
        menu.SetEnabled(C::ToFile, false);
        menu.SetEnabled(C::InstrumentPerformance, false);
        if (ws.CoefficientsGenerated) {
            menu.SetEnabled(C::SaveCoefficients, false);
            menu.SetEnabled(C::SaveProCompRep, true);
            menu.SetEnabled(C::PrintReport, false);
        }
    }

    // 6. A correlated fandeck ready to save.
    if (!ws.CorrelatedFandeckReady) {
        if (menu.Enabled(C::SaveFile))
            menu.SetEnabled(C::SaveCorrelatedFandeck, false);
    } else {
        menu.SetEnabled(C::SaveFile, true);
        menu.SetEnabled(C::SaveCorrelatedFandeck, true);
    }
}

}  // namespace tintara
