// The main window end to end: menu tree, start-up state, the profiling road with scripted dialogs,
// the grid as drawn, the plots, progress during long work and errors at the command boundary.
#include <gtest/gtest.h>

#include <QChart>
#include <QChartView>
#include <QCursor>
#include <QDockWidget>
#include <QLineEdit>
#include <QLineSeries>
#include <QMenu>
#include <QMenuBar>
#include <QProgressBar>
#include <QScrollBar>
#include <QStatusBar>
#include <fstream>
#include <iterator>
#include <set>

#include "gui/GridView.h"
#include "gui/GuiHarness.h"
#include "gui/SpectralPlots.h"
#include "report/Paint.h"
#include "support/TestPaths.h"

namespace tintara {
namespace {

using gui::VisibleCaption;
using test::Press;
using test::WindowHarness;

// The menu bar as the user reads it: one line per item, two blanks of indent per level.
void DescribeMenu(const QList<QAction*>& actions, int depth, std::string& out,
                  std::vector<std::string>& problems) {
    std::set<QChar> letters;
    for (QAction* action : actions) {
        if (action->isSeparator())
            continue;
        const QString text = action->text();
        out += std::string(2 * depth, ' ') + VisibleCaption(text).toStdString() + "\n";
        // Exactly one accelerator, not shared with a sibling.
        const QString marks = QString(text).replace(QStringLiteral("&&"), QString());
        if (marks.count(QLatin1Char('&')) != 1) {
            problems.push_back("no single accelerator: " + text.toStdString());
        } else {
            const QChar letter = marks[marks.indexOf(QLatin1Char('&')) + 1].toLower();
            if (!letters.insert(letter).second)
                problems.push_back("shared accelerator: " + text.toStdString());
        }
        if (QMenu* sub = action->menu())
            DescribeMenu(sub->actions(), depth + 1, out, problems);
    }
}

std::string FileText(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

QColor Background(const gui::GridTableModel& model, int gridRow, int col) {
    return model.data(model.index(gui::GridTableModel::TableRow(gridRow), col), Qt::BackgroundRole)
        .value<QColor>();
}

QString Text(const gui::GridTableModel& model, int gridRow, int col) {
    return model.data(model.index(gui::GridTableModel::TableRow(gridRow), col)).toString();
}

TEST(MainWindow, MenuTreeCarriesTheCaptionsWithOneAcceleratorEach) {
    WindowHarness h("menu-tree");
    std::string tree;
    std::vector<std::string> problems;
    DescribeMenu(h.window->menuBar()->actions(), 0, tree, problems);
    EXPECT_EQ(tree,
              "File\n"
              "  Open\n"
              "    Tile Set (*.wsv)\n"
              "      from Master Instrument\n"
              "      from Target Instrument\n"
              "    Fandeck WSV SaveSet (*.wsv)\n"
              "      from Master Instrument\n"
              "      from Target Instrument\n"
              "      from Correlated Target Instrument\n"
              "    Correlation Coefficient File ( *.ccf)\n"
              "  Save\n"
              "    Correlated Fandeck SaveSet (*.wsv)\n"
              "    Correlated Coefficient File (*.ccf)\n"
              "    Profile Component Report (*.txt)\n"
              "  Print\n"
              "    Profile XXX\n"
              "    Certificate of Performance\n"
              "    Instrument Performance\n"
              "  Exit\n"
              "Generate\n"
              "  Correlation Coefficients\n"
              "  Correlated SaveSet\n"
              "  Converted Data\n"
              "  Tolerances\n"
              "Wizards\n"
              "  Profile\n"
              "  Legacy Conversion\n"
              "  Instrument Performance\n");
    EXPECT_TRUE(problems.empty()) << problems.front();
    // Alt+F, O, T, M reaches File > Open > Tile Set > from Master Instrument.
    EXPECT_EQ(h.window->Action(CommandId::FileMenu)->text(), "&File");
    EXPECT_EQ(h.window->Action(CommandId::OpenMenu)->text(), "&Open");
    EXPECT_EQ(h.window->Action(CommandId::TileSetMenu)->text(), "&Tile Set (*.wsv)");
    EXPECT_EQ(h.window->Action(CommandId::MasterInstrumentTileSet)->text(),
              "from &Master Instrument");
    EXPECT_EQ(h.window->Action(CommandId::GenerateCSS)->text(), "Correlated &SaveSet");
}

TEST(MainWindow, AcceleratorHelpersKeepTheVisibleCaption) {
    QSet<QChar> taken{QLatin1Char('f')};
    const QString text = gui::WithMnemonic(QStringLiteral("Fandeck & Files"), taken);
    EXPECT_EQ(VisibleCaption(text), QStringLiteral("Fandeck & Files"));
    EXPECT_EQ(text, QStringLiteral("F&andeck && Files"));
    EXPECT_TRUE(taken.contains(QLatin1Char('a')));
    // A preferred letter wins even when it comes later; a caption without a free letter gets none.
    EXPECT_EQ(gui::WithMnemonic(QStringLiteral("Show SCE Data"), taken, QLatin1Char('d')),
              QStringLiteral("Show SCE &Data"));
    // Initials of capitalised words come first, then other initials, then any letter.
    QSet<QChar> none{QLatin1Char('f')};
    EXPECT_EQ(gui::WithMnemonic(QStringLiteral("from Master Instrument"), none),
              QStringLiteral("from &Master Instrument"));
    EXPECT_EQ(gui::WithMnemonic(QStringLiteral("tile master"), none),
              QStringLiteral("&tile master"));
    EXPECT_EQ(gui::WithMnemonic(QStringLiteral("Mix"), none), QStringLiteral("M&ix"));
    QSet<QChar> all;
    for (char c = 'a'; c <= 'z'; ++c)
        all.insert(QLatin1Char(c));
    EXPECT_EQ(gui::WithMnemonic(QStringLiteral("Exit"), all), QStringLiteral("Exit"));
}

TEST(MainWindow, StartsWithNothingLoadedAndFiveUnassignedPanels) {
    WindowHarness h("start");
    gui::Profiler& w = *h.window;
    EXPECT_EQ(w.windowTitle(), QStringLiteral("Tintara Profiler"));
    EXPECT_TRUE(w.windowState() & Qt::WindowMaximized);
    EXPECT_TRUE(h.Messages.empty());

    EXPECT_TRUE(h.Enabled(CommandId::MasterInstrumentTileSet));
    EXPECT_FALSE(h.Enabled(CommandId::TargetInstrumentTileSet));
    EXPECT_TRUE(h.Enabled(CommandId::MasterInstrumentSaveSet));
    EXPECT_TRUE(h.Enabled(CommandId::TargetInstrumentSaveSet));
    EXPECT_FALSE(h.Enabled(CommandId::CorrelatedTargetInstrumentSaveSet));
    EXPECT_FALSE(h.Enabled(CommandId::SaveFile));
    EXPECT_FALSE(h.Enabled(CommandId::PrintReport));
    EXPECT_FALSE(h.Enabled(CommandId::GenerateFunction));
    EXPECT_TRUE(h.Enabled(CommandId::WizardList));

    EXPECT_EQ(w.PanelText(StatusBarId::FileStatusBar, 1), "Master File - Not Assigned");
    EXPECT_EQ(w.PanelText(StatusBarId::FileStatusBar, 2), "Target File - Not Assigned");
    EXPECT_EQ(w.PanelText(StatusBarId::FileStatusBar, 3), "Coefficient File - Not Assigned");
    EXPECT_EQ(w.PanelText(StatusBarId::InstrumentBar, 1), "Master Instrument - Not Assigned");
    EXPECT_EQ(w.PanelText(StatusBarId::InstrumentBar, 2), "Target Instrument - Not Assigned");

    // The three file panels share the width equally, as do the two instrument panels.
    const auto panelWidth = [&](const char* name) {
        return w.findChild<QWidget*>(QString::fromLatin1(name))->width();
    };
    EXPECT_NEAR(panelWidth("FilePanel1"), panelWidth("FilePanel3"), 2);
    EXPECT_NEAR(panelWidth("InstrumentPanel1"), panelWidth("InstrumentPanel2"), 2);
    EXPECT_GT(panelWidth("InstrumentPanel1"), panelWidth("FilePanel1"));

    EXPECT_FALSE(w.Grid()->isVisible());
    for (CommandId id :
         {CommandId::CorrectedDataCommand, CommandId::RawDataCommand, CommandId::DisplayCommand})
        EXPECT_FALSE(w.Button(id)->isVisible());
    auto* progress = w.findChild<QProgressBar*>(QStringLiteral("ProgressBar"));
    ASSERT_NE(progress, nullptr);
    EXPECT_FALSE(progress->isVisible());
    EXPECT_TRUE(h.ws.WindowInitialised);
    EXPECT_TRUE(w.Canvas()->HasPicture());
    EXPECT_FALSE(w.PlotDock()->isVisible());
}

TEST(MainWindow, MissingBackgroundPictureIsReportedOnce) {
    WindowHarness h("no-picture");
    // A second window over a folder without the picture; activation reports it and goes on.
    std::filesystem::remove(h.folder / "Profiler_Background.jpg");
    GlobalVariables ws;
    gui::Profiler other(ws, QString::fromStdString(h.folder.string()));
    std::vector<std::string> titles;
    other.Ui().MessagePresenter = [&](const MessageBoxRequest& r) -> int16_t {
        titles.push_back(r.Title);
        return kResultOk;
    };
    other.Start("");
    other.show();
    QApplication::processEvents();
    other.hide();
    other.show();
    QApplication::processEvents();
    EXPECT_EQ(titles, std::vector<std::string>{"File Read Error"});
    EXPECT_FALSE(other.Canvas()->HasPicture());
}

TEST(MainWindow, LoadingTheDemoTileSetsShowsTheCorrelationGrid) {
    WindowHarness h("tile-sets");
    const auto demo = test::WriteDemo(h.folder);

    h.Files.push_back(demo.masterTiles.string());
    h.Dialogs.push_back([](QDialog& d) { Press(d, "OKButton"); });
    h.Pick(CommandId::MasterInstrumentTileSet);
    EXPECT_TRUE(h.Enabled(CommandId::TargetInstrumentTileSet));
    EXPECT_FALSE(h.Enabled(CommandId::GenerateFunction));
    ASSERT_EQ(h.FileRequests.size(), 1u);
    EXPECT_EQ(h.FileRequests[0].Filter, "Master Reflectance Save Sets | *.wsv");
    EXPECT_EQ(gui::QtFilter(h.FileRequests[0].Filter),
              QStringLiteral("Master Reflectance Save Sets (*.wsv)"));

    h.Files.push_back(demo.targetTiles.string());
    h.Pick(CommandId::TargetInstrumentTileSet);
    EXPECT_TRUE(h.Messages.empty()) << h.Messages.front().Text;
    EXPECT_EQ(h.DialogNames, std::vector<std::string>{"SelectGeometry"});
    EXPECT_TRUE(h.Enabled(CommandId::GenerateFunction));
    EXPECT_TRUE(h.Enabled(CommandId::GenerateCCF));
    EXPECT_FALSE(h.Enabled(CommandId::GenerateCSS));
    EXPECT_TRUE(h.window->PanelText(StatusBarId::FileStatusBar, 1).contains("master-tiles.wsv"));
    EXPECT_TRUE(h.window->PanelText(StatusBarId::FileStatusBar, 2).contains("target-tiles.wsv"));

    // The grid as drawn: header captions without alignment marks, one table row per grid row
    // below the caption row, the band colours turned from 0xBBGGRR into RGB.
    gui::GridView& view = *h.window->Grid();
    const gui::GridTableModel& model = *view.TableModel();
    const ResultGridModel& grid = h.window->Commands().Grid();
    ASSERT_TRUE(view.isVisible());
    ASSERT_EQ(model.rowCount(), h.ws.TileCount + 2);
    ASSERT_EQ(model.columnCount(), 7);
    EXPECT_EQ(model.headerData(0, Qt::Horizontal, Qt::DisplayRole).toString(), "Tile Name");
    EXPECT_EQ(model.headerData(6, Qt::Horizontal, Qt::DisplayRole).toString(), "Final DE");
    EXPECT_EQ(model.headerData(3, Qt::Horizontal, Qt::TextAlignmentRole).toInt() &
                  Qt::AlignHorizontal_Mask,
              Qt::AlignRight);
    EXPECT_EQ(Text(model, 1, 0), "Average DE");
    EXPECT_EQ(Text(model, 3, 0).toStdString(), h.ws.TileNames[0]);
    EXPECT_EQ(Text(model, 3, 1).toStdString(), DeText(h.ws.RawDE(0, 3)));
    EXPECT_EQ(Background(model, 1, 1), QColor(255, 224, 192));  // average row
    EXPECT_EQ(Background(model, 3, 2), QColor(255, 255, 192));  // odd rows yellow
    EXPECT_EQ(Background(model, 4, 2), QColor(192, 255, 192));  // even rows green
    EXPECT_EQ(Background(model, 4, 0), gui::kFixedCellColor);

    // Widths and placement in pixels: twips over twips-per-pixel, centred in the window's area.
    const int perPixel = h.ws.TwipsPerPixel;
    EXPECT_EQ(view.columnWidth(0), 200);
    EXPECT_EQ(view.columnWidth(6), 80);
    EXPECT_EQ(view.width(), grid.Width / perPixel);
    EXPECT_EQ(view.width(), 200 + 6 * 80 + 3);
    EXPECT_EQ(view.y(), 40);
    EXPECT_NEAR(view.x() + view.width() / 2.0, h.window->Canvas()->width() / 2.0, 1.0);
    EXPECT_LE(view.geometry().bottom(), h.window->Canvas()->height());
    // The three buttons sit under the grid.
    for (CommandId id :
         {CommandId::CorrectedDataCommand, CommandId::RawDataCommand, CommandId::DisplayCommand}) {
        QPushButton* button = h.window->Button(id);
        EXPECT_TRUE(button->isVisible());
        EXPECT_GT(button->y(), view.geometry().bottom());
    }
    EXPECT_EQ(VisibleCaption(h.window->Button(CommandId::RawDataCommand)->text()), "Raw Data");

    // "Raw Data" makes the grid one pixel wider each time.
    const int before = view.width();
    h.Pick(CommandId::RawDataCommand);
    h.Pick(CommandId::RawDataCommand);
    EXPECT_EQ(view.width(), before + 2);
}

TEST(MainWindow, ProfilesTheDemoPairAndWritesCoefficientsCertificateAndReport) {
    WindowHarness h("profile");
    const auto demo = test::WriteDemo(h.folder);
    h.LoadTileSets(demo);

    // The header dialog: change the Target's operator, then OK copies it back.
    h.Dialogs.push_back([](QDialog& d) {
        auto* box = d.findChild<QLineEdit*>(QStringLiteral("OperatorText_1"));
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(d.findChild<QLineEdit*>(QStringLiteral("SerialText_1"))->text(),
                  QStringLiteral("CI64UV-200871"));
        box->setText(QStringLiteral("Lee Chen"));
        Press(d, "OKButton");
    });
    h.Pick(CommandId::GenerateCCF);
    EXPECT_TRUE(h.Messages.empty()) << h.Messages.front().Text;
    EXPECT_TRUE(h.ws.CoefficientsCalculated);
    EXPECT_EQ(h.ws.TargetOperator, "Lee Chen");

    const gui::GridTableModel& model = *h.window->Grid()->TableModel();
    for (int tile = 0; tile < h.ws.TileCount; ++tile) {
        EXPECT_EQ(Text(model, tile + 3, 6).toStdString(), DeText(h.ws.FinalDE(tile, 3)));
    }
    // The correction must have helped on average.
    EXPECT_LT(Text(model, 1, 6).toDouble(), Text(model, 1, 1).toDouble());
    EXPECT_TRUE(h.Enabled(CommandId::SaveFile));
    EXPECT_TRUE(h.Enabled(CommandId::SaveCoefficients));
    EXPECT_TRUE(h.Enabled(CommandId::ToPrinter));

    const auto ccf = h.folder / "demo-profile.ccf";
    h.Files.push_back(ccf.string());
    h.Pick(CommandId::SaveCoefficients);
    EXPECT_TRUE(h.Messages.empty()) << h.Messages.front().Text;
    ASSERT_TRUE(std::filesystem::exists(ccf));
    EXPECT_GT(std::filesystem::file_size(ccf), 1000u);

    h.Pick(CommandId::ToPrinter);
    EXPECT_EQ(h.PrintDialogs, 1);
    const std::string pdf = FileText(h.folder / h.PrintFile);
    ASSERT_GT(pdf.size(), 1000u);
    EXPECT_EQ(pdf.substr(0, 5), "%PDF-");

    const auto report = h.folder / "ProfileReport.txt";
    h.Files.push_back(report.string());
    h.Pick(CommandId::SaveProCompRep);
    const std::string text = FileText(report);
    EXPECT_NE(text.find(h.ws.TileNames[0]), std::string::npos);
    EXPECT_TRUE(h.Files.empty());
    EXPECT_TRUE(h.Dialogs.empty());
}

TEST(MainWindow, SelectingATileRowPlotsItsCurvesAndTheDifferences) {
    WindowHarness h("tile-plot");
    const auto demo = test::WriteDemo(h.folder);
    h.LoadTileSets(demo);
    h.Generate();
    ASSERT_TRUE(h.ws.CoefficientsCalculated);

    gui::GridView& view = *h.window->Grid();
    const int tile = 5;
    view.selectRow(gui::GridTableModel::TableRow(tile + 3));
    QApplication::processEvents();
    ASSERT_TRUE(h.window->PlotDock()->isVisible());
    const QList<QAbstractSeries*> series = h.window->Plots()->CurveChart()->series();
    ASSERT_EQ(series.size(), 6);  // Master, Target and the four phases
    const auto* master = static_cast<QLineSeries*>(series[0]);
    const auto* wavelength = static_cast<QLineSeries*>(series[5]);
    ASSERT_EQ(master->count(), kPointCount);
    EXPECT_EQ(master->at(0).x(), 360.0);
    EXPECT_EQ(master->at(39).x(), 750.0);
    EXPECT_EQ(master->at(17).y(), h.ws.MasterReflectance(tile, 17));
    EXPECT_EQ(wavelength->at(17).y(), h.ws.TargetAfterWavelength(tile, 17));
    EXPECT_TRUE(h.window->Plots()->CurveChart()->title().contains(
        QString::fromStdString(h.ws.TileNames[tile])));
    // The bar chart: raw and final DE of every tile.
    EXPECT_TRUE(h.window->Plots()->DifferenceView()->isVisible());
    ASSERT_EQ(h.window->Plots()->DifferenceChart()->series().size(), 1);

    // Clearing the display (a colour-space change) takes the plots away with the grid.
    h.window->Commands().ClearScreenControls();
    QApplication::processEvents();
    EXPECT_FALSE(view.isVisible());
    EXPECT_FALSE(h.window->PlotDock()->isVisible());
}

TEST(MainWindow, CompareGridPlotsTheSelectedSampleAndTheViewSwitchFollows) {
    WindowHarness h("compare");
    const auto demo = test::WriteDemo(h.folder, 12);
    h.LoadTileSets(demo);
    h.Generate();
    const auto ccf = h.folder / "pair.ccf";
    h.Files.push_back(ccf.string());
    h.Pick(CommandId::SaveCoefficients);

    h.Files.push_back(demo.masterFandeck.string());
    h.Pick(CommandId::MasterInstrumentSaveSet);
    h.Files.push_back(demo.targetFandeck.string());
    h.Pick(CommandId::TargetInstrumentSaveSet);
    h.Files.push_back(ccf.string());
    h.Pick(CommandId::CorrelationFileMenu);
    h.Pick(CommandId::GenerateCSS);
    // The profile was made in SCI only; the command warns that SCE passes uncorrected.
    for (const auto& message : h.Messages)
        ASSERT_EQ(message.Title, "WARNING") << message.Text;

    gui::GridView& view = *h.window->Grid();
    ASSERT_EQ(view.TableModel()->columnCount(), 9);
    ASSERT_EQ(h.ws.SampleCount, 12);
    view.selectRow(gui::GridTableModel::TableRow(1 + 4));  // sample 5
    QApplication::processEvents();
    ASSERT_TRUE(h.window->PlotDock()->isVisible());
    QChart* chart = h.window->Plots()->CurveChart();
    ASSERT_GE(chart->series().size(), 2);
    EXPECT_EQ(chart->series()[0]->name(), "Master");
    EXPECT_EQ(chart->series()[1]->name(), "Target");
    const int angle = h.ws.GridShowsSCI ? 0 : 1;
    EXPECT_EQ(static_cast<QLineSeries*>(chart->series()[0])->at(20).y(),
              h.ws.MasterFandeckReflectance(20, angle, 4));
    EXPECT_FALSE(h.window->Plots()->DifferenceView()->isVisible());

    // With performance data ready, "Display" turns to the performance grid and switches it
    // between SCI and SCE; its caption names the other view, and the plot follows the view.
    QPushButton* display = h.window->Button(CommandId::DisplayCommand);
    h.Pick(CommandId::DisplayCommand);
    ASSERT_EQ(view.TableModel()->columnCount(), 5);
    for (int round = 0; round < 2; ++round) {
        const bool sci = h.ws.PerformanceShowsSCI;
        EXPECT_EQ(VisibleCaption(display->text()), sci ? "Show SCE Data" : "Show SCI Data");
        view.selectRow(gui::GridTableModel::TableRow(1 + 4));
        QApplication::processEvents();
        EXPECT_TRUE(chart->title().contains(sci ? "SCI" : "SCE"));
        EXPECT_EQ(static_cast<QLineSeries*>(chart->series()[0])->at(20).y(),
                  h.ws.MasterFandeckReflectance(20, sci ? 0 : 1, 4));
        h.Pick(CommandId::DisplayCommand);
        EXPECT_NE(h.ws.PerformanceShowsSCI, sci);
    }
}

TEST(MainWindow, UnreadableFilesAreReportedAndTheWindowCarriesOn) {
    WindowHarness h("bad-file");
    const auto junk = h.folder / "junk.wsv";
    std::ofstream(junk) << "this is not a save set";
    h.Files.push_back(junk.string());
    h.Pick(CommandId::MasterInstrumentTileSet);
    ASSERT_EQ(h.Messages.size(), 1u);
    EXPECT_FALSE(h.Messages[0].Title.empty());
    EXPECT_FALSE(h.ws.MasterTileSetLoaded);
    EXPECT_FALSE(h.Enabled(CommandId::TargetInstrumentTileSet));

    // A cancelled file dialog changes nothing and says nothing.
    h.Files.push_back("");
    h.Pick(CommandId::MasterInstrumentTileSet);
    EXPECT_EQ(h.Messages.size(), 1u);

    // The same window then loads a good pair.
    const auto demo = test::WriteDemo(h.folder);
    h.LoadTileSets(demo);
    EXPECT_TRUE(h.ws.TargetTileSetLoaded);
    EXPECT_TRUE(h.Enabled(CommandId::GenerateCCF));
}

TEST(MainWindow, ProfilerIniThatCannotBeWrittenIsShownNotThrown) {
    // Profiler.ini is a folder: reading falls back to the defaults (one message), and Accept in
    // the tolerance dialog fails to write, which must arrive as a message, not a crash.
    const auto folder = test::ScratchDir("gui-ini-folder");
    std::filesystem::create_directories(folder / "Profiler.ini");
    ::setenv("TINTARA_HOME", folder.c_str(), 1);
    test::GuiApp();
    GlobalVariables ws;
    gui::Profiler w(ws, QString::fromStdString(folder.string()));
    std::vector<std::string> titles;
    w.Ui().MessagePresenter = [&](const MessageBoxRequest& r) -> int16_t {
        titles.push_back(r.Title);
        return kResultOk;
    };
    w.Ui().DialogObserver = [](QDialog& d) {
        auto* bar = d.findChild<QScrollBar*>(QStringLiteral("VScroll1_0"));
        bar->setValue(bar->value() - 1);
        Press(d, "AcceptButton");
    };
    w.Start("");
    ASSERT_EQ(titles.size(), 1u);
    EXPECT_EQ(titles[0], "File Read Error");
    w.Dispatch(CommandId::SetTolerances);
    ASSERT_EQ(titles.size(), 2u);
    EXPECT_TRUE(std::filesystem::is_directory(folder / "Profiler.ini"));
    EXPECT_DOUBLE_EQ(ws.SingleSampleTolerance, 0.55);  // changed in memory before the write
}

TEST(MainWindow, LongWorkShowsBusyCursorAndProgressThatPauseForDialogs) {
    WindowHarness h("progress");
    gui::QtUserInterface& ui = h.window->Ui();
    auto* bar = h.window->findChild<QProgressBar*>(QStringLiteral("StatusProgress"));
    ASSERT_NE(bar, nullptr);

    ui.CommandStarted();
    ui.SetProgressMaximum(200);
    for (int i = 0; i < 200; ++i)
        ui.AdvanceProgress();
    EXPECT_TRUE(ui.Busy());
    ASSERT_NE(QApplication::overrideCursor(), nullptr);
    EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
    EXPECT_TRUE(bar->isVisible());
    EXPECT_EQ(bar->value(), bar->maximum());

    // A message box in the middle: no busy cursor over it, busy again afterwards.
    bool busyDuringMessage = true;
    ui.MessagePresenter = [&](const MessageBoxRequest&) -> int16_t {
        busyDuringMessage = QApplication::overrideCursor() != nullptr;
        return kResultOk;
    };
    ui.ShowMessage(MessageBoxRequest{"T", "x"});
    EXPECT_FALSE(busyDuringMessage);
    EXPECT_TRUE(ui.Busy());

    ui.CommandFinished();
    EXPECT_FALSE(ui.Busy());
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    EXPECT_FALSE(bar->isVisible());
    // Outside a command, event processing does not turn the cursor busy.
    ui.LetEventsRun();
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    // The spec'd progress bar control itself stays hidden throughout.
    EXPECT_FALSE(h.window->findChild<QProgressBar*>(QStringLiteral("ProgressBar"))->isVisible());
}

TEST(MainWindow, SaveDialogAnswersGetTheFilterExtension) {
    EXPECT_EQ(gui::WithDefaultSuffix(QStringLiteral("/t/profile"), "Files | *.ccf"),
              QStringLiteral("/t/profile.ccf"));
    EXPECT_EQ(gui::WithDefaultSuffix(QStringLiteral("/t/profile.txt"), "Files | *.ccf"),
              QStringLiteral("/t/profile.txt"));
    EXPECT_EQ(gui::WithDefaultSuffix(QStringLiteral("/t/x"), "All | *.*"), QStringLiteral("/t/x"));
    EXPECT_EQ(gui::WithDefaultSuffix(QString(), "Files | *.ccf"), QString());
    EXPECT_EQ(gui::QtFilter("Instrument Correlation Files | *.ccf"),
              QStringLiteral("Instrument Correlation Files (*.ccf)"));
}

}  // namespace
}  // namespace tintara
