// The result grid on screen: a Qt table model and view over the core's ResultGridModel.
#pragma once

#include <QAbstractTableModel>
#include <QColor>
#include <QTableView>

#include "report/ResultGridModel.h"

namespace tintara::gui {

// 0xBBGGRR (red in the low byte, as the grid procedures write colours) to a QColor.
QColor ToQColor(GridColor color);

// The colour the grid control gave its fixed row and column (the Windows button face).
inline const QColor kFixedCellColor(0xF0, 0xF0, 0xF0);

// Presents ResultGridModel to Qt. Row 0 of the grid model (the fixed caption row) becomes the
// horizontal header; grid rows 1..Rows-1 are table rows 0..Rows-2; column 0 (the fixed name
// column) stays an ordinary column drawn in the fixed colour. The grid model reports every single
// cell change; Sync() folds a burst of them into one reset (shape changed) or one dataChanged.
class GridTableModel : public QAbstractTableModel {
    Q_OBJECT
  public:
    explicit GridTableModel(const ResultGridModel& grid, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // Brings the views up to date with the grid model.
    void Sync();

    // Grid-model row of a table row, and back.
    static int GridRow(int tableRow) { return tableRow + 1; }
    static int TableRow(int gridRow) { return gridRow - 1; }

    // Qt alignment of a column: "<" left, ">" right; with no mark, numbers go right and text
    // left, as the grid control's general alignment did.
    Qt::Alignment Alignment(int col, const std::string& text) const;

  private:
    const ResultGridModel& m_grid;
    int m_rows = 0;
    int m_cols = 0;
};

// The table view with the grid's placement, column widths and visibility applied from the grid
// model (twips divided by the workspace's twips per pixel).
class GridView : public QTableView {
    Q_OBJECT
  public:
    GridView(ResultGridModel& grid, const int16_t& twipsPerPixel, QWidget* parent = nullptr);
    ~GridView() override;

    GridTableModel* TableModel() const { return m_model; }
    // Applies contents, widths, placement and visibility now (normally queued after a change).
    void Sync();
    // The grid row (1-based as the grid model counts) of the current selection, or -1.
    int SelectedGridRow() const;

  signals:
    // The user selected a row; the argument is the grid-model row.
    void GridRowSelected(int gridRow);

  private:
    void ScheduleSync();
    int Pixels(int32_t twips) const;

    ResultGridModel& m_grid;
    const int16_t& m_twipsPerPixel;
    GridTableModel* m_model;
    bool m_syncPending = false;
};

}  // namespace tintara::gui
