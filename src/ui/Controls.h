#pragma once
// Control models: the properties and events that the screen logic reads and raises. Front
// ends render them and drive them through the user* entry points, which raise events as the
// classic toolkit did. Setting a property from code raises only the events the classic
// toolkit raised for code (a combo's Click on a new index, a check box's Click, a text box's
// Change); ticking a list row from code raises nothing.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/DateTime.h"

namespace ui {

class Form;

// What changed, for front ends that mirror the model.
enum class Change {
    Property,
    Text,
    Items,
    Index,
    Value,
    Rows,
    Cell,
    Check,
    Selection,
    Columns,
    Colors,
    Sort
};

template <class... A>
using Handler = std::function<void(A...)>;

// Key codes used by the screens.
inline constexpr int16_t vbKeyReturn = 13, vbKeyTab = 9, vbKeyDelete = 46, vbKeyBack = 8;
inline constexpr int vbRightButton = 2, vbLeftButton = 1;

// What a control is, for the front ends that draw and drive each kind its own way.
enum class Kind {
    Label,
    Frame,
    CommandButton,
    TextBox,
    ComboBox,
    CheckBox,
    OptionButton,
    DatePicker,
    ListView,
    FlexGrid,
    Menu,
    MenuItem
};

class Control {
public:
    Control(Form& form, std::string name, Kind kind, Control* container);
    virtual ~Control();
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;

    const std::string& name() const { return name_; }
    // The classic type name ("TextBox", "ComboBox", "CheckBox", "OptionButton", "DTPicker",
    // "Label", "Frame", "CommandButton", "ListView", "MSHFlexGrid", "Menu").
    const std::string& typeName() const;
    Kind kind() const { return kind_; }
    // The value that StoreControlValues keeps in the Tag, and whether the control differs
    // from such a snapshot now; only the kinds a user edits hold one (ControlKinds.cpp).
    bool holdsValue() const;
    std::string snapshot() const;
    bool differsFrom(const std::string& snapshot) const;
    Form& form() const { return form_; }
    Control* container() const { return container_; }

    std::string Tag;  // free text per control (snapshots)

    bool enabled() const { return enabled_; }
    void setEnabled(bool v);
    bool visible() const { return visible_; }
    void setVisible(bool v);
    // Enabled and visible, and so is every container: the user can reach it.
    bool reachable() const;
    // Why the user cannot reach it, in a line ("cmdnew is disabled"); "" when reachable.
    std::string unreachableReason() const;
    const std::string& caption() const { return caption_; }
    void setCaption(std::string v);
    const std::string& toolTipText() const { return toolTip_; }
    void setToolTipText(std::string v);
    bool tabStop() const { return tabStop_; }
    void setTabStop(bool v) { tabStop_ = v; }

    // Gives the control the focus (form's active control); raises LostFocus/GotFocus.
    void setFocus();
    bool hasFocus() const;

    // Front-end observers; called after each model change.
    using Listener = std::function<void(Control&, Change, int row, int col)>;
    int addListener(Listener l);
    void removeListener(int id);

