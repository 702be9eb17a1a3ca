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
    m_stored.erase(m_stored.lower_bound(rows), m_stored.end());
    for (auto& [row, cells] : m_stored)
        cells.resize(static_cast<std::size_t>(cols));
    m_widths.resize(cols, kDefaultColWidth);
    m_alignment.resize(cols, CellAlignment::Default);
    m_rows = rows;
    m_cols = cols;
    m_source = nullptr;
    m_sourceFirst = 0;
    m_sourceLast = -1;
}

void ResultGridModel::SetRows(int32_t rows) {
    Reshape(rows, m_cols);
    Notify();
}

void ResultGridModel::SetCols(int32_t cols) {
    Reshape(m_rows, cols);
    Notify();
}

void ResultGridModel::Check(int32_t row, int32_t col) const {
    if (row < 0 || row >= m_rows || col < 0 || col >= m_cols) {
        throw std::out_of_range("grid cell (" + std::to_string(row) + ", " + std::to_string(col) +
                                ") is outside a " + std::to_string(m_rows) + " x " +
                                std::to_string(m_cols) + " grid");
    }
}

ResultGridModel::Cell& ResultGridModel::StoredCell(int32_t row, int32_t col) {
    Check(row, col);
    auto& cells = m_stored[row];
    cells.resize(static_cast<std::size_t>(m_cols));
    return cells[static_cast<std::size_t>(col)];
}

const ResultGridModel::Cell* ResultGridModel::FindCell(int32_t row, int32_t col) const {
    Check(row, col);
    const auto found = m_stored.find(row);
    return found == m_stored.end() ? nullptr : &found->second[static_cast<std::size_t>(col)];
}

const GridRowCells* ResultGridModel::SourceRow(int32_t row) const {
    if (!m_source || row < m_sourceFirst || row > m_sourceLast)
        return nullptr;
    // Formatted afresh on every call: the arrays behind the source may change without the model
    // knowing, and a screenful of rows formats in well under a millisecond.
    m_rowCells.Texts.assign(static_cast<std::size_t>(m_cols), std::string());
    m_rowCells.Backs.assign(static_cast<std::size_t>(m_cols), std::nullopt);
    m_source(row, m_rowCells);
    m_rowCells.Texts.resize(static_cast<std::size_t>(m_cols));
    m_rowCells.Backs.resize(static_cast<std::size_t>(m_cols));
    return &m_rowCells;
}

void ResultGridModel::SetRowSource(int32_t firstRow, int32_t lastRow, GridRowSource source) {
    if (firstRow < 0 || lastRow >= m_rows || firstRow > lastRow + 1) {
        throw std::out_of_range("grid rows " + std::to_string(firstRow) + " to " +
                                std::to_string(lastRow) + " are outside a grid of " +
                                std::to_string(m_rows) + " rows");
    }
    m_stored.erase(m_stored.lower_bound(firstRow), m_stored.upper_bound(lastRow));
    m_source = std::move(source);
    m_sourceFirst = firstRow;
    m_sourceLast = lastRow;
    Notify();
}

void ResultGridModel::ClearTexts(int32_t firstRow, int32_t lastRow) {
    for (auto row = m_stored.lower_bound(firstRow); row != m_stored.end() && row->first <= lastRow;
         ++row) {
        for (Cell& cell : row->second) {
            cell.text.clear();
            cell.hasText = false;
        }
    }
    // Rows of a source stay empty only where an empty text is set over it.
    if (m_source) {
        for (int32_t r = std::max(firstRow, m_sourceFirst); r <= std::min(lastRow, m_sourceLast);
             ++r) {
            for (int32_t c = 0; c < m_cols; ++c)
                StoredCell(r, c).hasText = true;
        }
    }
    Notify();
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
        Cell& cell = StoredCell(0, c);
        cell.text = caption;
        cell.hasText = true;
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

std::string ResultGridModel::TextMatrix(int32_t row, int32_t col) const {
    if (const Cell* cell = FindCell(row, col); cell && cell->hasText)
        return cell->text;
    if (const GridRowCells* cells = SourceRow(row))
        return cells->Texts[static_cast<std::size_t>(col)];
    return {};
}

void ResultGridModel::SetTextMatrix(int32_t row, int32_t col, const std::string& text) {
    // An empty text needs no storage where nothing else would show.
    const bool sourced = m_source && row >= m_sourceFirst && row <= m_sourceLast;
    if (text.empty() && !sourced) {
        Check(row, col);
        const auto found = m_stored.find(row);
        if (found != m_stored.end()) {
            Cell& cell = found->second[static_cast<std::size_t>(col)];
            cell.text.clear();
            cell.hasText = false;
        }
    } else {
        Cell& cell = StoredCell(row, col);
        cell.text = text;
        cell.hasText = true;
    }
    Notify();
}

std::optional<GridColor> ResultGridModel::CellBackColor(int32_t row, int32_t col) const {
    if (const Cell* cell = FindCell(row, col); cell && cell->back)
        return cell->back;
    if (const GridRowCells* cells = SourceRow(row))
        return cells->Backs[static_cast<std::size_t>(col)];
    return std::nullopt;
}

void ResultGridModel::SetCellBackColor(int32_t row, int32_t col, GridColor color) {
    StoredCell(row, col).back = color & 0xFFFFFF;
    Notify();
}

void ResultGridModel::SetVisible(bool visible) {
    m_visible = visible;
    Notify();
}

}  // namespace tintara
