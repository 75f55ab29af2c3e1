// The snapshot of a form's controls and the comparison rules of each control type, which
// decide whether closing a screen asks to save.
#include "ui/Helpers.h"

#include <gtest/gtest.h>

#include <string>

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

}  // namespace
