// The shared form helpers: Enter as Tab, the snapshot and its comparison rules, and the
// list helpers of the linking screen.
#include "ui/Helpers.h"

#include <gtest/gtest.h>

#include <string>

#include "common/Error.h"
#include "ui/Form.h"
#include "ui/Headless.h"

namespace {

using namespace ui;

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
    ListView& lvwPostingDetails = add<ListView>("lvwPostingDetails");
};

TEST(Helpers, SendTabOnEnterMovesTheFocusOnlyForEnter) {
    HeadlessToolkit tk;
    EntryForm f(tk);
    f.txtRemarks.setFocus();
    for (int16_t key : {int16_t{9}, int16_t{10}, int16_t{27}, int16_t{65}}) {
        int16_t k = key;
        SendTabOnEnter(tk, k);
        EXPECT_EQ(k, key);
        EXPECT_EQ(f.activeControl(), &f.txtRemarks) << "key " << key;
    }
    int16_t enter = vbKeyReturn;
    SendTabOnEnter(tk, enter);
    EXPECT_EQ(enter, vbKeyReturn) << "the key is left as it is";
    EXPECT_EQ(f.activeControl(), &f.cboType);

    // Wired to a key-down handler, as the screens do.
    f.cboType.KeyDown = [&](int16_t& code, int16_t) { SendTabOnEnter(tk, code); };
    f.cboType.userKey(vbKeyReturn);
    EXPECT_EQ(f.activeControl(), &f.chkSelectAll) << "the label is skipped";
}

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
    EXPECT_EQ(f.txtRemarks.Tag, "Salary for May");
    EXPECT_EQ(f.chkSelectAll.Tag, "1");
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

TEST(Helpers, RenumberRowsWritesOneTwoThreeAndOverflowsPast255BeforeWriting) {
    HeadlessToolkit tk;
    EntryForm f(tk);
    auto& l = f.lvwPostingDetails;
    l.addColumn("Sl No");
    RenumberRows(l);  // empty: nothing to do
    for (int i = 0; i < 3; ++i) l.add("x");
    RenumberRows(l);
    EXPECT_EQ(l.text(1), "1");
    EXPECT_EQ(l.text(3), "3");

    l.clear();
    for (int i = 0; i < 256; ++i) l.add("old");
    try {
        RenumberRows(l);
        ADD_FAILURE() << "256 rows must overflow";
    } catch (const common::Error& e) {
        EXPECT_EQ(e.number(), common::err::Overflow);
    }
    EXPECT_EQ(l.text(1), "old") << "no row is written before the overflow";
    l.remove(256);
    RenumberRows(l);
    EXPECT_EQ(l.text(255), "255");
}

TEST(Helpers, BalanceAmountSumsLeadingNumbersOfDeptAmount) {
    HeadlessToolkit tk;
    EntryForm f(tk);
    auto& l = f.lvwPostingDetails;
    for (int c = 0; c < 16; ++c) l.addColumn("c" + std::to_string(c));
    EXPECT_EQ(BalanceAmount(l, 12), 0.0);
    for (const char* amount : {"12.50", "-12.50", "abc"}) l.setCell(l.add("r"), 12, amount);
    EXPECT_EQ(BalanceAmount(l, 12), 0.0);
    l.setCell(l.add("r"), 12, "100.25abc");
    l.setCell(l.add("r"), 12, "  -0.05");
    EXPECT_DOUBLE_EQ(BalanceAmount(l, 12), 100.20);
    EXPECT_DOUBLE_EQ(BalanceAmount(l, 11), 0.0) << "another column holds nothing";
}

TEST(Helpers, TransIDInListComparesTheColumnAsAWholeNumber) {
    HeadlessToolkit tk;
    EntryForm f(tk);
    auto& l = f.lvwPostingDetails;
    for (int c = 0; c < 7; ++c) l.addColumn("c" + std::to_string(c));
    EXPECT_FALSE(TransIDInList(l, 7, 5));
    l.setCell(l.add("1"), 5, "7");
    l.setCell(l.add("2"), 5, " 9 ");
    EXPECT_TRUE(TransIDInList(l, 7, 5));
    EXPECT_TRUE(TransIDInList(l, 9, 5));
    EXPECT_FALSE(TransIDInList(l, 8, 5));
    EXPECT_TRUE(TransIDInList(l, 9, 5));
    l.setCell(l.add("3"), 5, "x");
    EXPECT_TRUE(TransIDInList(l, 7, 5)) << "found before the bad row is read";
    try {
        TransIDInList(l, 8, 5);
        ADD_FAILURE() << "a non-numeric id is an error";
    } catch (const common::Error& e) {
        EXPECT_EQ(e.number(), common::err::TypeMismatch);
    }
}

}  // namespace
