// The real main window under test: scripted file, message, print and modal dialogs.
#pragma once

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDialog>
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

// Presses the push button named `name` in `dialog` (fails the test when there is none).
inline void Press(QWidget& dialog, const char* name) {
    auto* button = dialog.findChild<QPushButton*>(QString::fromLatin1(name));
    ASSERT_NE(button, nullptr) << name;
    ASSERT_TRUE(button->isEnabled()) << name << " is disabled";
    button->click();
}

struct DemoPaths {
    std::filesystem::path masterTiles, targetTiles, masterFandeck, targetFandeck;
};

// The demo save sets with a short fandeck, so that the tests stay quick.
inline DemoPaths WriteDemo(const std::filesystem::path& dir, int fandeckSamples = 30) {
    DemoParameters parameters;
    parameters.FandeckSamples = fandeckSamples;
    const auto files = WriteDemoData(dir, parameters);
    return {files.at(0), files.at(1), files.at(2), files.at(3)};
}

// A started main window whose program folder is a scratch folder holding the pictures and a
// default Profiler.ini (TINTARA_HOME points there). Every platform dialog is answered from a
// queue; a dialog nobody expected fails the test and is cancelled.
struct WindowHarness {
    explicit WindowHarness(const std::string& name, bool withIni = true)
        : folder(ScratchDir("gui-" + name)) {
        GuiApp();
        ::setenv("TINTARA_HOME", folder.c_str(), 1);
        if (withIni)
            WriteTolerances(folder / "Profiler.ini", ToleranceSettings{});
        for (const char* picture : {"Watermark.jpg", "Profiler_Background.jpg"}) {
            const auto built = std::filesystem::path(TINTARA_BINARY_DIR) / picture;
            if (std::filesystem::exists(built))
                std::filesystem::copy_file(built, folder / picture,
                                           std::filesystem::copy_options::overwrite_existing);
        }
        window = std::make_unique<gui::Profiler>(ws, QString::fromStdString(folder.string()));
        gui::QtUserInterface& ui = window->Ui();
        ui.FileChooser = [this](const FileDialogRequest& request) {
            FileRequests.push_back(request);
            if (Files.empty()) {
                ADD_FAILURE() << "unexpected file dialog: " << request.Filter;
                return std::string();
            }
            std::string answer = Files.front();
            Files.pop_front();
            return answer;
        };
        ui.MessagePresenter = [this](const MessageBoxRequest& request) -> int16_t {
            Messages.push_back(request);
            return kResultOk;
        };
        ui.PrintDialogPresenter = [this](QPrinter& printer) {
            printer.setOutputFormat(QPrinter::PdfFormat);
            printer.setOutputFileName(QString::fromStdString((folder / PrintFile).string()));
            ++PrintDialogs;
            return PrintAnswer;
        };
        ui.DialogObserver = [this](QDialog& dialog) {
            DialogNames.push_back(dialog.objectName().toStdString());
            if (Dialogs.empty()) {
                ADD_FAILURE() << "unexpected dialog: " << dialog.objectName().toStdString();
                dialog.reject();
                return;
            }
            auto script = std::move(Dialogs.front());
            Dialogs.pop_front();
            script(dialog);
            // A script that forgot to close the dialog must not hang the test.
            if (dialog.isVisible()) {
                ADD_FAILURE() << "dialog left open: " << dialog.objectName().toStdString();
                dialog.reject();
            }
        };
        window->Start(commandLine);
        window->show();
        QApplication::processEvents();
    }

    // Picks a menu item or presses a button the way a user does: only when it can be reached.
    void Pick(CommandId id) {
        if (QAction* action = window->Action(id)) {
            ASSERT_TRUE(window->Commands().Menu().Available(id))
                << "not available: " << window->Commands().Menu().Item(id).Name;
            action->trigger();
        } else {
            QPushButton* button = window->Button(id);
            ASSERT_NE(button, nullptr);
            ASSERT_TRUE(button->isVisible() && button->isEnabled());
            button->click();
        }
        QApplication::processEvents();
    }

    bool Enabled(CommandId id) const { return window->Action(id)->isEnabled(); }

    // File > Open both demo tile sets in SCI.
    void LoadTileSets(const DemoPaths& demo) {
        Files.push_back(demo.masterTiles.string());
        Files.push_back(demo.targetTiles.string());
        Dialogs.push_back([](QDialog& d) {
            EXPECT_EQ(d.objectName().toStdString(), "SelectGeometry");
            Press(d, "OKButton");  // SCI is selected on opening
        });
        Pick(CommandId::MasterInstrumentTileSet);
        Pick(CommandId::TargetInstrumentTileSet);
    }

    // Generate > Correlation Coefficients with OK in the header dialog.
    void Generate() {
        Dialogs.push_back([](QDialog& d) {
            EXPECT_EQ(d.objectName().toStdString(), "ProfileHeader");
            Press(d, "OKButton");
        });
        Pick(CommandId::GenerateCCF);
    }

    std::vector<std::string> MessageTitles() const {
        std::vector<std::string> titles;
        for (const auto& m : Messages)
            titles.push_back(m.Title);
        return titles;
    }

    std::filesystem::path folder;
    std::string commandLine;
    GlobalVariables ws;
    std::unique_ptr<gui::Profiler> window;

    std::deque<std::string> Files;
    std::vector<FileDialogRequest> FileRequests;
    std::vector<MessageBoxRequest> Messages;
    std::deque<std::function<void(QDialog&)>> Dialogs;
    std::vector<std::string> DialogNames;
    bool PrintAnswer = true;
    int PrintDialogs = 0;
    std::string PrintFile = "printed.pdf";
};

}  // namespace tintara::test
