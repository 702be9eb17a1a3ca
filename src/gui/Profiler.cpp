#include "gui/Profiler.h"

#include <QAction>
#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QDate>
#include <QDateTime>
#include <QDockWidget>
#include <QLabel>
#include <QLinearGradient>
#include <QLocale>
#include <QMenu>
#include <QMenuBar>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include <exception>

#include "app/ProfilerCommands.h"
#include "app/Validation.h"
#include "gui/GridView.h"
#include "gui/QtUserInterface.h"
#include "gui/SpectralPlots.h"
#include "gui/ValidationView.h"
#include "report/ValidationReport.h"
#include "workspace/Error.h"

namespace tintara::gui {

namespace {

constexpr const char* kWindowCaption = "Tintara Profiler";
constexpr const char* kBackgroundPicture = "Profiler_Background.jpg";
// The three buttons under the grid, in pixels.
constexpr int kButtonHeight = 28;
constexpr int kButtonWidth = 130;
constexpr int kButtonGap = 12;

QChar MnemonicOf(const QString& text) {
    for (qsizetype i = 0; i + 1 < text.size(); ++i) {
        if (text[i] == QLatin1Char('&')) {
            if (text[i + 1] == QLatin1Char('&')) {
                ++i;
                continue;
            }
            return text[i + 1].toLower();
        }
    }
    return {};
}

}  // namespace

QString VisibleCaption(const QString& text) {
    QString visible;
    visible.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == QLatin1Char('&') && i + 1 < text.size())
            ++i;  // "&x" shows x, "&&" shows one '&'
        visible += text[i];
    }
    return visible;
}

QString WithMnemonic(const QString& caption, QSet<QChar>& taken, QChar preferred) {
    QString escaped = caption;
    escaped.replace(QLatin1Char('&'), QStringLiteral("&&"));
    auto markAt = [&](qsizetype position) {
        // Position in the caption; each '&' before it was doubled.
        const qsizetype before = caption.left(position).count(QLatin1Char('&'));
        taken.insert(caption[position].toLower());
        return escaped.left(position + before) + QLatin1Char('&') + escaped.mid(position + before);
    };
    if (!preferred.isNull()) {
        const QChar want = preferred.toLower();
        for (qsizetype i = 0; i < caption.size(); ++i) {
            if (caption[i].toLower() == want && caption[i].isLetterOrNumber())
                return markAt(i);
        }
    }
    // The letter people guess first: the initial of a capitalised word ("from &Master
    // Instrument"), then of any word, then any letter.
    auto free = [&](qsizetype i) {
        return caption[i].isLetter() && !taken.contains(caption[i].toLower());
    };
    auto initial = [&](qsizetype i) { return i == 0 || !caption[i - 1].isLetterOrNumber(); };
    for (qsizetype i = 0; i < caption.size(); ++i) {
        if (free(i) && initial(i) && caption[i].isUpper())
            return markAt(i);
    }
    for (qsizetype i = 0; i < caption.size(); ++i) {
        if (free(i) && initial(i))
            return markAt(i);
    }
    for (qsizetype i = 0; i < caption.size(); ++i) {
        if (free(i))
            return markAt(i);
    }
    return escaped;
}

// ---- BackgroundCanvas ----

BackgroundCanvas::BackgroundCanvas(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("Image1"));
    setAutoFillBackground(false);
}

bool BackgroundCanvas::LoadPicture(const QString& file) {
    QPixmap picture(file);
    if (picture.isNull())
        return false;
    m_picture = picture;
    update();
    return true;
}

void BackgroundCanvas::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (!m_picture.isNull()) {
        // Stretched over the whole area, as the picture control did.
        painter.drawPixmap(rect(), m_picture);
        return;
    }
    QLinearGradient gradient(rect().topLeft(), rect().bottomRight());
    gradient.setColorAt(0.0, QColor(0x2c, 0x3e, 0x50));
    gradient.setColorAt(1.0, QColor(0x6c, 0x7a, 0x89));
    painter.fillRect(rect(), gradient);
}

