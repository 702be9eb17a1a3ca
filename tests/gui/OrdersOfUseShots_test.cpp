// The window after orders of use that once gave wrong results, and the compare grid in a small
// window: pictures in <build>/screenshots (TINTARA_SHOTS names another folder), with checks.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QDir>
#include <QDockWidget>
#include <QHeaderView>
#include <QMessageBox>
#include <QScrollBar>
#include <QTimer>
#include <cstdlib>

#include "gui/GridView.h"
#include "gui/GuiHarness.h"

namespace tintara {
namespace {

using C = CommandId;

QImage Shot(QWidget& widget, const char* name) {
    const char* chosen = std::getenv("TINTARA_SHOTS");
    const QString folder = chosen && *chosen ? QString::fromLocal8Bit(chosen)
                                             : QStringLiteral(TINTARA_BINARY_DIR "/screenshots");
    QDir().mkpath(folder);
    QApplication::processEvents();
    const QImage image = widget.grab().toImage();
    EXPECT_TRUE(image.save(folder + QLatin1Char('/') + QLatin1String(name))) << name;
    return image;
}

void Ok(QDialog& dialog) {
    test::Press(dialog, "OKButton");
}

// A window of a given size with the demo data; `samples` fandeck samples.
struct Window : test::WindowHarness {
    Window(const std::string& name, int width, int height, int samples = 30)
        : test::WindowHarness(name) {
        window->setWindowState(Qt::WindowNoState);
        window->resize(width, height);
        QApplication::processEvents();
        demo = test::WriteDemo(folder / "demo", samples);
    }
    // Profile the demo pair in SCI and save the coefficient file.
    void Profile() {
        LoadTileSets(demo);
        Generate();
        Files.push_back((folder / "pair.ccf").string());
        Pick(C::SaveCoefficients);
    }
    void PerformanceWizard(const std::filesystem::path& master,
                           const std::filesystem::path& target) {
        Dialogs.insert(Dialogs.end(), {Ok, Ok, Ok});
        Files.insert(Files.end(), {master.string(), target.string()});
        Pick(C::WizardPerformance);
    }
    std::vector<std::filesystem::path> demo;
};

TEST(OrdersOfUseShots, AComparisonAfterAConversionJudgesTheFandecksNowLoaded) {
    Window w("shot-case1", 1024, 700);
    w.Profile();
    w.Files.insert(w.Files.end(), {w.demo[3].string(), (w.folder / "pair.ccf").string()});
    w.Pick(C::TargetInstrumentSaveSet);
    w.Pick(C::CorrelationFileMenu);
    w.Pick(C::GenerateConvData);
    EXPECT_NE(w.window->PanelText(StatusBarId::FileStatusBar, 2).indexOf("Converted with pair.ccf"),
              -1);
    w.PerformanceWizard(w.demo[2], w.demo[2]);  // Master = Target
    const ResultGridModel& grid = w.window->Commands().Grid();
    EXPECT_EQ(grid.TextMatrix(grid.Rows() - 1, 4), "0.00");
    Shot(*w.window, "case1-compare-after-conversion.png");
}

TEST(OrdersOfUseShots, ASceTilePairProfilesAfterAPerformanceRun) {
    Window w("shot-case2", 1024, 700);
    w.Profile();
    w.PerformanceWizard(w.demo[2], w.demo[3]);
    w.Files.insert(w.Files.end(), {w.demo[0].string(), w.demo[1].string()});
    w.Dialogs.push_back([](QDialog& d) {
        test::Child<QAbstractButton>(d, "Option2")->click();  // SCE
        Ok(d);
    });
    w.Pick(C::MasterInstrumentTileSet);
    w.Pick(C::TargetInstrumentTileSet);
    w.Generate();
    EXPECT_TRUE(w.ws.CoefficientsCalculated);
    EXPECT_TRUE(w.Messages.empty());
    EXPECT_NE(w.window->PanelText(StatusBarId::InstrumentBar, 1).indexOf("/   RCEI"), -1);
    // Nothing of the performance grid shown before is left in the tile grid.
    const ResultGridModel& grid = w.window->Commands().Grid();
    for (int c = 0; c < grid.Cols(); ++c)
        EXPECT_EQ(grid.TextMatrix(2, c), "") << "the spacer row, column " << c;
    Shot(*w.window, "case2-sce-pair-after-fandecks.png");
}

TEST(OrdersOfUseShots, TheCertificateIsRefusedAfterANewTarget) {
    Window w("shot-case4", 1024, 700);
    w.Profile();
    w.Files.push_back(w.demo[1].string());
    w.Pick(C::TargetInstrumentTileSet);
    // The real message box this time: pictured with the window behind it, then closed.
    w.window->Ui().MessagePresenter = nullptr;
    QImage box;
    QTimer::singleShot(200, [&] {
        if (auto* shown = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            box = Shot(*shown, "case4-certificate-refused-box.png");
            EXPECT_EQ(shown->text().toStdString(), "Coefficients have not been calculated");
            shown->accept();
        }
    });
    w.Pick(C::ToPrinter);
    EXPECT_FALSE(box.isNull());
    EXPECT_EQ(w.PrintDialogs, 0);
    Shot(*w.window, "case4-window-after-refusal.png");
}

TEST(OrdersOfUseShots, TheDeColumnsOfA1200SampleCompareGridShowAt800By600WithTheDock) {
    Window w("shot-800", 800, 600, 1200);
    w.Profile();
    w.Files.insert(w.Files.end(),
                   {w.demo[2].string(), w.demo[3].string(), (w.folder / "pair.ccf").string()});
    w.Pick(C::MasterInstrumentSaveSet);
    w.Pick(C::TargetInstrumentSaveSet);
    w.Pick(C::CorrelationFileMenu);
    w.Pick(C::GenerateCSS);
    gui::GridView* grid = w.window->Grid();
    grid->selectRow(5);
    QApplication::processEvents();
    ASSERT_TRUE(w.window->PlotDock()->isVisible());
    Shot(*w.window, "compare-grid-800x600-dock.png");
    // The last column ends inside the viewport, left of the vertical scroll bar, and the grid
    // ends left of the dock.
    const int last = grid->model()->columnCount() - 1;
    const int right = grid->columnViewportPosition(last) + grid->columnWidth(last);
    EXPECT_LE(right, grid->viewport()->width());
    EXPECT_TRUE(grid->verticalScrollBar()->isVisible());
    const QPoint gridRight = grid->mapTo(w.window.get(), QPoint(grid->width(), 0));
    EXPECT_LE(gridRight.x(), w.window->PlotDock()->geometry().left());
}

}  // namespace
}  // namespace tintara
