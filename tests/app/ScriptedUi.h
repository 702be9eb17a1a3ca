// A user interface for tests: answers dialogs from queues and records everything shown.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/HeaderDialogs.h"
#include "app/ToleranceDialog.h"
#include "app/UserInterface.h"

namespace tintara::test {

struct RecordedMessage {
    std::string Title;
    std::string Text;
    MessageIcon Icon = MessageIcon::None;
    MessageButtons Buttons = MessageButtons::Ok;
};

// What the user does in the profile header dialog: optional new texts per column, then OK or Quit.
struct HeaderAnswer {
    bool Ok = true;
    std::optional<std::array<std::string, 2>> TileSetSerial, Serial, Operator;
};

// Queued answers are consumed in order; a dialog that finds its queue empty fails the test (so a
// script that does not expect a dialog notices it), except message boxes, which answer OK.
// Every call is also appended to Log as one line ("message: <title>: <text>", "file: <filter>",
// "wizard: <caption>", "header", "geometry", "print dialog", "print", "status <bar>.<panel>:
// <text>"), so that tests can check the order of what the user saw.
class ScriptedUi : public UserInterface {
  public:
    // ---- scripted answers ----
    std::deque<std::string> Files;   // full paths; "" cancels the dialog
    std::deque<bool> WizardAnswers;  // true = OK, false = Cancel
    std::deque<HeaderAnswer> HeaderAnswers;
    std::deque<std::optional<bool>> GeometryAnswers;  // true SCI, false SCE, nullopt close box
    std::deque<bool> PrintAnswers;                    // true = OK, false = Cancel
    std::deque<int16_t> MessageAnswers;               // default kResultOk
    // The tolerance dialog: the user's actions on the opened model (empty closes with Cancel).
    std::deque<std::function<void(GetTolerancesDialog&)>> ToleranceAnswers;
    bool PictureLoads = true;

    // ---- what was shown ----
    std::vector<RecordedMessage> Messages;
    std::vector<FileDialogRequest> FileRequests;
    std::vector<std::pair<std::string, std::string>> WizardSteps;  // caption, text
    std::map<std::pair<StatusBarId, int>, std::string> Status;
    std::vector<CommandItem> CommandChanges;
    std::vector<PageDescription> Printed;
    std::vector<std::string> Log;
    int HeaderDialogs = 0;
    int GeometryDialogs = 0;
    int EventsRun = 0;
    int WindowInitialisations = 0;
    bool Ended = false;
    GridArea Area{12000, 9000, 300, 300};

    std::string StatusText(StatusBarId bar, int panel) const {
        const auto it = Status.find({bar, panel});
        return it == Status.end() ? std::string() : it->second;
    }
    std::vector<std::string> MessageTitles() const {
        std::vector<std::string> titles;
        for (const auto& m : Messages)
            titles.push_back(m.Title);
        return titles;
    }
    std::vector<std::string> WizardTitles() const {
        std::vector<std::string> titles;
        for (const auto& w : WizardSteps)
            titles.push_back(w.first);
        return titles;
    }
    bool AllAnswersUsed() const {
        return Files.empty() && WizardAnswers.empty() && HeaderAnswers.empty() &&
               GeometryAnswers.empty() && PrintAnswers.empty() && ToleranceAnswers.empty();
    }

    // ---- UserInterface ----
    int16_t ShowMessage(const MessageBoxRequest& request) override {
        Messages.push_back({request.Title, request.Text, request.Icon, request.Buttons});
        Log.push_back("message: " + request.Title + ": " + request.Text);
        if (MessageAnswers.empty())
            return kResultOk;
        const int16_t answer = MessageAnswers.front();
        MessageAnswers.pop_front();
        return answer;
    }

    std::string ChooseFile(const FileDialogRequest& request) override {
        FileRequests.push_back(request);
        Log.push_back("file: " + request.Filter);
        if (Files.empty()) {
            ADD_FAILURE() << "unexpected file dialog: " << request.Filter;
            return {};
        }
        std::string answer = Files.front();
        Files.pop_front();
        return answer;
    }

