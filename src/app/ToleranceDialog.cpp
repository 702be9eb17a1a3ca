#include "app/ToleranceDialog.h"

#include <algorithm>

#include "app/UserInterface.h"
#include "engine/Tolerances.h"
#include "workspace/NumberFormat.h"

namespace tintara {

namespace {
int Clamp(int position) {
    return std::clamp(position, kScrollMinimum, kScrollMaximum);
}
}  // namespace

GetTolerancesDialog::GetTolerancesDialog(GlobalVariables& ws, UserInterface& ui, ColorMatch& plm,
                                         std::filesystem::path iniFile,
                                         std::function<void()> clearScreen)
    : DialogModel(ws, ui),
      m_plm(plm),
      m_iniFile(std::move(iniFile)),
      m_clearScreen(std::move(clearScreen)) {}

void GetTolerancesDialog::Form_Activate() {
    // A stored 0.01 maps to position 101, beyond the bar: the bar keeps it at its end.
    VScroll1_Change(0, PositionFromLimit(m_ws.SingleSampleTolerance));
    VScroll1_Change(1, PositionFromLimit(m_ws.AverageTolerance));
    if (m_ws.ColorSpace != 0) {
        Option1 = false;
        Option2 = true;
    } else {
        Option1 = true;
        Option2 = false;
    }
    AcceptButtonEnabled = false;
}

void GetTolerancesDialog::VScroll1_Change(int index, int position) {
    ScrollPosition.at(static_cast<std::size_t>(index)) = Clamp(position);
    for (std::size_t row = 0; row < 2; ++row)
        TolText[row] = LimitText(ScrollPosition[row]);
    AcceptButtonEnabled = true;
}

void GetTolerancesDialog::Option1_Click() {
    Option1 = true;
    Option2 = false;
    AcceptButtonEnabled = true;
}

void GetTolerancesDialog::Option2_Click() {
    Option1 = false;
    Option2 = true;
    AcceptButtonEnabled = true;
}

void GetTolerancesDialog::AcceptButton_Click() {
    // What counts is the text shown, read as the host's Val reads it; no range check here (the
    // next start-up's validation catches a value out of range).
    m_ws.SingleSampleTolerance = Val(TolText[0]);
    m_ws.AverageTolerance = Val(TolText[1]);
    const int16_t space = Option1 ? int16_t{0} : int16_t{2};
    WriteTolerances(m_iniFile,
                    ToleranceSettings{m_ws.SingleSampleTolerance, m_ws.AverageTolerance, space});
    m_ws.ColorSpace = space;
    if (m_plm.ColorSpace() != m_ws.ColorSpace) {
        m_plm.SetColorSpace(m_ws.ColorSpace);
        if (m_clearScreen)
            m_clearScreen();
        m_ui.ShowMessage(MessageBoxRequest{
            "Color Space has changed", "SaveSet Data must be reloaded using the new Color Space",
            MessageIcon::None, MessageButtons::Ok, ""});
        m_ws.LastResult = kTrue;
    }
    m_accepted = true;
    m_closed = true;
}

void GetTolerancesDialog::CancelButton_Click() {
    m_closed = true;
}

}  // namespace tintara
