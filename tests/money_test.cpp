// Amounts by meaning on the demo data, whose company keeps its books in dirhams beside a
// department paid in rupees and staff paid in dollars: a line's debit and credit in its
// account's currency, its department and company amounts in theirs, stored as shown and
// re-opened as saved.
#include "journal/frmJournalDetails.h"
#include "linking_fixture.h"

namespace linkingtest {
namespace {

class MoneyTest : public LinkingTest {
protected:
    journal::frmJournalDetails& editor(frmPayrollAccountsLinking& f) {
        f.lvwPostingDetails.userRightClick();
        f.mnuAdd.userClick();
        return module->frmJournalDetails();
    }
};

// Hand lines in foreign currencies, their balance and their storage: the property test's walk.
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
    EXPECT_TRUE(ed.txtDepAmount.locked() && ed.txtCompAmount.locked());
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
