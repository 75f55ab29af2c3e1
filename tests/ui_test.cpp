// The control models' event rules, the form lifecycle and the headless toolkit, on a small
// form of the tests' own.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/Error.h"
#include "ui/Form.h"
#include "ui/Headless.h"

namespace {

using namespace ui;

struct Events {
    std::vector<std::string> log;
    void operator()(const std::string& s) { log.push_back(s); }
    std::string joined() const {
        std::string out;
        for (const auto& s : log) out += (out.empty() ? "" : ",") + s;
        return out;
    }
};

class SampleForm : public Form {
public:
    explicit SampleForm(Toolkit& tk, std::string name = "frmSample") : Form(tk, std::move(name), "Sample") {}

    Frame& fraTop = add<Frame>("fraTop", "Top");
    Label& lblName = add<Label>("lblName", "Name :", &fraTop);
    TextBox& txtName = add<TextBox>("txtName", &fraTop);
    ComboBox& cboType = add<ComboBox>("cboType", &fraTop, ComboBox::Style::DropDownList);
    Frame& fraSide = add<Frame>("fraSide", "Side");
    OptionButton& optDebit = add<OptionButton>("optDebit", "&Debit", &fraSide);
    OptionButton& optCredit = add<OptionButton>("optCredit", "C&redit", &fraSide);
    OptionButton& optOther = add<OptionButton>("optOther", "Other");
    CheckBox& chkAll = add<CheckBox>("chkAll", "Select All");
    ListView& lvwRows = add<ListView>("lvwRows");
    FlexGrid& grid = add<FlexGrid>("grid");
    CommandButton& cmdOk = add<CommandButton>("cmdOk", "&Ok");

    Events events;
    int queryCancel = 0, unloadCancel = 0;
    std::vector<int> queryModes;
    int activations = 0;

