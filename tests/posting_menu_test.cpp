// The posting list's popup menu, double-click and keys on the linking screen.
#include <fstream>
#include <sstream>

#include "TestSupport.h"
#include "common/Conv.h"
#include "common/Error.h"
#include "data/TableNames.h"
#include "entry/qorPayrollAccounts.h"
#include "journal/frmJournalDetails.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking_fixture.h"
#include "script/ScriptRunner.h"

namespace {

namespace pst = linking::pst;

class PostingMenuTest : public testsupport::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        data::AssignTableName(module->connection(), module->session.tables);
        raw->execute(
            "insert into aAccountMaster (CompanyID, AccountID, AccountDesc, CurrencyID) values "
            "(1, 9201, 'Menu Account A', (select CurrencyID from pCompanyMaster where CompanyID=1)), "
            "(1, 9202, 'Menu Account B', (select CurrencyID from pCompanyMaster where CompanyID=1)), "
            "(1, 9203, 'Menu Account C', (select CurrencyID from pCompanyMaster where CompanyID=1))");
        module->EntryMode = "N";
        linking = &module->frmPayrollAccountsLinking();
        module->DepartmentCurrencyID =
            scalar("select CurrencyID from pCompanyMaster where CompanyID=1").toInt16();
        module->CompanyCurrencyID = module->DepartmentCurrencyID;
    }

    ui::ListView& posting() { return linking->lvwPostingDetails; }

    int addLine(const std::string& account, int accountId, double dept, const std::string& editable) {
        auto& l = posting();
        int r = l.add(std::to_string(l.count() + 1));
        l.setCell(r, pst::DebitAccount, account);
        l.setCell(r, pst::DebitAccountID, std::to_string(accountId));
        l.setCell(r, pst::DebitAmount, common::Format2(dept > 0 ? dept : 0));
        l.setCell(r, pst::CreditAmount, common::Format2(dept < 0 ? -dept : 0));
        l.setCell(r, pst::TotalAmount, common::Format2(dept));
        l.setCell(r, pst::TransAmt, common::Format2(dept));
        l.setCell(r, pst::CompAmount, common::Format2(dept));
        l.setCell(r, pst::DeptAmount, common::Format2(dept));
        l.setCell(r, pst::Editable, editable);
        return r;
    }

    // Which of Add, Edit, Delete and the hint the menu shows, as "AED-" and the like.
    std::string popupItems() {
        toolkit.openMenu = nullptr;
        posting().userRightClick();
        EXPECT_EQ(toolkit.openMenu, &linking->mnuPopup);
        EXPECT_TRUE(linking->mnuCancel.visible());
        return std::string() + (linking->mnuAdd.visible() ? "A" : "-") +
               (linking->mnuEdit.visible() ? "E" : "-") + (linking->mnuDelete.visible() ? "D" : "-") +
               (linking->mnuSelect.visible() ? "S" : "-");
    }

    linking::frmPayrollAccountsLinking* linking = nullptr;
};

TEST_F(PostingMenuTest, MenuItemsFollowTheSelectedLine) {
    EXPECT_EQ(linking->mnuSelect.caption(), "Select some transactions to continue...");
    EXPECT_EQ(popupItems(), "---S");

    addLine("Menu Account A", 9201, 100, "N");
    addLine("Menu Account B", 9202, -100, "Y");
    addLine("Menu Account C", 9203, 0, "");
    posting().userSelectRow(1);
    EXPECT_EQ(popupItems(), "AE--");
    posting().userSelectRow(2);
    EXPECT_EQ(popupItems(), "AED-");
    posting().userSelectRow(3);
    EXPECT_EQ(popupItems(), "AED-");

    // Only the right button opens it.
    toolkit.openMenu = nullptr;
    posting().userSelectRow(1);
    linking->lvwPostingDetails_MouseDown(ui::vbLeftButton, 0, 0, 0);
    EXPECT_EQ(toolkit.openMenu, nullptr);
    EXPECT_TRUE(linking->mnuDelete.visible());
}