    // Focus events, raised by setFocus and by front ends.
    Handler<> GotFocus, LostFocus;
    // Mouse moved over the control (tooltips).
    Handler<int /*button*/, int /*shift*/, float /*x*/, float /*y*/> MouseMove;

protected:
    void changed(Change c, int row = -1, int col = -1);
    // Runs a handler for a user action: an uncaught error stops here and is shown.
    void userEvent(const std::function<void()>& fn);

private:
    Form& form_;
    std::string name_;
    Kind kind_;
    Control* container_;
    bool enabled_ = true, visible_ = true, tabStop_ = true;
    std::string caption_, toolTip_;
    std::vector<std::pair<int, Listener>> listeners_;
    int nextListener_ = 1;
};

class Label : public Control {
public:
    Label(Form& f, std::string name, std::string caption, Control* container = nullptr);
};

class Frame : public Control {
public:
    Frame(Form& f, std::string name, std::string caption, Control* container = nullptr);
};

class CommandButton : public Control {
public:
    CommandButton(Form& f, std::string name, std::string caption, Control* container = nullptr);
    Handler<> Click;
    void userClick();  // only when reachable
};

// The text is UTF-8; the caret, the selection and maxLength count characters, so that no
// edit leaves half a character behind. A NUL cannot be stored in the database's texts, so a
// text holding one is refused with a message rather than cut short later in a statement.
class TextBox : public Control {
public:
    TextBox(Form& f, std::string name, Control* container = nullptr);
    std::string snapshot() const;
    bool differsFrom(const std::string& snapshot) const;
    const std::string& text() const { return text_; }
    void setText(std::string v);  // raises Change when the text differs
    bool locked() const { return locked_; }
    void setLocked(bool v);
    int selStart() const { return selStart_; }
    int selLength() const { return selLength_; }
    void setSelStart(int v);
    void setSelLength(int v);
    int maxLength = 0;
    // maxLength counts UTF-16 units, as a server's nvarchar column does: a character past U+FFFF
    // (an emoji) takes two.
    bool maxLengthInUtf16 = false;
    // The length of the text in characters.
    int length() const;

    Handler<> Change;
    Handler<int16_t& /*KeyAscii*/> KeyPress;
    Handler<int16_t& /*KeyCode*/, int16_t /*Shift*/> KeyDown, KeyUp;

    // One typed character: KeyDown, KeyPress (a handler may change or cancel it with 0),
    // the character replaces the selection unless locked, Change, KeyUp. Enter and Tab go
    // through KeyDown/KeyPress only.
    void userKey(int16_t keyAscii);
    // Each character as userKey does; KeyPress sees a character beyond ASCII as its code
    // (63, "?", when it does not fit in 16 bits) and may cancel it or replace it.
    void userType(const std::string& text);
    void userPaste(const std::string& text);  // replaces the whole text, Change once
    void userKeyDown(int16_t keyCode);        // a non-character key (Delete, arrows, F1)

    static constexpr const char* kNulRefused =
        "This field cannot hold the character NUL (code 0), so the text was left as it was.";

private:
    void typeKey(int16_t keyAscii, const std::string& character);
    bool refuseNul(const std::string& text);
    // The bytes of the text's longest beginning within maxLength.
    size_t fitting(const std::string& text) const;
    std::string text_;
    bool locked_ = false;
    int selStart_ = 0, selLength_ = 0;
};

class ComboBox : public Control {
public:
    enum class Style { DropDownCombo = 0, DropDownList = 2 };
    ComboBox(Form& f, std::string name, Control* container = nullptr, Style style = Style::DropDownCombo);
    std::string snapshot() const;
    bool differsFrom(const std::string& snapshot) const;
    Style style() const { return style_; }

    int listCount() const { return static_cast<int>(items_.size()); }
    void addItem(std::string text);
    void clear();  // list index -1, text ""
    const std::string& list(int index) const;
    int64_t itemData(int index) const;
    void setItemData(int index, int64_t data);
    int newIndex() const { return static_cast<int>(items_.size()) - 1; }

    int listIndex() const { return listIndex_; }
    // Raises Click when the index changes (also from code); -1 clears the selection.
    void setListIndex(int index);
    // The selected item's text, or what was typed / set.
    const std::string& text() const { return text_; }
    void setText(std::string v);  // raises Change

    bool locked() const { return locked_; }
    void setLocked(bool v);

    Handler<> Click, Change;
    Handler<int16_t& /*KeyAscii*/> KeyPress;
    Handler<int16_t& /*KeyCode*/, int16_t /*Shift*/> KeyDown;

    // The user picks an item: Click every time, even for the item already chosen.
    void userSelect(int index);
    bool userSelectText(const std::string& text);  // false when no such item
    void userKey(int16_t keyAscii);
    void userType(const std::string& text);  // a key per character, as a keyboard types it

private:
    void typeKey(int16_t keyAscii, const std::string& character);