    void Form_Activate() override { ++activations; }
    void Form_QueryUnload(int& cancel, int mode) override {
        queryModes.push_back(mode);
        events("QueryUnload");
        cancel = queryCancel;
    }
    void Form_Unload(int& cancel) override {
        events("Unload");
        cancel = unloadCancel;
    }
};

TEST(Controls, ComboClickOnEveryUserPickAndOnEachNewIndexFromCode) {
    HeadlessToolkit tk;
    SampleForm f(tk);
    auto& c = f.cboType;
    int clicks = 0;
    c.Click = [&] { ++clicks; };
    c.addItem("Payroll");
    c.addItem("Savings");
    c.setItemData(1, 42);
    EXPECT_EQ(clicks, 0) << "filling raises nothing";

    c.userSelect(1);
    c.userSelect(1);  // the same item again: Click again
    EXPECT_EQ(clicks, 2);
    EXPECT_EQ(c.text(), "Savings");
    EXPECT_EQ(c.itemData(1), 42);

    c.setListIndex(1);  // unchanged from code: nothing
    EXPECT_EQ(clicks, 2);
    c.setListIndex(0);
    c.setListIndex(-1);
    EXPECT_EQ(clicks, 4);
    EXPECT_EQ(c.text(), "");

    // A drop-down list's text picks an item (case aside) or clears the choice.
    c.setText("savings");
    EXPECT_EQ(c.listIndex(), 1);
    EXPECT_EQ(clicks, 5);
    EXPECT_THROW(c.setText("Nothing like it"), common::Error);
    c.setText("");
    EXPECT_EQ(c.listIndex(), -1);

    EXPECT_TRUE(c.userSelectText("Payroll"));
    EXPECT_FALSE(c.userSelectText("Holded Salaries"));
    EXPECT_EQ(c.listIndex(), 0);
    EXPECT_THROW(c.setListIndex(2), common::Error);

    // Locked or disabled: the user cannot pick.
    int before = clicks;
    c.setLocked(true);
    c.userSelect(1);
    c.setLocked(false);
    f.fraTop.setEnabled(false);
    c.userSelect(1);
    EXPECT_EQ(clicks, before);
    EXPECT_EQ(c.listIndex(), 0);

    f.fraTop.setEnabled(true);
    c.clear();
    EXPECT_EQ(c.listCount(), 0);
    EXPECT_EQ(c.listIndex(), -1);
    EXPECT_EQ(clicks, before) << "clearing raises no Click";
}

TEST(Controls, CheckBoxAndOptionButtonClicks) {
    HeadlessToolkit tk;
    SampleForm f(tk);
    Events ev;
    f.chkAll.Click = [&] { ev("chk" + std::to_string(f.chkAll.value())); };
    f.chkAll.setValue(1);  // from code: Click
    f.chkAll.setValue(1);  // unchanged: nothing
    f.chkAll.userClick();
    f.chkAll.userSet(0);  // already 0: nothing
    EXPECT_EQ(ev.joined(), "chk1,chk0");
    EXPECT_THROW(f.chkAll.setValue(3), common::Error);

    ev.log.clear();
    f.optDebit.Click = [&] { ev("debit"); };
    f.optCredit.Click = [&] { ev("credit"); };
    f.optOther.Click = [&] { ev("other"); };
    f.optDebit.setValue(true);
    f.optOther.userSet(true);  // another container: the side group keeps its choice
    EXPECT_TRUE(f.optDebit.value());
    f.optCredit.userSet(true);
    EXPECT_FALSE(f.optDebit.value());
    EXPECT_TRUE(f.optCredit.value());
    f.optCredit.userSet(true);   // already selected: nothing
    f.optCredit.userSet(false);  // the user cannot clear an option
    EXPECT_TRUE(f.optCredit.value());
    f.optCredit.setValue(false);  // code can, without a Click
    EXPECT_EQ(ev.joined(), "debit,other,credit");
}

TEST(Controls, ListViewRaisesItemCheckOnlyForTheUser) {
    HeadlessToolkit tk;
    SampleForm f(tk);
    auto& l = f.lvwRows;
    l.addColumn("Sl No");
    l.addColumn("Account");
    std::vector<std::pair<int, bool>> checks;
    l.ItemCheck = [&](int row) { checks.emplace_back(row, l.checked(row)); };
    for (int i = 1; i <= 3; ++i) {
        int row = l.add(std::to_string(i));
        l.setCell(row, 1, "acc" + std::to_string(i));
    }
    EXPECT_EQ(l.selectedIndex(), 1) << "the first row added is the selected one";
    l.setChecked(2, true);
    EXPECT_TRUE(checks.empty());
    l.userToggle(2);
    l.userToggle(3);
    ASSERT_EQ(checks.size(), 2u);
    EXPECT_EQ(checks[0], std::make_pair(2, false));
    EXPECT_EQ(checks[1], std::make_pair(3, true));

    // Selection follows removals; the cells move with their rows.
    l.setSelectedIndex(3);
    l.remove(1);
    EXPECT_EQ(l.selectedIndex(), 2);
    EXPECT_EQ(l.cell(2, 1), "acc3");
    l.remove(2);
    EXPECT_EQ(l.selectedIndex(), 0);

    // Out of range as the classic list: a missing row 35600, a column past the headers 380.
    try {
        (void)l.cell(5, 0);
        ADD_FAILURE();
    } catch (const common::Error& e) {
        EXPECT_EQ(e.number(), 35600);
    }
    try {
        l.setCell(1, 2, "x");
        ADD_FAILURE();
    } catch (const common::Error& e) {
        EXPECT_EQ(e.number(), 380);
    }
    l.checkboxes = false;
    l.userToggle(1);
    EXPECT_EQ(checks.size(), 2u) << "no boxes, nothing to tick";
}

TEST(Controls, TypingRaisesKeyEventsAndChangeInOrder) {
    HeadlessToolkit tk;
    SampleForm f(tk);
    auto& t = f.txtName;
    Events ev;
    t.GotFocus = [&] { ev("got"); };
    t.KeyDown = [&](int16_t& code, int16_t) { ev("down" + std::to_string(code)); };
    t.KeyPress = [&](int16_t& k) {
        ev("press" + std::string(1, static_cast<char>(k)));
        if (k == 'x') k = 0;    // refused
        if (k == 'b') k = 'B';  // changed
    };
    t.Change = [&] { ev("change:" + t.text()); };
    t.KeyUp = [&](int16_t& code, int16_t) { ev("up" + std::to_string(code)); };

    t.userType("ab");
    EXPECT_EQ(ev.joined(), "got,down65,pressa,change:a,up65,down66,pressb,change:aB,up66");
    ev.log.clear();
    t.userKey('x');
    EXPECT_EQ(t.text(), "aB");
    EXPECT_EQ(ev.joined(), "down88,pressx,up88");

    // Enter and Tab go through the key events only.
    ev.log.clear();
    t.userKey(vbKeyReturn);
    EXPECT_EQ(ev.joined(), "down13,press\r,up13");

    // A selection is replaced; Backspace and Delete edit at the caret.
    t.setSelStart(0);
    t.setSelLength(1);
    t.userKey('z');
    EXPECT_EQ(t.text(), "zB");
    t.userKey(vbKeyBack);
    EXPECT_EQ(t.text(), "B");
    t.setSelStart(0);
    t.userKeyDown(vbKeyDelete);
    EXPECT_EQ(t.text(), "");

    // Code: Change only when the text differs. Paste: one Change for the whole text.
    ev.log.clear();
    t.setText("same");
    t.setText("same");
    t.userPaste("pasted text");
    EXPECT_EQ(ev.joined(), "change:same,change:pasted text");

    // Locked: keys still arrive, the text stays. MaxLength stops typing.
    t.setLocked(true);
    ev.log.clear();
    t.userKey('q');
    EXPECT_EQ(t.text(), "pasted text");
    EXPECT_EQ(ev.joined(), "down81,pressq,up81");
    t.setLocked(false);
    t.maxLength = 11;
    t.userKey('q');
    EXPECT_EQ(t.text(), "pasted text");
}

TEST(Controls, FocusMovesWithTabAndSkipsWhatCannotBeReached) {
    HeadlessToolkit tk;
    SampleForm f(tk);
    Events ev;
    f.txtName.LostFocus = [&] { ev("lost txtName"); };
    f.cboType.GotFocus = [&] { ev("got cboType"); };
    f.txtName.setFocus();
    tk.sendKeys("{TAB}");
    EXPECT_EQ(f.activeControl(), &f.cboType);
    EXPECT_EQ(ev.joined(), "lost txtName,got cboType");

    // Frames and labels take no focus; a disabled frame hides what it holds.
    f.fraSide.setEnabled(false);
    tk.sendKeys("{Tab}");
    EXPECT_EQ(f.activeControl(), &f.optOther);
    f.cmdOk.setVisible(false);
    f.grid.setEnabled(false);
    f.grid.setFocus();  // cannot hold the focus: dropped
    EXPECT_EQ(f.activeControl(), &f.optOther);
    tk.sendKeys("{TAB}{TAB}{TAB}");
    EXPECT_EQ(f.activeControl(), &f.txtName) << "wrapped past the last reachable control";
}

TEST(Controls, UserActionsShowErrorsAndCodeLetsThemThrough) {
    HeadlessToolkit tk;
    SampleForm f(tk);
    f.chkAll.Click = [] { throw common::Error(94, "Sample", "Invalid use of Null"); };
    f.chkAll.userClick();
    ASSERT_EQ(tk.errors.size(), 1u);
    EXPECT_EQ(tk.errors[0].number(), 94);
    EXPECT_EQ(tk.transcript.back(), "ERROR 94: Invalid use of Null");
    EXPECT_EQ(f.chkAll.value(), 1) << "the value changed before the handler failed";
    EXPECT_THROW(f.chkAll.setValue(0), common::Error);
}

TEST(Controls, ListenersHearEveryChange) {
    HeadlessToolkit tk;
    SampleForm f(tk);
    std::vector<Change> seen;
    int id = f.lvwRows.addListener([&](Control&, Change c, int, int) { seen.push_back(c); });
    f.lvwRows.addColumn("A");
    f.lvwRows.add("1");
    f.lvwRows.setCell(1, 0, "one");
    f.lvwRows.setChecked(1, true);
    f.lvwRows.setSelectedIndex(0);
    f.lvwRows.setEnabled(false);
    f.lvwRows.clear();
    EXPECT_EQ(seen, (std::vector<Change>{Change::Columns, Change::Rows, Change::Selection, Change::Cell,
                                         Change::Check, Change::Selection, Change::Property, Change::Rows}));
    f.lvwRows.removeListener(id);
    f.lvwRows.add("2");
    EXPECT_EQ(seen.size(), 8u);
}

// Data rows of a grid, as text, row by row.
std::vector<std::string> column(const FlexGrid& g, int col) {
    std::vector<std::string> out;
    for (int r = g.fixedRows; r < g.rows(); ++r) out.push_back(g.textMatrix(r, col));
    return out;
}

TEST(Controls, GridSortsNumbersAsNumbersTextWithoutCaseStablyAndColoursMove) {
    HeadlessToolkit tk;
    SampleForm f(tk);
    auto& g = f.grid;
    g.setCols(3);
    g.setData({{"10", "b", "r1"},
               {"9", "B", "r2"},
               {"1,250.00", "a", "r3"},
               {"abc", "b", "r4"},
               {"", "a", "r5"},
               {"9", "c", "r6"}});
    EXPECT_EQ(g.rows(), 7);
    g.setCellBackColor(2, 0, RGB(255, 0, 0));  // the row "9"/"B"/"r2"

    int changes = 0;
    g.RowColChange = [&] { ++changes; };
    g.setCol(0);
    g.setColSel(0);
    g.sort(FlexGrid::flexSortGenericAscending);
    EXPECT_EQ(column(g, 2), (std::vector<std::string>{"r5", "r2", "r6", "r1", "r3", "r4"}));
    EXPECT_EQ(g.cellBackColor(2, 0), RGB(255, 0, 0)) << "r2's colour moved with it";
    EXPECT_EQ(g.cellBackColor(4, 0), kDefaultColor);

    g.sort(FlexGrid::flexSortGenericDescending);
    EXPECT_EQ(column(g, 2), (std::vector<std::string>{"r4", "r3", "r1", "r2", "r6", "r5"}))
        << "equal keys keep their order";
    EXPECT_EQ(g.cellBackColor(4, 0), RGB(255, 0, 0));

    // Text without case, on two columns; the header row stays where it is.
    g.setTextMatrix(0, 1, "Name");
    g.setCol(1);
    g.setColSel(2);
    g.sort(FlexGrid::flexSortStringNoCaseAscending);
    EXPECT_EQ(column(g, 2), (std::vector<std::string>{"r3", "r5", "r1", "r2", "r4", "r6"}));
    EXPECT_EQ(g.textMatrix(0, 1), "Name");
    g.sort(FlexGrid::flexSortStringAscending);  // with case: capitals first
    EXPECT_EQ(column(g, 1).front(), "B");

    // The current row moves only by code or by the user, and raises RowColChange when it does.
    EXPECT_EQ(changes, 1) << "one column move so far; sorting moves nothing";
    g.setRow(3);
    g.setRow(3);
    EXPECT_EQ(changes, 2);
    int clicks = 0;
    g.Click = [&] { ++clicks; };
    g.userSelectCell(4, 1);
    g.userSelectCell(4, 1);
    EXPECT_EQ(changes, 3);
    EXPECT_EQ(clicks, 2);
    EXPECT_EQ(g.row(), 4);
    EXPECT_THROW(g.setRow(7), common::Error);

    // Emptying the grid leaves the header row.
    g.setData({});
    EXPECT_EQ(g.rows(), 1);
    EXPECT_EQ(g.row(), 0);
}

TEST(Controls, GridSortsALargeDataSet) {
    HeadlessToolkit tk;
    SampleForm f(tk);
    auto& g = f.grid;
    g.setCols(2);
    std::vector<std::vector<std::string>> rows;
    for (int i = 0; i < 100000; ++i) rows.push_back({std::to_string((i * 7919) % 100000), "x"});
    g.setData(std::move(rows));
    g.setCol(0);
    g.setColSel(0);
    g.sort(FlexGrid::flexSortGenericAscending);
    EXPECT_EQ(g.textMatrix(1, 0), "0");
    EXPECT_EQ(g.textMatrix(100000, 0), "99999");
}

TEST(Forms, UnloadRunsQueryUnloadThenUnloadUnlessCancelled) {
    HeadlessToolkit tk;
    SampleForm f(tk);
    int dropped = 0;
    f.unloader = [&](Form&, int) { return ++dropped > 0; };
    tk.formLoaded(f);

    f.queryCancel = 1;
    EXPECT_FALSE(f.unload());
    f.queryCancel = 0;
    f.unloadCancel = 1;
    EXPECT_FALSE(f.unload());
    EXPECT_EQ(dropped, 0);
    EXPECT_EQ(f.events.joined(), "QueryUnload,QueryUnload,Unload");

    f.unloadCancel = 0;
    f.userClose();
    EXPECT_EQ(dropped, 1);
    EXPECT_EQ(f.queryModes.back(), vbFormControlMenu);
    EXPECT_EQ(f.queryModes.front(), vbFormCode);
    EXPECT_TRUE(tk.loadedForms().empty());
    EXPECT_EQ(tk.transcript.back(), "UNLOAD frmSample");
}

TEST(Headless, ModalFormsStackAndTheFormBelowIsActivatedAgain) {
    HeadlessToolkit tk;
    SampleForm parent(tk, "frmParent"), child(tk, "frmChild");
    tk.formLoaded(parent);
    tk.formLoaded(child);
    tk.showModal(parent);
    EXPECT_EQ(parent.activations, 1);
    bool ranChild = false;
    tk.onModal = [&](Form& f) {
        ranChild = true;
        EXPECT_EQ(&f, &child);
        EXPECT_EQ(tk.topForm(), &child);
        EXPECT_EQ(tk.findForm("FRMPARENT"), &parent);
        child.unload();
    };
    tk.showModal(child);
    EXPECT_TRUE(ranChild);
    EXPECT_EQ(tk.topForm(), &parent);
    EXPECT_EQ(parent.activations, 2);
    EXPECT_EQ(child.activations, 1);
    EXPECT_EQ(tk.transcript, (std::vector<std::string>{"SHOW frmParent: Sample", "SHOW frmChild: Sample",
                                                       "UNLOAD frmChild"}));

    // A menu pops up on the form and a click on an item closes it.
    Menu& menu = parent.add<Menu>("mnuPopup", "Popup");
    MenuItem& add = parent.add<MenuItem>(menu, "mnuAdd", "&Add");
    int clicks = 0;
    add.Click = [&] { ++clicks; };
    tk.popupMenu(parent, menu);
    EXPECT_EQ(tk.openMenu, &menu);
    EXPECT_TRUE(menu.open);
    add.userClick();
    EXPECT_FALSE(menu.open);
    add.setVisible(false);
    add.userClick();
    EXPECT_EQ(clicks, 1);
}

}  // namespace