TEST_F(PostingMenuTest, DeletingALineRenumbersAndRebalances) {
    addLine("Menu Account A", 9201, 100, "Y");
    addLine("Menu Account B", 9202, 25.5, "Y");
    addLine("Menu Account C", 9203, -100, "Y");
    posting().userSelectRow(2);
    linking->txtTotDepAmount.setText("25.50");

    toolkit.answers.push_back(ui::vbNo);
    posting().userRightClick();
    linking->mnuDelete.userClick();
    ASSERT_EQ(toolkit.messages.size(), 1u);
    const auto& box = toolkit.messages[0].request;
    EXPECT_EQ(box.text, "Do you want to delete Menu Account B?");
    EXPECT_EQ(box.style, ui::vbYesNo + ui::vbQuestion + ui::vbDefaultButton2);
    EXPECT_EQ(box.title, "Payroll Accounts Linking");
    EXPECT_EQ(posting().count(), 3);
    EXPECT_EQ(linking->txtTotDepAmount.text(), "25.50");

    toolkit.answers.push_back(ui::vbYes);
    posting().userKeyDown(ui::vbKeyDelete);
    ASSERT_EQ(posting().count(), 2);
    EXPECT_EQ(posting().text(1), "1");
    EXPECT_EQ(posting().text(2), "2");
    EXPECT_EQ(posting().cell(2, pst::DebitAccount), "Menu Account C");
    EXPECT_EQ(linking->txtTotDepAmount.text(), "0.00");
}

TEST_F(PostingMenuTest, DeleteKeyIgnoresGatheredLinesAndFailsOnAnEmptyList) {
    posting().userKeyDown(ui::vbKeyDelete);
    ASSERT_EQ(toolkit.errors.size(), 1u);
    EXPECT_EQ(toolkit.errors[0].number(), common::err::ObjectNotSet);
    EXPECT_EQ(toolkit.errors[0].description(), "Object variable or With block variable not set");

    addLine("Menu Account A", 9201, 100, "N");
    addLine("Menu Account B", 9202, -100, "y");  // only "Y" exactly deletes
    for (int row : {1, 2}) {
        posting().userSelectRow(row);
        posting().userKeyDown(ui::vbKeyDelete);
    }
    EXPECT_TRUE(toolkit.messages.empty());
    EXPECT_EQ(posting().count(), 2);
    EXPECT_EQ(toolkit.errors.size(), 1u);
}

TEST_F(PostingMenuTest, EditAndAddOpenTheEditorInTheirModes) {
    posting().userDblClick();
    posting().userKeyDown(ui::vbKeyReturn);
    EXPECT_FALSE(module->isLoaded("frmJournalDetails"));
    EXPECT_TRUE(toolkit.errors.empty());

    addLine("Menu Account A", 9201, 100, "N");
    addLine("Menu Account B", 9202, -60, "Y");
    posting().userSelectRow(2);
    posting().userKeyDown(ui::vbKeyReturn);
    ASSERT_TRUE(module->isLoaded("frmJournalDetails"));
    auto& ed = module->frmJournalDetails();
    EXPECT_EQ(toolkit.topForm(), &ed);
    EXPECT_FALSE(module->AddMode);
    EXPECT_EQ(ed.txtSlNo.text(), "2");
    EXPECT_EQ(ed.cboAccountID.text(), "Menu Account B");
    EXPECT_EQ(ed.txtAmount.text(), "60");
    EXPECT_TRUE(ed.optCredit.value());
    ed.cmdCancel.userClick();
    EXPECT_FALSE(module->isLoaded("frmJournalDetails"));

    posting().userSelectRow(1);  // a gathered line opens for editing too
    posting().userRightClick();
    linking->mnuEdit.userClick();
    ASSERT_TRUE(module->isLoaded("frmJournalDetails"));
    EXPECT_EQ(module->frmJournalDetails().cboAccountID.text(), "Menu Account A");
    EXPECT_FALSE(module->frmJournalDetails().cboAccountID.enabled());
    module->frmJournalDetails().cmdCancel.userClick();

    posting().userRightClick();
    linking->mnuAdd.userClick();
    auto& added = module->frmJournalDetails();
    EXPECT_TRUE(module->AddMode);
    EXPECT_EQ(added.txtSlNo.text(), "3");
    EXPECT_EQ(added.cboAccountID.listIndex(), -1);
    EXPECT_EQ(added.txtBalance.text(), "40.00");
    EXPECT_TRUE(added.optCredit.value());
}

