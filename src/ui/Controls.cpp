#include "ui/Controls.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "common/TextOrder.h"
#include "common/Utf8.h"
#include "ui/Form.h"

namespace ui {

namespace {

// The errors the classic controls raised for a bad index or value.
[[noreturn]] void invalidValue(const std::string& source) {
    throw common::Error(380, source, "Invalid property value");
}
[[noreturn]] void invalidIndex(const std::string& source) {
    throw common::Error(381, source, "Invalid property array index");
}
[[noreturn]] void outOfBounds(const std::string& source) {
    throw common::Error(35600, source, "Index out of bounds");
}

// The key code that goes with a typed character (KeyDown/KeyUp see codes, KeyPress sees
// characters): letters are their capital, the period and minus keys their own codes.
int16_t keyCodeOf(int16_t ascii, int16_t& shift) {
    shift = 0;
    if (ascii >= 'a' && ascii <= 'z') return static_cast<int16_t>(ascii - 32);
    if (ascii >= 'A' && ascii <= 'Z') {
        shift = 1;
        return ascii;
    }
    if (ascii == '.') return 190;
    if (ascii == '-') return 189;
    return ascii;
}

const std::string& emptyText() {
    static const std::string empty;
    return empty;
}

bool isCharacterKey(int16_t k) { return k == vbKeyBack || k == vbKeyReturn || k == 27 || k == 32; }

}  // namespace

// ---------------------------------------------------------------------------------------
// Control

Control::Control(Form& form, std::string name, Kind kind, Control* container)
    : form_(form), name_(std::move(name)), kind_(kind), container_(container) {}

const std::string& Control::typeName() const {
    static const std::string names[] = {"Label",    "Frame",       "CommandButton", "TextBox",
                                        "ComboBox", "CheckBox",    "OptionButton",  "DTPicker",
                                        "ListView", "MSHFlexGrid", "Menu",          "Menu"};
    return names[static_cast<int>(kind_)];
}

Control::~Control() = default;

void Control::setEnabled(bool v) {
    if (enabled_ == v) return;
    enabled_ = v;
    changed(Change::Property);
}

void Control::setVisible(bool v) {
    if (visible_ == v) return;
    visible_ = v;
    changed(Change::Property);
}

bool Control::reachable() const {
    for (const Control* c = this; c; c = c->container_)
        if (!c->enabled_ || !c->visible_) return false;
    return true;
}

std::string Control::unreachableReason() const {
    for (const Control* c = this; c; c = c->container_) {
        if (c->enabled_ && c->visible_) continue;
        const std::string state = c->visible_ ? "disabled" : "hidden";
        return c == this ? name_ + " is " + state : name_ + " is in " + c->name_ + ", which is " + state;
    }
    return {};
}

void Control::setCaption(std::string v) {
    if (caption_ == v) return;
    caption_ = std::move(v);
    changed(Change::Property);
}

void Control::setToolTipText(std::string v) {
    if (toolTip_ == v) return;
    toolTip_ = std::move(v);
    changed(Change::Property);
}

void Control::setFocus() {
    // A control the user cannot reach cannot hold the focus; the request is dropped rather
    // than raised so that a handler's last "put the focus back" step never fails.
    if (!reachable()) return;
    Control* previous = form_.activeControl();
    if (previous == this) return;
    form_.setActiveControl(this);
    if (previous && previous->LostFocus) previous->LostFocus();
    form_.toolkit().focusChanged(*this);
    if (GotFocus) GotFocus();
}

bool Control::hasFocus() const { return form_.activeControl() == this; }

int Control::addListener(Listener l) {
    int id = nextListener_++;
    listeners_.emplace_back(id, std::move(l));
    return id;
}

void Control::removeListener(int id) {
    auto it = std::find_if(listeners_.begin(), listeners_.end(), [id](auto& p) { return p.first == id; });
    if (it != listeners_.end()) listeners_.erase(it);
}

void Control::changed(Change c, int row, int col) {
    // By index: a listener may add or remove listeners while being told.
    for (size_t i = 0; i < listeners_.size(); ++i) {
        auto l = listeners_[i].second;
        if (l) l(*this, c, row, col);
    }
}

void Control::userEvent(const std::function<void()>& fn) { form_.userEvent(fn); }

namespace {
// A user action first moves the focus to the control, as a click or a keystroke does.
void takeFocus(Control& c) {
    if (!c.hasFocus() && c.tabStop()) c.setFocus();
}
// With KeyPreview the form sees a key press before the control; 0 cancels it.
bool previewKeyPress(Form& f, int16_t& k) {
    if (f.keyPreview) f.Form_KeyPress(k);
    return k != 0;
}
// A code beyond ASCII stands for that character (the classic KeyAscii of a code page).
std::string characterOf(int16_t keyAscii) {
    const auto code = static_cast<char32_t>(static_cast<uint16_t>(keyAscii));
    return code < 0x80 ? std::string(1, static_cast<char>(code)) : common::utf8Encode(code);
}
// Text typed a key per character: the key's code (a '?' beyond 16 bits, as the classic
// KeyAscii has it) and the whole character, whatever its length in UTF-8.
template <class TypeKey>
void typeEach(const std::string& text, TypeKey&& typeKey) {
    const std::string valid = common::validUtf8(text);
    for (size_t pos = 0; pos < valid.size();) {
        const size_t at = pos;
        const char32_t c = common::utf8Next(valid, pos);
        typeKey(static_cast<int16_t>(c < 0x8000 ? c : U'?'), valid.substr(at, pos - at));
    }
}
}  // namespace

// ---------------------------------------------------------------------------------------
// Simple controls

Label::Label(Form& f, std::string name, std::string caption, Control* container)
    : Control(f, std::move(name), Kind::Label, container) {
    setCaption(std::move(caption));
    setTabStop(false);
}

Frame::Frame(Form& f, std::string name, std::string caption, Control* container)
    : Control(f, std::move(name), Kind::Frame, container) {
    setCaption(std::move(caption));
    setTabStop(false);
}

CommandButton::CommandButton(Form& f, std::string name, std::string caption, Control* container)
    : Control(f, std::move(name), Kind::CommandButton, container) {
    setCaption(std::move(caption));
}

void CommandButton::userClick() {
    if (!reachable()) return;
    userEvent([this] {
        takeFocus(*this);
        if (Click) Click();
    });
}

// ---------------------------------------------------------------------------------------
// TextBox

TextBox::TextBox(Form& f, std::string name, Control* container)
    : Control(f, std::move(name), Kind::TextBox, container) {}

int TextBox::length() const { return static_cast<int>(common::utf8Length(text_)); }

size_t TextBox::fitting(const std::string& text) const {
    if (!maxLengthInUtf16) return common::utf8Offset(text, static_cast<size_t>(maxLength));
    size_t units = 0, pos = 0;
    while (pos < text.size()) {
        size_t next = pos;
        units += common::utf8Next(text, next) >= 0x10000 ? 2 : 1;
        if (units > static_cast<size_t>(maxLength)) break;
        pos = next;
    }
    return pos;
}

void TextBox::setText(std::string v) {
    v = common::validUtf8(v);
    if (v == text_) return;
    text_ = std::move(v);
    selStart_ = 0;
    selLength_ = 0;
    changed(Change::Text);
    if (Change) Change();
}

void TextBox::setLocked(bool v) {
    if (locked_ == v) return;
    locked_ = v;
    changed(Change::Property);
}

void TextBox::setSelStart(int v) {
    selStart_ = std::clamp(v, 0, length());
    selLength_ = std::min(selLength_, length() - selStart_);
    changed(Change::Selection);
}

void TextBox::setSelLength(int v) {
    selLength_ = std::clamp(v, 0, length() - selStart_);
    changed(Change::Selection);
}

bool TextBox::refuseNul(const std::string& text) {
    if (text.find('\0') == std::string::npos) return false;
    MessageBoxRequest box;
    box.text = kNulRefused;
    box.style = vbOKOnly + vbInformation;
    box.title = form().messageTitle;
    form().toolkit().msgBox(box);
    return true;
}

void TextBox::userKey(int16_t keyAscii) { typeKey(keyAscii, characterOf(keyAscii)); }

void TextBox::typeKey(int16_t keyAscii, const std::string& character) {
    if (!reachable()) return;
    userEvent([this, keyAscii, &character] {
        if (!hasFocus()) {
            // Clicking into a box puts the caret after its text; GotFocus may select it all.
            selStart_ = length();
            selLength_ = 0;
            setFocus();
        }
        int16_t shift = 0;
        int16_t code = keyCodeOf(keyAscii, shift);
        if (KeyDown) KeyDown(code, shift);
        int16_t k = keyAscii;
        if (previewKeyPress(form(), k) && KeyPress) KeyPress(k);
        if (k != 0 && k != vbKeyReturn && k != vbKeyTab && !locked_) {
            const int chars = length();
            int start = std::clamp(selStart_, 0, chars);
            int len = std::clamp(selLength_, 0, chars - start);
            if (k == vbKeyBack && len == 0 && start > 0) {
                --start;
                len = 1;
            }
            std::string typed;
            if (k != vbKeyBack)
                typed = k == keyAscii ? character : common::utf8Encode(static_cast<uint16_t>(k));
            const size_t from = common::utf8Offset(text_, static_cast<size_t>(start));
            const size_t to = common::utf8Offset(text_, static_cast<size_t>(start + len));
            std::string next = text_.substr(0, from) + typed + text_.substr(to);
            if (!typed.empty()) ++start;
            bool fits = maxLength <= 0 || fitting(next) == next.size() || k == vbKeyBack;
            if (fits && next != text_) {
                text_ = std::move(next);
                selStart_ = start;
                selLength_ = 0;
                changed(Change::Text);
                if (Change) Change();
            }
        }
        if (KeyUp) KeyUp(code, shift);
    });
}

void TextBox::userType(const std::string& text) {
    if (reachable() && refuseNul(text)) return;
    typeEach(text, [this](int16_t keyAscii, const std::string& character) { typeKey(keyAscii, character); });
}

void TextBox::userPaste(const std::string& text) {
    if (!reachable()) return;
    userEvent([this, &text] {
        takeFocus(*this);
        if (locked_ || refuseNul(text)) return;
        std::string v = common::validUtf8(text);
        if (maxLength > 0) v.resize(fitting(v));
        if (v == text_) return;
        text_ = std::move(v);
        selStart_ = length();
        selLength_ = 0;
        changed(Change::Text);
        if (Change) Change();
    });
}

void TextBox::userKeyDown(int16_t keyCode) {
    if (!reachable()) return;
    userEvent([this, keyCode] {
        takeFocus(*this);
        int16_t code = keyCode;
        if (KeyDown) KeyDown(code, 0);
        if (code == vbKeyDelete && !locked_) {
            const int chars = length();
            int start = std::clamp(selStart_, 0, chars);
            int len = std::clamp(selLength_, 0, chars - start);
            if (len == 0 && start < chars) len = 1;
            if (len > 0) {
                const size_t from = common::utf8Offset(text_, static_cast<size_t>(start));
                text_.erase(from, common::utf8Offset(text_, static_cast<size_t>(start + len)) - from);
                selStart_ = start;
                selLength_ = 0;
                changed(Change::Text);
                if (Change) Change();
            }
        }
        if (KeyUp) KeyUp(code, 0);
    });
}

// ---------------------------------------------------------------------------------------
// ComboBox

ComboBox::ComboBox(Form& f, std::string name, Control* container, Style style)
    : Control(f, std::move(name), Kind::ComboBox, container), style_(style) {}

void ComboBox::addItem(std::string text) {
    items_.push_back(Item{std::move(text), 0});
    changed(Change::Items, newIndex());
}

void ComboBox::clear() {
    items_.clear();
    listIndex_ = -1;
    text_.clear();
    changed(Change::Items);
}

const std::string& ComboBox::list(int index) const {
    if (index < 0 || index >= listCount()) {
        // Reading past the list gives an empty text, as the classic List property did.
        if (index >= -1) return emptyText();
        invalidIndex(typeName());
    }
    return items_[index].text;
}

int64_t ComboBox::itemData(int index) const {
    if (index < 0 || index >= listCount()) invalidIndex(typeName());
    return items_[index].data;
}

void ComboBox::setItemData(int index, int64_t data) {
    if (index < 0 || index >= listCount()) invalidIndex(typeName());
    items_[index].data = data;
    changed(Change::Items, index);
}

void ComboBox::setListIndex(int index) {
    if (index < -1 || index >= listCount()) invalidValue(typeName());
    if (index == listIndex_) return;
    listIndex_ = index;
    text_ = index >= 0 ? items_[index].text : std::string();
    changed(Change::Index, index);
    if (Click) Click();
}

void ComboBox::setText(std::string v) {
    if (style_ == Style::DropDownList) {
        // A drop-down list shows only its items: the text picks one, or none when empty.
        if (v.empty()) {
            setListIndex(-1);
            return;
        }
        for (int i = 0; i < listCount(); ++i)
            if (common::EqualsNoCase(items_[i].text, v)) {
                setListIndex(i);
                return;
            }
        throw common::Error(383, typeName(), "'Text' property is read-only");
    }
    if (v == text_) return;
    text_ = std::move(v);
    if (listIndex_ >= 0 && items_[listIndex_].text != text_) listIndex_ = -1;
    changed(Change::Text);
    if (Change) Change();
}

void ComboBox::setLocked(bool v) {
    if (locked_ == v) return;
    locked_ = v;
    changed(Change::Property);
}

void ComboBox::userSelect(int index) {
    if (!reachable() || locked_ || index < 0 || index >= listCount()) return;
    userEvent([this, index] {
        takeFocus(*this);
        listIndex_ = index;
        text_ = items_[index].text;
        changed(Change::Index, index);
        if (Click) Click();
    });
}

bool ComboBox::userSelectText(const std::string& text) {
    int found = -1;
    for (int i = 0; i < listCount() && found < 0; ++i)
        if (items_[i].text == text) found = i;
    for (int i = 0; i < listCount() && found < 0; ++i)
        if (common::EqualsNoCase(common::Trim(items_[i].text), common::Trim(text))) found = i;
    if (found < 0) return false;
    userSelect(found);
    return true;
}

void ComboBox::userKey(int16_t keyAscii) { typeKey(keyAscii, characterOf(keyAscii)); }

void ComboBox::userType(const std::string& text) {
    typeEach(text, [this](int16_t keyAscii, const std::string& character) { typeKey(keyAscii, character); });
}

void ComboBox::typeKey(int16_t keyAscii, const std::string& character) {
    if (!reachable()) return;
    userEvent([this, keyAscii, &character] {
        takeFocus(*this);
        int16_t shift = 0;
        int16_t code = keyCodeOf(keyAscii, shift);
        if (KeyDown) KeyDown(code, shift);
        int16_t k = keyAscii;
        if (!previewKeyPress(form(), k)) return;
        if (KeyPress) KeyPress(k);
        if (k == 0 || k == vbKeyReturn || k == vbKeyTab || locked_) return;
        if (style_ == Style::DropDownList) {
            // A letter moves to the next item that starts with it.
            if (k < 32) return;
            int n = listCount();
            for (int step = 1; step <= n; ++step) {
                int i = (listIndex_ + step + n) % n;
                if (!items_[i].text.empty() &&
                    std::toupper(static_cast<unsigned char>(items_[i].text[0])) == std::toupper(k)) {
                    if (i != listIndex_) {
                        listIndex_ = i;
                        text_ = items_[i].text;
                        changed(Change::Index, i);
                        if (Click) Click();
                    }
                    break;
                }
            }
            return;
        }
        // Backspace takes off the whole last character; a key KeyPress changed types its own.
        std::string next = text_;
        if (k == vbKeyBack) {
            if (!next.empty()) next.resize(common::utf8Offset(next, common::utf8Length(next) - 1));
        } else {
            next += k == keyAscii ? character : characterOf(k);
        }
        if (next == text_) return;
        text_ = std::move(next);
        if (listIndex_ >= 0 && items_[listIndex_].text != text_) listIndex_ = -1;
        changed(Change::Text);
        if (Change) Change();
    });
}

// ---------------------------------------------------------------------------------------
// CheckBox, OptionButton, DatePicker

CheckBox::CheckBox(Form& f, std::string name, std::string caption, Control* container)
    : Control(f, std::move(name), Kind::CheckBox, container) {
    setCaption(std::move(caption));
}

void CheckBox::setValue(int v) {
    if (v < 0 || v > 2) invalidValue(typeName());
    if (v == value_) return;
    value_ = v;
    changed(Change::Value);
    if (Click) Click();
}

void CheckBox::userSet(int v) {
    if (!reachable() || v < 0 || v > 1) return;
    userEvent([this, v] {
        takeFocus(*this);
        setValue(v);
    });
}

void CheckBox::userKey(int16_t keyAscii) {
    if (!reachable()) return;
    userEvent([this, keyAscii] {
        takeFocus(*this);
        int16_t k = keyAscii;
        if (!previewKeyPress(form(), k)) return;
        if (KeyPress) KeyPress(k);
        if (k == 32) setValue(value_ == 1 ? 0 : 1);
    });
}

OptionButton::OptionButton(Form& f, std::string name, std::string caption, Control* container)
    : Control(f, std::move(name), Kind::OptionButton, container) {
    setCaption(std::move(caption));
}

void OptionButton::setValue(bool v) {
    if (v == value_) return;
    value_ = v;
    changed(Change::Value);
    if (!v) return;
    // Option buttons of one container form a group: one selected at a time.
    for (Control* c : form().controls()) {
        if (c == this || c->kind() != Kind::OptionButton || c->container() != container()) continue;
        auto* other = static_cast<OptionButton*>(c);
        if (other->value_) {
            other->value_ = false;
            other->changed(Change::Value);
        }
    }
    if (Click) Click();
}

void OptionButton::userSet(bool v) {
    // The user can select an option button, never clear one.
    if (!reachable() || !v) return;
    userEvent([this] {
        takeFocus(*this);
        setValue(true);
    });
}

void OptionButton::userKey(int16_t keyAscii) {
    if (!reachable()) return;
    userEvent([this, keyAscii] {
        takeFocus(*this);
        int16_t k = keyAscii;
        if (!previewKeyPress(form(), k)) return;
        if (KeyPress) KeyPress(k);
        if (k == 32) setValue(true);
    });
}

DatePicker::DatePicker(Form& f, std::string name, Control* container)
    : Control(f, std::move(name), Kind::DatePicker, container) {}

void DatePicker::setValue(const common::DateTime& v) {
    if (v == value_) return;
    value_ = v;
    changed(Change::Value);
    if (Change) Change();
}

void DatePicker::userSet(const common::DateTime& v) {
    if (!reachable()) return;
    userEvent([this, v] {
        takeFocus(*this);
        setValue(v);
    });
}

void DatePicker::userKeyDown(int16_t keyCode) {
    if (!reachable()) return;
    userEvent([this, keyCode] {
        takeFocus(*this);
        int16_t code = keyCode;
        if (KeyDown) KeyDown(code, 0);
    });
}

// ---------------------------------------------------------------------------------------
// ListView

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

// ---------------------------------------------------------------------------------------
// FlexGrid

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
    int keys = c2 - c1 + 1;

