// The journal line editor driven as a user drives it from the posting list's menu.
#include "journal/frmJournalDetails.h"
#include "linking_fixture.h"
#include "ui/Helpers.h"

namespace linkingtest {
namespace {

namespace pst = linking::pst;

// Rates of our own: one ACC is 1.5 DPT or 6 CMP, one DPT is 4 CMP.
class JournalTest : public LinkingTest {
protected:
    void SetUp() override {
        LinkingTest::SetUp();
        data::AssignTableName(module->connection(), module->session.tables);
        raw->execute(
            "insert into pCurrencyMaster (CompanyID, CurrencyID, Symbol) values "
            "(1, 71, 'DPT'), (1, 72, 'ACC'), (1, 73, 'CMP')");
        raw->execute(
            "insert into aAccountMaster (CompanyID, AccountID, AccountDesc, CurrencyID) values "
            "(1, 9101, 'Staff Suspense', 72), (1, 9102, 'Wages Control', 71)");
        raw->execute(
            "insert into pExchangeRate (CompanyID, CurrencyID1, CurrencyID2, Rate) values "
            "(1, 71, 72, 1.5), (1, 71, 73, 0.25), (1, 73, 72, 6), (1, 73, 71, 4)");
        module->EntryMode = "N";
        linking = &module->frmPayrollAccountsLinking();
        module->DepartmentCurrencyID = 71;
        module->CompanyCurrencyID = 73;
    }

