// The result table of the main window as data: cells, colours, captions, widths and placement.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tintara {

// Colours are 24-bit 0xBBGGRR values, the grid control's own notation (red in the low byte).
using GridColor = uint32_t;

inline constexpr GridColor kAverageColor = 0xC0E0FF;    // average row, active phase header
inline constexpr GridColor kGreenColor = 0xC0FFC0;      // even data rows, inactive headers
inline constexpr GridColor kYellowColor = 0xC0FFFF;     // odd data rows
inline constexpr GridColor kFinalColor = 0xFFD0D0;      // the "Final DE" column at the end
inline constexpr GridColor kFailColor = 0x5159FD;       // a sample or average over its limit
inline constexpr GridColor kHighlightColor = 0xFFAAFF;  // the view-switch command

// Red, green and blue parts of a 0xBBGGRR colour.
inline int ColorRed(GridColor c) {
    return static_cast<int>(c & 0xFF);
}
inline int ColorGreen(GridColor c) {
    return static_cast<int>((c >> 8) & 0xFF);
}
inline int ColorBlue(GridColor c) {
    return static_cast<int>((c >> 16) & 0xFF);
}

enum class CellAlignment { Default, Left, Right };

// The texts and background colours of one grid row, one entry per column.
struct GridRowCells {
    std::vector<std::string> Texts;
    std::vector<std::optional<GridColor>> Backs;
};

// Formats a grid row when a view asks for it: `cells` arrives sized to the grid's columns with
// empty texts and no colours, and the source fills what the row shows.
using GridRowSource = std::function<void(int32_t row, GridRowCells& cells)>;

// A table that the grid procedures fill and any view draws. Row 0 is the fixed caption row and
// column 0 the fixed name column. Widths and placement are in twips (1/1440 inch); a pixel-based
// view divides by the workspace's TwipsPerPixel. A cell without a background colour of its own
// shows the view's default (the fixed colour in row 0 and column 0, white elsewhere).
//
// Setting Rows or Cols keeps the contents of the cells that remain and clears new cells. Every
// accessor taking a row and a column is range-checked and throws std::out_of_range, so a fault in
// a filling procedure cannot write outside the table.
//
// A grid of a million samples holds no cell of its data rows: a row source serves a band of rows
// on demand, and only cells set one by one are stored (by row, so memory follows what was set,
// not Rows x Cols). In the rows of a source, a text or colour set explicitly takes precedence
// over the source's. The model is for one thread.
class ResultGridModel {
  public:
    int32_t Rows() const { return m_rows; }
    int32_t Cols() const { return m_cols; }
    void SetRows(int32_t rows);
    void SetCols(int32_t cols);

    // The grid's own caption notation: captions separated by "|"; a leading ">" right-aligns the
    // column, "<" left-aligns it. Sets the captions of row 0 and the columns' alignment. Columns
    // beyond the captions keep empty captions; captions beyond Cols add columns, as the control
    // did.
    void SetFormatString(const std::string& format);
    const std::string& FormatString() const { return m_format; }
    CellAlignment ColAlignment(int32_t col) const;

    int32_t ColWidth(int32_t col) const;
    void SetColWidth(int32_t col, int32_t twips);

    std::string TextMatrix(int32_t row, int32_t col) const;
    void SetTextMatrix(int32_t row, int32_t col, const std::string& text);

    std::optional<GridColor> CellBackColor(int32_t row, int32_t col) const;
    void SetCellBackColor(int32_t row, int32_t col, GridColor color);

    // Placement on the main window, twips.
    int32_t Left = 0;
    int32_t Top = 0;
    int32_t Width = 0;
    int32_t Height = 0;

    // Serves rows firstRow..lastRow from `source`, which replaces an earlier one. The cells stored
    // in those rows are cleared, as if the source had written every one of them; cells set later
    // take precedence again. Setting Rows or Cols removes the source (it was made for the old
    // shape). Throws std::out_of_range for rows outside the grid.
    void SetRowSource(int32_t firstRow, int32_t lastRow, GridRowSource source);
    // Empties the texts of rows firstRow..lastRow, keeping their colours.
    void ClearTexts(int32_t firstRow, int32_t lastRow);

    bool Visible() const { return m_visible; }
    void SetVisible(bool visible);

    // Called after every change, so that a view can repaint; the model never calls it re-entrantly.
    std::function<void()> Changed;

  private:
    struct Cell {
        std::string text;
        bool hasText = false;  // set explicitly (else the row source's, or empty)
        std::optional<GridColor> back;
    };
    void Reshape(int32_t rows, int32_t cols);
    void Check(int32_t row, int32_t col) const;
    Cell& StoredCell(int32_t row, int32_t col);
    const Cell* FindCell(int32_t row, int32_t col) const;
    const GridRowCells* SourceRow(int32_t row) const;
    void Notify() {
        if (Changed)
            Changed();
    }

    int32_t m_rows = 0;
    int32_t m_cols = 0;
    std::map<int32_t, std::vector<Cell>> m_stored;  // rows with a cell set explicitly
    GridRowSource m_source;
    int32_t m_sourceFirst = 0;
    int32_t m_sourceLast = -1;
    mutable GridRowCells m_rowCells;  // the row the source formatted last
    std::vector<int32_t> m_widths;
    std::vector<CellAlignment> m_alignment;
    std::string m_format;
    bool m_visible = false;
};

}  // namespace tintara
