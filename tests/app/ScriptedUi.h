// A user interface for tests: answers dialogs from queues and records everything shown.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/HeaderDialogs.h"
#include "app/ToleranceDialog.h"
#include "app/UserInterface.h"

namespace tintara::test {

// Queued answers are consumed in order; a dialog that finds its queue empty fails the test (so a
// script that does not expect a dialog notices it) and is cancelled. Message boxes answer OK.
class ScriptedUi : public UserInterface {
  public:
    // ---- scripted answers ----
    std::deque<std::string> Files;     // full paths; "" cancels the dialog
    std::deque<bool> WizardAnswers;    // true = OK, false = Cancel
    std::deque<bool> HeaderAnswers;    // true = OK, false = Quit
    std::deque<bool> GeometryAnswers;  // true SCI, false SCE (then OK)
    std::deque<bool> PrintAnswers;     // true = OK, false = Cancel
    std::deque<bool> QuestionAnswers;  // yes/no questions; Yes when empty
    // The tolerance dialog: the user's actions on the opened model (it is then cancelled if open).
    std::deque<std::function<void(GetTolerancesDialog&)>> ToleranceAnswers;
    bool PictureLoads = true;

    // ---- what was shown ----
    std::vector<MessageBoxRequest> Messages;   // every box but the yes/no questions
    std::vector<MessageBoxRequest> Questions;  // the yes/no questions
    std::vector<FileDialogRequest> FileRequests;
    std::vector<std::string> WizardTitles, WizardTexts;  // of each wizard step shown
    std::map<std::pair<StatusBarId, int>, std::string> Status;
    std::vector<PageDescription> Printed;
    int HeaderDialogs = 0, GeometryDialogs = 0, CommandChanges = 0, WindowInitialisations = 0;
    bool Ended = false;

    bool AllAnswersUsed() const {
        return Files.empty() && WizardAnswers.empty() && HeaderAnswers.empty() &&
               GeometryAnswers.empty() && PrintAnswers.empty() && ToleranceAnswers.empty();
    }

    // ---- UserInterface ----
    int16_t ShowMessage(const MessageBoxRequest& request) override {
        if (request.Buttons == MessageButtons::YesNo) {
            Questions.push_back(request);
            const bool yes = QuestionAnswers.empty() || QuestionAnswers.front();
            if (!QuestionAnswers.empty())
                QuestionAnswers.pop_front();
            return yes ? kResultYes : kResultNo;
        }
        Messages.push_back(request);
        return kResultOk;
    }
    std::string ChooseFile(const FileDialogRequest& request) override {
        FileRequests.push_back(request);
        return Next(Files, "file dialog " + request.Filter).value_or("");
    }
    void ShowWizardForm(WizardForm& form) override {
        form.Form_Activate();
        WizardTitles.push_back(form.Caption());
        WizardTexts.push_back(form.WizardText());
        Next(WizardAnswers, "wizard step " + form.Caption()).value_or(false)
            ? form.OKButton_Click()
            : form.CancelButton_Click();
    }
    void ShowProfileHeader(ProfileHeaderDialog& dialog) override {
        ++HeaderDialogs;
        dialog.Form_Activate();
        Next(HeaderAnswers, "header dialog").value_or(false) ? dialog.OKButton_Click()
                                                             : dialog.QuitButton_Click();
    }
    void ShowSelectGeometry(SelectGeometryDialog& dialog) override {
        ++GeometryDialogs;
        dialog.Form_Activate();
        if (dialog.Closed())
            return;
        Next(GeometryAnswers, "geometry dialog").value_or(true) ? dialog.Option1_Click()
                                                                : dialog.Option2_Click();
        dialog.OKButton_Click();
    }
    void ShowTolerances(GetTolerancesDialog& dialog) override {
        dialog.Form_Activate();
        if (const auto answer = Next(ToleranceAnswers, "tolerance dialog"); answer && *answer)
            (*answer)(dialog);
        if (!dialog.Closed())
            dialog.CancelButton_Click();
    }
    bool ShowPrintDialog() override { return Next(PrintAnswers, "print dialog").value_or(false); }
    void PrintDocument(const PageDescription& document) override { Printed.push_back(document); }
    void SetStatusText(StatusBarId bar, int panel, const std::string& text) override {
        Status[{bar, panel}] = text;
    }
    void CommandChanged(const CommandItem&) override { ++CommandChanges; }
    GridArea WindowArea() const override { return GridArea{12000, 9000, 300, 300}; }
    bool InitialiseWindow() override {
        ++WindowInitialisations;
        return PictureLoads;
    }
    void EndProgram() override { Ended = true; }

  private:
    template <typename T>
    static std::optional<T> Next(std::deque<T>& queue, const std::string& what) {
        if (queue.empty()) {
            ADD_FAILURE() << "unexpected " << what;
            return std::nullopt;
        }
        T answer = std::move(queue.front());
        queue.pop_front();
        return answer;
    }
};

}  // namespace tintara::test
