#include "app/HeaderDialogs.h"

#include "app/UserInterface.h"

namespace tintara {

namespace {

// The step text starts on the text box's second line and ends with a few blanks so that the last
// word never touches the box's edge.
constexpr const char* kLineBreak = "\r\n";
constexpr const char* kTrailingBlanks = "     ";

constexpr const char* kHeaderWizardText =
    "In the next window, input the information for the Color Tile Set Serial Number, the "
    "Instrument Serial Number, and the Operator for both the Master and the Target "
    "spectrophotometers.  If this information was previously input into the Save Set (WSV file) "
    "when the tile set was measured, then it will appear here and can be edited if needed.  This "
    "information is saved in the Profile and printed on all certificates.";

constexpr const char* kGeometryWizardText =
    "In the next window, select the Instrument status for the specular component, either SCI "
    "(gloss included) or SCE (gloss excluded).  If you want to generate a Profile for both SCI "
    "and SCE, then you will need to run this Wizard twice\u2014once for each status.  Both "
    "statuses can be stored within the same Profile.  If using a 45/0 instrument, then you only "
    "have one status for the specular component and only need to run the Profile one time.  You "
    "cannot profile a sphere instrument to a 45/0 instrument or vice versa.";

}  // namespace

// ---- WizardForm ----

WizardForm::WizardForm(GlobalVariables& ws, const std::string& stepText)
    : m_ws(ws), m_text(std::string(kLineBreak) + stepText + kTrailingBlanks) {}

void WizardForm::Form_Activate() {
    m_caption = m_ws.WizardTitle;
    m_ws.WizardProceed = false;
}

void WizardForm::OKButton_Click() {
    m_ws.WizardProceed = true;
    m_closed = true;
}

void WizardForm::CancelButton_Click() {
    m_ws.WizardProceed = false;
    m_closed = true;
}

bool RunWizardStep(GlobalVariables& ws, UserInterface& ui, const std::string& title,
                   const std::string& text) {
    WizardForm form(ws, text);
    ws.WizardTitle = title;
    ui.ShowWizardForm(form);
    // A window that closed the step without either button counts as Cancel.
    if (!form.Closed())
        ws.WizardProceed = false;
    return ws.WizardProceed;
}

// ---- ProfileHeaderDialog ----

ProfileHeaderDialog::ProfileHeaderDialog(GlobalVariables& ws, UserInterface& ui)
    : DialogModel(ws, ui) {}

void ProfileHeaderDialog::Form_Activate() {
    struct Side {
        const std::string *type, *status, *company, *date, *tileSet, *serial, *op;
    };
    const Side sides[2] = {
        {&m_ws.MasterType, &m_ws.MasterStatus, &m_ws.MasterCompany, &m_ws.MasterDate,
         &m_ws.MasterTileSetSerial, &m_ws.MasterSerial, &m_ws.MasterOperator},
        {&m_ws.TargetType, &m_ws.TargetStatus, &m_ws.TargetCompany, &m_ws.TargetDate,
         &m_ws.TargetTileSetSerial, &m_ws.TargetSerial, &m_ws.TargetOperator},
    };
    for (int i = 0; i < 2; ++i) {
        TypeLabel[i] = "Type:  " + *sides[i].type;
        StatusLabel[i] = "Status:  " + *sides[i].status;
        CompanyLabel[i] = "Company: " + *sides[i].company;
        DateLabel[i] = "Date:  " + *sides[i].date;
        AvianText[i] = *sides[i].tileSet;
        SerialText[i] = *sides[i].serial;
        OperatorText[i] = *sides[i].op;
    }
    if (!m_activated) {
        m_activated = true;
        if (m_ws.WizardRunning) {
            m_ws.WizardProceed = true;
            RunWizardStep(m_ws, m_ui, "Profile Header Wizard", kHeaderWizardText);
        }
    }
}

void ProfileHeaderDialog::OKButton_Click() {
    m_ws.MasterTileSetSerial = AvianText[kMaster];
    m_ws.MasterSerial = SerialText[kMaster];
    m_ws.MasterOperator = OperatorText[kMaster];
    m_ws.TargetTileSetSerial = AvianText[kTarget];
    m_ws.TargetSerial = SerialText[kTarget];
    m_ws.TargetOperator = OperatorText[kTarget];
    m_accepted = true;
    m_closed = true;
}

void ProfileHeaderDialog::QuitButton_Click() {
    m_closed = true;
}

void ProfileHeaderDialog::SerialText_Change(int /*index*/) {
    OKButtonEnabled = true;
}

void ProfileHeaderDialog::OperatorText_Change(int /*index*/) {
    OKButtonEnabled = true;
}

// ---- SelectGeometryDialog ----

SelectGeometryDialog::SelectGeometryDialog(GlobalVariables& ws, UserInterface& ui)
    : DialogModel(ws, ui), Option1(ws.GeometryChoice), Option2(!ws.GeometryChoice) {}

void SelectGeometryDialog::Form_Activate() {
    if (m_activated)
        return;
    m_activated = true;
    if (m_ws.WizardRunning) {
        m_ws.WizardProceed = true;
        if (!RunWizardStep(m_ws, m_ui, "Profile Geometry Selector Wizard", kGeometryWizardText)) {
            m_closed = true;
        }
    }
}

void SelectGeometryDialog::Option1_Click() {
    Option1 = true;
    Option2 = false;
    OKButtonEnabled = true;
}

void SelectGeometryDialog::Option2_Click() {
    Option1 = false;
    Option2 = true;
}

void SelectGeometryDialog::OKButton_Click() {
    m_ws.GeometryChoice = Option1;
    m_accepted = true;
    m_closed = true;
}

void SelectGeometryDialog::Close() {
    m_closed = true;
}

}  // namespace tintara
