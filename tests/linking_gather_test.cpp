// The linking screen's gathering: settings check, the type and department checks of Show,
// retrieval, ticks, Select All and the posting lines.
#include "linking_fixture.h"

namespace linkingtest {
namespace {

// The test department keeps its books in rupees here: department, company and account amounts
// all differ.
class GatherTest : public LinkingTest {
protected:
    void SetUp() override {
        LinkingTest::SetUp();
        raw->execute("update pDepartmentMaster set DepCurrencyID=3 where CompanyID=1 and DepartmentID=9");
    }
    void config(const std::string& rows) {
        raw->execute(
            "insert into paSalaryAccountsConfig (sacCompanyID, sacCurrencyID, sacComponent, sacSalaryaccID, "
            "sacCredit) values " +
            rows);
    }
    static std::string ticks(const ui::ListView& l) {
        std::string s;
        for (int r = 1; r <= l.count(); ++r) s += l.checked(r) ? "x" : "-";
        return s;
    }
};

TEST_F(GatherTest, SettingsCheckWantsFourSalaryAccountsPerCurrencyInUseAndEveryLinkAccount) {
    // Company 2 pays in two currencies; its link settings complete, the salary rows decide.
    raw->execute("update paPayAccLinkSettings set adcAccountID=2006 where CompanyID=2 and SettingCode='H'");
    raw->execute(
        "insert into paPayAccLinkSettings (CompanyID, SettingCode, SettingName, adcAccountID) "
        "values (2, 'CASH', 'Cash', 3001)");
    config("(2, 2, 'B', 1001, 0), (2, 2, 'A', 1002, 0), (2, 2, 'D', 1003, 1)");
    module->session.companyId = 2;
    auto& f = openNew();
    EXPECT_EQ(lastMessage(), "All the settings are not entered. Set all the settings to continue.");
    EXPECT_FALSE(f.cmdOk.enabled());
    EXPECT_FALSE(f.fraLoanApp.enabled());

    config("(2, 2, 'N', 1004, 1)");
    EXPECT_TRUE(f.FnCheckAllSettingsEntered());  // eight
    config("(2, 2, 'N', 1004, 1)");
    EXPECT_FALSE(f.FnCheckAllSettingsEntered());  // nine
    raw->execute(
        "delete from paSalaryAccountsConfig where sacCompanyID=2 and sacCurrencyID=2 and sacComponent='N'");
    raw->execute(
        "update paPayAccLinkSettings set adcAccountID=NULL where CompanyID=2 and SettingCode='CASH'");
    EXPECT_FALSE(f.FnCheckAllSettingsEntered());  // a link setting without an account
}

TEST_F(GatherTest, PayrollRunsOverTheirAccountLines) {
    auto& f = threeRuns();
    EXPECT_TRUE(traced("exec spPAGetPayrollAccountDetails 1,'20261128','20261128',9"));
    ASSERT_EQ(f.lvwTransactions.count(), 3);
    // Name under "Emp No", number under "Employee".
    EXPECT_EQ(rowCells(f.lvwTransactions, 1), "1|PRT/9001|28/Nov/2026|Tester 901|T901|9001|9");
    const auto rows = oracle().listed('P', 9, DateTime::ymd(2026, 11, 28), DateTime::ymd(2026, 11, 28));
    EXPECT_EQ(text(shownRows(f.lvwTransactionDetails)), text(rows));
    EXPECT_EQ(rowCells(f.lvwTransactionDetails, 1),
              "1|PRT/9001|28/Nov/2026|T901|Tester 901|1000|0|9001|1001|9|Basic Salaries - AED|Basic "
              "Salary|1000|22680.00|1000.00|AED|AED|1|1|901");
    EXPECT_EQ(f.lvwPostingDetails.columnHeader(11) + f.lvwPostingDetails.columnHeader(12) +
                  f.lvwTransactionDetails.columnHeader(13) + f.lvwTransactionDetails.columnHeader(14) +
                  f.lblTotalAmt.caption(),
              "Amount(AED)Amount(INR)Amount(INR)Amount(AED)Balance(INR) :");
    auto views = [&] {
        return std::string(f.lvwTransactions.visible() ? "T" : "-") +
               (f.lvwTransactionDetails.visible() ? "D" : "-") + (f.cmdShowDetails.visible() ? "B" : "-");
    };
    EXPECT_EQ(views(), "T-B");
    f.cmdShowDetails.userClick();
    EXPECT_EQ(views() + f.cmdShowDetails.caption(), "-DB&s");
    f.cmdShowDetails.userClick();
    EXPECT_EQ(f.cmdShowDetails.caption(), "&d");

    // Ticking a run ticks exactly its lines and builds one line per account.
    f.lvwTransactions.userToggle(1);
    EXPECT_EQ(ticks(f.lvwTransactionDetails), "xxxx--------");
    expectPosting(f, ticked(rows, {9001}));
    EXPECT_EQ(f.chkSelectAll.value(), 0);

    // A payroll line is neither ticked nor unticked on its own.
    f.cmdShowDetails.userClick();
    f.lvwTransactionDetails.userToggle(5);
    f.lvwTransactionDetails.userToggle(2);
    EXPECT_EQ(ticks(f.lvwTransactionDetails), "xxxx--------");
    EXPECT_EQ(f.lvwPostingDetails.count(), 4);

    // Unticking drops the emptied lines and renumbers the rest.
    f.cmdShowDetails.userClick();
    f.lvwTransactions.userToggle(3);
    f.lvwTransactions.userToggle(1);
    expectPosting(f, ticked(rows, {9003}));
    for (int r = 1; r <= 4; ++r) EXPECT_EQ(f.lvwPostingDetails.text(r), std::to_string(r));
    EXPECT_EQ(ticks(f.lvwTransactionDetails), "--------xxxx");
}

TEST_F(GatherTest, SelectAllCountsRowsAlreadyTickedOnceAndAsksBeforeDroppingThem) {
    auto& f = threeRuns();
    f.lvwTransactions.userToggle(2);
    f.chkSelectAll.userClick();
    EXPECT_TRUE(toolkit.messages.empty());
    EXPECT_EQ(ticks(f.lvwTransactions) + ticks(f.lvwTransactionDetails), "xxxxxxxxxxxxxxx");
    EXPECT_EQ(f.chkSelectAll.value(), 1);

    // Unticking one run unticks the box without a question; ticking it again ticks the box.
    f.lvwTransactions.userToggle(3);
    EXPECT_EQ(f.chkSelectAll.value(), 0);
    f.lvwTransactions.userToggle(3);
    EXPECT_EQ(f.chkSelectAll.value(), 1);
    EXPECT_TRUE(toolkit.messages.empty());

    const std::string before = dump(f.lvwPostingDetails);
    toolkit.answers = {ui::vbNo, ui::vbYes};
    f.chkSelectAll.userClick();
    ASSERT_EQ(toolkit.messages.size(), 1u);
    EXPECT_EQ(lastMessage(), "All the selected details will be lost. Do you want to continye?");
    EXPECT_EQ(lastBox(toolkit).style, ui::vbYesNo + ui::vbQuestion + ui::vbDefaultButton2);
    EXPECT_EQ(f.chkSelectAll.value(), 1);
    EXPECT_EQ(dump(f.lvwPostingDetails), before);
    EXPECT_FALSE(f.SelectingAll);

    f.chkSelectAll.userClick();
    EXPECT_EQ(f.chkSelectAll.value(), 0);
    EXPECT_EQ(ticks(f.lvwTransactions) + ticks(f.lvwTransactionDetails), "---------------");
    EXPECT_EQ(f.lvwPostingDetails.count(), 0);
}

TEST_F(GatherTest, ShowNeedsATypeAndADepartmentAndPaymentsGoStraightToTheDetailList) {
    addPayment(9101, "H", 901, 1234.5, "2026-11-05");
    addPayment(9102, "H", 902, 300, "2026-11-06", 2);
    addPayment(9103, "E", 903, 50, "2026-11-06");
    auto& f = openNew();
    EXPECT_TRUE(toolkit.messages.empty());
    EXPECT_TRUE(f.cmdOk.enabled());
    EXPECT_EQ(f.cboDepartment.list(0), "Administration");  // by name
    f.cmdShow.userClick();
    EXPECT_EQ(lastMessage(), "Select a type.");
    EXPECT_EQ(lastBox(toolkit).style, ui::vbOKOnly + ui::vbInformation);
    EXPECT_EQ(f.activeControl(), &f.cboType);
    f.cboType.userSelectText("Payroll");
    f.cmdShow.userClick();
    EXPECT_EQ(lastMessage(), "Select a department.");
    EXPECT_EQ(f.activeControl(), &f.cboDepartment);
    // A range that ends before it starts is refused before anything is asked of the database.
    f.cboDepartment.userSelect(0);
    f.dtpFromDate.userSet(DateTime::ymd(2026, 10, 2));
    f.dtpToDate.userSet(DateTime::ymd(2026, 10, 1));
    trace->clear();
    f.cmdShow.userClick();
    EXPECT_EQ(lastMessage(), linking::frmPayrollAccountsLinking::kRangeBackwards);
    EXPECT_EQ(f.activeControl(), &f.dtpFromDate);
    EXPECT_TRUE(trace->statements().empty());

    toolkit.messages.clear();
    gather(f, "Holded Salaries", DateTime::ymd(2026, 11, 20));
    EXPECT_TRUE(traced("exec spPAGetPaymentOthersDetails 1,'20261101','20261130',9,'H'"));
    EXPECT_EQ(f.lvwTransactions.count(), 0);
    EXPECT_FALSE(f.lvwTransactions.visible() || f.cmdShowDetails.visible());
    EXPECT_TRUE(f.lvwTransactionDetails.visible());
    // A debit and a cash credit per payment.
    const auto rows = oracle().listed('H', 9, DateTime::ymd(2026, 11, 1), DateTime::ymd(2026, 11, 30));
    EXPECT_EQ(text(shownRows(f.lvwTransactionDetails)), text(rows));
    EXPECT_EQ(f.lvwTransactionDetails.cell(4, linking::det::Type), "Holded Salary");
    EXPECT_EQ(f.lvwPostingDetails.columnHeader(12), "Amount(INR)");
    EXPECT_EQ(f.lblTotalAmt.caption(), "Balance :");  // payments leave the label alone

    // Ticked one by one; Select All itself does nothing for payments.
    testsupport::PostingList want;
    for (int d : {1, 2, 4, 3}) {
        f.lvwTransactionDetails.userToggle(d);
        want.tick(rows[d - 1], true);
    }
    expectPosting(f, want);
    f.chkSelectAll.userClick();
    expectPosting(f, want);
    EXPECT_TRUE(toolkit.messages.empty());

    // Show again starts afresh.
    f.cmdShow.userClick();
    EXPECT_EQ(f.lvwPostingDetails.count(), 0);
    EXPECT_EQ(ticks(f.lvwTransactionDetails), "----");
}

// The pending-loan query runs (the embedded adapter, like SQL Server 2019, refuses the old
// "*=" joins), and its outer join still counts an application without an issue at its
// sanctioned amount.
TEST_F(GatherTest, PendingLoanQueryJoinsInTheStandardForm) {
    raw->execute(
        "insert into pLoanApplication (laCompanyID, laLoanAppID, laAppType, laEmployeeID, laLoanID, "
        "laSanctionAmount) values (1, 1, 'L', 5, 7, 1000), (1, 2, 'L', 5, 7, 500), (1, 3, 'A', 5, 7, 80), "
        "(2, 4, 'L', 5, 7, 60)");
    raw->execute("insert into pLoansIssue (liCompanyID, liLoanAppID, liCurrentBalance) values (1, 1, 300)");
    EXPECT_DOUBLE_EQ(openNew().fnPrevPendingLoanAmt(5, 7), 800.0);
}

}  // namespace
}  // namespace linkingtest
