#include <algorithm>

#include "common/Conv.h"
#include "common/TextOrder.h"
#include "ui/Controls.h"
#include "ui/controls/Support.h"

namespace ui {

using namespace detail;

FlexGrid::FlexGrid(Form& f, std::string name, Control* container)
    : Control(f, std::move(name), Kind::FlexGrid, container),
      cells_(2, std::vector<std::string>(2)),
      colors_(2),
      widths_(2, -1) {}

namespace {
[[noreturn]] void badRow() { throw common::Error(30009, "MSHFlexGrid", "Invalid Row value"); }
[[noreturn]] void badCol() { throw common::Error(30010, "MSHFlexGrid", "Invalid Col value"); }
}  // namespace

void FlexGrid::setRows(int n) {
    if (n < 0) invalidValue(typeName());
    if (n == rows_) return;
    cells_.resize(n, std::vector<std::string>(cols_));
    colors_.resize(n);
    rows_ = n;
    int last = std::max(0, n - 1);
    row_ = std::min(row_, last);
    rowSel_ = std::min(rowSel_, last);
    topRow_ = std::clamp(topRow_, std::min(fixedRows, last), last);
    changed(Change::Rows);
}

void FlexGrid::setCols(int n) {
    if (n < 0) invalidValue(typeName());
    if (n == cols_) return;
    for (auto& r : cells_) r.resize(n);
    for (auto& r : colors_)
        if (!r.empty()) r.resize(n, kDefaultColor);
    widths_.resize(n, -1);
    cols_ = n;
    int last = std::max(0, n - 1);
    col_ = std::min(col_, last);
    colSel_ = std::min(colSel_, last);
    changed(Change::Columns);
}

void FlexGrid::setData(std::vector<std::vector<std::string>> dataRows) {
    int fixed = std::clamp(fixedRows, 0, rows_);
    cells_.resize(fixed);
    cells_.reserve(fixed + dataRows.size());
    for (auto& r : dataRows) {
        r.resize(cols_);
        cells_.push_back(std::move(r));
    }
    rows_ = static_cast<int>(cells_.size());
    // Row colours are kept only for rows that have one; a fresh fill has none.
    colors_.assign(rows_, {});
    int last = std::max(0, rows_ - 1);
    row_ = std::min(std::max(row_, std::min(fixed, last)), last);
    rowSel_ = row_;
    topRow_ = std::min(fixed, last);
    sortedBy_ = flexSortNone;  // the rows come in the order they were given
    changed(Change::Rows);
}

const std::string& FlexGrid::textMatrix(int row, int col) const {
    if (row < 0 || row >= rows_) badRow();
    if (col < 0 || col >= cols_) badCol();
    return cells_[row][col];
}

void FlexGrid::setTextMatrix(int row, int col, std::string v) {
    if (row < 0 || row >= rows_) badRow();
    if (col < 0 || col >= cols_) badCol();
    cells_[row][col] = std::move(v);
    changed(Change::Cell, row, col);
}

uint32_t FlexGrid::cellBackColor(int row, int col) const {
    if (row < 0 || row >= rows_) badRow();
    if (col < 0 || col >= cols_) badCol();
    const auto& r = colors_[row];
    return col < static_cast<int>(r.size()) ? r[col] : kDefaultColor;
}

void FlexGrid::setCellBackColor(int row, int col, uint32_t bgr) {
    if (row < 0 || row >= rows_) badRow();
    if (col < 0 || col >= cols_) badCol();
    auto& r = colors_[row];
    if (r.empty()) {
        if (bgr == kDefaultColor) return;
        r.assign(cols_, kDefaultColor);
    }
    r[col] = bgr;
    changed(Change::Colors, row, col);
}

void FlexGrid::setRow(int r) {
    if (r < 0 || r >= rows_) badRow();
    rowSel_ = r;
    if (r == row_) {
        changed(Change::Selection, r, col_);
        return;
    }
    row_ = r;
    changed(Change::Selection, r, col_);
    if (RowColChange) RowColChange();
}

void FlexGrid::setCol(int c) {
    if (c < 0 || c >= cols_) badCol();
    colSel_ = c;
    if (c == col_) {
        changed(Change::Selection, row_, c);
        return;
    }
    col_ = c;
    changed(Change::Selection, row_, c);
    if (RowColChange) RowColChange();
}

void FlexGrid::setColSel(int c) {
    if (c < 0 || c >= cols_) badCol();
    colSel_ = c;
    changed(Change::Selection, row_, col_);
}

void FlexGrid::setRowSel(int r) {
    if (r < 0 || r >= rows_) badRow();
    rowSel_ = r;
    changed(Change::Selection, row_, col_);
}

void FlexGrid::setTopRow(int r) {
    if (r < 0 || r >= rows_) badRow();
    topRow_ = std::max(r, std::min(fixedRows, rows_ - 1));
    changed(Change::Property, topRow_);
}

int FlexGrid::colWidth(int col) const {
    if (col < 0 || col >= cols_) badCol();
    return widths_[col];
}

void FlexGrid::setColWidth(int col, int width) {
    if (col < 0 || col >= cols_) badCol();
    widths_[col] = width;
    changed(Change::Columns, -1, col);
}

namespace {

// The number a numeric cell stands for; thousands separators are part of a number's text.
double numberOf(const std::string& s) {
    if (s.find(',') == std::string::npos) return common::Val(s);
    std::string t;
    t.reserve(s.size());
    for (char c : s)
        if (c != ',') t.push_back(c);
    return common::Val(t);
}

// A merge sort on row positions: stable, and safe even when the comparison is not a strict
// order (generic mode mixes number and text comparisons, which need not be transitive).
template <class Less>
void mergeSort(std::vector<int>& v, Less less) {
    std::vector<int> tmp(v.size());
    for (size_t width = 1; width < v.size(); width *= 2) {
        for (size_t lo = 0; lo < v.size(); lo += 2 * width) {
            size_t mid = std::min(lo + width, v.size()), hi = std::min(lo + 2 * width, v.size());
            size_t i = lo, j = mid, k = lo;
            while (i < mid && j < hi) tmp[k++] = less(v[j], v[i]) ? v[j++] : v[i++];
            while (i < mid) tmp[k++] = v[i++];
            while (j < hi) tmp[k++] = v[j++];
        }
        v.swap(tmp);
    }
}

// How a sort mode reads and compares cells. Texts are folded to one case for every letter,
// once per cell rather than inside each comparison (that folding was most of a sort's time).
struct CellOrder {
    // One sort key per cell: whether it counts as a number, its value, and its text (folded
    // where the mode ignores case).
    struct Key {
        std::string text;
        bool isNum = false;
        double num = 0;
    };

