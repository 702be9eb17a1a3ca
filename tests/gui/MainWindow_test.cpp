// The main window end to end: menu tree, start-up state, the profiling road with scripted dialogs,
// the grid as drawn, the plots, progress during long work and errors at the command boundary.
#include <gtest/gtest.h>

#include <QBarSeries>
#include <QBarSet>
#include <QChart>
#include <QChartView>
#include <QCursor>
#include <QDockWidget>
#include <QLabel>
#include <QLineEdit>
#include <QLineSeries>
#include <QMenu>
#include <QMenuBar>
#include <QProgressBar>
#include <QScrollBar>
#include <QTabWidget>
#include <algorithm>
#include <fstream>
#include <set>

#include "app/FandeckCompare.h"
#include "app/Validation.h"
#include "files/SaveSetLibrary.h"
#include "gui/GridView.h"
#include "gui/GuiHarness.h"
#include "gui/SpectralPlots.h"
#include "gui/ValidationView.h"
#include "render/PdfInspect.h"
#include "report/Paint.h"

namespace tintara {
namespace {

using gui::GridTableModel;
using gui::VisibleCaption;
using test::Press;
using test::WindowHarness;

// The menu bar as the user reads it: one line per item, two blanks of indent per level, " -"
// after a disabled item the user could otherwise reach. Each item must have exactly one
// accelerator, not shared with a sibling.
void DescribeMenu(const QList<QAction*>& actions, int depth, std::string& out, bool reachable) {
    std::set<QChar> letters;
    for (QAction* action : actions) {
        if (action->isSeparator())
            continue;
        const QString text = action->text();
        out += std::string(2 * depth, ' ') + VisibleCaption(text).toStdString() +
               (reachable && !action->isEnabled() ? " -\n" : "\n");
        const QString marks = QString(text).replace(QStringLiteral("&&"), QString());
        EXPECT_EQ(marks.count(QLatin1Char('&')), 1) << text.toStdString();
        EXPECT_TRUE(letters.insert(marks[marks.indexOf(QLatin1Char('&')) + 1].toLower()).second)
            << "shared accelerator: " << text.toStdString();
        if (QMenu* sub = action->menu())
            DescribeMenu(sub->actions(), depth + 1, out, reachable && action->isEnabled());
    }
}

QColor Background(const GridTableModel& model, int gridRow, int col) {
    return model.data(model.index(GridTableModel::TableRow(gridRow), col), Qt::BackgroundRole)
        .value<QColor>();
}

std::string Text(const GridTableModel& model, int gridRow, int col) {
    return model.data(model.index(GridTableModel::TableRow(gridRow), col)).toString().toStdString();
}

double PointY(QChart* chart, int series, int point) {
    return static_cast<QLineSeries*>(chart->series()[series])->at(point).y();
}

TEST(MainWindow, StartsWithTheMenuTreeFiveUnassignedPanelsAndNothingShown) {
    WindowHarness h("start");
    gui::Profiler& w = *h.window;
    std::string tree;
    DescribeMenu(w.menuBar()->actions(), 0, tree, true);
    EXPECT_EQ(tree,
              "File\n"
              "  Open\n"
              "    Tile Set (*.wsv)\n"
              "      from Master Instrument\n"
              "      from Target Instrument -\n"
              "    Fandeck WSV SaveSet (*.wsv)\n"
              "      from Master Instrument\n"
              "      from Target Instrument\n"
              "      from Correlated Target Instrument -\n"
              "    Correlation Coefficient File ( *.ccf)\n"
              "  Save -\n"
              "    Correlated Fandeck SaveSet (*.wsv)\n"
              "    Correlated Coefficient File (*.ccf)\n"
              "    Profile Component Report (*.txt)\n"
              "  Print -\n"
              "    Profile XXX\n"
              "    Certificate of Performance\n"
              "    Instrument Performance\n"
              "  Exit\n"
              "Generate -\n"
              "  Correlation Coefficients\n"
              "  Correlated SaveSet\n"
              "  Converted Data\n"
              "  Tolerances\n"
              "Wizards\n"
              "  Profile\n"
              "  Legacy Conversion\n"
              "  Instrument Performance\n");
    // Alt+F, O, T, M reaches File > Open > Tile Set > from Master Instrument.
    EXPECT_EQ(w.Action(CommandId::TileSetMenu)->text() +
                  w.Action(CommandId::MasterInstrumentTileSet)->text(),
              "&Tile Set (*.wsv)from &Master Instrument");

    EXPECT_EQ(w.windowTitle(), "Tintara Profiler");
    EXPECT_TRUE(h.Messages.empty());
    EXPECT_EQ(w.PanelText(StatusBarId::FileStatusBar, 1), "Master File - Not Assigned");
    EXPECT_EQ(w.PanelText(StatusBarId::FileStatusBar, 2), "Target File - Not Assigned");
    EXPECT_EQ(w.PanelText(StatusBarId::FileStatusBar, 3), "Coefficient File - Not Assigned");
    EXPECT_EQ(w.PanelText(StatusBarId::InstrumentBar, 1), "Master Instrument - Not Assigned");
    EXPECT_EQ(w.PanelText(StatusBarId::InstrumentBar, 2), "Target Instrument - Not Assigned");
    EXPECT_FALSE(w.Grid()->isVisible());
    EXPECT_FALSE(w.Button(CommandId::DisplayCommand)->isVisible());
    EXPECT_FALSE(w.PlotDock()->isVisible());
    EXPECT_TRUE(w.Canvas()->HasPicture());
}

TEST(MainWindow, ProfilesTheDemoPairWithGridPlotsCoefficientsAndPrintout) {
    WindowHarness h("profile");
    h.LoadTileSets(test::WriteDemo(h.folder));
    EXPECT_TRUE(h.Messages.empty()) << h.Messages.front().Text;
    EXPECT_TRUE(h.Enabled(CommandId::GenerateFunction) && h.Enabled(CommandId::GenerateCCF));
    EXPECT_FALSE(h.Enabled(CommandId::GenerateCSS));
    EXPECT_FALSE(h.Enabled(CommandId::SaveFile));

    // The grid as drawn: header captions without alignment marks, one table row per grid row
    // below the caption row, the band colours turned from 0xBBGGRR into RGB.
    gui::GridView& view = *h.window->Grid();
    const GridTableModel& model = *view.TableModel();
    ASSERT_TRUE(view.isVisible());
    ASSERT_EQ(model.rowCount(), h.ws.TileCount + 2);
    ASSERT_EQ(model.columnCount(), 7);
    EXPECT_EQ(model.headerData(6, Qt::Horizontal, Qt::DisplayRole).toString(), "Final DE");
    EXPECT_EQ(Text(model, 1, 0), "Average DE");
    EXPECT_EQ(Text(model, 3, 0), h.ws.TileNames[0]);
    EXPECT_EQ(Text(model, 3, 1), DeText(h.ws.RawDE(0, 3)));
    EXPECT_EQ(Background(model, 1, 1), QColor(255, 224, 192));  // average row
    EXPECT_EQ(Background(model, 3, 2), QColor(255, 255, 192));  // odd rows yellow
    EXPECT_EQ(Background(model, 4, 2), QColor(192, 255, 192));  // even rows green
    EXPECT_EQ(Background(model, 4, 0), gui::kFixedCellColor);
    // Widths in twips over twips-per-pixel, with the vertical scroll bar beside the columns;
    // centred in the window's area, 40 px below its top, with the buttons under it.
    int columns = 0;
    for (int c = 0; c < view.model()->columnCount(); ++c) {
        columns += view.columnWidth(c);
        EXPECT_EQ(view.columnWidth(c),
                  h.window->Commands().Grid().ColWidth(c) / h.ws.TwipsPerPixel);
    }
    EXPECT_EQ(view.width(),
              columns + 2 * view.frameWidth() + view.verticalScrollBar()->sizeHint().width());
    EXPECT_EQ(view.y(), 40);
    EXPECT_NEAR(view.x() + view.width() / 2.0, h.window->Canvas()->width() / 2.0, 1.0);
    EXPECT_GT(h.window->Button(CommandId::DisplayCommand)->y(), view.geometry().bottom());

    // A tile row plots the Master and Target curves and the raw differences of every tile.
    const int tile = 5;
    QChart* chart = h.window->Plots()->CurveChart();
    const auto bars = [&] {
        return static_cast<QBarSeries*>(h.window->Plots()->DifferenceChart()->series().at(0));
    };
    view.selectRow(GridTableModel::TableRow(tile + 3));
    QApplication::processEvents();
    ASSERT_TRUE(h.window->PlotDock()->isVisible());
    EXPECT_EQ(h.window->PlotPages()->count(), 1);  // no Validation page beside tiles
    EXPECT_EQ(chart->series().size(), 2);
    EXPECT_EQ(bars()->count(), 1);
    EXPECT_EQ(bars()->barSets()[0]->at(tile), h.ws.RawDE(tile, 3));

    // The header dialog: an edit of the Target's operator reaches the workspace with OK.
    h.Generate([](QDialog& d) {
        EXPECT_EQ(test::Child<QLineEdit>(d, "SerialText_1")->text(), "CI64UV-200871");
        test::Child<QLineEdit>(d, "OperatorText_1")->setText("Lee Chen");
    });
    ASSERT_TRUE(h.ws.CoefficientsCalculated);
    EXPECT_EQ(h.ws.TargetOperator, "Lee Chen");
    for (int t = 0; t < h.ws.TileCount; ++t)
        EXPECT_EQ(Text(model, t + 3, 6), DeText(h.ws.FinalDE(t, 3)));

    // Now the four phases join the curves (replacing the old ones, not piled on them) and the
    // final differences the bars.
    view.selectRow(GridTableModel::TableRow(tile + 3));
    QApplication::processEvents();
    EXPECT_TRUE(chart->title().contains(QString::fromStdString(h.ws.TileNames[tile])));
    ASSERT_EQ(chart->series().size(), 6);
    EXPECT_EQ(chart->axes().size(), 2);
    const Matrix* tables[] = {&h.ws.MasterReflectance,    &h.ws.TargetReflectance,
                              &h.ws.TargetAfterOffset,    &h.ws.TargetAfterGain,
                              &h.ws.TargetAfterLinearity, &h.ws.TargetAfterWavelength};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(PointY(chart, i, 17), (*tables[i])(tile, 17)) << i;
    const auto* master = static_cast<QLineSeries*>(chart->series()[0]);
    ASSERT_EQ(master->count(), kPointCount);
    EXPECT_EQ(master->at(17).x(), 530.0);
    ASSERT_EQ(bars()->count(), 2);
    EXPECT_EQ(bars()->barSets()[1]->at(tile), h.ws.FinalDE(tile, 3));

    const auto ccf = h.folder / "demo-profile.ccf";
    h.Files.push_back(ccf.string());
    h.Pick(CommandId::SaveCoefficients);
    EXPECT_GT(std::filesystem::file_size(ccf), 1000u);
    h.Pick(CommandId::ToPrinter);
    EXPECT_EQ(h.PrintDialogs, 1);
    EXPECT_GT(std::filesystem::file_size(h.folder / "printed.pdf"), 1000u);
    EXPECT_TRUE(h.Messages.empty()) << h.Messages.front().Text;
    if (test::HavePoppler()) {
        // Laid out on the printer's paper, everything inside its half-inch margins.
        const auto pages = test::ReadPdf(h.folder / "printed.pdf");
        ASSERT_EQ(pages.size(), 1u);
        EXPECT_NEAR(pages[0].Width, 595.3, 0.5);
        EXPECT_NEAR(pages[0].Height, 841.9, 0.5);
        test::ExpectInside(pages, 36.0);
        EXPECT_NE(pages[0].Layout.find("Certified by :"), std::string::npos);
    }
    EXPECT_TRUE(h.Files.empty() && h.Dialogs.empty());

    // Clearing the display (a colour-space change) takes the plots away with the grid.
    h.window->Commands().ClearScreenControls();
    QApplication::processEvents();
    EXPECT_FALSE(view.isVisible());
    EXPECT_FALSE(h.window->PlotDock()->isVisible());
}

TEST(MainWindow, CompareGridPlotsTheSelectedSampleInTheShownGeometry) {
    WindowHarness h("compare");
    h.CompareDemoFandecks(test::WriteDemo(h.folder, 12));
    // The profile was made in SCI only; the command warns that SCE passes uncorrected.
    for (const auto& message : h.Messages)
        ASSERT_EQ(message.Title, "WARNING") << message.Text;

    gui::GridView& view = *h.window->Grid();
    ASSERT_EQ(view.TableModel()->columnCount(), 9);
    view.selectRow(GridTableModel::TableRow(1 + 4));  // sample 5
    QApplication::processEvents();
    ASSERT_TRUE(h.window->PlotDock()->isVisible());
    QChart* chart = h.window->Plots()->CurveChart();
    ASSERT_EQ(chart->series().size(), 3);  // Master, Target and the converted Target
    const int angle = h.ws.GridShowsSCI ? 0 : 1;
    const auto point = [&](const std::string& file) {
        return LoadSaveSet(file).Records[4].Curves[static_cast<std::size_t>(angle)][20];
    };
    EXPECT_EQ(PointY(chart, 0, 20), point(h.ws.MasterFandeck.File));
    EXPECT_EQ(PointY(chart, 1, 20), point(h.ws.TargetFandeck.File));
    EXPECT_EQ(PointY(chart, 2, 20), point(h.ws.ConvertedCurvesFile));
    EXPECT_FALSE(h.window->Plots()->DifferenceView()->isVisible());

    // The Validation page shows the report of the geometry on show, drawn.
    QTabWidget* pages = h.window->PlotPages();
    ASSERT_EQ(pages->count(), 2);
    EXPECT_EQ(pages->tabText(1), "Validation");
    pages->setCurrentIndex(1);
    QApplication::processEvents();
    const gui::ValidationView& validation = *h.window->Validation();
    const std::vector<std::string> lines = validation.Document().TextLines();
    const std::string geometry = h.ws.GridShowsSCI ? "SCI, " : "SCE, ";
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const std::string& l) {
        return l.starts_with(geometry + "DE in CIELAB, 12 samples");
    }));
    ASSERT_EQ(validation.PageLabels().size(), 2u);
    EXPECT_GE(validation.PageLabels()[1]->pixmap().width(), gui::ValidationView::kMinimumWidth);
    // The same numbers as the compare grid's averages.
    EXPECT_NEAR(
        ValidateComparison(h.ws, h.ws.GridShowsSCI ? Geometry::SCI : Geometry::SCE).After.DE.Mean,
        h.ws.SampleDeltas(12,
                          CorrectedColumn(h.ws.GridShowsSCI ? Geometry::SCI : Geometry::SCE) + 3),
        1e-12);
}

