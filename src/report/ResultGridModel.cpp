#include "report/ResultGridModel.h"

#include <algorithm>
#include <stdexcept>

namespace tintara {

namespace {
// The control's column width before anything is set (its 960-twip default).
constexpr int32_t kDefaultColWidth = 960;
}  // namespace

void ResultGridModel::Reshape(int32_t rows, int32_t cols) {
    if (rows < 0 || cols < 0)
        throw std::out_of_range("grid size must not be negative");
    std::vector<Cell> cells(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols));
    for (int32_t r = 0; r < std::min(rows, m_rows); ++r) {
        for (int32_t c = 0; c < std::min(cols, m_cols); ++c) {
            cells[static_cast<std::size_t>(r) * cols + c] = std::move(m_cells[Index(r, c)]);
        }
    }
    m_cells = std::move(cells);
    m_widths.resize(cols, kDefaultColWidth);
    m_alignment.resize(cols, CellAlignment::Default);
    m_rows = rows;
    m_cols = cols;
}

void ResultGridModel::SetRows(int32_t rows) {
    Reshape(rows, m_cols);
    Notify();
}

void ResultGridModel::SetCols(int32_t cols) {
    Reshape(m_rows, cols);
    Notify();
}

std::size_t ResultGridModel::Index(int32_t row, int32_t col) const {
    if (row < 0 || row >= m_rows || col < 0 || col >= m_cols) {
        throw std::out_of_range("grid cell (" + std::to_string(row) + ", " + std::to_string(col) +
                                ") is outside a " + std::to_string(m_rows) + " x " +
                                std::to_string(m_cols) + " grid");
    }
    return static_cast<std::size_t>(row) * m_cols + col;
}

void ResultGridModel::SetFormatString(const std::string& format) {
    std::vector<std::string> captions;
    std::size_t start = 0;
    while (true) {
        const auto bar = format.find('|', start);
        captions.push_back(format.substr(start, bar - start));
        if (bar == std::string::npos)
            break;
        start = bar + 1;
    }
    const auto count = static_cast<int32_t>(captions.size());
    if (count > m_cols)
        Reshape(m_rows, count);
    if (m_rows == 0)
        Reshape(1, m_cols);
    for (int32_t c = 0; c < m_cols; ++c) {
        std::string caption = c < count ? captions[c] : std::string();
        CellAlignment align = CellAlignment::Default;
        if (!caption.empty() && caption[0] == '>') {
            align = CellAlignment::Right;
            caption.erase(0, 1);
        } else if (!caption.empty() && caption[0] == '<') {
            align = CellAlignment::Left;
            caption.erase(0, 1);
        }
        m_alignment[c] = align;
        m_cells[Index(0, c)].text = caption;
    }
    m_format = format;
    Notify();
}

CellAlignment ResultGridModel::ColAlignment(int32_t col) const {
    if (col < 0 || col >= m_cols)
        throw std::out_of_range("grid column out of range");
    return m_alignment[col];
}

int32_t ResultGridModel::ColWidth(int32_t col) const {
    if (col < 0 || col >= m_cols)
        throw std::out_of_range("grid column out of range");
    return m_widths[col];
}

void ResultGridModel::SetColWidth(int32_t col, int32_t twips) {
    if (col < 0 || col >= m_cols)
        throw std::out_of_range("grid column out of range");
    m_widths[col] = twips;
    Notify();
}

const std::string& ResultGridModel::TextMatrix(int32_t row, int32_t col) const {
    return m_cells[Index(row, col)].text;
}

void ResultGridModel::SetTextMatrix(int32_t row, int32_t col, const std::string& text) {
    m_cells[Index(row, col)].text = text;
    Notify();
}

std::optional<GridColor> ResultGridModel::CellBackColor(int32_t row, int32_t col) const {
    return m_cells[Index(row, col)].back;
}

void ResultGridModel::SetCellBackColor(int32_t row, int32_t col, GridColor color) {
    m_cells[Index(row, col)].back = color & 0xFFFFFF;
    Notify();
}

void ResultGridModel::SetVisible(bool visible) {
    m_visible = visible;
    Notify();
}

}  // namespace tintara