    bool generic = mode == flexSortGenericAscending || mode == flexSortGenericDescending;
    bool numeric = mode == flexSortNumericAscending || mode == flexSortNumericDescending;
    bool noCase = mode == flexSortStringNoCaseAscending || mode == flexSortStringNoCaseDescending;
    bool descending = mode == flexSortGenericDescending || mode == flexSortNumericDescending ||
                      mode == flexSortStringNoCaseDescending || mode == flexSortStringDescending;
    // Texts are folded to one case for every letter, once per cell rather than inside each
    // comparison (that folding was most of a sort's time).
    const bool fold = generic || noCase;

    // One sort key per cell: whether it counts as a number, its value, and its text (folded
    // where the mode ignores case).
    struct Key {
        std::string text;
        bool isNum = false;
        double num = 0;
    };
    auto keyOf = [&](int r, int k, Key& key) {
        const std::string& t = cells_[first + r][c1 + k];
        key.isNum = numeric || (generic && common::IsNumeric(t));
        key.num = key.isNum ? numberOf(t) : 0.0;
        if (numeric) return;
        if (fold) {
            common::foldCase(t, key.text);
        } else {
            key.text = t;
        }
    };
    // Entry numbers read as people read them: PAL/2 before PAL/10 in the generic mode.
    auto compareKeys = [&](const Key& x, const Key& y) {
        if ((generic || numeric) && x.isNum && y.isNum) return x.num < y.num ? -1 : (x.num > y.num ? 1 : 0);
        if (generic) return common::compareNatural(x.text, y.text);
        int c = x.text.compare(y.text);
        return c < 0 ? -1 : (c > 0 ? 1 : 0);
    };

