// Amounts by meaning on the demo data, whose company keeps its books in dirhams beside a
// department paid in rupees and staff paid in dollars: a line's debit and credit in its
// account's currency, its department and company amounts in theirs, stored as shown and
// re-opened as saved.
#include "journal/frmJournalDetails.h"
#include "linking_fixture.h"

namespace linkingtest {
namespace {

namespace pst = linking::pst;

class MoneyTest : public LinkingTest {
protected:
    journal::frmJournalDetails& editor(frmPayrollAccountsLinking& f, int row = 0) {
        if (row > 0) {
            f.lvwPostingDetails.userSelectRow(row);
            f.lvwPostingDetails.userDblClick();
        } else {
            f.lvwPostingDetails.userRightClick();
            f.mnuAdd.userClick();
        }
        return module->frmJournalDetails();
    }
    // A line typed by hand: account, amount as typed, side.
    void hand(frmPayrollAccountsLinking& f, const std::string& account, const std::string& amount,
              bool credit) {
        auto& ed = editor(f);
        ASSERT_TRUE(ed.cboAccountID.userSelectText(account));
        ed.txtDescription.userType("by hand");
        ed.txtAmount.userPaste(amount);
        (credit ? ed.optCredit : ed.optDebit).userSet(true);
        ed.cmdOK.userClick();
        ed.cmdCancel.userClick();
    }
};

TEST_F(MoneyTest, AHandLineInAForeignCurrencyConvertsIntoTheDepartmentsAndTheCompanysCurrency) {
    auto& f = openNew();
    gather(f, "Payroll", DateTime::ymd(2026, 10, 15), "Site Operations");
    f.chkSelectAll.userSet(1);
    const int n = f.lvwPostingDetails.count();
    ASSERT_EQ(f.txtTotDepAmount.text(), "0.00");

    auto& ed = editor(f);
    ASSERT_TRUE(ed.cboAccountID.userSelectText("Citibank Dollar Account"));
    ed.txtAmount.userType("100");
    EXPECT_EQ(ed.lblAmount.caption() + ed.lblDepAmount.caption() + ed.lblCompAmount.caption(),
              "Amount(USD):Amount(AED) :Amount(AED) :");
    EXPECT_EQ(ed.txtDepAmount.text() + " " + ed.txtCompAmount.text(), "367.25 367.25");
    EXPECT_TRUE(ed.txtDepAmount.locked() && ed.txtCompAmount.locked());
    ed.cmdCancel.userClick();
    hand(f, "Citibank Dollar Account", "100", true);
    EXPECT_EQ(f.lvwPostingDetails.cell(n + 1, pst::CreditAmount),
              "-100.00");  // listed as the editor wrote it

    // A hundred dirhams do not balance a hundred dollars.
    hand(f, "Emirates Bank Current Account", "100", false);
    EXPECT_EQ(f.txtTotDepAmount.text(), "-267.25");
    f.cmdOk.userClick();
    EXPECT_EQ(lastMessage(), "Debit total and Credit total must be same");
    auto& line = editor(f, n + 2);
    line.txtAmount.userPaste("367.25");
    line.cmdOK.userClick();
    line.cmdCancel.userClick();
    EXPECT_EQ(f.txtTotDepAmount.text(), "0.00");
    f.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    EXPECT_EQ(oracle().entryFaults(6), "");  // stored, re-opened and saved again: the property test
}

TEST_F(MoneyTest, AnOpenedEntryConvertsInItsOwnDepartmentsCurrency) {
    auto& first = openNew();
    gather(first, "Payroll", DateTime::ymd(2026, 10, 15), "Administration");
    toolkit.answers.push_back(ui::vbNo);
    first.cmdClose.userClick();
    ASSERT_FALSE(linkingOpen());

    auto& f = openEdit(3);  // Engineering Centre Pune, in rupees
    auto& ed = editor(f);
    ASSERT_TRUE(ed.cboAccountID.userSelectText("HDFC Bank Pune Account"));
    ed.txtAmount.userType("100");
    EXPECT_EQ(ed.lblDepAmount.caption() + ed.lblCompAmount.caption(), "Amount(INR) :Amount(AED) :");
    EXPECT_EQ(ed.txtDepAmount.text() + " " + ed.txtCompAmount.text(), "100.00 4.41");
}

TEST_F(MoneyTest, ASourceOfAnOlderEntryThatNeverFlaggedItIsNamedWithWhatToDo) {
    auto& f = openNew();
    gather(f, "Reimbursements", DateTime::ymd(2026, 10, 15), "Administration");
    f.lvwTransactionDetails.userToggle(1);
    f.lvwTransactionDetails.userToggle(2);
    const std::string payment = f.lvwTransactionDetails.cell(1, linking::det::TransNo);
    f.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    // As the classic component left its payment entries: linked, never flagged.
    raw->execute("update pPaymentHeader set phPosted=0 where phCompanyID=1");

    auto& again = openNew();
    gather(again, "Reimbursements", DateTime::ymd(2026, 10, 15), "Administration");
    ASSERT_EQ(again.lvwTransactionDetails.cell(1, linking::det::TransNo), payment);
    again.lvwTransactionDetails.userToggle(1);
    again.lvwTransactionDetails.userToggle(2);
    const std::string before = dbState();
    again.cmdOk.userClick();
    EXPECT_EQ(lastMessage(),
              "Entry PAL/6 already links payment " + payment +
                  " but, saved before sources were marked posted, never marked it so, which is why "
                  "it is listed as open; untick it, or cancel PAL/6 first if this entry should "
                  "link it.");
    EXPECT_EQ(dbState(), before);
}

}  // namespace
}  // namespace linkingtest
