// The form lifecycle, the snapshot that decides whether closing asks to save, and the suite's
// keystroke check of amount boxes, on small forms of the tests' own.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "suite/CommonModule.h"
#include "ui/Form.h"
#include "ui/Headless.h"
#include "ui/Helpers.h"

namespace {

using namespace ui;

class SampleForm : public Form {
public:
    explicit SampleForm(Toolkit& tk, std::string name = "frmSample") : Form(tk, std::move(name), "Sample") {}

    std::vector<std::string> events;
    int queryCancel = 0, unloadCancel = 0;
    std::vector<int> queryModes;

    void Form_QueryUnload(int& cancel, int mode) override {
        queryModes.push_back(mode);
        events.push_back("QueryUnload");
        cancel = queryCancel;
    }
    void Form_Unload(int& cancel) override {
        events.push_back("Unload");
        cancel = unloadCancel;
    }
};

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
    EXPECT_EQ(f.events, (std::vector<std::string>{"QueryUnload", "QueryUnload", "Unload"}));

    f.unloadCancel = 0;
    f.userClose();
    EXPECT_EQ(dropped, 1);
    EXPECT_EQ(f.queryModes.back(), vbFormControlMenu);
    EXPECT_EQ(f.queryModes.front(), vbFormCode);
    EXPECT_TRUE(tk.loadedForms().empty());
    EXPECT_EQ(tk.transcript.back(), "UNLOAD frmSample");
}

class EntryForm : public Form {
public:
    explicit EntryForm(Toolkit& tk) : Form(tk, "frmEntry", "Entry") {}
    TextBox& txtRemarks = add<TextBox>("txtRemarks");
    ComboBox& cboType = add<ComboBox>("cboType");
    Label& lblNote = add<Label>("lblNote", "Note");
    CheckBox& chkSelectAll = add<CheckBox>("chkSelectAll", "Select All");
    OptionButton& optDebit = add<OptionButton>("optDebit", "&Debit");
    OptionButton& optCredit = add<OptionButton>("optCredit", "C&redit");
    DatePicker& dtpTransDate = add<DatePicker>("dtpTransDate");
};

TEST(Helpers, ControlsChangedFollowsTheComparisonRulesOfEachType) {
    HeadlessToolkit tk;
    EntryForm f(tk);
    f.txtRemarks.setText("Salary for May");
    f.cboType.setText("Payroll");
    f.chkSelectAll.setValue(1);
    f.optCredit.setValue(true);
    f.dtpTransDate.setValue(common::DateTime::ymd(2026, 10, 15));
    f.lblNote.Tag = "untouched";
    StoreControlValues(f);
    EXPECT_EQ(f.lblNote.Tag, "untouched") << "labels are not snapshotted";
    EXPECT_FALSE(ControlsChanged(f));

    // Blanks gained at either end are no change; any other text is.
    f.txtRemarks.setText("  Salary for May   ");
    f.cboType.setText(" Payroll");
    EXPECT_FALSE(ControlsChanged(f));
    f.txtRemarks.setText("Salary for June");
    EXPECT_TRUE(ControlsChanged(f));
    f.txtRemarks.setText("Salary for May");

    // Only the leading number of the date counts: same day of another month is no change.
    f.dtpTransDate.setValue(common::DateTime::ymd(2025, 3, 15));
    EXPECT_FALSE(ControlsChanged(f));
    f.dtpTransDate.setValue(common::DateTime::ymd(2026, 10, 16));
    EXPECT_TRUE(ControlsChanged(f));
    f.dtpTransDate.setValue(common::DateTime::ymd(2026, 10, 15));

    f.optDebit.setValue(true);
    EXPECT_TRUE(ControlsChanged(f));
    f.optCredit.setValue(true);
    EXPECT_FALSE(ControlsChanged(f));

    f.chkSelectAll.setValue(0);
    EXPECT_TRUE(ControlsChanged(f));
    // An empty Tag reads as 0: a box that is not 0 counts as changed.
    f.chkSelectAll.Tag = "";
    EXPECT_FALSE(ControlsChanged(f));
    f.chkSelectAll.setValue(2);
    EXPECT_TRUE(ControlsChanged(f));
}

TEST(SuiteTest, TextValidateNumLetsThroughAmountsOnly) {
    HeadlessToolkit toolkit;
    suite::clsCommonGen gen;
    EntryForm f(toolkit);
    auto& box = f.txtRemarks;
    auto key = [&](const std::string& text, char k, int selStart = -1, int selLength = 0) {
        box.setText(text);
        box.setSelStart(selStart < 0 ? static_cast<int>(text.size()) : selStart);
        box.setSelLength(selLength);
        int16_t code = static_cast<int16_t>(k);
        gen.TextValidateNum(box, code, 20, 2);
        return code;
    };
    EXPECT_EQ(key("12", '.'), '.');
    EXPECT_EQ(key("12.5", '0'), '0');
    EXPECT_EQ(key("12.50", '1'), 0) << "a third decimal";
    EXPECT_EQ(key("12.50", '1', 0), '1') << "a digit before the point is fine";
    EXPECT_EQ(key("12.5", '.'), 0) << "a second point";
    EXPECT_EQ(key("1234", '.', 1), 0) << "the point would leave three decimals";
    EXPECT_EQ(key("0.00", '7', 0, 4), '7') << "the selection is replaced";
    EXPECT_EQ(key("12345678901234567890", '1'), 0) << "past twenty characters";
    for (char k : {'a', '-', ' '}) EXPECT_EQ(key("12", k), 0) << k;
    for (int k : {vbKeyBack, vbKeyReturn}) EXPECT_EQ(key("12.50", static_cast<char>(k)), k);

    // As the amount box uses it: typed keys that fail the filter never reach the text.
    box.KeyPress = [&](int16_t& k) { gen.TextValidateNum(box, k, 20, 2); };
    box.setText("");
    box.userType("1a2.3.45x6");
    EXPECT_EQ(box.text(), "12.34");
}

}  // namespace
