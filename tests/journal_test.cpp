// The journal line editor driven as a user drives it: opened from the posting list's menu,
// accounts chosen, amounts typed, lines committed and stepped through.
#include <fstream>
#include <sstream>

#include "TestSupport.h"
#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "common/Error.h"
#include "data/TableNames.h"
#include "journal/frmJournalDetails.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "ui/Helpers.h"

namespace {

namespace pst = linking::pst;

// Currencies and accounts of our own, so that the rates are known: one unit of ACC is 1.5
// DPT, one unit of CMP is 0.25 DPT, and NOR has no rate at all.
class JournalTest : public testsupport::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        data::AssignTableName(module->connection(), module->session.tables);
        raw->execute(
            "insert into pCurrencyMaster (CompanyID, CurrencyID, Symbol, CurrencyName) values "
            "(1, 71, 'DPT', 'Department unit'), (1, 72, 'ACC', 'Account unit'), "
            "(1, 73, 'CMP', 'Company unit'), (1, 74, 'NOR', 'Unrated unit')");
        raw->execute(
            "insert into aAccountMaster (CompanyID, AccountID, AccountDesc, CurrencyID) values "
            "(1, 9101, 'Staff Suspense', 72), (1, 9102, 'Wages Control', 71), "
            "(1, 9103, 'Orphan Account', 74), (1, 9104, 'Petty Cash', 71)");
        raw->execute(
            "insert into pExchangeRate (CompanyID, CurrencyID1, CurrencyID2, Rate) values "
            "(1, 71, 72, 1.5), (1, 71, 73, 0.25)");
        module->EntryMode = "N";
        linking = &module->frmPayrollAccountsLinking();
        module->DepartmentCurrencyID = 71;
        module->CompanyCurrencyID = 73;
    }

    ui::ListView& posting() { return linking->lvwPostingDetails; }

    // A posting line as the gathering or an earlier commit leaves it.
    int addLine(const std::string& account, int accountId, double debit, double credit, double dept,
                double comp, const std::string& editable, const std::string& description = "") {
        auto& l = posting();
        int r = l.add(std::to_string(l.count() + 1));
        l.setCell(r, pst::DebitAccount, account);
        l.setCell(r, pst::Description, description);
        l.setCell(r, pst::DebitAccountID, std::to_string(accountId));
        l.setCell(r, pst::DebitAmount, common::Format2(debit));
        l.setCell(r, pst::CreditAmount, common::Format2(credit));
        l.setCell(r, pst::TotalAmount, common::Format2(debit - credit));
        l.setCell(r, pst::TransAmt, common::Format2(dept));
        l.setCell(r, pst::CompAmount, common::Format2(comp));
        l.setCell(r, pst::DeptAmount, common::Format2(dept));
        l.setCell(r, pst::Editable, editable);
        if (l.selectedIndex() == 0) l.setSelectedIndex(r);
        return r;
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
    journal::frmJournalDetails& openRow(int row) {
        posting().userSelectRow(row);
        posting().userDblClick();
        return module->frmJournalDetails();
    }

    std::string lastMessage() const {
        return toolkit.messages.empty() ? std::string() : toolkit.messages.back().request.text;
    }

    linking::frmPayrollAccountsLinking* linking = nullptr;
};

