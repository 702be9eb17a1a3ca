// The "Tolerances" dialog as a plain model: two DE limits on scroll bars and the colour space.
#pragma once

#include <array>
#include <filesystem>
#include <functional>
#include <string>

#include "app/DialogModel.h"
#include "engine/ColorMatch.h"
#include "workspace/GlobalVariables.h"

namespace tintara {

class UserInterface;

// Row 0 is the single sample limit, row 1 the average limit; each scroll bar runs 1..100 in steps
// of 0.05 DE (position 1 = 5.00, 100 = 0.05), and the text boxes show what Accept stores. Accept
// stores both limits and the colour space in the workspace and in Profiler.ini; when the colour
// space differs from the one the colour-matching component uses, the component is switched, the
// result display cleared, and the user told to reload the save sets. Cancel stores nothing.
class GetTolerancesDialog : public DialogModel {
  public:
    static constexpr const char* kCaption = "Tolerances";
    static constexpr std::array<const char*, 2> kRowCaptions{"Single Tile DE Limit is -->",
                                                             "Average Tile DE Limit -->"};

    // `iniFile` is where Accept writes Profiler.ini; `clearScreen` clears the main window's result
    // display.
    GetTolerancesDialog(GlobalVariables& ws, UserInterface& ui, ColorMatch& plm,
                        std::filesystem::path iniFile, std::function<void()> clearScreen);

    // Positions the scroll bars from the workspace's limits (clamped to 1..100), fills the text
    // boxes, selects the colour-space option and disables Accept.
    void Form_Activate();
    // The window moved scroll bar `index` to `position` (clamped to 1..100).
    void VScroll1_Change(int index, int position);
    void Option1_Click();  // CIE Lab
    void Option2_Click();  // Hunter Lab
    // Throws IoError when Profiler.ini cannot be written; the limits are then already changed in
    // the workspace.
    void AcceptButton_Click();
    void CancelButton_Click();

    std::array<int, 2> ScrollPosition{1, 1};
    std::array<std::string, 2> TolText{"0.00", "0.00"};
    bool Option1 = true;   // CIE Lab
    bool Option2 = false;  // Hunter Lab
    bool AcceptButtonEnabled = true;

  private:
    ColorMatch& m_plm;
    std::filesystem::path m_iniFile;
    std::function<void()> m_clearScreen;
};

}  // namespace tintara
