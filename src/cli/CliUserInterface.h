// The window's commands on the command line: dialogs answered from the options, boxes on stderr.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <map>
#include <stdexcept>
#include <string>

#include "app/ProfilerCommands.h"
#include "app/UserInterface.h"
#include "report/Paper.h"
#include "workspace/GlobalVariables.h"

namespace tintara::cli {

// Thrown by a command script after the refusal's box went to stderr: exit status 1, nothing more
// to print.
class RefusalShown : public std::runtime_error {
  public:
    RefusalShown() : std::runtime_error("refused") {}
};

// Stands in for the main window so that tintara runs the very commands the window runs.
//  - File dialogs are answered by their filter description (e.g. "Master Fandeck File"); a dialog
//    without an answer is cancelled.
//  - Every message box is written to stderr as "Title: text" (line breaks as "\n"), followed by
//    its detail text on a line of its own; a yes/no question is answered Yes, as the options
//    already said what to do.
//  - Wizard steps and the header dialog are accepted as they stand; the geometry dialog picks
//    Geometry; the print dialog is accepted and the document is drawn by the page renderer into
//    the PDF PdfFile, on Paper.
class CliUserInterface : public UserInterface {
  public:
    explicit CliUserInterface(std::ostream& err) : m_err(err) {}

    void Answer(const std::string& filterDescription, const std::filesystem::path& file);
    bool GeometrySCI = true;
    std::filesystem::path PdfFile;
    // What happened so far: boxes shown, and whether a document was printed.
    int MessagesShown = 0;
    bool Printed = false;

    int16_t ShowMessage(const MessageBoxRequest& request) override;
    std::string ChooseFile(const FileDialogRequest& request) override;
    void ShowWizardForm(WizardForm& form) override;
    void ShowProfileHeader(ProfileHeaderDialog& dialog) override;
    void ShowSelectGeometry(SelectGeometryDialog& dialog) override;
    void ShowTolerances(GetTolerancesDialog& dialog) override;
    bool ShowPrintDialog() override { return !PdfFile.empty(); }
    // The certificates' paper (--paper, else the locale's).
    PageSetup Paper = LocalePaper();
    PageSetup PrintPaper() const override { return Paper; }
    void PrintDocument(const PageDescription& document) override;
    void PrintDocument(PagedDocument& document) override;
    void SetStatusText(StatusBarId, int, const std::string&) override {}
    void CommandChanged(const CommandItem&) override {}
    GridArea WindowArea() const override { return GridArea{12000, 9000, 300, 300}; }
    void EndProgram() override {}

  private:
    std::ostream& m_err;
    std::map<std::string, std::filesystem::path> m_answers;
};

// A started main window without the window: the workspace, this interface and the commands,
// after start-up. Profiler.ini is read as at the window's start-up; the current folder is the
// working directory.
class CommandSession {
  public:
    CommandSession(std::ostream& err, const std::string& commandLine = "");
    // Runs a command; when `done` then says false, the refusal was shown: throws RefusalShown.
    void Run(CommandId id, bool (*done)(const CommandSession&));
    // Generate > Correlated SaveSet: opens the two fandecks and the coefficient file, as the
    // window's menu road does, and compares the Master with the corrected Target.
    void CompareCorrected(const std::filesystem::path& master, const std::filesystem::path& target,
                          const std::filesystem::path& coefficientFile);

    GlobalVariables ws;
    CliUserInterface ui;
    ProfilerCommands commands;
};

}  // namespace tintara::cli
