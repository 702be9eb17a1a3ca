#include "gui/QtUserInterface.h"

#include <QApplication>
#include <QCursor>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinterInfo>
#include <QPushButton>
#include <QScreen>
#include <QTimer>

#include <algorithm>
#include <cmath>

#include "app/HeaderDialogs.h"
#include "app/ToleranceDialog.h"
#include "gui/Dialogs.h"
#include "gui/GridView.h"
#include "gui/Profiler.h"
#include "render/PageRenderer.h"
#include "workspace/Error.h"
#include "workspace/ProgramFiles.h"

namespace tintara::gui {

namespace {

constexpr const char* kBackgroundPicture = "Profiler_Background.jpg";
// Repaint at most this often during long work (about 25 frames a second).
constexpr qint64 kPumpIntervalMs = 40;

QString FromModel(const std::string& text) {
    return QString::fromStdString(text).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}

QMessageBox::Icon ToQtIcon(MessageIcon icon) {
    switch (icon) {
        case MessageIcon::Critical:
            return QMessageBox::Critical;
        case MessageIcon::Question:
            return QMessageBox::Question;
        case MessageIcon::Exclamation:
            return QMessageBox::Warning;
        case MessageIcon::Information:
            return QMessageBox::Information;
        case MessageIcon::None:
            break;
    }
    return QMessageBox::NoIcon;
}

struct ButtonChoice {
    QMessageBox::StandardButton Button;
    int16_t Result;
};

std::vector<ButtonChoice> ButtonsOf(MessageButtons buttons) {
    switch (buttons) {
        case MessageButtons::Ok:
            return {{QMessageBox::Ok, kResultOk}};
        case MessageButtons::OkCancel:
            return {{QMessageBox::Ok, kResultOk}, {QMessageBox::Cancel, kResultCancel}};
        case MessageButtons::AbortRetryIgnore:
            return {{QMessageBox::Abort, kResultAbort},
                    {QMessageBox::Retry, kResultRetry},
                    {QMessageBox::Ignore, kResultIgnore}};
        case MessageButtons::YesNoCancel:
            return {{QMessageBox::Yes, kResultYes},
                    {QMessageBox::No, kResultNo},
                    {QMessageBox::Cancel, kResultCancel}};
        case MessageButtons::YesNo:
            return {{QMessageBox::Yes, kResultYes}, {QMessageBox::No, kResultNo}};
        case MessageButtons::RetryCancel:
            return {{QMessageBox::Retry, kResultRetry}, {QMessageBox::Cancel, kResultCancel}};
    }
    return {{QMessageBox::Ok, kResultOk}};
}

}  // namespace

QString QtFilter(const std::string& filter) {
    const QString description = QString::fromStdString(FilterDescription(filter));
    const QString pattern = QString::fromStdString(FilterPattern(filter));
    return QStringLiteral("%1 (%2)").arg(description.isEmpty() ? pattern : description, pattern);
}

QString WithDefaultSuffix(const QString& file, const std::string& filter) {
    if (file.isEmpty() || !QFileInfo(file).suffix().isEmpty())
        return file;
    const QString pattern = QString::fromStdString(FilterPattern(filter));
    if (!pattern.startsWith(QStringLiteral("*.")))
        return file;
    const QString suffix = pattern.mid(2);
    for (QChar c : suffix) {
        if (!c.isLetterOrNumber())
            return file;  // "*.*" or a list of patterns: nothing to add
    }
    return suffix.isEmpty() ? file : file + QLatin1Char('.') + suffix;
}

QtUserInterface::QtUserInterface(Profiler& window)
    : m_window(window), m_printer(QPrinter::HighResolution) {
    m_lastFolder = QDir::currentPath();
    m_sincePump.start();
}

QtUserInterface::~QtUserInterface() {
    EndBusy();
}

QString QtUserInterface::PicturePath() const {
    const auto file = ProgramFile(m_window.ProgramFolder().toStdString(), kBackgroundPicture);
    return QString::fromStdString(file.string());
}

// ---- busy state ----

void QtUserInterface::CommandStarted() {
    m_commandRunning = true;
    m_progressMaximum = 0;
    m_progressValue = 0;
}

void QtUserInterface::CommandFinished() {
    m_commandRunning = false;
    EndBusy();
    m_window.ShowStatusProgress(false, 0, 0);
    m_progressMaximum = 0;
    m_progressValue = 0;
}

void QtUserInterface::BeginBusy() {
    if (m_busy || !m_commandRunning)
        return;
    QApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
    m_busy = true;
}

void QtUserInterface::EndBusy() {
    if (!m_busy)
        return;
    QApplication::restoreOverrideCursor();
    m_busy = false;
}

int QtUserInterface::RunModal(QDialog& dialog) {
    // A dialog waits for the user: no busy cursor over it.
    const bool wasBusy = m_busy;
    EndBusy();
    if (DialogObserver) {
        QTimer::singleShot(0, &dialog, [this, &dialog] { DialogObserver(dialog); });
    }
    const int result = dialog.exec();
    if (wasBusy)
        BeginBusy();
    return result;
}

// ---- message boxes and files ----

int16_t QtUserInterface::ShowMessage(const MessageBoxRequest& request) {
    const bool wasBusy = m_busy;
    EndBusy();
    int16_t result = kResultOk;
    if (MessagePresenter) {
        result = MessagePresenter(request);
    } else {
        QMessageBox box(ToQtIcon(request.Icon), QString::fromStdString(request.Title),
                        FromModel(request.Text), QMessageBox::NoButton, &m_window);
        std::vector<std::pair<QPushButton*, int16_t>> map;
        for (const ButtonChoice& choice : ButtonsOf(request.Buttons))
            map.emplace_back(box.addButton(choice.Button), choice.Result);
        box.setDefaultButton(map.front().first);
        // The reader's own reason, behind "Show Details...".
        if (!request.DetailText.empty())
            box.setDetailedText(FromModel(request.DetailText));
        box.exec();
        // Escape or the close box answers as Cancel where there is one, else as the only button.
        result = map.back().second;
        for (const auto& [button, value] : map) {
            if (box.clickedButton() == button)
                result = value;
        }
    }
    if (wasBusy)
        BeginBusy();
    return result;
}

std::string QtUserInterface::ChooseFile(const FileDialogRequest& request) {
    const bool wasBusy = m_busy;
    EndBusy();
    QString chosen;
    if (FileChooser) {
        chosen = QString::fromStdString(FileChooser(request));
    } else {
        const QString filter =
            QtFilter(request.Filter) + QStringLiteral(";;") + QObject::tr("All Files (*)");
        const QString caption = QString::fromStdString(FilterDescription(request.Filter));
        const QString start =
            request.FileName.empty()
                ? m_lastFolder
                : QDir(m_lastFolder).filePath(QString::fromStdString(request.FileName));
        if (request.Mode == FileDialogMode::Open) {
            chosen = QFileDialog::getOpenFileName(&m_window, caption, start, filter);
        } else {
            // A command that says in its own words what saving into an existing file does asks
            // itself; the dialog's generic question would come first and say less.
            const QFileDialog::Options options = request.CommandAsksBeforeOverwrite
                                                     ? QFileDialog::DontConfirmOverwrite
                                                     : QFileDialog::Options();
            chosen =
                QFileDialog::getSaveFileName(&m_window, caption, start, filter, nullptr, options);
            chosen = WithDefaultSuffix(chosen, request.Filter);
        }
    }
    if (!chosen.isEmpty())
        m_lastFolder = QFileInfo(chosen).absolutePath();
    if (wasBusy)
        BeginBusy();
    return chosen.toStdString();
}

// ---- modal dialogs ----

void QtUserInterface::ShowWizardForm(::tintara::WizardForm& form) {
    form.Form_Activate();
    gui::WizardForm dialog(form, PicturePath(), &m_window);
    dialog.Load();
    RunModal(dialog);
}

void QtUserInterface::ShowProfileHeader(ProfileHeaderDialog& model) {
    // Activation may show a wizard step of its own first.
    model.Form_Activate();
    gui::ProfileHeader dialog(model, &m_window);
    dialog.PrintRequested = [this](QWidget& widget) { PrintWidget(widget); };
    dialog.Load();
    RunModal(dialog);
    if (!model.Closed())
        model.QuitButton_Click();
}

void QtUserInterface::ShowSelectGeometry(SelectGeometryDialog& model) {
    model.Form_Activate();
    if (model.Closed())
        return;  // its wizard step was cancelled
    gui::SelectGeometry dialog(model, &m_window);
    dialog.Load();
    RunModal(dialog);
    if (!model.Closed())
        model.Close();
}

void QtUserInterface::ShowTolerances(GetTolerancesDialog& model) {
    model.Form_Activate();
    gui::GetTolerances dialog(model, &m_window);
    dialog.Load();
    RunModal(dialog);
    if (!model.Closed())
        model.CancelButton_Click();
    if (dialog.Failure())
        std::rethrow_exception(dialog.Failure());
}

// ---- printing ----

bool QtUserInterface::ShowPrintDialog() {
    const bool wasBusy = m_busy;
    EndBusy();
    bool ok = false;
    if (QPrinterInfo::availablePrinters().isEmpty() && m_printer.outputFileName().isEmpty()) {
        // No printer on this system: the dialog's "Print to File (PDF)" is the way out, so
        // propose a file beside the last one chosen.
        m_printer.setOutputFormat(QPrinter::PdfFormat);
        m_printer.setOutputFileName(QDir(m_lastFolder).filePath(QStringLiteral("Certificate.pdf")));
    }
    if (PrintDialogPresenter) {
        ok = PrintDialogPresenter(m_printer);
    } else {
        QPrintDialog dialog(&m_printer, &m_window);
        dialog.setWindowTitle(QObject::tr("Print"));
        ok = dialog.exec() == QDialog::Accepted;
    }
    if (wasBusy)
        BeginBusy();
    return ok;
}

PageSetup QtUserInterface::PrintPaper() const {
    // The paper in the printer, and margins no narrower than the half inch the certificates are
    // laid out for nor than what the printer can reach.
    const QRectF paper = m_printer.paperRect(QPrinter::Point);
    const QRectF printable = m_printer.pageRect(QPrinter::Point);
    PageSetup setup;
    if (paper.width() <= 0 || paper.height() <= 0)
        return setup;
    const auto twips = [](double points) {
        return static_cast<int32_t>(std::ceil(points * kTwipsPerPoint));
    };
    setup.Width = twips(paper.width());
    setup.Height = twips(paper.height());
    if (!m_printer.fullPage()) {
        setup.MarginLeft = std::max(setup.MarginLeft, twips(printable.left() - paper.left()));
        setup.MarginTop = std::max(setup.MarginTop, twips(printable.top() - paper.top()));
        setup.MarginRight = std::max(setup.MarginRight, twips(paper.right() - printable.right()));
        setup.MarginBottom =
            std::max(setup.MarginBottom, twips(paper.bottom() - printable.bottom()));
    }
    return setup;
}

void QtUserInterface::PrintDocument(const PageDescription& document) {
    WholeDocument whole(document);
    PrintDocument(whole);
}

void QtUserInterface::PrintDocument(PagedDocument& document) {
    // Full-page coordinates: the page description places everything from the paper's corner.
    m_printer.setFullPage(true);
    render::RenderDocument(document, m_printer);
    m_printer.setFullPage(false);
}

void QtUserInterface::PrintWidget(QWidget& widget) {
    if (!ShowPrintDialog())
        return;
    const QPixmap picture = widget.grab();
    QPainter painter;
    if (!painter.begin(&m_printer)) {
        ShowMessage(MessageBoxRequest{"Print Error", "The printer could not be started.",
                                      MessageIcon::Exclamation, MessageButtons::Ok, ""});
        return;
    }
    const QRect page = painter.viewport();
    QSize size = picture.size();
    size.scale(page.width() * 8 / 10, page.height() / 2, Qt::KeepAspectRatio);
    painter.drawPixmap(QRect(QPoint(page.width() / 10, page.height() / 10), size), picture);
    painter.end();
}

// ---- main window ----

void QtUserInterface::SetStatusText(StatusBarId bar, int panel, const std::string& text) {
    m_window.SetPanelText(bar, panel, QString::fromStdString(text));
}

void QtUserInterface::Redraw() {
    m_window.RefreshGrid();
}

GridArea QtUserInterface::WindowArea() const {
    const int16_t perPixel = m_window.Workspace().TwipsPerPixel > 0
                                 ? m_window.Workspace().TwipsPerPixel
                                 : ScreenTwipsPerPixel();
    const QWidget* canvas = m_window.Canvas();
    GridArea area;
    area.ScaleWidth = canvas->width() * perPixel;
    area.ScaleHeight = canvas->height() * perPixel;
    // The area starts under the menu bar, so nothing above it counts as an upper bar.
    area.UpperBarHeight = 0;
    area.StatusBarHeight = m_window.StatusBarHeight() * perPixel;
    return area;
}

int16_t QtUserInterface::ScreenTwipsPerPixel() const {
    const QScreen* screen = m_window.screen();
    const double dpi = screen != nullptr ? screen->logicalDotsPerInchX() : 96.0;
    const long perPixel = dpi > 0.0 ? std::lround(1440.0 / dpi) : 15;
    return static_cast<int16_t>(std::clamp(perPixel, 1L, 1440L));
}

void QtUserInterface::MaximiseWindow() {
    m_window.resize(800, 600);  // the size it keeps whenever it is not maximised
    m_window.setWindowState(m_window.windowState() | Qt::WindowMaximized);
}

bool QtUserInterface::InitialiseWindow() {
    return m_window.Canvas()->LoadPicture(PicturePath());
}

void QtUserInterface::EndProgram() {
    if (m_ending)
        return;
    m_ending = true;
    EndBusy();
    QApplication::closeAllWindows();
    QCoreApplication::quit();
}

void QtUserInterface::CommandChanged(const CommandItem& item) {
    m_window.ApplyCommand(item);
}

// ---- progress ----

void QtUserInterface::SetProgressMaximum(long maximum) {
    m_progressMaximum = std::max(0L, maximum);
    m_progressValue = 0;
    ShowProgress();
}

void QtUserInterface::SetProgressValue(long value) {
    m_progressValue = value;
    ShowProgress();
}

void QtUserInterface::AdvanceProgress(long steps) {
    m_progressValue += steps;
    ShowProgress();
}

void QtUserInterface::ShowProgress() {
    BeginBusy();
    if (m_sincePump.elapsed() < kPumpIntervalMs && m_progressValue < m_progressMaximum)
        return;
    if (m_commandRunning && m_progressMaximum > 0)
        m_window.ShowStatusProgress(true, m_progressMaximum, m_progressValue);
    PumpEvents(true);
}

void QtUserInterface::LetEventsRun() {
    BeginBusy();
    PumpEvents(false);
}

void QtUserInterface::PumpEvents(bool force) {
    if (!force && m_sincePump.elapsed() < kPumpIntervalMs)
        return;
    m_sincePump.restart();
    // Paint and timer events only: a click now must not start a second command inside this one.
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

}  // namespace tintara::gui
