// The grid model's rows served on demand: precedence of cells set one by one, reshaping.
#include "report/ResultGridModel.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tintara {
namespace {

TEST(ResultGridModel, ASourceServesItsRowsAndCellsSetLaterTakePrecedence) {
    ResultGridModel grid;
    grid.SetRows(6);
    grid.SetCols(3);
    grid.SetFormatString("Name|>DE|>Note");
    grid.SetTextMatrix(2, 1, "stale");
    grid.SetCellBackColor(2, 2, kFailColor);
    grid.SetTextMatrix(5, 0, "Average");
    grid.SetRowSource(1, 4, [&](int32_t row, GridRowCells& cells) {
        ASSERT_EQ(cells.Texts.size(), 3u);
        cells.Texts[0] = "Sample " + std::to_string(row);
        cells.Backs[1] = kGreenColor;
    });
    // What the rows held before is gone; rows outside the source keep theirs.
    EXPECT_EQ(grid.TextMatrix(2, 1), "");
    EXPECT_EQ(grid.CellBackColor(2, 2), std::nullopt);
    EXPECT_EQ(grid.TextMatrix(5, 0), "Average");
    EXPECT_EQ(grid.TextMatrix(0, 1), "DE");
    EXPECT_EQ(grid.TextMatrix(3, 0), "Sample 3");
    EXPECT_EQ(grid.TextMatrix(3, 2), "");
    EXPECT_EQ(grid.CellBackColor(3, 1), kGreenColor);
    EXPECT_EQ(grid.CellBackColor(3, 0), std::nullopt);

    // Set one by one, an empty text and a colour win over the source, cell by cell.
    grid.SetTextMatrix(3, 0, "");
    grid.SetCellBackColor(3, 1, kFailColor);
    EXPECT_EQ(grid.TextMatrix(3, 0), "");
    EXPECT_EQ(grid.CellBackColor(3, 1), kFailColor);
    EXPECT_EQ(grid.TextMatrix(4, 0), "Sample 4");
    EXPECT_EQ(grid.CellBackColor(4, 1), kGreenColor);
    // Clearing texts keeps colours and blanks the source's texts too.
    grid.ClearTexts(4, 5);
    EXPECT_EQ(grid.TextMatrix(4, 0) + grid.TextMatrix(5, 0), "");
    EXPECT_EQ(grid.CellBackColor(4, 1), kGreenColor);

    EXPECT_THROW(grid.SetRowSource(0, 6, nullptr), std::out_of_range);
    EXPECT_THROW(grid.TextMatrix(6, 0), std::out_of_range);
    // A new shape drops the source: it was made for the old one.
    grid.SetRows(7);
    EXPECT_EQ(grid.TextMatrix(1, 0), "");
    EXPECT_EQ(grid.CellBackColor(1, 1), std::nullopt);
    EXPECT_EQ(grid.CellBackColor(3, 1), kFailColor);
}

TEST(ResultGridModel, ReshapingKeepsTheStoredCellsOfTheRowsAndColumnsThatRemain) {
    ResultGridModel grid;
    grid.SetRows(4);
    grid.SetCols(2);
    grid.SetTextMatrix(3, 1, "kept");
    grid.SetCellBackColor(3, 0, kAverageColor);
    grid.SetCols(1);
    grid.SetCols(2);
    EXPECT_EQ(grid.CellBackColor(3, 0), kAverageColor);
    EXPECT_EQ(grid.TextMatrix(3, 1), "") << "a column removed and added again is empty";
    grid.SetRows(3);
    grid.SetRows(4);
    EXPECT_EQ(grid.CellBackColor(3, 0), std::nullopt);
}

}  // namespace
}  // namespace tintara
