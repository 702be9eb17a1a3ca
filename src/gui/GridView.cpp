#include "gui/GridView.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QMetaObject>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>
#include <cstdlib>
#include <vector>

namespace tintara::gui {

QColor ToQColor(GridColor color) {
    return QColor(ColorRed(color), ColorGreen(color), ColorBlue(color));
}

namespace {
// True when the text reads as a number (after blanks), as the grid control decided alignment.
bool LooksNumeric(const std::string& text) {
    const auto first = text.find_first_not_of(' ');
    if (first == std::string::npos)
        return false;
    const char* begin = text.c_str() + first;
    char* end = nullptr;
    std::strtod(begin, &end);
    if (end == begin)
        return false;
    while (*end == ' ')
        ++end;
    return *end == '\0';
}

// The caption row. Its cells carry the phase colours (the active phase, the inactive ones), which
// most widget styles would paint over with their own gradient, so sections are drawn here.
class GridHeader : public QHeaderView {
  public:
    explicit GridHeader(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {}

  protected:
    void paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const override {
        if (!rect.isValid() || model() == nullptr)
            return;
        const QVariant back = model()->headerData(logicalIndex, orientation(), Qt::BackgroundRole);
        painter->save();
        painter->fillRect(rect, back.canConvert<QColor>() ? back.value<QColor>() : kFixedCellColor);
        painter->setPen(QColor(0xA0, 0xA0, 0xA0));
        painter->drawLine(rect.topRight(), rect.bottomRight());
        painter->drawLine(rect.bottomLeft(), rect.bottomRight());
        const QVariant align =
            model()->headerData(logicalIndex, orientation(), Qt::TextAlignmentRole);
        const int flags = align.isValid() ? align.toInt() : int(Qt::AlignCenter);
        painter->setPen(Qt::black);
        painter->drawText(
            rect.adjusted(4, 0, -4, 0), flags,
            model()->headerData(logicalIndex, orientation(), Qt::DisplayRole).toString());
        painter->restore();
    }
};
}  // namespace

// ---- GridTableModel ----

GridTableModel::GridTableModel(const ResultGridModel& grid, QObject* parent)
    : QAbstractTableModel(parent), m_grid(grid) {
    m_rows = std::max(0, grid.Rows() - 1);
    m_cols = grid.Cols();
}

int GridTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_rows;
}

int GridTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_cols;
}

Qt::Alignment GridTableModel::Alignment(int col, const std::string& text) const {
    Qt::Alignment horizontal;
    switch (m_grid.ColAlignment(col)) {
        case CellAlignment::Left:
            horizontal = Qt::AlignLeft;
            break;
        case CellAlignment::Right:
            horizontal = Qt::AlignRight;
            break;
        case CellAlignment::Default:
            horizontal = LooksNumeric(text) ? Qt::AlignRight : Qt::AlignLeft;
            break;
    }
    return horizontal | Qt::AlignVCenter;
}

QVariant GridTableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    const int row = GridRow(index.row());
    const int col = index.column();
    // Between a change of shape and the next Sync the view may still ask for old cells.
    if (row >= m_grid.Rows() || col >= m_grid.Cols())
        return {};
    switch (role) {
        case Qt::DisplayRole:
            return QString::fromStdString(m_grid.TextMatrix(row, col));
        case Qt::BackgroundRole: {
            if (const auto back = m_grid.CellBackColor(row, col))
                return ToQColor(*back);
            if (col == 0)
                return kFixedCellColor;
            return QColor(Qt::white);
        }
        case Qt::ForegroundRole:
            return QColor(Qt::black);
        case Qt::TextAlignmentRole:
            return static_cast<int>(Alignment(col, m_grid.TextMatrix(row, col)));
        default:
            return {};
    }
}

QVariant GridTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section >= m_grid.Cols() || m_grid.Rows() < 1)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (role) {
        case Qt::DisplayRole:
            return QString::fromStdString(m_grid.TextMatrix(0, section));
        case Qt::BackgroundRole:
            if (const auto back = m_grid.CellBackColor(0, section))
                return ToQColor(*back);
            return kFixedCellColor;
        case Qt::TextAlignmentRole:
            return static_cast<int>(Alignment(section, m_grid.TextMatrix(0, section)));
        default:
            return {};
    }
}

