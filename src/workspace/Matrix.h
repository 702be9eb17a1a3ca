// Dense row-major two-dimensional array of doubles, the shape of every per-tile table.
#pragma once

#include <cstddef>
#include <vector>

namespace tintara {

// Rows are tiles (or samples), columns are spectral points or components. Indices are 0-based and
// unchecked in operator(); At() checks. Resize() discards the contents and zero-fills.
class Matrix {
  public:
    Matrix() = default;
    Matrix(std::size_t rows, std::size_t cols) : m_rows(rows), m_cols(cols), m_data(rows * cols) {}

    void Resize(std::size_t rows, std::size_t cols) {
        m_rows = rows;
        m_cols = cols;
        m_data.assign(rows * cols, 0.0);
    }
    void Fill(double value) { m_data.assign(m_data.size(), value); }

    std::size_t Rows() const { return m_rows; }
    std::size_t Cols() const { return m_cols; }
    bool Empty() const { return m_data.empty(); }

    double& operator()(std::size_t row, std::size_t col) { return m_data[row * m_cols + col]; }
    double operator()(std::size_t row, std::size_t col) const { return m_data[row * m_cols + col]; }
    double& At(std::size_t row, std::size_t col) { return m_data.at(Index(row, col)); }
    double At(std::size_t row, std::size_t col) const { return m_data.at(Index(row, col)); }

    double* Row(std::size_t row) { return m_data.data() + row * m_cols; }
    const double* Row(std::size_t row) const { return m_data.data() + row * m_cols; }

    bool operator==(const Matrix& other) const = default;

  private:
    std::size_t Index(std::size_t row, std::size_t col) const {
        return (row < m_rows && col < m_cols) ? row * m_cols + col : m_data.size();
    }
    std::size_t m_rows = 0;
    std::size_t m_cols = 0;
    std::vector<double> m_data;
};

}  // namespace tintara
