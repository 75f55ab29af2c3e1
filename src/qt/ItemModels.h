#pragma once
// Item models that read the list view and grid models directly, so that a list of tens of
// thousands of rows needs no widget or copy per row. Structural changes arrive one row at a
// time from the control models; they are gathered and applied as one reset.
#include <QAbstractTableModel>
#include <functional>

#include "qt/ItemLook.h"
#include "ui/Controls.h"

namespace qtui {

// Common batching: row and column counts are cached so that a view never sees a count that
// changed without a signal; a pending reset is applied on the next turn of the event loop
// or when someone needs the view current (flush).
class BatchedModel : public QAbstractTableModel {
    Q_OBJECT
public:
    using QAbstractTableModel::QAbstractTableModel;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;

    // Applies a pending reset now.
    void flush();
    bool resetPending() const { return resetPending_; }
    // Called after each reset (the binder restores widths and the current row).
    std::function<void()> afterReset;

protected:
    void scheduleReset();
    void cellChanged(int row, int col);
    virtual int liveRows() const = 0;
    virtual int liveCols() const = 0;

private:
    int rows_ = 0, cols_ = 0;
    bool resetPending_ = false;
};

// ui::ListView: view row r is the list's row r + 1; column 0 carries the tick.
class ListViewModel : public BatchedModel {
    Q_OBJECT
public:
    explicit ListViewModel(ui::ListView& list, QObject* parent = nullptr);
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    // A change of the list model (its listener).
    void modelChanged(ui::Change change, int row, int col);
    // The user ticked or unticked a row (view row): set by the binder.
    std::function<void(int row)> onUserToggle;
    // How the cells are shown (nullptr: as they are).
    void setLook(const ListLook* look);
    const ListLook* look() const { return look_; }
    // The cell's own text, whatever the display makes of it.
    static constexpr int RawTextRole = Qt::UserRole;

protected:
    int liveRows() const override { return list_.count(); }
    int liveCols() const override { return list_.columnCount(); }

private:
    bool showsTicks() const { return list_.checkboxes && (look_ == nullptr || look_->ticks); }
    ui::ListView& list_;
    const ListLook* look_ = nullptr;
};

// ui::FlexGrid: the fixed rows are the header; view row r is the grid's row r + fixedRows.
class FlexGridModel : public BatchedModel {
    Q_OBJECT
public:
    explicit FlexGridModel(ui::FlexGrid& grid, QObject* parent = nullptr);
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    void modelChanged(ui::Change change, int row, int col);
    int fixedRows() const;

protected:
    int liveRows() const override;
    int liveCols() const override { return grid_.cols(); }

private:
    ui::FlexGrid& grid_;
};

// Classic widths are in twips; 15 twips make a pixel at the usual 96 dpi.
inline int twipsToPixels(int twips) { return twips / 15; }

}  // namespace qtui
