// The grid view over ResultGridModel: colours, captions, alignment, widths, placement and how
// bursts of cell changes reach Qt.
#include <gtest/gtest.h>

#include <QHeaderView>

#include "gui/GridView.h"
#include "gui/GuiHarness.h"

namespace tintara {
namespace {

using gui::GridTableModel;
using gui::GridView;

// A small grid as the grid procedures would lay it out, at 15 twips per pixel.
struct GridFixture {
    GridFixture() {
        test::GuiApp();
        grid.SetRows(4);
        grid.SetCols(3);
        grid.SetFormatString("Name|>DE|Note");
        grid.SetColWidth(0, 200 * 15);
        grid.SetColWidth(1, 60 * 15);
        grid.SetColWidth(2, 90 * 15);
        grid.Left = 30 * 15;
        grid.Top = 40 * 15;
        grid.Width = 353 * 15;
        grid.Height = 120 * 15;
        grid.SetVisible(true);
    }
    ResultGridModel grid;
    int16_t twipsPerPixel = 15;
};

TEST(GridView, ColoursAreReadAsBlueGreenRed) {
    EXPECT_EQ(gui::ToQColor(0x0000FF), QColor(255, 0, 0));
    EXPECT_EQ(gui::ToQColor(0xFF0000), QColor(0, 0, 255));
    EXPECT_EQ(gui::ToQColor(kAverageColor), QColor(255, 224, 192));
    EXPECT_EQ(gui::ToQColor(kFinalColor), QColor(208, 208, 255));
    EXPECT_EQ(gui::ToQColor(kFailColor), QColor(0xFD, 0x59, 0x51));
}

TEST(GridView, CaptionRowBecomesTheHeaderWithAlignmentMarks) {
    GridFixture f;
    GridView view(f.grid, f.twipsPerPixel);
    const GridTableModel& model = *view.TableModel();
    ASSERT_EQ(model.rowCount(), 3);
    ASSERT_EQ(model.columnCount(), 3);
    EXPECT_EQ(model.headerData(0, Qt::Horizontal, Qt::DisplayRole).toString(), "Name");
    EXPECT_EQ(model.headerData(1, Qt::Horizontal, Qt::DisplayRole).toString(), "DE");

    f.grid.SetTextMatrix(1, 0, "Tile 1");
    f.grid.SetTextMatrix(1, 1, "12.34");
    f.grid.SetTextMatrix(1, 2, "7.00");
    f.grid.SetTextMatrix(2, 2, "note");
    view.Sync();
    auto horizontal = [&](int gridRow, int col) {
        return model
                   .data(model.index(GridTableModel::TableRow(gridRow), col), Qt::TextAlignmentRole)
                   .toInt() &
               Qt::AlignHorizontal_Mask;
    };
    EXPECT_EQ(horizontal(1, 1), Qt::AlignRight);  // ">" column
    EXPECT_EQ(horizontal(1, 0), Qt::AlignLeft);   // unmarked text
    EXPECT_EQ(horizontal(1, 2), Qt::AlignRight);  // unmarked number
    EXPECT_EQ(horizontal(2, 2), Qt::AlignLeft);   // unmarked text
    EXPECT_EQ(model.data(model.index(0, 0)).toString(), "Tile 1");

    // Colours: own colour where set, the fixed colour in column 0, white elsewhere.
    f.grid.SetCellBackColor(1, 1, kGreenColor);
    f.grid.SetCellBackColor(0, 2, kAverageColor);
    view.Sync();
    EXPECT_EQ(model.data(model.index(0, 1), Qt::BackgroundRole).value<QColor>(),
              QColor(192, 255, 192));
    EXPECT_EQ(model.data(model.index(0, 0), Qt::BackgroundRole).value<QColor>(),
              gui::kFixedCellColor);
    EXPECT_EQ(model.data(model.index(1, 2), Qt::BackgroundRole).value<QColor>(), QColor(Qt::white));
    EXPECT_EQ(model.headerData(2, Qt::Horizontal, Qt::BackgroundRole).value<QColor>(),
              QColor(255, 224, 192));
}

TEST(GridView, WidthsAndPlacementAreTwipsOverTwipsPerPixel) {
    GridFixture f;
    test::GuiApp();
    QWidget parent;
    parent.resize(800, 600);
    GridView view(f.grid, f.twipsPerPixel, &parent);
    parent.show();
    EXPECT_EQ(view.columnWidth(0), 200);
    EXPECT_EQ(view.columnWidth(1), 60);
    EXPECT_EQ(view.columnWidth(2), 90);
    EXPECT_EQ(view.geometry(), QRect(30, 40, 353, 120));
    EXPECT_TRUE(view.isVisible());

    // A screen at 120 dpi has 12 twips per pixel; the same twips make more pixels.
    f.twipsPerPixel = 12;
    view.Sync();
    EXPECT_EQ(view.columnWidth(0), 250);
    EXPECT_EQ(view.geometry(), QRect(37, 50, 441, 150));

    f.grid.SetVisible(false);
    view.Sync();
    EXPECT_FALSE(view.isVisible());
}

TEST(GridView, BurstOfCellChangesArrivesAsOneUpdate) {
    GridFixture f;
    GridView view(f.grid, f.twipsPerPixel);
    QApplication::processEvents();
    const GridTableModel& model = *view.TableModel();
    int changed = 0;
    int reset = 0;
    QObject::connect(&model, &QAbstractItemModel::dataChanged, [&] { ++changed; });
    QObject::connect(&model, &QAbstractItemModel::modelReset, [&] { ++reset; });
    for (int i = 0; i < 500; ++i)
        f.grid.SetTextMatrix(1 + i % 3, i % 3, std::to_string(i));
    EXPECT_EQ(changed, 0);  // nothing until the event loop runs
    QApplication::processEvents();
    EXPECT_EQ(changed, 1);
    EXPECT_EQ(reset, 0);
    EXPECT_EQ(model.data(model.index(2, 2)).toString(), "497");

    // A new shape resets the model once; until then stale cells answer empty, never throw.
    f.grid.SetRows(2);
    EXPECT_EQ(model.rowCount(), 3);
    EXPECT_FALSE(model.data(model.index(2, 2)).isValid());
    f.grid.SetRows(40);
    QApplication::processEvents();
    EXPECT_EQ(reset, 1);
    EXPECT_EQ(model.rowCount(), 39);
}

TEST(GridView, SelectingARowReportsTheGridRow) {
    GridFixture f;
    GridView view(f.grid, f.twipsPerPixel);
    std::vector<int> selected;
    QObject::connect(&view, &GridView::GridRowSelected, [&](int row) { selected.push_back(row); });
    view.selectRow(1);
    EXPECT_EQ(selected, std::vector<int>{2});
    EXPECT_EQ(view.SelectedGridRow(), 2);
}

TEST(GridView, ViewOutlivesNoGridHook) {
    GridFixture f;
    {
        GridView view(f.grid, f.twipsPerPixel);
        EXPECT_TRUE(static_cast<bool>(f.grid.Changed));
    }
    // The view is gone; changing the grid must not call into it.
    EXPECT_FALSE(static_cast<bool>(f.grid.Changed));
    f.grid.SetTextMatrix(1, 1, "safe");
    QApplication::processEvents();
}

}  // namespace
}  // namespace tintara
