// Pictures of the window and its dialogs as the user sees them, written to <build>/screenshots
// for review (the README's picture is taken from there), with checks that they show what they
// should.
#include <gtest/gtest.h>

#include <QDir>
#include <QDockWidget>
#include <QImage>
#include <QPixmap>
#include <QScrollBar>

#include "gui/GridView.h"
#include "gui/GuiHarness.h"

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

}  // namespace
}  // namespace tintara