    // A column already in order (the search sorts its column at every keystroke) is found in
    // one pass that reads each cell once; the stable sort would not move a row of it anyway.
    {
        std::vector<Key> prev(static_cast<size_t>(keys)), cur(static_cast<size_t>(keys));
        for (int k = 0; k < keys; ++k) keyOf(0, k, prev[static_cast<size_t>(k)]);
        bool inOrder = true;
        for (int r = 1; r < n && inOrder; ++r) {
            int c = 0;
            for (int k = 0; k < keys; ++k) {
                keyOf(r, k, cur[static_cast<size_t>(k)]);
                if (c == 0) c = compareKeys(prev[static_cast<size_t>(k)], cur[static_cast<size_t>(k)]);
            }
            inOrder = descending ? c >= 0 : c <= 0;
            std::swap(prev, cur);
        }
        if (inOrder) return;
    }

    std::vector<Key> all(static_cast<size_t>(n) * keys);
    for (int r = 0; r < n; ++r)
        for (int k = 0; k < keys; ++k) keyOf(r, k, all[static_cast<size_t>(r) * keys + k]);
    auto compare = [&](int a, int b) {
        for (int k = 0; k < keys; ++k) {
            int c =
                compareKeys(all[static_cast<size_t>(a) * keys + k], all[static_cast<size_t>(b) * keys + k]);
            if (c != 0) return c;
        }
        return 0;
    };