// From the user's selection to the saved entry: an advance ticked on its debit side only,
// the missing credit added by hand, the entry saved.
class BalanceByHandTest : public linkingtest::LinkingTest {};

TEST_F(BalanceByHandTest, HandAddedLineBalancesAndIsSaved) {
    addPayment(9301, "A", 901, 250.75, "2026-11-10");
    auto& f = openNew();
    gather(f, "Salary Advances", common::DateTime::ymd(2026, 11, 20));
    ASSERT_EQ(f.lvwTransactionDetails.count(), 2);
    ASSERT_EQ(f.lvwTransactionDetails.cell(1, linking::det::Credit), "0");
    f.lvwTransactionDetails.userToggle(1);
    ASSERT_EQ(f.lvwPostingDetails.count(), 1);
    EXPECT_EQ(f.txtTotDepAmount.text(), "250.75");

    f.lvwPostingDetails.userSelectRow(1);
    f.lvwPostingDetails.userRightClick();
    f.mnuAdd.userClick();
    auto& ed = module->frmJournalDetails();
    EXPECT_EQ(ed.txtBalance.text(), "250.75");
    EXPECT_TRUE(ed.optCredit.value());
    ASSERT_TRUE(ed.cboAccountID.userSelectText("Emirates Bank Current Account"));
    ed.txtDescription.userType("Paid by bank transfer");
    ed.txtAmount.userType("250.75");
    ed.cmdOK.userClick();
    EXPECT_EQ(f.txtTotDepAmount.text(), "0.00");
    ed.cmdCancel.userClick();
    ASSERT_EQ(toolkit.topForm(), &f);

    f.cmdOk.userClick();
    EXPECT_FALSE(module->isLoaded("frmPayrollAccountsLinking")) << lastMessage();
    const auto transId = scalar("select max(TransID) from paPayAccLinkHeader where CompanyID=1").toInt32();
    EXPECT_EQ(rows("select TransType, DepartmentID from paPayAccLinkHeader where CompanyID=1 and TransID=" +
                   std::to_string(transId)),
              "A|9|\n");
    EXPECT_EQ(
        rows("select DetailID, AccountID, Description, DebitAmount, CreditAmount, DeptAmount, CompAmount, "
             "AccCurrID, RefCurrID, Editable from paPayAccLinkPostingDetails where CompanyID=1 and TransID=" +
             std::to_string(transId) + " order by DetailID"),
        "1|2001||250.75|0|250.75|250.75|1|1|N|\n"
        "2|3002|Paid by bank transfer|0|-250.75|-250.75|-250.75|1|1|Y|\n");
    EXPECT_EQ(
        rows("select DetailID, RefTransID, AccountID, Credit from paPayAccLinkDetails where CompanyID=1 and "
             "TransID=" +
             std::to_string(transId)),
        "1|9301|2001|0|\n");
}

// The example script does the same on the demo data, through the host's entry point.
TEST_F(BalanceByHandTest, ExampleScriptSavesTheBalancedEntry) {
    std::ifstream in(PAYACC_SOURCE_DIR "/scripts/examples/balance_by_hand.script");
    ASSERT_TRUE(in.good());
    entry::qorPayrollAccounts component(*module);
    component.setAdocon(trace);
    component.strProjectKey = entry::kProjectKey;
    component.MsgboxTitle = "Payroll Accounts Linking";
    component.ProcessDate = "15/10/2026";
    component.intUserID = 1;
    component.intCompanyID = 1;
    component.intInterfaceID = 60;
    std::ostringstream out;
    script::ScriptRunner runner(toolkit, out);
    runner.setTrace(trace.get());
    ASSERT_EQ(runner.run(in, [&] { component.Show(); }), 0) << out.str();

    EXPECT_EQ(
        rows("select p.AccountID, p.Description, p.DebitAmount, p.CreditAmount, p.DeptAmount, p.Editable "
             "from paPayAccLinkPostingDetails p, paPayAccLinkHeader h where p.CompanyID=h.CompanyID and "
             "p.TransID=h.TransID and h.CompanyID=1 and h.TransType='A' and h.DepartmentID=1 "
             "order by p.DetailID"),
        "2001||1529.5|0|1529.5|N|\n"
        "3002|Paid by bank transfer|0|-1529.5|-1529.5|Y|\n");
}

}  // namespace