void BackgroundCanvas::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    emit Resized();
}

// ---- Profiler ----

Profiler::Profiler(GlobalVariables& ws, const QString& programFolder, QWidget* parent)
    : QMainWindow(parent), m_ws(ws), m_programFolder(programFolder) {
    setObjectName(QStringLiteral("Profiler"));
    setWindowTitle(QString::fromLatin1(kWindowCaption));
    resize(800, 600);

    m_ui = std::make_unique<QtUserInterface>(*this);
    m_commands = std::make_unique<ProfilerCommands>(
        m_ws, *m_ui, std::filesystem::path(programFolder.toStdString()));
    // Reports and certificates carry the date in the user's short date format.
    m_commands->DateText = [](std::chrono::system_clock::time_point when) {
        const QDate date =
            QDateTime::fromSecsSinceEpoch(
                std::chrono::duration_cast<std::chrono::seconds>(when.time_since_epoch()).count())
                .date();
        return QLocale::system().toString(date, QLocale::ShortFormat).toStdString();
    };

    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_canvas = new BackgroundCanvas(central);
    layout->addWidget(m_canvas, 1);
    BuildStatusBars();
    layout->addWidget(m_instrumentBar);
    layout->addWidget(m_fileBar);
    setCentralWidget(central);

    m_gridView = new GridView(m_commands->Grid(), m_ws.TwipsPerPixel, m_canvas);
    m_hiddenProgress = new QProgressBar(m_canvas);
    m_hiddenProgress->setObjectName(QStringLiteral("ProgressBar"));
    m_hiddenProgress->hide();
    BuildButtons();
    BuildMenus();

    m_plots = new SpectralPlots;
    m_plotDock = new QDockWidget(tr("Spectral Plots"), this);
    m_plotDock->setObjectName(QStringLiteral("PlotDock"));
    m_plotPages = new QTabWidget;
    m_plotPages->setObjectName(QStringLiteral("PlotPages"));
    m_plotPages->addTab(m_plots, tr("Spectral Plots"));
    m_validation = new ValidationView(m_plotPages);
    m_validation->hide();  // a page only while a comparison is on show
    m_plotDock->setWidget(m_plotPages);
    m_plotDock->setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable |
                            QDockWidget::DockWidgetFloatable);
    addDockWidget(Qt::RightDockWidgetArea, m_plotDock);
    m_plotDock->hide();

    connect(m_canvas, &BackgroundCanvas::Resized, this, &Profiler::PlaceGridAndButtons);
    connect(m_gridView->TableModel(), &QAbstractItemModel::modelReset, this,
            &Profiler::PlaceGridAndButtons);
    connect(m_gridView, &GridView::GridRowSelected, this, [this](int) { UpdatePlots(); });
}

Profiler::~Profiler() {
    // The command layer holds the grid model the view points into; the view goes first.
    delete m_gridView;
    m_gridView = nullptr;
}

void Profiler::BuildStatusBars() {
    m_instrumentBar = new QStatusBar(this);
    m_instrumentBar->setObjectName(QStringLiteral("InstrumentBar"));
    m_instrumentBar->setSizeGripEnabled(false);
    m_fileBar = new QStatusBar(this);
    m_fileBar->setObjectName(QStringLiteral("FileStatusBar"));
    m_fileBar->setSizeGripEnabled(false);
    // Equal stretch: a third of the width per file panel, a half per instrument panel.
    const auto addPanels = [](QStatusBar* bar, auto& panels, const QString& name) {
        for (std::size_t i = 0; i < panels.size(); ++i) {
            panels[i] = new QLabel(bar);
            panels[i]->setObjectName(name.arg(i + 1));
            panels[i]->setFrameShape(QFrame::StyledPanel);
            panels[i]->setMinimumWidth(40);
            bar->addPermanentWidget(panels[i], 1);
        }
    };
    addPanels(m_instrumentBar, m_instrumentPanels, QStringLiteral("InstrumentPanel%1"));
    addPanels(m_fileBar, m_filePanels, QStringLiteral("FilePanel%1"));
    m_statusProgress = new QProgressBar(m_fileBar);
    m_statusProgress->setObjectName(QStringLiteral("StatusProgress"));
    m_statusProgress->setMaximumWidth(180);
    m_statusProgress->setTextVisible(true);
    m_statusProgress->hide();
    m_fileBar->addPermanentWidget(m_statusProgress, 0);
}