void GridTableModel::Sync() {
    const int rows = std::max(0, m_grid.Rows() - 1);
    const int cols = m_grid.Cols();
    if (rows != m_rows || cols != m_cols) {
        beginResetModel();
        m_rows = rows;
        m_cols = cols;
        endResetModel();
        return;
    }
    if (m_rows > 0 && m_cols > 0)
        emit dataChanged(index(0, 0), index(m_rows - 1, m_cols - 1));
    if (m_cols > 0)
        emit headerDataChanged(Qt::Horizontal, 0, m_cols - 1);
}

// ---- GridView ----

GridView::GridView(ResultGridModel& grid, const int16_t& twipsPerPixel, QWidget* parent)
    : QTableView(parent),
      m_grid(grid),
      m_twipsPerPixel(twipsPerPixel),
      m_model(new GridTableModel(grid, this)) {
    setObjectName(QStringLiteral("DisplayGrid"));
    setModel(m_model);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 4);
    setHorizontalHeader(new GridHeader(this));
    horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    horizontalHeader()->setHighlightSections(false);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setWordWrap(false);
    setVisible(grid.Visible());
    // The selected row keeps its band colour readable: only a frame-like tint marks it.
    setStyleSheet(
        QStringLiteral("QTableView { gridline-color: #a0a0a0; selection-background-color: #3070c0; "
                       "selection-color: white; }"));
    m_grid.Changed = [this] { ScheduleSync(); };
    connect(selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) {
                if (current.isValid())
                    emit GridRowSelected(GridTableModel::GridRow(current.row()));
            });
    // A reset replaces the selection model's contents, not the object; keep it simple anyway.
    connect(m_model, &QAbstractItemModel::modelReset, this, [this] { clearSelection(); });
    Sync();
}

GridView::~GridView() {
    m_grid.Changed = nullptr;
}

void GridView::ScheduleSync() {
    if (m_syncPending)
        return;
    m_syncPending = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (m_syncPending)
                Sync();
        },
        Qt::QueuedConnection);
}

int GridView::Pixels(int32_t twips) const {
    const int perPixel = m_twipsPerPixel > 0 ? m_twipsPerPixel : 15;
    return twips / perPixel;
}

void GridView::Sync() {
    m_syncPending = false;
    m_model->Sync();
    std::vector<int> widths(static_cast<std::size_t>(std::max(0, m_grid.Cols())));
    int columns = 0;
    for (int c = 0; c < m_grid.Cols(); ++c)
        columns += widths[static_cast<std::size_t>(c)] = Pixels(m_grid.ColWidth(c));
    if (m_grid.Width > 0 && m_grid.Height > 0) {
        // Room for the frame and the vertical scroll bar beside the columns, so that the last
        // column (the judged DE, "Final DE") is never under the scroll bar; in a narrow window
        // (the plot dock open) the name column gives way first, then the others evenly.
        const int chrome = 2 * frameWidth() + verticalScrollBar()->sizeHint().width();
        const int available = parentWidget() ? parentWidget()->width() : columns + chrome;
        int excess = columns + chrome - available;
        if (excess > 0 && !widths.empty()) {
            const int nameMinimum = std::min(widths[0], fontMetrics().averageCharWidth() * 8);
            const int fromName = std::min(excess, widths[0] - nameMinimum);
            widths[0] -= fromName;
            excess -= fromName;
            // A value column keeps room for "-00.00" and its margins.
            const int valueMinimum = fontMetrics().horizontalAdvance(QStringLiteral("-00.00")) + 8;
            for (std::size_t c = 1; excess > 0 && c < widths.size(); ++c) {
                const int share = (excess + static_cast<int>(widths.size() - c) - 1) /
                                  static_cast<int>(widths.size() - c);
                const int cut = std::max(0, std::min(share, widths[c] - valueMinimum));
                widths[c] -= cut;
                excess -= cut;
            }
        }
        int width = chrome;
        for (const int w : widths)
            width += w;
        const int left =
            parentWidget() ? std::max(0, (available - width) / 2) : Pixels(m_grid.Left);
        setGeometry(left, Pixels(m_grid.Top), width, Pixels(m_grid.Height));
    }
    for (int c = 0; c < m_grid.Cols(); ++c)
        setColumnWidth(c, widths[static_cast<std::size_t>(c)]);
    setVisible(m_grid.Visible());
    viewport()->update();
    horizontalHeader()->viewport()->update();
}

int GridView::SelectedGridRow() const {
    const QModelIndex current = currentIndex();
    return current.isValid() ? GridTableModel::GridRow(current.row()) : -1;
}

}  // namespace tintara::gui