TEST_F(JournalTest, ChoosingAnAccountConvertsTheTypedAmountWithBothRates) {
    auto& ed = openForAdd();
    EXPECT_EQ(ed.caption(), "Accounts Entry");
    EXPECT_EQ(ed.lblAmount.caption(), "Amount():");
    EXPECT_EQ(ed.lblBalance.caption(), linking->lblTotalAmt.caption());
    EXPECT_EQ(ed.lblDepAmount.caption(), posting().columnHeader(pst::DeptAmount) + " :");
    EXPECT_EQ(ed.lblCompAmount.caption(), posting().columnHeader(pst::CompAmount) + " :");

    trace->clear();
    ASSERT_TRUE(ed.cboAccountID.userSelectText("Staff Suspense"));
    const auto& t = module->session.tables;
    const std::string lookup = "Select cm.CurrencyID, cm.symbol from " + t.aAccountMaster + " am," +
                               t.pCurrencyMaster +
                               " cm where am.CompanyID = cm.CompanyID and am.CurrencyID=cm.CurrencyID "
                               "and cm.CompanyID=1 and am.AccountID = 9101";
    auto sql = trace->statements();
    ASSERT_GE(sql.size(), 3u);
    EXPECT_EQ(sql[0], lookup);
    EXPECT_EQ(ed.lblAmount.caption(), "Amount(ACC):");
    EXPECT_DOUBLE_EQ(ed.accountRate, 1.5);
    EXPECT_DOUBLE_EQ(ed.companyRate, 0.25);

    // Keys that would not make a number are refused on the way in.
    ed.txtAmount.setFocus();
    ed.txtAmount.userType("1x00");
    EXPECT_EQ(ed.txtAmount.text(), "100");
    EXPECT_EQ(ed.txtDepAmount.text(), "150.00");
    EXPECT_EQ(ed.txtCompAmount.text(), "25.00");

    ed.txtDescription.setFocus();
    EXPECT_EQ(ed.txtAmount.text(), "100.00");

    ed.txtAmount.userPaste("1234567.125");
    ed.txtAmount.MouseMove(0, 0, 1, 1);
    EXPECT_EQ(ed.txtAmount.toolTipText(), "1,234,567.125");
    EXPECT_EQ(ed.txtCompAmount.text(), "308641.78");  // the typed amount times 0.25, not the dept amount

    // An account in the department's own currency converts at 1.
    ASSERT_TRUE(ed.cboAccountID.userSelectText("Wages Control"));
    ed.txtAmount.userPaste("80");
    EXPECT_EQ(ed.lblAmount.caption(), "Amount(DPT):");
    EXPECT_EQ(ed.txtDepAmount.text(), "80.00");
    EXPECT_EQ(ed.txtCompAmount.text(), "20.00");
}

TEST_F(JournalTest, NewCreditLineIsNegativeAndAnEditedOnePositive) {
    addLine("Wages Control", 9102, 150, 0, 150, 37.5, "N");
    auto& ed = openForAdd();
    EXPECT_EQ(ed.txtSlNo.text(), "2");
    EXPECT_EQ(ed.txtBalance.text(), "150.00");
    EXPECT_TRUE(ed.optCredit.value());  // debits exceed credits: propose the other side

    ASSERT_TRUE(ed.cboAccountID.userSelectText("Staff Suspense"));
    ed.txtDescription.userType("  Balancing line ");
    ed.txtAmount.userType("100");
    ed.cmdOK.userClick();
    ASSERT_TRUE(toolkit.messages.empty()) << lastMessage();

    ASSERT_EQ(posting().count(), 2);
    EXPECT_EQ(posting().text(2), "2");
    EXPECT_EQ(posting().cell(2, pst::DebitAccount), "Staff Suspense");
    EXPECT_EQ(posting().cell(2, pst::Description), "Balancing line");
    EXPECT_EQ(posting().cell(2, pst::DebitAccountID), "9101");
    EXPECT_EQ(posting().cell(2, pst::DebitAmount), "0.00");
    EXPECT_EQ(posting().cell(2, pst::CreditAmount), "-150.00");
    EXPECT_EQ(posting().cell(2, pst::TotalAmount), "-150.00");
    EXPECT_EQ(posting().cell(2, pst::TransAmt), "-150.00");
    EXPECT_EQ(posting().cell(2, pst::CompAmount), "-25.00");
    EXPECT_EQ(posting().cell(2, pst::DeptAmount), "-100.00");
    EXPECT_EQ(posting().cell(2, pst::AccCurrID), "72");
    EXPECT_EQ(posting().cell(2, pst::ResCurrID), "72");
    EXPECT_EQ(posting().cell(2, pst::AccCurrency), "ACC");
    EXPECT_EQ(posting().cell(2, pst::TransCurr), "ACC");
    EXPECT_EQ(posting().cell(2, pst::Editable), "Y");
    EXPECT_EQ(posting().selectedIndex(), 2);
    EXPECT_EQ(linking->txtTotDepAmount.text(), "50.00");

    // Ready for the next line.
    EXPECT_EQ(ed.cboAccountID.listIndex(), -1);
    EXPECT_EQ(ed.txtDescription.text(), "");
    EXPECT_EQ(ed.txtAmount.text(), "0.00");
    EXPECT_EQ(ed.txtSlNo.text(), "3");
    EXPECT_EQ(ed.txtBalance.text(), "50.00");
    EXPECT_TRUE(module->AddMode);

    // Stepping to the new line edits it; re-committed as a credit its credit turns positive,
    // and keeping its own account passes the duplicate check.
    ed.cmdLast.userClick();
    EXPECT_FALSE(module->AddMode);
    EXPECT_EQ(ed.txtSlNo.text(), "2");
    EXPECT_EQ(ed.cboAccountID.text(), "Staff Suspense");
    EXPECT_EQ(ed.txtDepAmount.text(), "100");
    EXPECT_EQ(ed.txtCompAmount.text(), "25");
    EXPECT_EQ(ed.txtBalance.text(), "150");
    ed.optCredit.userSet(true);
    ed.txtAmount.userPaste("100");
    ed.cmdOK.userClick();
    ASSERT_TRUE(toolkit.messages.empty()) << lastMessage();
    EXPECT_EQ(posting().cell(2, pst::CreditAmount), "150.00");
    EXPECT_EQ(posting().cell(2, pst::TotalAmount), "-150.00");
    EXPECT_EQ(posting().cell(2, pst::DeptAmount), "-100.00");
    EXPECT_EQ(posting().cell(2, pst::Editable), "Y");
    EXPECT_EQ(posting().count(), 2);

    // A debit commit of the same line.
    ed.optDebit.userSet(true);
    ed.cmdOK.userClick();
    EXPECT_EQ(posting().cell(2, pst::DebitAmount), "150.00");
    EXPECT_EQ(posting().cell(2, pst::CreditAmount), "0.00");
    EXPECT_EQ(posting().cell(2, pst::CompAmount), "25.00");
    EXPECT_EQ(posting().cell(2, pst::DeptAmount), "100.00");
    EXPECT_EQ(linking->txtTotDepAmount.text(), "250.00");
}

