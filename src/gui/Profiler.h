// The main window of the desktop application.
#pragma once

#include <QMainWindow>

#include "workspace/GlobalVariables.h"

namespace tintara::gui {

// The program's only top-level window, captioned "Tintara Profiler". Owns nothing of the
// workspace: the application object passes it by reference.
class Profiler : public QMainWindow {
    Q_OBJECT
public:
    explicit Profiler(GlobalVariables& ws, QWidget* parent = nullptr);

private:
    GlobalVariables& m_ws;
};

}  // namespace tintara::gui
