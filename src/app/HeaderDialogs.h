// The small modal dialogs of the profiling workflow as plain models: the wizard step, the profile
// header and the geometry selector. A window shows their fields and calls their handlers.
#pragma once

#include <array>
#include <string>

#include "app/DialogModel.h"
#include "workspace/GlobalVariables.h"

namespace tintara {

class UserInterface;

// One step of a wizard: a caption, an explanatory text, OK and Cancel. The step's answer travels
// through the workspace's WizardProceed, which opening the dialog clears; only OK sets it.
class WizardForm {
  public:
    // `stepText` is the bare text; the dialog shows it after a line break, with a few blanks
    // appended (the text box is multi-line and starts on its second line).
    WizardForm(GlobalVariables& ws, const std::string& stepText);

    // Caption := WizardTitle; WizardProceed := False.
    void Form_Activate();
    void OKButton_Click();      // WizardProceed := True; closes
    void CancelButton_Click();  // WizardProceed := False; closes (also the window's close box)

    const std::string& Caption() const { return m_caption; }
    const std::string& WizardText() const { return m_text; }
    bool Closed() const { return m_closed; }

  private:
    GlobalVariables& m_ws;
    std::string m_caption;
    std::string m_text;
    bool m_closed = false;
};

// Shows one wizard step modally: sets WizardTitle, opens the step dialog and returns
// WizardProceed (true when the user pressed OK).
bool RunWizardStep(GlobalVariables& ws, UserInterface& ui, const std::string& title,
                   const std::string& text);

// Identification of the Master (column 0) and the Target (column 1) tile-set measurements, with
// the tile set serial, instrument serial and operator editable. The dialog validates nothing: any
// text is accepted and an empty field stays empty. Only OK copies the edits back.
class ProfileHeaderDialog : public DialogModel {
  public:
    static constexpr int kMaster = 0;
    static constexpr int kTarget = 1;

    ProfileHeaderDialog(GlobalVariables& ws, UserInterface& ui);

    // Fills labels and text boxes from the workspace. On the dialog's first activation while a
    // wizard runs, shows the header wizard step first (its Cancel does not close this dialog).
    void Form_Activate();

    void OKButton_Click();    // copies the three text boxes of both columns back, then closes
    void QuitButton_Click();  // closes without copying (also the window's close box)
    // Typing in the serial or operator boxes makes sure OK can be pressed.
    void SerialText_Change(int index);
    void OperatorText_Change(int index);

    // Read-only labels, e.g. "Type:  " + MasterType.
    std::array<std::string, 2> TypeLabel, StatusLabel, CompanyLabel, DateLabel;
    // Editable boxes: tile set serial, instrument serial, operator.
    std::array<std::string, 2> AvianText, SerialText, OperatorText;
    bool OKButtonEnabled = true;
};

// Asks whether the data are treated as SCI (Option1) or SCE (Option2). Opens with the current
// GeometryChoice selected. Closing without OK leaves GeometryChoice as it was.
class SelectGeometryDialog : public DialogModel {
  public:
    SelectGeometryDialog(GlobalVariables& ws, UserInterface& ui);

    // On the first activation while a wizard runs, shows the geometry wizard step first; when that
    // step is cancelled the dialog closes at once (Closed() is then true before it is ever shown).
    void Form_Activate();

    void Option1_Click();   // SCI
    void Option2_Click();   // SCE
    void OKButton_Click();  // GeometryChoice := Option1 selected; closes
    void Close();           // the window's close box: nothing stored

    bool Option1 = true;
    bool Option2 = false;
    bool OKButtonEnabled = true;
};

}  // namespace tintara