void Profiler::BuildButtons() {
    MenuState& menu = m_commands->Menu();
    QSet<QChar> taken;
    for (CommandId id :
         {CommandId::CorrectedDataCommand, CommandId::RawDataCommand, CommandId::DisplayCommand}) {
        const CommandItem& item = menu.Item(id);
        auto* button = new QPushButton(m_canvas);
        button->setObjectName(QString::fromLatin1(item.Name.data(), item.Name.size()));
        const QString text = WithMnemonic(QString::fromStdString(item.Caption), taken);
        m_mnemonics[id] = MnemonicOf(text);
        button->setText(text);
        button->setFixedSize(kButtonWidth, kButtonHeight);
        button->setAutoDefault(false);
        button->setVisible(item.Visible);
        button->setEnabled(item.Enabled);
        connect(button, &QPushButton::clicked, this, [this, id] { Dispatch(id); });
        m_buttons[id] = button;
    }
}

void Profiler::BuildMenus() {
    MenuState& menu = m_commands->Menu();
    QSet<QChar> taken;
    for (CommandId head : menu.Children(std::nullopt)) {
        const CommandItem& item = menu.Item(head);
        if (item.IsButton)
            continue;
        const QString text = WithMnemonic(QString::fromStdString(item.Caption), taken);
        m_mnemonics[head] = MnemonicOf(text);
        QMenu* sub = menuBar()->addMenu(text);
        sub->setObjectName(QString::fromLatin1(item.Name.data(), item.Name.size()));
        sub->menuAction()->setObjectName(sub->objectName());
        m_actions[head] = sub->menuAction();
        sub->menuAction()->setEnabled(item.Enabled);
        sub->menuAction()->setVisible(item.Visible);
        if (head == CommandId::WizardList)
            m_wizardMenu = sub;
        BuildMenu(sub, head);
    }
}

void Profiler::BuildMenu(QMenu* menu, CommandId head) {
    MenuState& state = m_commands->Menu();
    QSet<QChar> taken;
    for (CommandId id : state.Children(head)) {
        const CommandItem& item = state.Item(id);
        const QString text = WithMnemonic(QString::fromStdString(item.Caption), taken);
        m_mnemonics[id] = MnemonicOf(text);
        const QString name = QString::fromLatin1(item.Name.data(), item.Name.size());
        QAction* action = nullptr;
        if (!state.Children(id).empty()) {
            QMenu* sub = menu->addMenu(text);
            sub->setObjectName(name);
            action = sub->menuAction();
            BuildMenu(sub, id);
        } else {
            action = menu->addAction(text);
            connect(action, &QAction::triggered, this, [this, id] { Dispatch(id); });
        }
        action->setObjectName(name);
        action->setEnabled(item.Enabled);
        action->setVisible(item.Visible);
        m_actions[id] = action;
    }
}