    struct Item {
        std::string text;
        int64_t data = 0;
    };
    std::vector<Item> items_;
    int listIndex_ = -1;
    std::string text_;
    Style style_;
    bool locked_ = false;
};

class CheckBox : public Control {
public:
    CheckBox(Form& f, std::string name, std::string caption, Control* container = nullptr);
    std::string snapshot() const;
    bool differsFrom(const std::string& snapshot) const;
    int value() const { return value_; }  // 0 unticked, 1 ticked, 2 grayed
    void setValue(int v);                 // raises Click when it changes, also from code
    Handler<> Click;
    Handler<int16_t&> KeyPress;
    void userSet(int v);
    void userClick() { userSet(value_ == 1 ? 0 : 1); }
    void userKey(int16_t keyAscii);

private:
    int value_ = 0;
};

class OptionButton : public Control {
public:
    OptionButton(Form& f, std::string name, std::string caption, Control* container = nullptr);
    std::string snapshot() const;
    bool differsFrom(const std::string& snapshot) const;
    bool value() const { return value_; }
    // Selecting one clears the others of the same container; Click when it becomes selected.
    void setValue(bool v);
    Handler<> Click;
    Handler<int16_t&> KeyPress;
    void userSet(bool v);
    void userKey(int16_t keyAscii);

private:
    bool value_ = false;
};

class DatePicker : public Control {
public:
    DatePicker(Form& f, std::string name, Control* container = nullptr);
    std::string snapshot() const;
    bool differsFrom(const std::string& snapshot) const;
    const common::DateTime& value() const { return value_; }
    void setValue(const common::DateTime& v);  // raises Change when it differs
    Handler<> Change;
    Handler<int16_t&, int16_t> KeyDown;
    void userSet(const common::DateTime& v);
    void userKeyDown(int16_t keyCode);

private:
    common::DateTime value_ = common::DateTime::ymd(2000, 1, 1);
};

// Report-style list view with check boxes. Rows are 1-based as the classic ListItems;
// column 0 is the row's own text, columns 1.. its sub-items.
class ListView : public Control {
public:
    ListView(Form& f, std::string name, Control* container = nullptr);

    bool checkboxes = true;
    int columnCount() const { return static_cast<int>(headers_.size()); }
    void addColumn(std::string header, int width = 1000);
    const std::string& columnHeader(int col) const;
    void setColumnHeader(int col, std::string text);
    int columnWidth(int col) const;

    int count() const { return static_cast<int>(rows_.size()); }
    // Appends a row with its text; returns its index. Sub-items start empty. The first row
    // added to an empty list becomes the selected one.
    int add(std::string text);
    void remove(int row);
    void clear();
    const std::string& text(int row) const { return cell(row, 0); }
    void setText(int row, std::string v) { setCell(row, 0, std::move(v)); }
    // Cell by column (0 = text); out of range raises error 380/35600 as the toolkit did.
    const std::string& cell(int row, int col) const;
    void setCell(int row, int col, std::string v);
    bool checked(int row) const;
    void setChecked(int row, bool v);  // from code: no event
    // The selected row (1-based, 0 none): the classic SelectedItem.
    int selectedIndex() const { return selected_; }
    void setSelectedIndex(int row);
    void ensureVisible(int row);

    Handler<int /*row*/> ItemCheck;
    Handler<> Click, DblClick;
    Handler<int /*button*/, int /*shift*/, float, float> MouseDown;
    Handler<int16_t& /*KeyCode*/, int16_t /*Shift*/> KeyDown;
    Handler<int16_t& /*KeyAscii*/> KeyPress;