    std::vector<int> order(n);
    for (int i = 0; i < n; ++i) order[i] = i;
    mergeSort(order, [&](int a, int b) { return descending ? compare(a, b) > 0 : compare(a, b) < 0; });

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

// ---------------------------------------------------------------------------------------
// Menus

MenuItem::MenuItem(Form& f, Menu& menu, std::string name, std::string caption)
    : Control(f, std::move(name), Kind::MenuItem, &menu), menu_(menu) {
    setCaption(std::move(caption));
    setTabStop(false);
    menu.items.push_back(this);
}

void MenuItem::userClick() {
    menu_.open = false;
    if (!visible() || !enabled()) return;
    userEvent([this] {
        if (Click) Click();
    });
}

Menu::Menu(Form& f, std::string name, std::string caption)
    : Control(f, std::move(name), Kind::Menu, nullptr) {
    setCaption(std::move(caption));
    setTabStop(false);
}

// ---------------------------------------------------------------------------------------
// Snapshots of the values a user edits (StoreControlValues, ControlsChanged)

namespace {

// An option button's value as a number, as the classic Boolean converts: True is -1.
double optionNumber(const OptionButton& o) { return o.value() ? -1.0 : 0.0; }

}  // namespace

std::string TextBox::snapshot() const { return text(); }
bool TextBox::differsFrom(const std::string& snapshot) const {
    return common::Trim(text()) != common::Trim(snapshot);
}

std::string ComboBox::snapshot() const { return text(); }
bool ComboBox::differsFrom(const std::string& snapshot) const {
    return common::Trim(text()) != common::Trim(snapshot);
}

std::string CheckBox::snapshot() const { return std::to_string(value()); }
bool CheckBox::differsFrom(const std::string& snapshot) const { return value() != common::Val(snapshot); }

std::string OptionButton::snapshot() const { return common::NumberText(optionNumber(*this)); }
bool OptionButton::differsFrom(const std::string& snapshot) const {
    return optionNumber(*this) != common::Val(snapshot);
}

std::string DatePicker::snapshot() const { return common::generalDate(value()); }
// Only the leading number of the formatted date counts (the day, as dates are written day
// first): a new month on the same day is not a change.
bool DatePicker::differsFrom(const std::string& snapshot) const {
    return common::Val(common::generalDate(value())) != common::Val(snapshot);
}

}  // namespace ui
