#include "qt/ItemModels.h"

#include <QBrush>
#include <QColor>
#include <QTimer>

#include "common/Error.h"

namespace qtui {

namespace {

QString qs(const std::string& s) { return QString::fromStdString(s); }

}  // namespace

int BatchedModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : rows_; }

int BatchedModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : cols_; }

void BatchedModel::scheduleReset() {
    if (resetPending_) return;
    resetPending_ = true;
    QTimer::singleShot(0, this, [this] { flush(); });
}

void BatchedModel::flush() {
    if (!resetPending_) return;
    beginResetModel();
    rows_ = liveRows();
    cols_ = liveCols();
    resetPending_ = false;
    endResetModel();
    if (afterReset) afterReset();
}

void BatchedModel::cellChanged(int row, int col) {
    // A pending reset repaints everything anyway.
    if (resetPending_) return;
    if (row < 0 || row >= rows_) return;
    if (col < 0 || col >= cols_) {
        emit dataChanged(index(row, 0), index(row, cols_ - 1));
    } else {
        emit dataChanged(index(row, col), index(row, col));
    }
}

ListViewModel::ListViewModel(ui::ListView& list, QObject* parent) : BatchedModel(parent), list_(list) {
    scheduleReset();
    flush();
}

QVariant ListViewModel::data(const QModelIndex& index, int role) const {
    const int row = index.row() + 1, col = index.column();
    if (!index.isValid() || row > list_.count() || col >= list_.columnCount()) return {};
    try {
        const CellLook look = look_ != nullptr ? look_->column(col).look : CellLook::Text;
        if (role == Qt::DisplayRole) {
            const QString raw = qs(list_.cell(row, col));
            if (look == CellLook::Amount) return formatAmount(raw);
            if (look == CellLook::CreditFlag) return formatCreditFlag(raw);
            return raw;
        }
        if (role == Qt::ToolTipRole || role == RawTextRole) return qs(list_.cell(row, col));
        if (role == Qt::TextAlignmentRole && look == CellLook::Amount)
            return int(Qt::AlignRight | Qt::AlignVCenter);
        if (role == Qt::TextAlignmentRole && look == CellLook::CreditFlag) return int(Qt::AlignCenter);
        if (role == Qt::CheckStateRole && col == 0 && showsTicks())
            return list_.checked(row) ? Qt::Checked : Qt::Unchecked;
    } catch (const common::Error&) {
        // A row shorter than the header: an empty cell.
    }
    return {};
}

bool ListViewModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    (void)value;
    if (role != Qt::CheckStateRole || index.column() != 0 || index.row() >= list_.count()) return false;
    // The model decides the tick (a handler may undo it); the view shows what it holds.
    if (onUserToggle) onUserToggle(index.row());
    return true;
}

QVariant ListViewModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section >= list_.columnCount()) return {};
    const ColumnLook column = look_ != nullptr ? look_->column(section) : ColumnLook{};
    if (role == Qt::DisplayRole)
        return column.named != nullptr ? namedAmount(column.named, qs(list_.columnHeader(section)))
                                       : qs(list_.columnHeader(section));
    if (look_ == nullptr) return {};
    if (role == Qt::ToolTipRole && column.tip != nullptr) return QString(column.tip);
    if (role == Qt::TextAlignmentRole && column.look == CellLook::Amount)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    return {};
}

Qt::ItemFlags ListViewModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags f = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    // A list the screen has made read-only shows its ticks but takes none.
    if (index.column() == 0 && showsTicks() && list_.reachable()) f |= Qt::ItemIsUserCheckable;
    return f;
}

void ListViewModel::setLook(const ListLook* look) {
    beginResetModel();
    look_ = look;
    endResetModel();
    if (afterReset) afterReset();
}

void ListViewModel::modelChanged(ui::Change change, int row, int col) {
    switch (change) {
        case ui::Change::Rows:
        case ui::Change::Columns:
        case ui::Change::Sort:
            scheduleReset();
            break;
        case ui::Change::Cell:
        case ui::Change::Check:
            if (row < 1) {
                scheduleReset();
            } else {
                cellChanged(row - 1, change == ui::Change::Check ? 0 : col);
            }
            break;
        default:
            break;
    }
}

FlexGridModel::FlexGridModel(ui::FlexGrid& grid, QObject* parent) : BatchedModel(parent), grid_(grid) {
    scheduleReset();
    flush();
}

int FlexGridModel::fixedRows() const { return grid_.fixedRows < 0 ? 0 : grid_.fixedRows; }

int FlexGridModel::liveRows() const {
    const int n = grid_.rows() - fixedRows();
    return n < 0 ? 0 : n;
}

QVariant FlexGridModel::data(const QModelIndex& index, int role) const {
    const int row = index.row() + fixedRows(), col = index.column();
    if (!index.isValid() || row >= grid_.rows() || col >= grid_.cols()) return {};
    try {
        if (role == Qt::DisplayRole) return qs(grid_.textMatrix(row, col));
        if (role == Qt::BackgroundRole) {
            const uint32_t bgr = grid_.cellBackColor(row, col);
            if (bgr == ui::kDefaultColor) return {};
            return QBrush(QColor(static_cast<int>(bgr & 0xFF), static_cast<int>((bgr >> 8) & 0xFF),
                                 static_cast<int>((bgr >> 16) & 0xFF)));
        }
    } catch (const common::Error&) {
    }
    return {};
}

QVariant FlexGridModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole) return {};
    if (orientation == Qt::Vertical) return section + fixedRows();
    if (fixedRows() < 1 || section >= grid_.cols()) return {};
    try {
        return qs(grid_.textMatrix(0, section));
    } catch (const common::Error&) {
        return {};
    }
}

void FlexGridModel::modelChanged(ui::Change change, int row, int col) {
    switch (change) {
        case ui::Change::Rows:
        case ui::Change::Columns:
        case ui::Change::Sort:
            scheduleReset();
            break;
        case ui::Change::Cell:
        case ui::Change::Colors:
            if (row < 0) {
                scheduleReset();
            } else if (row < fixedRows()) {
                if (!resetPending())
                    emit headerDataChanged(Qt::Horizontal, col < 0 ? 0 : col,
                                           col < 0 ? columnCount() - 1 : col);
            } else {
                cellChanged(row - fixedRows(), col);
            }
            break;
        default:
            break;
    }
}

}  // namespace qtui
