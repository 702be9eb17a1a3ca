// What the modal dialog models share: the workspace and window they work with, and how they ended.
#pragma once

#include "workspace/GlobalVariables.h"

namespace tintara {

class UserInterface;

// A window shows a dialog model until Closed(); Accepted() tells OK (or Accept) from the other
// ways out, which store nothing.
class DialogModel {
  public:
    bool Closed() const { return m_closed; }
    bool Accepted() const { return m_accepted; }

  protected:
    DialogModel(GlobalVariables& ws, UserInterface& ui) : m_ws(ws), m_ui(ui) {}

    GlobalVariables& m_ws;
    UserInterface& m_ui;
    bool m_activated = false;  // Form_Activate has run: its wizard step is shown once
    bool m_closed = false;
    bool m_accepted = false;
};

}  // namespace tintara