    CellOrder(FlexGrid::Sort mode, const std::vector<std::vector<std::string>>& cells, int first, int c1,
              int keys)
        : generic(mode == FlexGrid::flexSortGenericAscending || mode == FlexGrid::flexSortGenericDescending),
          numeric(mode == FlexGrid::flexSortNumericAscending || mode == FlexGrid::flexSortNumericDescending),
          fold(generic || mode == FlexGrid::flexSortStringNoCaseAscending ||
               mode == FlexGrid::flexSortStringNoCaseDescending),
          descending(
              mode == FlexGrid::flexSortGenericDescending || mode == FlexGrid::flexSortNumericDescending ||
              mode == FlexGrid::flexSortStringNoCaseDescending || mode == FlexGrid::flexSortStringDescending),
          keys(keys),
          cells(cells),
          first(first),
          c1(c1) {}

    void keyOf(int r, int k, Key& key) const {
        const std::string& t = cells[first + r][c1 + k];
        key.isNum = numeric || (generic && common::IsNumeric(t));
        key.num = key.isNum ? numberOf(t) : 0.0;
        if (numeric) return;
        if (fold) {
            common::foldCase(t, key.text);
        } else {
            key.text = t;
        }
    }
    // Entry numbers read as people read them: PAL/2 before PAL/10 in the generic mode.
    int compare(const Key& x, const Key& y) const {
        if ((generic || numeric) && x.isNum && y.isNum) return x.num < y.num ? -1 : (x.num > y.num ? 1 : 0);
        if (generic) return common::compareNatural(x.text, y.text);
        int c = x.text.compare(y.text);
        return c < 0 ? -1 : (c > 0 ? 1 : 0);
    }

