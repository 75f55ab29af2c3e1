#include <algorithm>

#include "ui/Controls.h"
#include "ui/controls/Support.h"

namespace ui {

using namespace detail;

ListView::ListView(Form& f, std::string name, Control* container)
    : Control(f, std::move(name), Kind::ListView, container) {}

void ListView::addColumn(std::string header, int width) {
    headers_.push_back(std::move(header));
    widths_.push_back(width);
    changed(Change::Columns, -1, columnCount() - 1);
}

const std::string& ListView::columnHeader(int col) const {
    if (col < 0 || col >= columnCount()) outOfBounds("ColumnHeaders");
    return headers_[col];
}

void ListView::setColumnHeader(int col, std::string text) {
    if (col < 0 || col >= columnCount()) outOfBounds("ColumnHeaders");
    headers_[col] = std::move(text);
    changed(Change::Columns, -1, col);
}

int ListView::columnWidth(int col) const {
    if (col < 0 || col >= columnCount()) outOfBounds("ColumnHeaders");
    return widths_[col];
}

int ListView::add(std::string text) {
    Row r;
    // One allocation per row: room for every column, filled as sub-items are set.
    r.cells.reserve(std::max(1, columnCount()));
    r.cells.push_back(std::move(text));
    rows_.push_back(std::move(r));
    changed(Change::Rows, count());
    // The classic list makes its first item the selected one as soon as it has one.
    if (count() == 1 && selected_ == 0) {
        selected_ = 1;
        changed(Change::Selection, 1);
    }
    return count();
}

void ListView::remove(int row) {
    if (row < 1 || row > count()) outOfBounds("ListItems");
    rows_.erase(rows_.begin() + (row - 1));
    if (selected_ == row)
        selected_ = 0;
    else if (selected_ > row)
        --selected_;
    changed(Change::Rows, row);
}

void ListView::clear() {
    rows_.clear();
    selected_ = 0;
    changed(Change::Rows);
}

const std::string& ListView::cell(int row, int col) const {
    if (row < 1 || row > count()) outOfBounds("ListItems");
    if (col < 0 || (col > 0 && col >= columnCount())) invalidValue("ListSubItems");
    const auto& cells = rows_[row - 1].cells;
    return col < static_cast<int>(cells.size()) ? cells[col] : emptyText();
}

void ListView::setCell(int row, int col, std::string v) {
    if (row < 1 || row > count()) outOfBounds("ListItems");
    if (col < 0 || (col > 0 && col >= columnCount())) invalidValue("ListSubItems");
    auto& cells = rows_[row - 1].cells;
    if (col >= static_cast<int>(cells.size())) cells.resize(col + 1);
    cells[col] = std::move(v);
    changed(Change::Cell, row, col);
}

bool ListView::checked(int row) const {
    if (row < 1 || row > count()) outOfBounds("ListItems");
    return rows_[row - 1].checked;
}

void ListView::setChecked(int row, bool v) {
    if (row < 1 || row > count()) outOfBounds("ListItems");
    if (rows_[row - 1].checked == v) return;
    rows_[row - 1].checked = v;
    changed(Change::Check, row);
}

void ListView::setSelectedIndex(int row) {
    if (row < 0 || row > count()) outOfBounds("ListItems");
    if (row == selected_) return;
    selected_ = row;
    changed(Change::Selection, row);
}

void ListView::ensureVisible(int row) {
    if (row < 1 || row > count()) outOfBounds("ListItems");
    changed(Change::Property, row);
}

void ListView::userToggle(int row) {
    if (!reachable() || !checkboxes || row < 1 || row > count()) return;
    userEvent([this, row] {
        takeFocus(*this);
        rows_[row - 1].checked = !rows_[row - 1].checked;
        changed(Change::Check, row);
        if (ItemCheck) ItemCheck(row);
    });
}

void ListView::userSelectRow(int row) {
    if (!reachable() || row < 1 || row > count()) return;
    userEvent([this, row] {
        takeFocus(*this);
        if (selected_ != row) {
            selected_ = row;
            changed(Change::Selection, row);
        }
        if (Click) Click();
    });
}

void ListView::userDblClick() {
    if (!reachable()) return;
    userEvent([this] {
        takeFocus(*this);
        if (DblClick) DblClick();
    });
}

void ListView::userRightClick() {
    if (!reachable()) return;
    userEvent([this] {
        takeFocus(*this);
        if (MouseDown) MouseDown(vbRightButton, 0, 0.0f, 0.0f);
    });
}

void ListView::userKeyDown(int16_t keyCode) {
    if (!reachable()) return;
    userEvent([this, keyCode] {
        takeFocus(*this);
        int16_t code = keyCode;
        if (KeyDown) KeyDown(code, 0);
        if (isCharacterKey(keyCode)) {
            int16_t k = keyCode;
            if (previewKeyPress(form(), k) && KeyPress) KeyPress(k);
        }
    });
}

}  // namespace ui
