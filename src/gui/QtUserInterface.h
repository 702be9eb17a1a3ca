// The command layer's user interface, implemented with Qt Widgets for the main window.
#pragma once

#include <QElapsedTimer>
#include <QPrinter>
#include <QString>
#include <functional>
#include <string>

#include "app/UserInterface.h"

class QDialog;
class QWidget;

namespace tintara::gui {

class Profiler;

// Presents what the commands ask for: message boxes, the shared file dialog (filters "Description
// | *.ext" become Qt's "Description (*.ext)"), the four modal dialogs, the print dialog and the
// printer, the status bars and the repaint during long work. It decides nothing itself.
//
// Long work: LetEventsRun and the progress calls let paint and timer events run (user input is
// held back so a command cannot be started inside another), at most every 40 ms so a fandeck of
// 100,000 records is not slowed down by repainting. While a command works between dialogs the
// cursor is busy and a progress bar in the file status bar shows how far it is; both end when a
// dialog opens or the command ends.
//
// The hooks below replace the platform dialogs (tests script the window through them); when a
// hook is empty the real dialog is shown.
class QtUserInterface : public UserInterface {
  public:
    explicit QtUserInterface(Profiler& window);
    ~QtUserInterface() override;

    // ---- hooks ----
    std::function<std::string(const FileDialogRequest&)> FileChooser;
    std::function<int16_t(const MessageBoxRequest&)> MessagePresenter;
    // Answers the print dialog (true = print); may set up Printer() first, e.g. a PDF file.
    std::function<bool(QPrinter&)> PrintDialogPresenter;
    // Called once every modal dialog (wizard step, header, geometry, tolerances) is on screen;
    // it may press the dialog's buttons. The dialog's event loop runs meanwhile.
    std::function<void(QDialog&)> DialogObserver;

    QPrinter& Printer() { return m_printer; }
    // The folder of the file last chosen in a file dialog (where dialogs start).
    const QString& LastFolder() const { return m_lastFolder; }
    // The path of the window's pictures ("Profiler_Background.jpg").
    QString PicturePath() const;

    // ---- command boundary (called by the window) ----
    void CommandStarted();
    void CommandFinished();
    bool Busy() const { return m_busy; }

    // ---- UserInterface ----
    int16_t ShowMessage(const MessageBoxRequest& request) override;
    std::string ChooseFile(const FileDialogRequest& request) override;
    void ShowWizardForm(::tintara::WizardForm& form) override;
    void ShowProfileHeader(ProfileHeaderDialog& dialog) override;
    void ShowSelectGeometry(SelectGeometryDialog& dialog) override;
    void ShowTolerances(GetTolerancesDialog& dialog) override;
    bool ShowPrintDialog() override;
    PageSetup PrintPaper() const override;
    void PrintDocument(const PageDescription& document) override;
    void PrintDocument(PagedDocument& document) override;
    void SetStatusText(StatusBarId bar, int panel, const std::string& text) override;
    void Redraw() override;
    GridArea WindowArea() const override;
    int16_t ScreenTwipsPerPixel() const override;
    void MaximiseWindow() override;
    bool InitialiseWindow() override;
    void EndProgram() override;
    void CommandChanged(const CommandItem& item) override;

    // ---- ProgressSink ----
    void SetProgressMaximum(long maximum) override;
    void SetProgressValue(long value) override;
    void AdvanceProgress(long steps = 1) override;
    void LetEventsRun() override;

  private:
    // Runs a modal dialog: the busy cursor pauses, the observer (if any) gets its turn.
    int RunModal(QDialog& dialog);
    void BeginBusy();
    void EndBusy();
    void ShowProgress();
    void PumpEvents(bool force);
    void PrintWidget(QWidget& widget);

    Profiler& m_window;
    QPrinter m_printer;
    QString m_lastFolder;
    bool m_commandRunning = false;
    bool m_busy = false;
    bool m_ending = false;
    long m_progressMaximum = 0;
    long m_progressValue = 0;
    QElapsedTimer m_sincePump;
};

// "Master Reflectance Save Sets | *.wsv" as Qt writes a filter: "Master Reflectance Save Sets
// (*.wsv)".
QString QtFilter(const std::string& filter);

// Appends the filter's extension to a save-dialog answer that has none ("profile" with "*.ccf"
// gives "profile.ccf"); other answers are returned as they are.
QString WithDefaultSuffix(const QString& file, const std::string& filter);

}  // namespace tintara::gui
