// What the commands need from a window: message boxes, file and print dialogs, modal dialogs,
// menu state, status bars and repainting. The Qt window implements it; tests script it.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "app/MenuState.h"
#include "report/PageDescription.h"
#include "report/Paint.h"
#include "workspace/Progress.h"

namespace tintara {

class WizardForm;
class ProfileHeaderDialog;
class SelectGeometryDialog;
class GetTolerancesDialog;

// Icons and button sets of a message box, as the host's message box offered them.
enum class MessageIcon { None, Critical, Question, Exclamation, Information };
enum class MessageButtons { Ok, OkCancel, AbortRetryIgnore, YesNoCancel, YesNo, RetryCancel };

// The value a message box returns (the button pressed). The commands store it in LastResult, so
// it keeps the host's numbering, all non-zero.
enum MessageResult : int16_t {
    kResultOk = 1,
    kResultCancel = 2,
    kResultAbort = 3,
    kResultRetry = 4,
    kResultIgnore = 5,
    kResultYes = 6,
    kResultNo = 7,
};

struct MessageBoxRequest {
    std::string Title;
    std::string Text;  // may hold line breaks ("\r\n")
    MessageIcon Icon = MessageIcon::None;
    MessageButtons Buttons = MessageButtons::Ok;
    // Shown on request under the text (the reader's own reason for a read failure); may be empty.
    std::string DetailText;
};

enum class FileDialogMode { Open, Save };

// A request to the shared file dialog. The filter is written as a description, " | " and a
// wildcard, e.g. "Master Reflectance Save Sets | *.wsv"; FilterDescription/FilterPattern split it.
struct FileDialogRequest {
    FileDialogMode Mode = FileDialogMode::Open;
    std::string Filter;
    std::string FileName;  // proposed file name; usually empty
    // The command asks in its own words before it writes into an existing file, so the dialog
    // must not ask its generic question as well.
    bool CommandAsksBeforeOverwrite = false;
};
std::string FilterDescription(const std::string& filter);  // "Master Reflectance Save Sets"
std::string FilterPattern(const std::string& filter);      // "*.wsv"

// The main window's two status bars: FileStatusBar has panels 1..3 (Master file, Target file,
// coefficient file), InstrumentBar panels 1..2 (Master instrument, Target instrument).
enum class StatusBarId { FileStatusBar, InstrumentBar };

// Implemented once by the desktop window. Every call is made on the user-interface thread; modal
// calls return only when the dialog is closed. Nothing here may throw except where stated.
//
// Progress (ProgressSink): LetEventsRun lets pending window events run so the window repaints
// during long commands (menus stay usable; there is no cancel); the progress bar of the engine
// phases may stay hidden.
//
// Menu state (CommandListener): CommandChanged is called whenever a menu item's or button's
// enabled flag, caption, visibility or background colour changes in the commands' MenuState; the
// window mirrors it (buttons: CorrectedDataCommand, RawDataCommand, DisplayCommand; everything
// else is a menu item). A disabled menu head disables everything under it.
//
// The window draws ProfilerCommands::Grid() (a ResultGridModel: cells, colours, column widths in
// twips, placement, Visible) and calls ProfilerCommands::Execute(id) for a picked item or pressed
// button, Form_Load(arguments) once at start-up and Form_Activate() on every activation.
class UserInterface : public ProgressSink, public CommandListener {
  public:
    // ---- message boxes and file dialogs ----

    // Shows a modal message box and returns the button pressed (kResultOk for an OK-only box).
    virtual int16_t ShowMessage(const MessageBoxRequest& request) = 0;

    // Shows the shared open or save dialog. Returns the full path of the chosen file, or an empty
    // string when the user cancelled. A save dialog may propose request.FileName; it asks before
    // overwriting as the platform's dialog does, unless request.CommandAsksBeforeOverwrite.
    virtual std::string ChooseFile(const FileDialogRequest& request) = 0;

    // ---- modal dialogs: the model holds all logic, the window presents its fields ----

