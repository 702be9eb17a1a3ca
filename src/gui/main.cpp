// tintara-profiler: the desktop application.
#include <QApplication>
#include <QStringList>
#include <string>

#include "gui/Profiler.h"
#include "workspace/GlobalVariables.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tintara Profiler"));
    // The command layer compares the whole command line (everything after the program name).
    QStringList arguments = QApplication::arguments();
    arguments.removeFirst();
    const std::string commandLine = arguments.join(QLatin1Char(' ')).toStdString();

    tintara::GlobalVariables workspace;
    tintara::gui::Profiler window(workspace, QApplication::applicationDirPath());
    window.Start(commandLine);
    window.show();
    return QApplication::exec();
}