TEST_F(JournalTest, CommitChecksRunInOrderAndRefuseADuplicateAccount) {
    addLine("Wages Control", 9102, 150, 0, 150, 37.5, "N");
    auto& ed = openForAdd();
    auto expectRefused = [&](const std::string& text) {
        ASSERT_FALSE(toolkit.messages.empty());
        const auto& box = toolkit.messages.back().request;
        EXPECT_EQ(box.text, text);
        EXPECT_EQ(box.style, ui::vbOKOnly + ui::vbInformation);
        EXPECT_EQ(box.title, "Payroll Accounts Linking");
        EXPECT_EQ(posting().count(), 1);
        toolkit.messages.clear();
    };

    ed.cmdOK.userClick();
    expectRefused("Invalid account head or not selected");
    EXPECT_TRUE(ed.cboAccountID.hasFocus());

    ASSERT_TRUE(ed.cboAccountID.userSelectText("Wages Control"));
    ed.txtDescription.userType("   ");
    ed.cmdOK.userClick();
    expectRefused("Description not entered");
    EXPECT_TRUE(ed.txtDescription.hasFocus());

    ed.txtDescription.userPaste("Net pay");
    ed.txtAmount.userPaste("");
    ed.cmdOK.userClick();
    expectRefused("Amount not entered");
    EXPECT_TRUE(ed.txtAmount.hasFocus());
    ed.txtAmount.userPaste("0.00");
    ed.cmdOK.userClick();
    expectRefused("Amount not entered");

    // A line gathered from the sources holds the account too.
    ed.txtAmount.userPaste("10");
    ed.cmdOK.userClick();
    expectRefused("Account already selected.");

    ASSERT_TRUE(ed.cboAccountID.userSelectText("Staff Suspense"));
    ed.txtAmount.userPaste("-10");  // a negative amount passes
    ed.cmdOK.userClick();
    EXPECT_TRUE(toolkit.messages.empty()) << lastMessage();
    EXPECT_EQ(posting().count(), 2);
    EXPECT_EQ(posting().cell(2, pst::DeptAmount), "10.00");  // credit of -10
}

TEST_F(JournalTest, GatheredLineChangesOnlyItsDescription) {
    addLine("Wages Control", 9102, 150, 0, 150, 37.5, "N", "old");
    addLine("Staff Suspense", 9101, 0, 0, -150, -37.5, "Y");
    auto& ed = openRow(1);
    EXPECT_FALSE(module->AddMode);
    EXPECT_FALSE(ed.cboAccountID.enabled());
    EXPECT_FALSE(ed.txtAmount.enabled());
    EXPECT_FALSE(ed.fraJournalType.enabled());
    EXPECT_TRUE(ed.txtDescription.enabled());
    EXPECT_EQ(ed.cboAccountID.text(), "Wages Control");
    EXPECT_EQ(ed.txtAmount.text(), "150");
    EXPECT_TRUE(ed.optDebit.value());
    EXPECT_EQ(ed.txtBalance.text(), "-150");  // the other lines only

    ed.txtDescription.userPaste("Net pay of October");
    ed.txtAmount.setText("999");  // what the editor holds besides is ignored for such a line
    ed.optCredit.setValue(true);
    ed.cmdOK.userClick();
    ASSERT_TRUE(toolkit.messages.empty()) << lastMessage();
    EXPECT_EQ(posting().cell(1, pst::Description), "Net pay of October");
    EXPECT_EQ(posting().cell(1, pst::DebitAmount), "150.00");
    EXPECT_EQ(posting().cell(1, pst::CreditAmount), "0.00");
    EXPECT_EQ(posting().cell(1, pst::DeptAmount), "150.00");
    EXPECT_EQ(posting().cell(1, pst::DebitAccountID), "9102");

    // The commit moved on to the next line, an added one: everything is editable again, and
    // a line with both amounts 0 shows as credit.
    EXPECT_EQ(posting().selectedIndex(), 2);
    EXPECT_EQ(ed.txtSlNo.text(), "2");
    EXPECT_TRUE(ed.cboAccountID.enabled());
    EXPECT_TRUE(ed.txtAmount.enabled());
    EXPECT_TRUE(ed.optCredit.value());

    // Editing, only the added lines hold their accounts: a gathered line's account is free.
    ASSERT_TRUE(ed.cboAccountID.userSelectText("Wages Control"));
    ed.txtDescription.userPaste("Wages paid");
    ed.txtAmount.userPaste("5");
    ed.cmdOK.userClick();
    EXPECT_TRUE(toolkit.messages.empty()) << lastMessage();
    EXPECT_EQ(posting().cell(2, pst::DebitAccountID), "9102");
}

