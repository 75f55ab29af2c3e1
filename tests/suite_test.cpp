// The suite's shared library (ClsCommonDb, clsCommonGen) on the embedded demo database.
#include <gtest/gtest.h>

#include "TestSupport.h"
#include "suite/CommonModule.h"
#include "ui/Form.h"

namespace {

using testsupport::ModuleTest;

class SuiteTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        db.adocon = trace;
        trace->clear();
    }
    suite::ClsCommonDb db;
    suite::clsCommonGen gen;
};

class ComboForm : public ui::Form {
public:
    explicit ComboForm(ui::Toolkit& tk) : Form(tk, "frmCombo", "Combo") {}
    ui::ComboBox& cboDepartment = add<ui::ComboBox>("cboDepartment");
    ui::TextBox& txtAmount = add<ui::TextBox>("txtAmount");
};

TEST_F(SuiteTest, FnReturnFieldReadsTheFirstRowOrNull) {
    db.strTablename = "psettings";
    EXPECT_EQ(db.fnReturnField("noofpreviousdays", "companyid=2").toInt32(), 30);
    EXPECT_TRUE(db.fnReturnField("noofpreviousdays", "companyid=99").isNull());
    // The condition may also travel inside the table name, with none passed.
    db.strTablename = "pusers where userid=3";
    EXPECT_EQ(db.fnReturnField("username").toText(), "clerk");
    EXPECT_EQ(trace->statements(),
              (std::vector<std::string>{"select noofpreviousdays from psettings where companyid=2",
                                        "select noofpreviousdays from psettings where companyid=99",
                                        "select username from pusers where userid=3"}));
    db.strTablename = "no_such_table";
    EXPECT_THROW(db.fnReturnField("x", "1=1"), common::Error);
    suite::ClsCommonDb unset;
    unset.strTablename = "psettings";
    EXPECT_THROW(unset.fnReturnField("noofpreviousdays"), common::Error);
}

TEST_F(SuiteTest, PopulateComboorListFillsTextAndItemDataAfterClearing) {
    ComboForm f(toolkit);
    f.cboDepartment.addItem("stale");
    db.strTablename = "pDepartmentMaster";
    db.populateComboorList(f.cboDepartment, "DepartmentID", "DepartmentName",
                           " companyID=1 order by DepartmentName asc");
    EXPECT_EQ(trace->statements().back(),
              "select DepartmentID, DepartmentName from pDepartmentMaster where  companyID=1 order by "
              "DepartmentName asc");
    ASSERT_EQ(f.cboDepartment.listCount(), 5);
    EXPECT_EQ(f.cboDepartment.list(0), "Administration");
    EXPECT_EQ(f.cboDepartment.itemData(0), 1);
    EXPECT_EQ(f.cboDepartment.list(1), "Engineering Centre Pune");
    EXPECT_EQ(f.cboDepartment.itemData(1), 5);
    EXPECT_EQ(f.cboDepartment.listIndex(), -1);

    // Selecting by value or by name: Click when the choice moves; no match clears it.
    int clicks = 0;
    f.cboDepartment.Click = [&] { ++clicks; };
    gen.SelectComboItemByValue(f.cboDepartment, common::Value(3));
    EXPECT_EQ(f.cboDepartment.text(), "Site Operations");
    gen.SelectComboItemByValue(f.cboDepartment, common::Value("4"));
    EXPECT_EQ(f.cboDepartment.text(), "Export Sales");
    gen.SelectComboItemByName(f.cboDepartment, "Administration");
    EXPECT_EQ(f.cboDepartment.itemData(f.cboDepartment.listIndex()), 1);
    EXPECT_EQ(clicks, 3);
    gen.SelectComboItemByName(f.cboDepartment, "administration");  // exact text only
    EXPECT_EQ(f.cboDepartment.listIndex(), -1);
    gen.SelectComboItemByValue(f.cboDepartment, common::Value());
    gen.SelectComboItemByValue(f.cboDepartment, common::Value(77));
    EXPECT_EQ(f.cboDepartment.listIndex(), -1);
    EXPECT_EQ(clicks, 4);
}

TEST_F(SuiteTest, NextFreeKeyIsOneMoreThanTheHighest) {
    EXPECT_EQ(db.nextFreeKey("pusers where userid < 3", "userid"), 3);
    EXPECT_EQ(db.nextFreeKey("pusers where userid > 100", "userid"), 1);
    EXPECT_EQ(trace->statements().front(), "select isnull(max(userid),0)+1 from pusers where userid < 3");
}

TEST_F(SuiteTest, TextValidateNumLetsThroughAmountsOnly) {
    ComboForm f(toolkit);
    auto& box = f.txtAmount;
    auto key = [&](const std::string& text, char k, int selStart = -1, int selLength = 0) {
        box.setText(text);
        box.setSelStart(selStart < 0 ? static_cast<int>(text.size()) : selStart);
        box.setSelLength(selLength);
        int16_t code = static_cast<int16_t>(k);
        gen.TextValidateNum(box, code, 20, 2);
        return code;
    };
    EXPECT_EQ(key("12", '3'), '3');
    EXPECT_EQ(key("12", '.'), '.');
    EXPECT_EQ(key("12.5", '0'), '0');
    EXPECT_EQ(key("12.50", '1'), 0) << "a third decimal";
    EXPECT_EQ(key("12.50", '1', 0), '1') << "a digit before the point is fine";
    EXPECT_EQ(key("12.5", '.'), 0) << "a second point";
    EXPECT_EQ(key("1234", '.', 1), 0) << "the point would leave three decimals";
    EXPECT_EQ(key("0.00", '7', 0, 4), '7') << "the selection is replaced";
    EXPECT_EQ(key("12345678901234567890", '1'), 0) << "past twenty characters";
    EXPECT_EQ(key("12", 'a'), 0);
    EXPECT_EQ(key("12", '-'), 0);
    EXPECT_EQ(key("12", ' '), 0);
    EXPECT_EQ(key("12.50", static_cast<char>(ui::vbKeyBack)), ui::vbKeyBack);
    EXPECT_EQ(key("12.50", static_cast<char>(ui::vbKeyReturn)), ui::vbKeyReturn);

    // As the amount box uses it: typed keys that fail the filter never reach the text.
    box.KeyPress = [&](int16_t& k) { gen.TextValidateNum(box, k, 20, 2); };
    box.setText("");
    box.userType("1a2.3.45x6");
    EXPECT_EQ(box.text(), "12.34");
}

}  // namespace