    // A column already in order (the search sorts its column at every keystroke) is found in
    // one pass that reads each cell once; the stable sort would not move a row of it anyway.
    bool inOrder(int n) const {
        std::vector<Key> prev(static_cast<size_t>(keys)), cur(static_cast<size_t>(keys));
        for (int k = 0; k < keys; ++k) keyOf(0, k, prev[static_cast<size_t>(k)]);
        for (int r = 1; r < n; ++r) {
            int c = 0;
            for (int k = 0; k < keys; ++k) {
                keyOf(r, k, cur[static_cast<size_t>(k)]);
                if (c == 0) c = compare(prev[static_cast<size_t>(k)], cur[static_cast<size_t>(k)]);
            }
            if (descending ? c < 0 : c > 0) return false;
            std::swap(prev, cur);
        }
        return true;
    }

    // The data rows' positions (0 = the first data row) in sorted order.
    std::vector<int> order(int n) const {
        std::vector<Key> all(static_cast<size_t>(n) * keys);
        for (int r = 0; r < n; ++r)
            for (int k = 0; k < keys; ++k) keyOf(r, k, all[static_cast<size_t>(r) * keys + k]);
        auto rows = [&](int a, int b) {
            for (int k = 0; k < keys; ++k) {
                int c =
                    compare(all[static_cast<size_t>(a) * keys + k], all[static_cast<size_t>(b) * keys + k]);
                if (c != 0) return c;
            }
            return 0;
        };
        std::vector<int> order(n);
        for (int i = 0; i < n; ++i) order[i] = i;
        mergeSort(order, [&](int a, int b) { return descending ? rows(a, b) > 0 : rows(a, b) < 0; });
        return order;
    }

    const bool generic, numeric, fold;
    const bool descending;
    const int keys;
    const std::vector<std::vector<std::string>>& cells;
    const int first, c1;
};

}  // namespace

void FlexGrid::sort(Sort mode) {
    if (mode == flexSortNone) return;
    int first = std::clamp(fixedRows, 0, rows_);
    int n = rows_ - first;
    if (cols_ == 0) return;
    int c1 = std::min(col_, colSel_), c2 = std::min(std::max(col_, colSel_), cols_ - 1);
    sortedCol_ = c1;
    sortedBy_ = mode;
    if (n < 2) return;
    const CellOrder how(mode, cells_, first, c1, c2 - c1 + 1);
    if (how.inOrder(n)) return;
    const std::vector<int> order = how.order(n);

    // Rows (and their colours) move as wholes: no cell is copied. The current row moves with
    // its entry, so that what acts on "the selected entry" still acts on the one the user chose.
    std::vector<std::vector<std::string>> sortedCells;
    std::vector<std::vector<uint32_t>> sortedColors;
    sortedCells.reserve(n);
    sortedColors.reserve(n);
    int current = row_;
    for (int i = 0; i < n; ++i) {
        sortedCells.push_back(std::move(cells_[first + order[i]]));
        sortedColors.push_back(std::move(colors_[first + order[i]]));
        if (first + order[i] == row_) current = first + i;
    }
    for (int i = 0; i < n; ++i) {
        cells_[first + i] = std::move(sortedCells[i]);
        colors_[first + i] = std::move(sortedColors[i]);
    }
    row_ = rowSel_ = current;
    changed(Change::Sort);
}

void FlexGrid::userSelectCell(int row, int col) {
    if (!reachable() || row < 0 || row >= rows_ || col < 0 || col >= cols_) return;
    userEvent([this, row, col] {
        takeFocus(*this);
        bool moved = row != row_ || col != col_;
        row_ = row;
        col_ = col;
        rowSel_ = row;
        colSel_ = col;
        changed(Change::Selection, row, col);
        if (moved && RowColChange) RowColChange();
        if (Click) Click();
    });
}

void FlexGrid::userDblClick() {
    if (!reachable()) return;
    userEvent([this] {
        takeFocus(*this);
        if (DblClick) DblClick();
    });
}

void FlexGrid::userKeyDown(int16_t keyCode) {
    if (!reachable()) return;
    userEvent([this, keyCode] {
        takeFocus(*this);
        int16_t code = keyCode;
        if (KeyDown) KeyDown(code, 0);
    });
}

void FlexGrid::clearStructure() {
    rowSel_ = row_;
    colSel_ = col_;
    changed(Change::Selection, row_, col_);
}

}  // namespace ui
