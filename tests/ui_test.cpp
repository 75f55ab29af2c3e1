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

}  // namespace
