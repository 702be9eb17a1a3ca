// tintara-profiler: the desktop application.
#include <QApplication>
#include <QStringList>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "gui/Profiler.h"
#include "gui/QtUserInterface.h"
#include "workspace/GlobalVariables.h"

namespace {

// TINTARA_SELF_TEST=1: start as usual, then report on standard output whether the window shows
// its title and its background picture, and exit (0 when both are there, 1 otherwise). A message
// the start-up would show goes to standard error instead and fails the test. Used to check an
// installed copy without a display (QT_QPA_PLATFORM=offscreen).
void RunSelfTest(tintara::gui::Profiler& window, bool& failed) {
    auto* poll = new QTimer(&window);
    int waited = 0;
    QObject::connect(poll, &QTimer::timeout, &window, [&window, &failed, poll, waited]() mutable {
        waited += poll->interval();
        if (!window.Workspace().WindowInitialised && waited < 10000)
            return;
        poll->stop();
        const std::string title = window.windowTitle().toStdString();
        const std::string picture = window.Ui().PicturePath().toStdString();
        const bool shown = window.isVisible() && window.Workspace().WindowInitialised;
        const bool pictureLoaded = window.Canvas()->HasPicture();
        std::printf("tintara-profiler self-test: window \"%s\" %s; background picture %s %s\n",
                    title.c_str(), shown ? "shown" : "NOT shown", picture.c_str(),
                    pictureLoaded ? "loaded" : "NOT loaded");
        std::fflush(stdout);
        QCoreApplication::exit(shown && pictureLoaded && !failed ? 0 : 1);
    });
    poll->start(50);
}

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tintara Profiler"));
    // The command layer compares the whole command line (everything after the program name).
    QStringList arguments = QApplication::arguments();
    arguments.removeFirst();
    const std::string commandLine = arguments.join(QLatin1Char(' ')).toStdString();

    tintara::GlobalVariables workspace;
    tintara::gui::Profiler window(workspace, QApplication::applicationDirPath());
    const char* selfTest = std::getenv("TINTARA_SELF_TEST");
    bool selfTestFailed = false;
    if (selfTest && *selfTest) {
        window.Ui().MessagePresenter = [&selfTestFailed](const tintara::MessageBoxRequest& m) {
            std::fprintf(stderr, "%s: %s\n", m.Title.c_str(), m.Text.c_str());
            selfTestFailed = true;
            return tintara::kResultOk;
        };
        RunSelfTest(window, selfTestFailed);
    }
    window.Start(commandLine);
    window.show();
    return QApplication::exec();
}