    // One wizard step: caption form.Caption(), multi-line read-only text form.WizardText(),
    // buttons OK and Cancel. Call form.Form_Activate() when the dialog opens, then
    // form.OKButton_Click() or form.CancelButton_Click() (also for the close box) and close.
    virtual void ShowWizardForm(WizardForm& form) = 0;

    // The profile header: call dialog.Form_Activate() when it opens (the model may show a wizard
    // step through ShowWizardForm from inside it), then show the four labels and three text boxes
    // of each column; write edits back into AvianText/SerialText/OperatorText (calling
    // SerialText_Change/OperatorText_Change for those boxes); OK -> OKButton_Click(), Quit or
    // the close box -> QuitButton_Click(); the Print button prints the dialog as shown (layout is
    // the window's choice). Return once dialog.Closed().
    virtual void ShowProfileHeader(ProfileHeaderDialog& dialog) = 0;

    // The geometry selector: call dialog.Form_Activate() first and return at once if the dialog
    // is then Closed() (its wizard step was cancelled); otherwise show the option buttons SCI
    // (Option1) and SCE (Option2) with Option1_Click/Option2_Click, OK -> OKButton_Click(),
    // close box -> Close().
    virtual void ShowSelectGeometry(SelectGeometryDialog& dialog) = 0;

    // The "Tolerances" dialog: call dialog.Form_Activate() when it opens; show the two row
    // captions, the text boxes TolText, the scroll bars (1..100, ScrollPosition; a move calls
    // VScroll1_Change), the options "CIE Lab" (Option1_Click) and "Hunter Lab" (Option2_Click) in
    // the frame "ColorSpace", and the buttons "Accept" (enabled by AcceptButtonEnabled;
    // AcceptButton_Click) and "Cancel" (CancelButton_Click, also the close box). Let an Error
    // from AcceptButton_Click propagate after closing. Return once dialog.Closed().
    virtual void ShowTolerances(GetTolerancesDialog& dialog) = 0;

    // ---- printing ----

    // Shows the print dialog (printer, copies). Returns false when the user cancelled; the
    // commands then end silently.
    virtual bool ShowPrintDialog() = 0;

    // The paper and printable area of the printer chosen in the last print dialog; the pages are
    // laid out on it. US Letter with half-inch margins when there is no printer to ask.
    virtual PageSetup PrintPaper() const { return PageSetup{}; }

    // Prints the document on the printer chosen in the last print dialog, as many copies as asked
    // there. Throws Error when the printer fails.
    virtual void PrintDocument(const PageDescription& document) = 0;
    // The same for a document made page by page (a long certificate): a printer draws each page
    // as it comes. This default gathers the pages and prints them whole.
    virtual void PrintDocument(PagedDocument& document) { PrintDocument(CollectPages(document)); }

    // ---- main window ----

    // Sets the text of a status-bar panel (1-based).
    virtual void SetStatusText(StatusBarId bar, int panel, const std::string& text) = 0;

    // Repaints the main window now (the result grid model has changed or was shown/hidden). The
    // grid model also reports its own changes through ResultGridModel::Changed.
    virtual void Redraw() {}

    // Inner size of the main window and heights of its bars (twips), for laying out the grid.
    virtual GridArea WindowArea() const = 0;

    // The screen's twips per pixel (15 at 96 dpi).
    virtual int16_t ScreenTwipsPerPixel() const { return 15; }

    // Start-up: maximise the main window; if it then is in the normal state, make it 800 x 600
    // pixels.
    virtual void MaximiseWindow() {}

    // First activation: size the status panels (a third / a half of the width each) and load the
    // background picture "Profiler_Background.jpg" from the program's folder, stretched over the
    // window. Returns false when the picture could not be loaded (the commands report it).
    virtual bool InitialiseWindow() { return true; }

    // Ends the program at once: all windows close, nothing is saved and nothing is asked.
    virtual void EndProgram() = 0;
};

}  // namespace tintara