TEST_F(JournalTest, SideIsProposedFromTheBalance) {
    auto& ed = openForAdd();
    EXPECT_EQ(ed.txtSlNo.text(), "1");
    EXPECT_EQ(ed.txtBalance.text(), "0.00");
    EXPECT_TRUE(ed.optDebit.value());
    // Shown, the empty line is the snapshot that later changes are measured against.
    EXPECT_FALSE(ui::ControlsChanged(ed));
    ed.txtDescription.userType("x");
    EXPECT_TRUE(ui::ControlsChanged(ed));
    ed.cmdCancel.userClick();
    EXPECT_FALSE(module->isLoaded("frmJournalDetails"));

    addLine("Wages Control", 9102, 0, 20, -20, -5, "N");
    auto& ed2 = openForAdd();
    EXPECT_EQ(ed2.txtBalance.text(), "-20.00");
    EXPECT_TRUE(ed2.optDebit.value());
    ed2.cmdCancel.userClick();

    addLine("Staff Suspense", 9101, 170, 0, 170, 42.5, "Y");
    auto& ed3 = openForAdd();
    EXPECT_EQ(ed3.txtBalance.text(), "150.00");
    EXPECT_TRUE(ed3.optCredit.value());
    EXPECT_EQ(ed3.txtSlNo.text(), "3");
    EXPECT_EQ(posting().count(), 2);  // closing wrote nothing back
}

TEST_F(JournalTest, NavigationButtonsFollowTheRowShown) {
    auto enabled = [](journal::frmJournalDetails& ed) {
        return std::string() + (ed.cmdFirst.enabled() ? "F" : "-") + (ed.cmdPrevious.enabled() ? "P" : "-") +
               (ed.cmdNext.enabled() ? "N" : "-") + (ed.cmdLast.enabled() ? "L" : "-");
    };

    addLine("Wages Control", 9102, 150, 0, 150, 37.5, "N", "first");
    auto& ed = openRow(1);
    EXPECT_EQ(enabled(ed), "--NL");
    module->AddMode = true;
    ed.cmdNext.userClick();  // nothing further to show, but the line is now being edited
    EXPECT_FALSE(module->AddMode);
    EXPECT_EQ(ed.txtDescription.text(), "first");
    EXPECT_EQ(enabled(ed), "--NL");
    ed.cmdCancel.userClick();

    addLine("Staff Suspense", 9101, 0, 100, -100, -25, "Y", "second");
    auto& ed2 = openRow(1);
    EXPECT_EQ(enabled(ed2), "--NL");
    ed2.cmdNext.userClick();
    EXPECT_EQ(enabled(ed2), "FP--");
    EXPECT_EQ(ed2.txtSlNo.text(), "2");
    EXPECT_EQ(posting().selectedIndex(), 2);
    ed2.cmdCancel.userClick();

    addLine("Orphan Account", 9103, 0, 0, 0, 0, "Y", "third");
    raw->execute(
        "insert into pExchangeRate (CompanyID, CurrencyID1, CurrencyID2, Rate) values (1, 71, 74, 2)");
    auto& ed3 = openRow(2);
    EXPECT_EQ(enabled(ed3), "FPNL");
    ed3.cmdLast.userClick();
    EXPECT_EQ(enabled(ed3), "FP--");
    EXPECT_EQ(ed3.txtDescription.text(), "third");

    // Moving drops what was not committed and takes a fresh snapshot.
    ed3.txtDescription.userPaste("changed");
    EXPECT_TRUE(ui::ControlsChanged(ed3));
    ed3.cmdPrevious.userClick();
    EXPECT_EQ(ed3.txtDescription.text(), "second");
    EXPECT_FALSE(ui::ControlsChanged(ed3));
    EXPECT_EQ(enabled(ed3), "FPNL");
    ed3.cmdFirst.userClick();
    EXPECT_EQ(enabled(ed3), "--NL");
    EXPECT_EQ(posting().selectedIndex(), 1);
    EXPECT_EQ(posting().cell(3, pst::Description), "third");

    // After a line is added in add mode, Last shows it for editing.
    ed3.cmdCancel.userClick();
    auto& ed4 = openForAdd();
    ASSERT_TRUE(ed4.cboAccountID.userSelectText("Petty Cash"));
    ed4.txtDescription.userPaste("fourth");
    ed4.txtAmount.userPaste("5");
    ed4.cmdOK.userClick();
    ASSERT_EQ(posting().count(), 4);
    EXPECT_TRUE(module->AddMode);
    ed4.cmdLast.userClick();
    EXPECT_FALSE(module->AddMode);
    EXPECT_EQ(ed4.txtSlNo.text(), "4");
    EXPECT_EQ(ed4.txtDescription.text(), "fourth");
    EXPECT_EQ(enabled(ed4), "FP--");
}

