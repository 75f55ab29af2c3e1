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
