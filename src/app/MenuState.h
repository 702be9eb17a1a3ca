// The main window's commands as data: the menu tree and buttons, their captions and enabled flags.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "workspace/GlobalVariables.h"

namespace tintara {

// Every menu item and button of the main window, by its control name. The order of the menu
// entries is the order of the menu bar, depth first.
enum class CommandId : int {
    FileMenu,
    OpenMenu,
    TileSetMenu,
    MasterInstrumentTileSet,
    TargetInstrumentTileSet,
    FandeckMenu,
    MasterInstrumentSaveSet,
    TargetInstrumentSaveSet,
    CorrelatedTargetInstrumentSaveSet,
    CorrelationFileMenu,
    SaveFile,
    SaveCorrelatedFandeck,
    SaveCoefficients,
    SaveProCompRep,
    PrintReport,
    ToFile,
    ToPrinter,
    InstrumentPerformance,
    ProgramExit,
    GenerateFunction,
    GenerateCCF,
    GenerateCSS,
    GenerateConvData,
    SetTolerances,
    WizardList,
    WizardProfile,
    WizardLegacy,
    WizardPerformance,
    // Buttons under the result grid.
    CorrectedDataCommand,
    RawDataCommand,
    DisplayCommand,
};
inline constexpr int kCommandCount = static_cast<int>(CommandId::DisplayCommand) + 1;

// One menu item or button. A menu item with children is a submenu head; its own handler does
// nothing. Parent is empty for the four menu-bar heads and for the buttons.
struct CommandItem {
    CommandId Id;
    std::string_view Name;  // the control name, e.g. "GenerateCCF"
    std::string Caption;
    std::optional<CommandId> Parent;
    bool IsButton = false;
    bool Enabled = true;
    bool Visible = true;
    // A background colour of its own (0xBBGGRR), e.g. the highlighted view switch.
    std::optional<uint32_t> BackColor;
};

// Told about every change of a command's enabled flag, caption or visibility (the window mirrors
// the model; the model is what the commands read back).
class CommandListener {
  public:
    virtual ~CommandListener() = default;
    virtual void CommandChanged(const CommandItem& item) = 0;
};

// The enabled/caption/visible state of all commands. Everything starts enabled and visible; the
// start-up command sets the initial state. Setters notify the listener only on a real change.
class MenuState {
  public:
    MenuState();

    const CommandItem& Item(CommandId id) const { return m_items[Index(id)]; }
    bool Enabled(CommandId id) const { return Item(id).Enabled; }
    bool Visible(CommandId id) const { return Item(id).Visible; }
    const std::string& Caption(CommandId id) const { return Item(id).Caption; }
    // True when the item and every menu above it are enabled: the user can pick it.
    bool Available(CommandId id) const;

    void SetEnabled(CommandId id, bool enabled);
    void SetCaption(CommandId id, const std::string& caption);
    void SetVisible(CommandId id, bool visible);
    void SetBackColor(CommandId id, std::optional<uint32_t> color);

    // The children of a menu head in menu order; the four menu-bar heads for an empty parent.
    std::vector<CommandId> Children(std::optional<CommandId> parent) const;
    const std::array<CommandItem, kCommandCount>& Items() const { return m_items; }
    static std::optional<CommandId> FindByName(std::string_view name);

    void SetListener(CommandListener* listener) { m_listener = listener; }

  private:
    static std::size_t Index(CommandId id) { return static_cast<std::size_t>(id); }
    void Notify(CommandId id);

    std::array<CommandItem, kCommandCount> m_items;
    CommandListener* m_listener = nullptr;
};

// Enables and disables the commands from the workspace's load and result flags. The branches run
// in a fixed order and each one reads the state the earlier ones left (for example whether the
// Generate menu ended up enabled); an item a branch does not name keeps its state.
void UpdateCommandState(const GlobalVariables& ws, MenuState& menu);

}  // namespace tintara
