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
#include "gui/SpectralPlots.h"

namespace tintara {
namespace {

using test::Press;
using test::WindowHarness;

QString ShotPath(const char* name) {
    const QString folder = QStringLiteral(TINTARA_BINARY_DIR "/screenshots");
    QDir().mkpath(folder);
    return folder + QLatin1Char('/') + QLatin1String(name);
}

// Number of pixels within 3 levels of `colour` in each channel.
int CountColour(const QImage& image, const QColor& colour) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (std::abs(c.red() - colour.red()) <= 3 &&
                std::abs(c.green() - colour.green()) <= 3 &&
                std::abs(c.blue() - colour.blue()) <= 3)
                ++count;
        }
    }
    return count;
}

void SaveShot(QWidget& widget, const char* name) {
    const QPixmap shot = widget.grab();
    ASSERT_FALSE(shot.isNull()) << name;
    ASSERT_TRUE(shot.save(ShotPath(name))) << name;
}

void Normalise(gui::Profiler& window) {
    // The offscreen screen is small; a laptop-sized window shows the grid and the plots together.
    window.setWindowState(Qt::WindowNoState);
    window.resize(1440, 900);
    QApplication::processEvents();
}

TEST(Screenshots, StartScreenShowsTheBackgroundAndUnassignedPanels) {
    WindowHarness h("shot-start");
    Normalise(*h.window);
    SaveShot(*h.window, "main-start.png");
    const QImage image = h.window->grab().toImage();
    EXPECT_EQ(image.width(), h.window->width());
    // No grid yet: no band of its average-row colour on screen (one band row covers thousands of
    // pixels; the background picture may hold a stray pixel of the same colour).
    EXPECT_LT(CountColour(image, QColor(255, 224, 192)), 200);
}

TEST(Screenshots, ProfiledDemoPairWithTilePlot) {
    WindowHarness h("shot-main");
    Normalise(*h.window);
    const auto demo = test::WriteDemo(h.folder);

    h.Files.push_back(demo.masterTiles.string());
    h.Files.push_back(demo.targetTiles.string());
    h.Dialogs.push_back([](QDialog& d) {
        SaveShot(d, "dialog-select-geometry.png");
        Press(d, "OKButton");
    });
    h.Pick(CommandId::MasterInstrumentTileSet);
    h.Pick(CommandId::TargetInstrumentTileSet);
    h.Dialogs.push_back([](QDialog& d) {
        SaveShot(d, "dialog-profile-header.png");
        Press(d, "OKButton");
    });
    h.Pick(CommandId::GenerateCCF);
    ASSERT_TRUE(h.ws.CoefficientsCalculated);

    h.window->Grid()->selectRow(gui::GridTableModel::TableRow(3 + 9));  // tile 10
    QApplication::processEvents();
    ASSERT_TRUE(h.window->PlotDock()->isVisible());
    SaveShot(*h.window, "main-window.png");

    const QImage image = h.window->grab().toImage();
    // The average row and the green and yellow bands are drawn in their colours; the grid is
    // not hidden behind the dock.
    EXPECT_GT(CountColour(image, QColor(255, 224, 192)), 500);
    EXPECT_GT(CountColour(image, QColor(192, 255, 192)), 5000);
    EXPECT_GT(CountColour(image, QColor(255, 255, 192)), 5000);
    const QRect grid = h.window->Grid()->geometry();
    const QRect dock = h.window->PlotDock()->geometry();
    EXPECT_LE(h.window->Canvas()->mapTo(h.window.get(), grid.topRight()).x(), dock.left());
}

TEST(Screenshots, TolerancesAndWizardDialogs) {
    WindowHarness h("shot-dialogs");
    h.Dialogs.push_back([](QDialog& d) {
        d.findChild<QScrollBar*>(QStringLiteral("VScroll1_1"))->setValue(81);
        SaveShot(d, "dialog-tolerances.png");
        d.reject();
    });
    h.window->Dispatch(CommandId::SetTolerances);
    h.Dialogs.push_back([](QDialog& d) {
        SaveShot(d, "dialog-wizard.png");
        Press(d, "CancelButton");
    });
    h.Pick(CommandId::WizardProfile);
    for (const char* name : {"dialog-tolerances.png", "dialog-wizard.png"}) {
        const QImage image(ShotPath(name));
        EXPECT_GT(image.width(), 200) << name;
        EXPECT_GT(image.height(), 100) << name;
    }
}

}  // namespace
}  // namespace tintara