TEST_F(JournalTest, MissingExchangeRateFailsTheAccountChoice) {
    addLine("Orphan Account", 9103, 10, 0, 10, 2.5, "Y", "no rate");

    // Picked by the user the failure is shown, not logged: the click has no handler.
    auto& ed = openForAdd();
    ed.cboAccountID.userSelectText("Orphan Account");
    ASSERT_EQ(toolkit.errors.size(), 1u);
    EXPECT_EQ(toolkit.errors[0].number(), common::err::InvalidUseOfNull);
    EXPECT_FALSE(std::ifstream(data::errorLogPath()).good());
    ed.cmdCancel.userClick();

    // Shown from the list the line's account is chosen inside ItemSelected, which logs it.
    ASSERT_TRUE(module->AddMode);
    openRow(1);
    std::ifstream in(data::errorLogPath(), std::ios::binary);
    ASSERT_TRUE(in.good()) << data::errorLogPath();
    std::stringstream log;
    log << in.rdbuf();
    const std::string line = log.str();
    EXPECT_EQ(line.rfind(std::string("frmJournalDetails  :") + data::kComponentName + ":94:", 0), 0u) << line;
    EXPECT_NE(line.find(":Invalid use of Null:"), std::string::npos) << line;
    EXPECT_EQ(line.find("\r\n"), line.size() - 2) << line;
    EXPECT_NE(line.find(":ItemSelected:N\r\n"), std::string::npos) << line;
    ASSERT_FALSE(toolkit.messages.empty());
    EXPECT_EQ(toolkit.messages.back().request.text, "Invalid use of Null");
    EXPECT_EQ(toolkit.messages.back().request.icon(), ui::vbExclamation);
}

TEST_F(JournalTest, SavedEntryThatCannotChangeLocksTheEditor) {
    module->EntryMode = "E";
    auto& grid = module->FrmMaster().flexMaster;
    ASSERT_GE(grid.rows(), 2);
    grid.setRow(1);
    ASSERT_FALSE(grid.textMatrix(1, 0).empty());
    addLine("Wages Control", 9102, 150, 0, 150, 37.5, "Y");

    linking->cmdOk.setEnabled(false);
    auto& ed = openRow(1);
    EXPECT_TRUE(ed.cboAccountID.locked());
    EXPECT_TRUE(ed.txtDescription.locked());
    EXPECT_TRUE(ed.txtAmount.locked());
    EXPECT_FALSE(ed.cmdOK.enabled());
    EXPECT_FALSE(ed.fraJournal.enabled());
    // Showing an added line enables its side again, but the frame around it keeps it out of reach.
    EXPECT_TRUE(ed.fraJournalType.enabled());
    EXPECT_FALSE(ed.optCredit.reachable());
    ed.cmdCancel.userClick();

    linking->cmdOk.setEnabled(true);
    auto& ed2 = openRow(1);
    EXPECT_FALSE(ed2.cboAccountID.locked());
    EXPECT_FALSE(ed2.txtAmount.locked());
    EXPECT_TRUE(ed2.cmdOK.enabled());
    EXPECT_TRUE(ed2.fraJournal.enabled());
}

}  // namespace