    ui::ListView& posting() { return linking->lvwPostingDetails; }
    std::string cells(int row, std::initializer_list<int> cols) {
        std::string s;
        for (int c : cols) s += (s.empty() ? "" : "|") + posting().cell(row, c);
        return s;
    }
    std::string amounts(int row) {
        return cells(row, {pst::DebitAmount, pst::CreditAmount, pst::TotalAmount, pst::TransAmt,
                           pst::CompAmount, pst::DeptAmount, pst::Editable});
    }
    // The menu offers Add only once the list has lines; an empty list is added to directly.
    journal::frmJournalDetails& openForAdd() {
        if (posting().count() == 0) {
            linking->mnuAdd_Click();
        } else {
            posting().userRightClick();
            linking->mnuAdd.userClick();
        }
        return module->frmJournalDetails();
    }
    linking::frmPayrollAccountsLinking* linking = nullptr;
};

TEST_F(JournalTest, ChoosingAnAccountConvertsTheTypedAmountWithBothRates) {
    auto& ed = openForAdd();
    EXPECT_EQ(ed.txtSlNo.text() + " " + ed.txtBalance.text(), "1 0.00");
    EXPECT_TRUE(ed.optDebit.value());       // proposed for a balance of nought
    EXPECT_FALSE(ui::ControlsChanged(ed));  // shown, the empty line is the snapshot
    EXPECT_EQ(ed.lblAmount.caption(), "Amount():");
    ASSERT_TRUE(ed.cboAccountID.userSelectText("Staff Suspense"));
    EXPECT_EQ(ed.lblAmount.caption(), "Amount(ACC):");

    ed.txtAmount.setFocus();
    ed.txtAmount.userType("1x00");  // a key that makes no number is refused
    EXPECT_EQ(ed.txtAmount.text() + " " + ed.txtDepAmount.text() + " " + ed.txtCompAmount.text(),
              "100 150.00 600.00");
    ed.txtDescription.setFocus();
    EXPECT_EQ(ed.txtAmount.text(), "100.00");
    // Leaving the box puts a number in the amount pattern and leaves anything else alone.
    ed.txtAmount.userPaste("abc");
    ed.txtAmount.LostFocus();
    EXPECT_EQ(ed.txtAmount.text(), "abc");
    ed.txtAmount.userPaste("1234567.125");
    ed.txtAmount.MouseMove(0, 0, 1, 1);
    EXPECT_EQ(ed.txtAmount.toolTipText(), "1,234,567.125");
}

TEST_F(JournalTest, NewCreditLineIsNegativeAndAnEditedOnePositive) {
    addLine(*linking, "Wages Control", 9102, 150, 0, "N");
    auto& ed = openForAdd();
    EXPECT_EQ(ed.txtSlNo.text() + " " + ed.txtBalance.text(), "2 150.00");
    EXPECT_TRUE(ed.optCredit.value());  // debits exceed credits: propose the other side
    ASSERT_TRUE(ed.cboAccountID.userSelectText("Staff Suspense"));
    ed.txtDescription.userType("  Balancing line ");
    ed.txtAmount.userType("100");
    ed.cmdOK.userClick();
    ASSERT_EQ(lastMessage(), "");
    // Debit, credit and total in the account's currency; a new credit is listed negative.
    EXPECT_EQ(amounts(2), "0.00|-100.00|-100.00|-100.00|-600.00|-150.00|Y");
    EXPECT_EQ(cells(2, {0, pst::DebitAccount, pst::Description, pst::DebitAccountID, pst::AccCurrency,
                        pst::TransCurr, pst::AccCurrID, pst::ResCurrID}),
              "2|Staff Suspense|Balancing line|9101|ACC|ACC|72|72");
    EXPECT_EQ(linking->txtTotDepAmount.text(), "0.00");
    // Cleared for the next line.
    EXPECT_EQ(ed.cboAccountID.listIndex(), -1);
    EXPECT_EQ(ed.txtSlNo.text() + " " + ed.txtAmount.text() + " " + ed.txtBalance.text(), "3 0.00 0.00");

    ed.cmdLast.userClick();
    EXPECT_FALSE(module->AddMode);
    EXPECT_TRUE(ed.optCredit.value());  // re-opened on its side, not read as debit less credit
    EXPECT_EQ(ed.txtAmount.text() + " " + ed.txtDepAmount.text() + " " + ed.txtCompAmount.text(),
              "100 150 600");
    ed.txtAmount.userPaste("100");
    ed.cmdOK.userClick();  // keeps its own account: no duplicate
    ASSERT_EQ(lastMessage(), "");
    EXPECT_EQ(amounts(2), "0.00|100.00|-100.00|-100.00|-600.00|-150.00|Y");
    EXPECT_EQ(posting().count(), 2);
}

TEST_F(JournalTest, CommitChecksComeInOrder) {
    addLine(*linking, "Wages Control", 9102, 150, 0, "N");
    auto& ed = openForAdd();
    auto press = [&] {
        toolkit.messages.clear();
        ed.cmdOK.userClick();
        EXPECT_EQ(posting().count(), lastMessage().empty() ? 2 : 1);
        return lastMessage();
    };
    EXPECT_EQ(press(), "Invalid account head or not selected");
    EXPECT_TRUE(ed.cboAccountID.hasFocus());
    EXPECT_EQ(lastBox(toolkit).style, ui::vbOKOnly + ui::vbInformation);
    ASSERT_TRUE(ed.cboAccountID.userSelectText("Wages Control"));
    ed.txtDescription.userType("   ");
    EXPECT_EQ(press(), "Description not entered");
    EXPECT_TRUE(ed.txtDescription.hasFocus());
    ed.txtDescription.userPaste("Net pay");
    ed.txtAmount.userPaste("0.00");
    EXPECT_EQ(press(), "Amount not entered");
    EXPECT_TRUE(ed.txtAmount.hasFocus());
    ed.txtAmount.userPaste("10");
    EXPECT_EQ(press(), "Account already selected.");  // held by a gathered line
    ASSERT_TRUE(ed.cboAccountID.userSelectText("Staff Suspense"));
    ed.txtAmount.userPaste("-10");
    EXPECT_EQ(press(), "");
}

TEST_F(JournalTest, GatheredLineChangesOnlyItsDescription) {
    addLine(*linking, "Wages Control", 9102, 150, 0, "N", "old");
    addLine(*linking, "Staff Suspense", 9101, 0, 0, "Y");
    const std::string before = amounts(1);
    posting().userSelectRow(1);
    posting().userDblClick();
    auto& ed = module->frmJournalDetails();
    EXPECT_FALSE(ed.cboAccountID.enabled() || ed.txtAmount.enabled() || ed.fraJournalType.enabled());
    EXPECT_TRUE(ed.txtDescription.enabled());
    ed.txtDescription.userPaste("Net pay of October");
    ed.txtAmount.setText("999");
    ed.optCredit.setValue(true);
    ed.cmdOK.userClick();
    EXPECT_EQ(posting().cell(1, pst::Description), "Net pay of October");
    EXPECT_EQ(amounts(1), before);
    EXPECT_EQ(cells(1, {pst::DebitAccountID}), "9102");

    // The commit moved on to the added line; there a gathered line's account is free.
    EXPECT_EQ(posting().selectedIndex(), 2);
    EXPECT_TRUE(ed.optCredit.value());  // both amounts 0 shows as credit
    ASSERT_TRUE(ed.cboAccountID.userSelectText("Wages Control"));
    ed.txtDescription.userPaste("Wages paid");
    ed.txtAmount.userPaste("5");
    ed.cmdOK.userClick();
    EXPECT_EQ(lastMessage(), "");
    EXPECT_EQ(cells(2, {pst::DebitAccountID}), "9102");
}

}  // namespace
}  // namespace linkingtest
