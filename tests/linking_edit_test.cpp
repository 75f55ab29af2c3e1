// Loading a saved entry into the linking screen and saving it again.
#include "journal/frmJournalDetails.h"
#include "linking_fixture.h"

namespace linkingtest {
namespace {

using EditTest = LinkingTest;

TEST_F(EditTest, PostedAndCancelledEntriesOpenReadOnly) {
    auto& posted = openEdit(1);
    ASSERT_EQ(lastMessage(), "Record posted. Can't Edit.");
    EXPECT_EQ(lastBox(toolkit).style, ui::vbOKOnly + ui::vbInformation);
    EXPECT_FALSE(posted.cmdOk.enabled());
    EXPECT_FALSE(posted.fraPostingDetails.enabled());
    EXPECT_FALSE(posted.fraTransactionDetails.enabled());
    EXPECT_GT(posted.lvwPostingDetails.count(), 0);
    // Even pressed from code, a posted entry is not saved again.
    posted.cmdOk_Click();
    EXPECT_EQ(lastMessage(), "Entry Posted. Cannot Save.");
    ASSERT_TRUE(linkingOpen());
    posted.cmdClose.userClick();
    ASSERT_FALSE(linkingOpen());

    toolkit.messages.clear();
    auto& cancelled = openEdit(2);
    EXPECT_TRUE(toolkit.messages.empty());
    EXPECT_FALSE(cancelled.cmdOk.enabled());
    EXPECT_FALSE(cancelled.fraTransactionDetails.enabled());
}

TEST_F(EditTest, SavedEntryFillsTheListsAndSavesAgainReleasingUntickedSources) {
    // A dirham department listed, then the rupee one chosen: a line by hand converts from rupees.
    auto& first = openNew();
    gather(first, "Payroll", DateTime::ymd(2026, 10, 15), "Administration");
    toolkit.answers = {ui::vbYes};
    ASSERT_TRUE(first.cboDepartment.userSelectText("Engineering Centre Pune"));
    first.mnuAdd_Click();
    auto& hand = module->frmJournalDetails();
    ASSERT_TRUE(hand.cboAccountID.userSelectText("HDFC Bank Pune Account"));
    hand.txtAmount.userType("100");
    EXPECT_EQ(hand.txtDepAmount.text() + " " + hand.txtCompAmount.text(), "100.00 4.41");
    hand.cmdCancel.userClick();
    toolkit.answers = {ui::vbNo};
    first.cmdClose.userClick();
    ASSERT_FALSE(linkingOpen());
    toolkit.messages.clear();
    auto& f = openEdit(3);  // August payroll of the Pune department, paid in rupees
    EXPECT_TRUE(toolkit.messages.empty());
    EXPECT_EQ(f.txtTransNo.text() + "|" + f.cboType.text() + "|" + f.cboDepartment.text() + "|" +
                  f.txtRemarks.text(),
              "PAL/3|Payroll|Engineering Centre Pune|August 2026 salaries - Pune");
    EXPECT_EQ(f.dtpTransDate.value(), DateTime::ymd(2026, 9, 1));
    EXPECT_FALSE(f.fraDateRange.enabled());
    EXPECT_TRUE(f.cmdShowDetails.visible());
    EXPECT_TRUE(f.cmdOk.enabled());

    // Its runs and their lines listed (the walk of the property test checks them and their ticks).
    const int lines = count("select count(*) from paPayAccLinkDetails where CompanyID=1 and TransID=3");
    ASSERT_GT(f.lvwTransactions.count(), 1);
    // Name and number crosswise between the lists, as the retrieval fills them.
    EXPECT_EQ(rowCells(f.lvwTransactions, 1), "1|PR202608/261|28/Aug/2026|Meera Reddy|E0261|261|5");
    EXPECT_EQ(rowCells(f.lvwTransactionDetails, 1),
              "1|PR202608/261|28/Aug/2026|E0261|Meera Reddy|107500|0|261|1021|5|Basic Salaries - INR|Basic "
              "Salary|107500|107500|4740.75|INR|INR|3|3|261");

    // Its lines as saved, and again after the save: the property test's walk compares both with
    // the oracle.
    EXPECT_EQ(f.lvwPostingDetails.columnHeader(11) + f.lvwPostingDetails.columnHeader(12) +
                  f.lvwTransactionDetails.columnHeader(13) + f.lvwTransactionDetails.columnHeader(14) +
                  f.lblTotalAmt.caption(),
              "Amount(AED)Amount(INR)Amount(INR)Amount(AED)Balance(INR) :");
    EXPECT_EQ(module->DepartmentCurrencyID * 10 + module->CompanyCurrencyID, 31);
    // The line editor converts in them too.
    f.lvwPostingDetails.userRightClick();
    f.mnuAdd.userClick();
    auto& ed = module->frmJournalDetails();
    ASSERT_TRUE(ed.cboAccountID.userSelectText("HDFC Bank Pune Account"));
    ed.txtAmount.userType("100");
    EXPECT_EQ(ed.lblDepAmount.caption() + ed.lblCompAmount.caption() + ed.txtDepAmount.text() + " " +
                  ed.txtCompAmount.text(),
              "Amount(INR) :Amount(AED) :100.00 4.41");
    EXPECT_TRUE(ed.txtDepAmount.locked() && ed.txtCompAmount.locked());
    ed.cmdCancel.userClick();

    // Saved again with the first two runs unticked.
    const std::string released1 = f.lvwTransactions.cell(1, linking::trn::TransID);
    f.dtpTransDate.userSet(DateTime::ymd(2026, 10, 20));
    f.txtTransNo.userType("9");  // what the screen shows does not renumber the entry
    f.txtRemarks.userPaste("Pune, re-checked");
    f.lvwTransactions.userToggle(1);
    f.lvwTransactions.userToggle(2);
    ASSERT_EQ(f.txtTotDepAmount.text(), "0.00");
    // A column the suite keeps on the posting lines, marked with each line's key.
    raw->execute("alter table paPayAccLinkPostingDetails add column SuiteRef text");
    raw->execute("update paPayAccLinkPostingDetails set SuiteRef = AccountID || '/' || RefCurrID");
    trace->clear();
    f.cmdOk.userClick();
    ASSERT_TRUE(toolkit.errors.empty());
    ASSERT_FALSE(linkingOpen()) << lastMessage();

    EXPECT_TRUE(
        traced(" update paPayAccLinkHeader set TransDate=?, Remarks=? where CompanyID=1 and transID=3"));
    EXPECT_TRUE(traced("Delete from paPayAccLinkDetails where CompanyID=1 and transid=3"));
    EXPECT_FALSE(traced("Delete from paPayAccLinkPostingDetails where CompanyID=1 and transid=3"));
    EXPECT_TRUE(
        traced("update pMonthlyPayRollProcessing set mppPosted=0 where mppCompanyID=1 and mppProcessID=" +
               released1));
    EXPECT_EQ(rows("select TransNo, TransType, DepartmentID, TransDate, Remarks from paPayAccLinkHeader "
                   "where CompanyID=1 and TransID=3"),
              "PAL/3|P|5|20/10/2026|Pune, re-checked|\n");

    EXPECT_EQ(count("select count(*) from paPayAccLinkDetails where CompanyID=1 and TransID=3"), lines - 8);
    // Each posting line still there was updated where it stands and keeps the suite's value.
    EXPECT_EQ(rows("select count(*), count(SuiteRef = AccountID || '/' || RefCurrID or null), min(DetailID), "
                   "max(DetailID) from paPayAccLinkPostingDetails where CompanyID=1 and TransID=3"),
              rows("select count(*), count(*), 1, count(*) from paPayAccLinkPostingDetails where CompanyID=1 "
                   "and TransID=3"));
    // Loaded with the currency id under "Res Curr", so that is what goes back.
    EXPECT_EQ(
        rows("select distinct TransCurrSymbol from paPayAccLinkDetails where CompanyID=1 and TransID=3"),
        "INR|\n");

    // The browser's row shows the new date.
    auto& g = browser().flexMaster;
    EXPECT_EQ(g.textMatrix(g.row(), 0) + " " + g.textMatrix(g.row(), 2), "3 20/10/2026");
}

}  // namespace
}  // namespace linkingtest
