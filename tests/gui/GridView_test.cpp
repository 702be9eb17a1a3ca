// The grid view over ResultGridModel: colours, captions, alignment, widths, placement and how
// bursts of cell changes reach Qt.
#include <gtest/gtest.h>

#include <QScrollBar>

#include "gui/GridView.h"
#include "gui/GuiHarness.h"

namespace tintara {
namespace {

using gui::GridTableModel;
using gui::GridView;

// A small grid as the grid procedures would lay it out (sizes in twips, 15 per pixel here).
struct GridFixture {
    GridFixture() {
        test::GuiApp();
        grid.SetRows(4);
        grid.SetCols(3);
        grid.SetFormatString("Name|>DE|Note");
        for (int col = 0; col < 3; ++col)
            grid.SetColWidth(col, std::array{200, 60, 90}[col] * 15);
        grid.Left = 30 * 15;
        grid.Top = 40 * 15;
        grid.Width = 353 * 15;
        grid.Height = 120 * 15;
        grid.SetVisible(true);
    }
    ResultGridModel grid;
    int16_t twipsPerPixel = 15;
};

TEST(GridView, CaptionsAlignmentColoursWidthsAndPlacementFollowTheGridModel) {
    GridFixture f;
    f.grid.SetCols(4);
    f.grid.SetFormatString("Name|>DE|<Note|Free");
    QWidget parent;
    parent.resize(800, 600);
    GridView view(f.grid, f.twipsPerPixel, &parent);
    parent.show();
    const GridTableModel& model = *view.TableModel();
    ASSERT_EQ(model.rowCount(), 3);  // the caption row is the header, without its mark
    EXPECT_EQ(model.headerData(1, Qt::Horizontal, Qt::DisplayRole).toString(), "DE");
    // ">" aligns right and "<" left whatever the text; unmarked, numbers go right, text left.
    const auto align = [&](int col, const char* text) {
        return model.Alignment(col, text) & Qt::AlignHorizontal_Mask;
    };
    EXPECT_EQ(align(1, "abc"), Qt::AlignRight);
    EXPECT_EQ(align(2, "7.00"), Qt::AlignLeft);
    EXPECT_EQ(align(3, "7.00"), Qt::AlignRight);
    EXPECT_EQ(align(3, "note"), Qt::AlignLeft);

    f.grid.SetTextMatrix(1, 1, "abc");
    f.grid.SetCellBackColor(1, 1, kFailColor);
    f.grid.SetCellBackColor(0, 2, kAverageColor);
    view.Sync();
    const auto cell = [&](int gridRow, int col, int role) {
        return model.data(model.index(GridTableModel::TableRow(gridRow), col), role);
    };
    EXPECT_EQ(cell(1, 1, Qt::TextAlignmentRole).toInt() & Qt::AlignHorizontal_Mask, Qt::AlignRight);
    // 0xBBGGRR colours where set, the fixed colour in column 0, white elsewhere.
    EXPECT_EQ(cell(1, 1, Qt::BackgroundRole).value<QColor>(), QColor(0xFD, 0x59, 0x51));
    EXPECT_EQ(cell(1, 0, Qt::BackgroundRole).value<QColor>(), gui::kFixedCellColor);
    EXPECT_EQ(cell(2, 2, Qt::BackgroundRole).value<QColor>(), QColor(Qt::white));
    EXPECT_EQ(model.headerData(2, Qt::Horizontal, Qt::BackgroundRole).value<QColor>(),
              QColor(255, 224, 192));

    // Widths, top and height are twips over twips per pixel. The view holds every column and
    // the vertical scroll bar beside them (the last column is never under it), centred in its
    // parent.
    const int chrome = 2 * view.frameWidth() + view.verticalScrollBar()->sizeHint().width();
    const auto columns = [&] {
        int width = 0;
        for (int c = 0; c < 4; ++c)
            width += view.columnWidth(c);
        return width;
    };
    EXPECT_EQ(view.columnWidth(0), 200);
    EXPECT_EQ(view.geometry(), QRect((800 - columns() - chrome) / 2, 40, columns() + chrome, 120));
    EXPECT_TRUE(view.isVisible());
    // A screen at 120 dpi has 12 twips per pixel; the same twips make more pixels.
    f.twipsPerPixel = 12;
    view.Sync();
    EXPECT_EQ(view.columnWidth(0), 250);
    EXPECT_EQ(view.columnWidth(1), 75);
    EXPECT_EQ(view.geometry(), QRect((800 - columns() - chrome) / 2, 50, columns() + chrome, 150));
    // A narrow parent (a dock beside it): the name column gives way, the values keep theirs.
    parent.resize(columns() + chrome - 100, 600);
    view.Sync();
    EXPECT_EQ(view.columnWidth(0), 150);
    EXPECT_EQ(view.columnWidth(1), 75);
    EXPECT_EQ(view.geometry().right() + 1, parent.width());
    f.grid.SetVisible(false);
    view.Sync();
    EXPECT_FALSE(view.isVisible());
}

TEST(GridView, BurstOfCellChangesArrivesAsOneUpdateAndAGoneViewIsUnhooked) {
    GridFixture f;
    auto view = std::make_unique<GridView>(f.grid, f.twipsPerPixel);
    QApplication::processEvents();
    const GridTableModel& model = *view->TableModel();
    int changed = 0, reset = 0;
    QObject::connect(&model, &QAbstractItemModel::dataChanged, [&] { ++changed; });
    QObject::connect(&model, &QAbstractItemModel::modelReset, [&] { ++reset; });
    for (int i = 0; i < 500; ++i)
        f.grid.SetTextMatrix(1 + i % 3, i % 3, std::to_string(i));
    EXPECT_EQ(changed, 0);  // nothing until the event loop runs
    QApplication::processEvents();
    EXPECT_EQ(changed, 1);
    EXPECT_EQ(model.data(model.index(2, 2)).toString(), "497");
    // A new shape resets the model once; until then stale cells answer empty, never throw.
    f.grid.SetRows(2);
    EXPECT_FALSE(model.data(model.index(2, 2)).isValid());
    f.grid.SetRows(40);
    QApplication::processEvents();
    EXPECT_EQ(reset, 1);
    EXPECT_EQ(model.rowCount(), 39);

    view.reset();  // changing the grid must no longer call into the view
    EXPECT_FALSE(static_cast<bool>(f.grid.Changed));
    f.grid.SetTextMatrix(1, 1, "safe");
    QApplication::processEvents();
}

}  // namespace
}  // namespace tintara