    // The user toggles a row's tick: the tick flips, then ItemCheck(row).
    void userToggle(int row);
    void userSelectRow(int row);  // selection moves, Click
    void userDblClick();
    void userRightClick();  // MouseDown with the right button
    void userKeyDown(int16_t keyCode);

private:
    struct Row {
        std::vector<std::string> cells;
        bool checked = false;
    };
    std::vector<std::string> headers_;
    std::vector<int> widths_;
    std::vector<Row> rows_;
    int selected_ = 0;
};

// Flex grid: cells by row and column (row 0 is the fixed header row), row colours, current
// cell and selection, top row and sort.
class FlexGrid : public Control {
public:
    // Sort settings of the classic grid.
    enum Sort {
        flexSortNone = 0,
        flexSortGenericAscending = 1,
        flexSortGenericDescending = 2,
        flexSortNumericAscending = 3,
        flexSortNumericDescending = 4,
        flexSortStringNoCaseAscending = 5,
        flexSortStringNoCaseDescending = 6,
        flexSortStringAscending = 7,
        flexSortStringDescending = 8
    };

    FlexGrid(Form& f, std::string name, Control* container = nullptr);

    int rows() const { return rows_; }
    int cols() const { return cols_; }
    void setRows(int n);  // keeps existing cells
    void setCols(int n);
    int fixedRows = 1;
    // Replaces all data rows at once (fast fill); keeps the header row.
    void setData(std::vector<std::vector<std::string>> dataRows);

    const std::string& textMatrix(int row, int col) const;
    void setTextMatrix(int row, int col, std::string v);
    uint32_t cellBackColor(int row, int col) const;  // kDefaultColor = the normal background
    void setCellBackColor(int row, int col, uint32_t bgr);

    int row() const { return row_; }
    int col() const { return col_; }
    // Moving the current cell raises RowColChange.
    void setRow(int r);
    void setCol(int c);
    int colSel() const { return colSel_; }
    void setColSel(int c);
    int rowSel() const { return rowSel_; }
    void setRowSel(int r);
    int topRow() const { return topRow_; }
    void setTopRow(int r);
    int colWidth(int col) const;
    void setColWidth(int col, int width);
    // Sorts the data rows (colours move with their rows) on the columns from col to colSel;
    // the current row stays on the row it was on, wherever that row goes.
    void sort(Sort mode);
    // The first column and the mode of the last sort (flexSortNone before any).
    int sortedCol() const { return sortedCol_; }
    Sort sortedBy() const { return sortedBy_; }

    Handler<> RowColChange, Click, DblClick;
    Handler<int16_t&, int16_t> KeyDown;
    void userSelectCell(int row, int col);
    void userDblClick();
    void userKeyDown(int16_t keyCode);
    void clearStructure();  // the fixed Ctrl+D command: clears the data rows' selection

private:
    int rows_ = 2, cols_ = 2;
    std::vector<std::vector<std::string>> cells_;
    std::vector<std::vector<uint32_t>> colors_;
    std::vector<int> widths_;
    int row_ = 1, col_ = 0, colSel_ = 0, rowSel_ = 1, topRow_ = 1;
    int sortedCol_ = 0;
    Sort sortedBy_ = flexSortNone;
};

inline constexpr uint32_t kDefaultColor = 0xFFFFFFFFu;

class Menu;

class MenuItem : public Control {
public:
    MenuItem(Form& f, Menu& menu, std::string name, std::string caption);
    Handler<> Click;
    void userClick();  // closes the menu, then Click when visible and enabled
    Menu& menu() const { return menu_; }

private:
    Menu& menu_;
};

class Menu : public Control {
public:
    Menu(Form& f, std::string name, std::string caption);
    std::vector<MenuItem*> items;
    bool open = false;  // popped up and not yet closed
};

// Colours as the classic RGB(): red in the low byte.
constexpr uint32_t RGB(int r, int g, int b) {
    return static_cast<uint32_t>(r) | (static_cast<uint32_t>(g) << 8) | (static_cast<uint32_t>(b) << 16);
}

}  // namespace ui
