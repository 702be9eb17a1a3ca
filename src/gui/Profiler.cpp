#include "gui/Profiler.h"

namespace tintara::gui {

Profiler::Profiler(GlobalVariables& ws, QWidget* parent) : QMainWindow(parent), m_ws(ws) {
    setWindowTitle(QStringLiteral("Tintara Profiler"));
    resize(800, 600);
}

}  // namespace tintara::gui