QString Profiler::CaptionWithMnemonic(const CommandItem& item) {
    // Keep the item's letter when the new caption still has it; else take one its siblings do
    // not use.
    QSet<QChar> taken;
    const MenuState& menu = m_commands->Menu();
    const bool button = item.IsButton;
    for (const CommandItem& other : menu.Items()) {
        if (other.Id == item.Id || other.IsButton != button || other.Parent != item.Parent)
            continue;
        const auto it = m_mnemonics.find(other.Id);
        if (it != m_mnemonics.end() && !it->second.isNull())
            taken.insert(it->second);
    }
    const auto mine = m_mnemonics.find(item.Id);
    const QChar preferred = mine == m_mnemonics.end() ? QChar() : mine->second;
    const QString text = WithMnemonic(QString::fromStdString(item.Caption), taken,
                                      taken.contains(preferred) ? QChar() : preferred);
    m_mnemonics[item.Id] = MnemonicOf(text);
    return text;
}

QAction* Profiler::Action(CommandId id) const {
    const auto it = m_actions.find(id);
    return it == m_actions.end() ? nullptr : it->second;
}

QPushButton* Profiler::Button(CommandId id) const {
    const auto it = m_buttons.find(id);
    return it == m_buttons.end() ? nullptr : it->second;
}

void Profiler::ApplyCommand(const CommandItem& item) {
    if (QPushButton* button = Button(item.Id)) {
        if (VisibleCaption(button->text()) != QString::fromStdString(item.Caption))
            button->setText(CaptionWithMnemonic(item));
        button->setEnabled(item.Enabled);
        button->setVisible(item.Visible && m_gridView->isVisibleTo(m_canvas));
        if (item.BackColor) {
            button->setStyleSheet(QStringLiteral("QPushButton { background-color: %1; }")
                                      .arg(ToQColor(*item.BackColor).name()));
        } else {
            button->setStyleSheet(QString());
        }
        PlaceGridAndButtons();
        return;
    }
    if (QAction* action = Action(item.Id)) {
        if (VisibleCaption(action->text()) != QString::fromStdString(item.Caption))
            action->setText(CaptionWithMnemonic(item));
        action->setEnabled(item.Enabled);
        action->setVisible(item.Visible);
    }
}

QString Profiler::PanelText(StatusBarId bar, int panel) const {
    if (bar == StatusBarId::FileStatusBar && panel >= 1 && panel <= 3)
        return m_filePanels[static_cast<std::size_t>(panel - 1)]->text();
    if (bar == StatusBarId::InstrumentBar && panel >= 1 && panel <= 2)
        return m_instrumentPanels[static_cast<std::size_t>(panel - 1)]->text();
    return {};
}

void Profiler::SetPanelText(StatusBarId bar, int panel, const QString& text) {
    QLabel* label = nullptr;
    if (bar == StatusBarId::FileStatusBar && panel >= 1 && panel <= 3)
        label = m_filePanels[static_cast<std::size_t>(panel - 1)];
    if (bar == StatusBarId::InstrumentBar && panel >= 1 && panel <= 2)
        label = m_instrumentPanels[static_cast<std::size_t>(panel - 1)];
    if (label == nullptr)
        return;
    label->setText(text);
    label->setToolTip(text);
}

void Profiler::ShowStatusProgress(bool visible, long maximum, long value) {
    if (!visible) {
        m_statusProgress->hide();
        return;
    }
    // QProgressBar counts in int; scale very long runs down.
    const long divisor = maximum > 1000000 ? maximum / 1000000 + 1 : 1;
    m_statusProgress->setRange(0, static_cast<int>(std::max(1L, maximum / divisor)));
    m_statusProgress->setValue(static_cast<int>(std::clamp(value, 0L, maximum) / divisor));
    m_statusProgress->show();
}

int Profiler::StatusBarHeight() const {
    return std::max(m_fileBar->sizeHint().height(), m_fileBar->height());
}

void Profiler::RefreshGrid() {
    m_gridView->Sync();
    PlaceGridAndButtons();
    // The plots belong to the grid's rows: they go when the grid goes.
    if (!m_commands->Grid().Visible())
        m_plotDock->hide();
}

