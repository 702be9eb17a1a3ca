// tintara-profiler: the desktop application.
#include <QApplication>

#include "gui/Profiler.h"
#include "workspace/GlobalVariables.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    tintara::GlobalVariables workspace;
    tintara::gui::Profiler window(workspace);
    window.show();
    return app.exec();
}