    void ShowWizardForm(WizardForm& form) override {
        form.Form_Activate();
        WizardSteps.emplace_back(form.Caption(), form.WizardText());
        Log.push_back("wizard: " + form.Caption());
        if (WizardAnswers.empty()) {
            ADD_FAILURE() << "unexpected wizard step: " << form.Caption();
            form.CancelButton_Click();
            return;
        }
        const bool ok = WizardAnswers.front();
        WizardAnswers.pop_front();
        if (ok) {
            form.OKButton_Click();
        } else {
            form.CancelButton_Click();
        }
    }

    void ShowProfileHeader(ProfileHeaderDialog& dialog) override {
        ++HeaderDialogs;
        dialog.Form_Activate();
        Log.push_back("header");
        if (HeaderAnswers.empty()) {
            ADD_FAILURE() << "unexpected header dialog";
            dialog.QuitButton_Click();
            return;
        }
        const HeaderAnswer answer = HeaderAnswers.front();
        HeaderAnswers.pop_front();
        for (int i = 0; i < 2; ++i) {
            if (answer.TileSetSerial)
                dialog.AvianText[i] = (*answer.TileSetSerial)[i];
            if (answer.Serial) {
                dialog.SerialText[i] = (*answer.Serial)[i];
                dialog.SerialText_Change(i);
            }
            if (answer.Operator) {
                dialog.OperatorText[i] = (*answer.Operator)[i];
                dialog.OperatorText_Change(i);
            }
        }
        if (answer.Ok) {
            dialog.OKButton_Click();
        } else {
            dialog.QuitButton_Click();
        }
    }

    void ShowSelectGeometry(SelectGeometryDialog& dialog) override {
        ++GeometryDialogs;
        dialog.Form_Activate();
        if (dialog.Closed())
            return;
        Log.push_back("geometry");
        if (GeometryAnswers.empty()) {
            ADD_FAILURE() << "unexpected geometry dialog";
            dialog.Close();
            return;
        }
        const std::optional<bool> answer = GeometryAnswers.front();
        GeometryAnswers.pop_front();
        if (!answer) {
            dialog.Close();
            return;
        }
        if (*answer) {
            dialog.Option1_Click();
        } else {
            dialog.Option2_Click();
        }
        dialog.OKButton_Click();
    }

    void ShowTolerances(GetTolerancesDialog& dialog) override {
        dialog.Form_Activate();
        Log.push_back("tolerances");
        if (ToleranceAnswers.empty()) {
            ADD_FAILURE() << "unexpected tolerance dialog";
            dialog.CancelButton_Click();
            return;
        }
        const auto answer = ToleranceAnswers.front();
        ToleranceAnswers.pop_front();
        if (answer)
            answer(dialog);
        if (!dialog.Closed())
            dialog.CancelButton_Click();
    }

    bool ShowPrintDialog() override {
        Log.push_back("print dialog");
        if (PrintAnswers.empty()) {
            ADD_FAILURE() << "unexpected print dialog";
            return false;
        }
        const bool ok = PrintAnswers.front();
        PrintAnswers.pop_front();
        return ok;
    }

    void PrintDocument(const PageDescription& document) override {
        Log.push_back("print");
        Printed.push_back(document);
    }

    void SetStatusText(StatusBarId bar, int panel, const std::string& text) override {
        Status[{bar, panel}] = text;
        Log.push_back(std::string("status ") +
                      (bar == StatusBarId::FileStatusBar ? "file." : "instrument.") +
                      std::to_string(panel) + ": " + text);
    }

    void CommandChanged(const CommandItem& item) override { CommandChanges.push_back(item); }

    GridArea WindowArea() const override { return Area; }
    bool InitialiseWindow() override {
        ++WindowInitialisations;
        return PictureLoads;
    }
    void EndProgram() override { Ended = true; }
    void LetEventsRun() override { ++EventsRun; }
};

}  // namespace tintara::test
