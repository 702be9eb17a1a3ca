// Pictures of the window and its dialogs as the user sees them, written to <build>/screenshots
// for review (the README's picture is taken from there), with checks that they show what they
// should.
#include <gtest/gtest.h>

#include <QDir>
#include <QDockWidget>
#include <QImage>
#include <QLabel>
#include <QPixmap>
#include <QScrollBar>
#include <QTabWidget>

#include "gui/GridView.h"
#include "gui/GuiHarness.h"
#include "gui/ValidationView.h"

namespace tintara {
namespace {

// Saves a picture of `widget` as <build>/screenshots/<name> and returns it.
QImage SaveShot(QWidget& widget, const char* name) {
    const QString folder = QStringLiteral(TINTARA_BINARY_DIR "/screenshots");
    QDir().mkpath(folder);
    const QImage image = widget.grab().toImage();
    EXPECT_TRUE(image.width() > 200 && image.height() > 100) << name;
    EXPECT_TRUE(image.save(folder + QLatin1Char('/') + QLatin1String(name))) << name;
    return image;
}

// Number of pixels within 3 levels of `colour` in each channel.
int CountColour(const QImage& image, const QColor& colour) {
    int count = 0;
    for (int i = 0; i < image.width() * image.height(); ++i) {
        const QColor c = image.pixelColor(i % image.width(), i / image.width());
        count += std::max({std::abs(c.red() - colour.red()), std::abs(c.green() - colour.green()),
                           std::abs(c.blue() - colour.blue())}) <= 3;
    }
    return count;
}

TEST(Screenshots, ProfiledDemoPairWithTilePlotAndEveryDialog) {
    test::WindowHarness h("shots");
    // The offscreen screen is small; a laptop-sized window shows the grid and the plots together.
    h.window->setWindowState(Qt::WindowNoState);
    h.window->resize(1440, 900);
    QApplication::processEvents();
    h.LoadTileSets(test::WriteDemo(h.folder),
                   [](QDialog& d) { SaveShot(d, "dialog-select-geometry.png"); });
    h.Generate([](QDialog& d) { SaveShot(d, "dialog-profile-header.png"); });
    h.window->Grid()->selectRow(gui::GridTableModel::TableRow(3 + 9));  // tile 10
    QApplication::processEvents();
    ASSERT_TRUE(h.window->PlotDock()->isVisible());
    const QImage image = SaveShot(*h.window, "main-window.png");
    // The average row and the green and yellow bands are drawn in their colours; the grid is
    // not hidden behind the dock.
    EXPECT_GT(CountColour(image, QColor(255, 224, 192)), 500);
    EXPECT_GT(CountColour(image, QColor(192, 255, 192)), 5000);
    EXPECT_GT(CountColour(image, QColor(255, 255, 192)), 5000);
    const QRect grid = h.window->Grid()->geometry();
    EXPECT_LE(h.window->Canvas()->mapTo(h.window.get(), grid.topRight()).x(),
              h.window->PlotDock()->geometry().left());

    h.Dialogs.push_back([](QDialog& d) {
        test::Child<QScrollBar>(d, "VScroll1_1")->setValue(81);
        SaveShot(d, "dialog-tolerances.png");
        d.reject();
    });
    h.Dialogs.push_back([](QDialog& d) {
        SaveShot(d, "dialog-wizard.png");
        test::Press(d, "CancelButton");
    });
    h.Pick(CommandId::SetTolerances);
    h.Pick(CommandId::WizardProfile);
    EXPECT_TRUE(h.Dialogs.empty());
}

TEST(Screenshots, ComparedFandeckWithItsValidationPage) {
    test::WindowHarness h("shots-validation");
    h.window->setWindowState(Qt::WindowNoState);
    h.window->resize(1440, 900);
    QApplication::processEvents();
    h.CompareDemoFandecks(test::WriteDemo(h.folder, 200));
    h.window->Grid()->selectRow(gui::GridTableModel::TableRow(1));
    QApplication::processEvents();
    ASSERT_TRUE(h.window->PlotDock()->isVisible());
    h.window->PlotPages()->setCurrentWidget(h.window->Validation());
    QApplication::processEvents();
    const QImage image = SaveShot(*h.window->PlotDock(), "validation-page.png");
    // The plots' page has the before (red) and after (blue) lines; thin and smoothed, so counted
    // by hue rather than by exact colour.
    const QImage plots = h.window->Validation()->PageLabels().at(1)->pixmap().toImage();
    int red = 0, blue = 0;
    for (int y = 0; y < plots.height(); ++y) {
        for (int x = 0; x < plots.width(); ++x) {
            const QColor c = plots.pixelColor(x, y);
            red += c.red() > c.green() + 60 && c.red() > c.blue() + 60;
            blue += c.blue() > c.red() + 60 && c.blue() > c.green() + 20;
        }
    }
    EXPECT_GT(red, 300);
    EXPECT_GT(blue, 300);
    EXPECT_GT(image.width(), 300);
}

}  // namespace
}  // namespace tintara