void Profiler::PlaceGridAndButtons() {
    ResultGridModel& grid = m_commands->Grid();
    const int perPixel = m_ws.TwipsPerPixel > 0 ? m_ws.TwipsPerPixel : 15;
    if (grid.Width > 0) {
        // The grid procedures centre the grid in the window as it was when they ran; keep it
        // centred and clear of the bottom bars when the window (or the plot dock) changes size.
        const int32_t areaWidth = m_canvas->width() * perPixel;
        const int32_t areaHeight = m_canvas->height() * perPixel;
        grid.Left = std::max<int32_t>(0, (areaWidth - grid.Width) / 2);
        const int32_t height = areaHeight - grid.Top - 2 * StatusBarHeight() * perPixel;
        grid.Height = std::max<int32_t>(6 * 20 * perPixel / 15, height);
        m_gridView->Sync();
    }
    const QRect g = m_gridView->geometry();
    const bool gridShown = m_gridView->isVisibleTo(m_canvas);
    const std::array<CommandId, 3> order{CommandId::CorrectedDataCommand, CommandId::RawDataCommand,
                                         CommandId::DisplayCommand};
    const int total = 3 * kButtonWidth + 2 * kButtonGap;
    int x = g.left() + (g.width() - total) / 2;
    const int y = std::min(g.bottom() + 8, m_canvas->height() - kButtonHeight - 2);
    for (CommandId id : order) {
        QPushButton* button = m_buttons[id];
        button->move(std::max(0, x), std::max(0, y));
        button->setVisible(gridShown && m_commands->Menu().Visible(id));
        button->raise();
        x += kButtonWidth + kButtonGap;
    }
}

void Profiler::Start(const std::string& commandLine) {
    m_commands->Form_Load(commandLine);
    RefreshGrid();
}

void Profiler::Dispatch(CommandId id) {
    if (m_dispatching)
        return;  // user input is held back during commands; this is the last line of defence
    m_dispatching = true;
    m_ui->CommandStarted();
    auto show = [this](const std::string& title, const std::string& text) {
        m_ui->ShowMessage(
            MessageBoxRequest{title, text, MessageIcon::Exclamation, MessageButtons::Ok, ""});
    };
    try {
        m_commands->Execute(id);
    } catch (const Refusal& refusal) {
        show(refusal.Title(), refusal.Text());
    } catch (const std::exception& error) {
        show(kWindowCaption, error.what());
    } catch (...) {
        show(kWindowCaption, "The command ended with an unexpected error.");
    }
    m_ui->CommandFinished();
    m_dispatching = false;
    RefreshGrid();
    UpdatePlots();
}

void Profiler::UpdatePlots() {
    const ResultGridModel& grid = m_commands->Grid();
    const bool correlation = grid.Cols() == 7;
    // The compare grid (nine columns) and the performance grid keep their own view flags.
    const bool sci = grid.Cols() == 9 ? m_ws.GridShowsSCI : m_ws.PerformanceShowsSCI;
    UpdateValidationPage(grid.Visible() && grid.Cols() > 0 && !correlation, sci);
    const int row = m_gridView->SelectedGridRow();
    if (!grid.Visible() || row < 1 || row >= grid.Rows() || grid.Cols() < 1) {
        if (!grid.Visible())
            m_plotDock->hide();
        return;
    }
    if (correlation) {
        const int tile = row - 3;
        if (tile < 0 || tile >= m_ws.TileCount)
            return;
        const QString name = tile < static_cast<int>(m_ws.TileNames.size())
                                 ? QString::fromStdString(m_ws.TileNames[tile]).trimmed()
                                 : QString::number(tile + 1);
        m_plots->ShowCurves(tr("Tile %1: %2").arg(tile + 1).arg(name), TileCurves(m_ws, tile));
        m_plots->ShowTileDifferences(m_ws);
    } else {
        const int sample = row - 1;
        if (sample < 0 || sample >= m_ws.SampleCount)
            return;
        const QString name = sample < static_cast<int>(m_ws.SampleNames.size())
                                 ? QString::fromStdString(m_ws.SampleNames[sample]).trimmed()
                                 : QString::number(sample + 1);
        QString title =
            tr("%1 (%2)").arg(name, sci ? QStringLiteral("SCI") : QStringLiteral("SCE"));
        std::vector<SpectralCurve> curves;
        try {
            curves = SampleCurves(m_ws, sample, sci ? 0 : 1);
        } catch (const std::exception& error) {
            // The curves are read from the files when asked for: the title says why there are none.
            title = QString::fromStdString(error.what());
        }
        m_plots->ShowCurves(title, curves);
        m_plots->HideTileDifferences();
    }
    if (!m_plotDock->isVisible()) {
        m_plotDock->show();
        // In a small window the grid keeps the larger part: the plots take a third at most.
        const int room = std::max(240, width() / 3);
        resizeDocks({m_plotDock}, {std::min(room, m_plotDock->sizeHint().width())}, Qt::Horizontal);
    }
}

