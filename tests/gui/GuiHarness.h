// The real main window under test: scripted file, message, print and modal dialogs.
#pragma once

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QPageSize>
#include <QPushButton>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/ProfilerCommands.h"
#include "engine/Tolerances.h"
#include "files/DemoData.h"
#include "gui/Profiler.h"
#include "gui/QtUserInterface.h"
#include "support/TestPaths.h"

namespace tintara::test {

using DialogScript = std::function<void(QDialog&)>;

// One QApplication for the whole test program (offscreen unless the caller chose a platform).
inline QApplication& GuiApp() {
    static QApplication* app = [] {
        if (std::getenv("QT_QPA_PLATFORM") == nullptr)
            ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
        static int argc = 1;
        static char name[] = "gui-test";
        static char* argv[] = {name, nullptr};
        return new QApplication(argc, argv);
    }();
    return *app;
}

// The child widget of type T named `name` (fails the test when there is none).
template <typename T>
T* Child(QWidget& parent, const char* name) {
    T* child = parent.findChild<T*>(QString::fromLatin1(name));
    EXPECT_NE(child, nullptr) << name;
    return child;
}

// Presses the push button named `name` in `dialog` (fails the test when it cannot be pressed).
inline void Press(QWidget& dialog, const char* name) {
    auto* button = Child<QPushButton>(dialog, name);
    ASSERT_TRUE(button != nullptr && button->isEnabled()) << name << " cannot be pressed";
    button->click();
}

// The front of `queue`, or an empty answer when nothing is queued.
template <typename T>
T Next(std::deque<T>& queue) {
    if (queue.empty())
        return T();
    T front = std::move(queue.front());
    queue.pop_front();
    return front;
}

// The demo tile sets and fandecks (Master, Target, Master, Target); short fandecks keep it quick.
inline std::vector<std::filesystem::path> WriteDemo(const std::filesystem::path& dir,
                                                    int fandeckSamples = 30) {
    DemoParameters parameters;
    parameters.FandeckSamples = fandeckSamples;
    return WriteDemoData(dir, parameters);
}

// A started main window whose program folder is a scratch folder holding the pictures and a
// default Profiler.ini (TINTARA_HOME points there); `prepare` may change the folder before the
// start. Every platform dialog is answered from a queue; a dialog nobody expected fails the test
// and is cancelled. Messages are recorded and answered OK.
struct WindowHarness {
    explicit WindowHarness(const std::string& name,
                           const std::function<void(const std::filesystem::path&)>& prepare = {})
        : folder(ScratchDir("gui-" + name)) {
        GuiApp();
        ::setenv("TINTARA_HOME", folder.c_str(), 1);
        WriteTolerances(folder / "Profiler.ini", ToleranceSettings{});
        for (const char* picture : {"Watermark.jpg", "Profiler_Background.jpg"}) {
            const auto built = std::filesystem::path(TINTARA_BINARY_DIR) / picture;
            if (std::filesystem::exists(built))
                std::filesystem::copy_file(built, folder / picture);
        }
        if (prepare)
            prepare(folder);
        window = std::make_unique<gui::Profiler>(ws, QString::fromStdString(folder.string()));
        gui::QtUserInterface& ui = window->Ui();
        ui.FileChooser = [this](const FileDialogRequest& request) {
            EXPECT_FALSE(Files.empty()) << "unexpected file dialog: " << request.Filter;
            return Next(Files);
        };
        ui.MessagePresenter = [this](const MessageBoxRequest& request) -> int16_t {
            Messages.push_back(request);
            return kResultOk;
        };
        ui.PrintDialogPresenter = [this](QPrinter& printer) {
            printer.setOutputFormat(QPrinter::PdfFormat);  // into printed.pdf, on A4
            printer.setPageSize(QPageSize(QPageSize::A4));
            printer.setOutputFileName(QString::fromStdString((folder / "printed.pdf").string()));
            ++PrintDialogs;
            return true;
        };
        ui.DialogObserver = [this](QDialog& dialog) {
            if (const DialogScript script = Next(Dialogs))
                script(dialog);
            // An unexpected dialog, or one a script forgot to close, must not hang the test.
            if (dialog.isVisible()) {
                ADD_FAILURE() << "dialog left open: " << dialog.objectName().toStdString();
                dialog.reject();
            }
        };
        window->Start("");
        window->show();
        QApplication::processEvents();
    }

    // Picks a menu item the way a user does: only when it can be reached.
    void Pick(CommandId id) {
        ASSERT_TRUE(window->Commands().Menu().Available(id))
            << "not available: " << window->Commands().Menu().Item(id).Name;
        window->Action(id)->trigger();
        QApplication::processEvents();
    }

    bool Enabled(CommandId id) const { return window->Action(id)->isEnabled(); }

    // A script that checks the dialog's name, lets `look` see the dialog and presses OK.
    static DialogScript OkIn(const std::string& name, const DialogScript& look) {
        return [name, look](QDialog& d) {
            EXPECT_EQ(d.objectName().toStdString(), name);
            if (look)
                look(d);
            Press(d, "OKButton");
        };
    }

    // File > Open both demo tile sets, OK in the geometry dialog (SCI is selected on opening).
    void LoadTileSets(const std::vector<std::filesystem::path>& demo,
                      const DialogScript& look = {}) {
        Files.insert(Files.end(), {demo.at(0).string(), demo.at(1).string()});
        Dialogs.push_back(OkIn("SelectGeometry", look));
        Pick(CommandId::MasterInstrumentTileSet);
        Pick(CommandId::TargetInstrumentTileSet);
    }

    // Generate > Correlation Coefficients with OK in the header dialog.
    void Generate(const DialogScript& look = {}) {
        Dialogs.push_back(OkIn("ProfileHeader", look));
        Pick(CommandId::GenerateCCF);
    }

    // The demo pair profiled in SCI into pair.ccf, then the fandecks opened and compared with that
    // file (File > Save the coefficients, Open both fandecks and the coefficient file, Generate >
    // Compare): the compare grid is on show.
    void CompareDemoFandecks(const std::vector<std::filesystem::path>& demo) {
        LoadTileSets(demo);
        Generate();
        const auto ccf = folder / "pair.ccf";
        Files.insert(Files.end(),
                     {ccf.string(), demo.at(2).string(), demo.at(3).string(), ccf.string()});
        for (CommandId id : {CommandId::SaveCoefficients, CommandId::MasterInstrumentSaveSet,
                             CommandId::TargetInstrumentSaveSet, CommandId::CorrelationFileMenu,
                             CommandId::GenerateCSS})
            Pick(id);
    }

    std::filesystem::path folder;
    GlobalVariables ws;
    std::unique_ptr<gui::Profiler> window;

    std::deque<std::string> Files;
    std::vector<MessageBoxRequest> Messages;
    std::deque<DialogScript> Dialogs;
    int PrintDialogs = 0;
};

}  // namespace tintara::test