TEST(MainWindow, ErrorsAreShownNotThrownAndTheWindowCarriesOn) {
    // Profiler.ini is a folder: reading falls back to the defaults (one message), and Accept in
    // the tolerance dialog fails to write, which must arrive as a message, not a crash.
    WindowHarness h("ini-folder", [](const std::filesystem::path& folder) {
        std::filesystem::remove(folder / "Profiler.ini");
        std::filesystem::create_directories(folder / "Profiler.ini");
    });
    ASSERT_EQ(h.Messages.size(), 1u);
    EXPECT_EQ(h.Messages[0].Title, "File Read Error");
    h.Dialogs.push_back([](QDialog& d) {
        auto* bar = test::Child<QScrollBar>(d, "VScroll1_0");
        bar->setValue(bar->value() - 1);
        Press(d, "AcceptButton");
    });
    h.window->Dispatch(CommandId::SetTolerances);
    ASSERT_EQ(h.Messages.size(), 2u);
    EXPECT_DOUBLE_EQ(h.ws.SingleSampleTolerance, 0.55);  // changed in memory before the write

    // A file that is not a save set: a message and nothing loaded; a cancelled dialog says nothing.
    const auto junk = h.folder / "junk.wsv";
    std::ofstream(junk) << "this is not a save set";
    h.Files.insert(h.Files.end(), {junk.string(), ""});
    h.Pick(CommandId::MasterInstrumentTileSet);
    ASSERT_EQ(h.Messages.size(), 3u);
    EXPECT_FALSE(h.ws.MasterTileSetLoaded);
    h.Pick(CommandId::MasterInstrumentTileSet);
    EXPECT_EQ(h.Messages.size(), 3u);
    h.LoadTileSets(test::WriteDemo(h.folder));
    EXPECT_TRUE(h.Enabled(CommandId::GenerateCCF));
}

TEST(MainWindow, LongWorkShowsBusyCursorAndProgressThatPauseForDialogs) {
    WindowHarness h("progress");
    gui::QtUserInterface& ui = h.window->Ui();
    auto* bar = test::Child<QProgressBar>(*h.window, "StatusProgress");
    ui.CommandStarted();
    ui.SetProgressMaximum(200);
    for (int i = 0; i < 200; ++i)
        ui.AdvanceProgress();
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
    MessageBoxRequest request;
    request.Title = "T";
    request.Text = "x";
    ui.ShowMessage(request);
    EXPECT_FALSE(busyDuringMessage);
    EXPECT_TRUE(ui.Busy());

    ui.CommandFinished();
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    EXPECT_FALSE(bar->isVisible());
    ui.LetEventsRun();  // outside a command, event processing does not turn the cursor busy
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
}

}  // namespace
}  // namespace tintara