void Profiler::UpdateValidationPage(bool comparisonShown, bool sci) {
    // Validated again only when what is compared changes, not on every row picked.
    std::string key;
    if (comparisonShown && m_ws.PerformanceDataReady) {
        key = std::string(sci ? "SCI|" : "SCE|") + m_ws.MasterFandeck.File + "|" +
              m_ws.TargetFandeck.File + "|" + (m_ws.ConversionDone ? m_ws.CoefficientFile : "") +
              "|" + std::to_string(m_ws.SampleCount) + "|" + std::to_string(m_ws.ColorSpace) + "|" +
              std::to_string(m_ws.SingleSampleTolerance);
        // The comparison's own averages tell a re-read of the same files apart.
        const auto last = static_cast<std::size_t>(std::max(0, m_ws.SampleCount));
        if (m_ws.SampleDeltas.Rows() > last) {
            for (std::size_t c = 0; c < m_ws.SampleDeltas.Cols(); ++c)
                key += "|" + std::to_string(m_ws.SampleDeltas(last, c));
        }
    }
    if (key == m_validationKey)
        return;
    m_validationKey = key;
    const int page = m_plotPages->indexOf(m_validation);
    if (key.empty()) {
        if (page >= 0)
            m_plotPages->removeTab(page);
        return;
    }
    try {
        const ValidationResult result =
            ValidateComparison(m_ws, sci ? Geometry::SCI : Geometry::SCE);
        const std::string coefficients = m_ws.ConversionDone
                                             ? m_ws.CoefficientFile
                                             : tr("none (Target as measured)").toStdString();
        m_validation->ShowDocument(ValidationReportDocument(
            result,
            {coefficients, m_ws.MasterFandeck.File, m_ws.TargetFandeck.File, sci ? "SCI" : "SCE",
             QLocale().toString(QDate::currentDate(), QLocale::ShortFormat).toStdString()}));
        if (page < 0)
            m_plotPages->addTab(m_validation, tr("Validation"));
    } catch (const Error&) {
        // The comparison holds no data for this geometry: no page rather than an empty one.
        if (page >= 0)
            m_plotPages->removeTab(page);
    }
}

void Profiler::Activate() {
    if (m_ws.WindowInitialised)
        return;
    m_commands->Form_Activate();
    PlaceGridAndButtons();
}

void Profiler::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    QTimer::singleShot(0, this, [this] { Activate(); });
}

void Profiler::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        Activate();
}

void Profiler::closeEvent(QCloseEvent* event) {
    // Closing the window ends the program as File > Exit does: nothing saved, nothing asked.
    m_commands->Form_Unload();
    event->accept();
}

void Profiler::contextMenuEvent(QContextMenuEvent* event) {
    // The right button offers the wizards.
    if (m_wizardMenu != nullptr && m_wizardMenu->menuAction()->isEnabled())
        m_wizardMenu->popup(event->globalPos());
}

}  // namespace tintara::gui
