// The ledger check under every save: whatever lets a wrong entry through above it (here a
// trigger of the database stands in for the fault), the save is refused with one sentence,
// written to the error log, and nothing of it stays.
#include "linking/LedgerCheck.h"
#include "linking_fixture.h"

namespace linkingtest {
namespace {

// A trigger that changes posting line n of the entry as it is written.
std::string onLine(int n, const std::string& set) {
    const std::string line = "DetailID=" + std::to_string(n);
    return "create trigger fault after insert on paPayAccLinkPostingDetails when new." + line +
           " begin update paPayAccLinkPostingDetails set " + set + " where TransID=new.TransID and " + line +
           "; end";
}
const std::string kAgain = ": press Ok again, and if it happens again, report it to support.";

TEST_F(LinkingTest, TheLedgerCheckRefusesWhatAFaultAboveItWouldHaveSaved) {
    const std::string deductions =
        "Line 3, Salary Deductions Payable - AED, is a credit of 350.00 AED whose converted amounts stand on "
        "the other side: open the line in the editor and save it again.";
    const std::pair<std::string, std::string> cases[] = {
        {"create trigger fault after update of mppPosted on pMonthlyPayRollProcessing when "
         "new.mppProcessID=9002 begin update pMonthlyPayRollProcessing set mppPosted=0 where "
         "mppProcessID=9002; end",
         "Payroll run PRT/9002 is linked by this entry but was not marked posted" + kAgain},
        {"create trigger fault after insert on paPayAccLinkDetails when new.RefTransID=9002 and "
         "new.TransID=6 begin delete from paPayAccLinkDetails where TransID=6 and RefTransID=9002; end",
         "This entry holds 8 source lines where 12 were written" + kAgain},
        {onLine(2, "AccountID=4711"),
         "Line 2, Staff Allowances - AED, names an account that is not in the accounts master: check the "
         "accounts and the salary account settings."},
        {onLine(1, "CompAmount=CompAmount+1"),
         "The company amounts of this entry do not balance (they differ by 1.00 AED): the exchange rates of "
         "its currencies do not agree; balance it with a line in the currency of the lines that differ, or "
         "check the exchange rates to AED."},
        {onLine(3, "DeptAmount=-DeptAmount, CompAmount=-CompAmount"), deductions},
        // Short on the other side, one converted amount missing, one on the wrong side alone.
        {onLine(1, "DeptAmount=DeptAmount-1"),
         "The department amounts of this entry do not balance (they differ by -1.00 AED): check the "
         "posting lines' department amounts."},
        {onLine(2, "DeptAmount=0"),
         "Line 2, Staff Allowances - AED, has no department amount: check the exchange rate from AED to "
         "AED."},
        {onLine(3, "CompAmount=-CompAmount"), deductions},
    };
    const std::string before = dbState();
    for (const auto& [fault, sentence] : cases) {
        raw->execute(fault);
        auto& f = threeRuns();
        f.chkSelectAll.userSet(1);
        toolkit.messages.clear();
        f.cmdOk.userClick();
        EXPECT_EQ(lastMessage(), sentence);
        EXPECT_TRUE(linkingOpen());
        toolkit.answers = {ui::vbNo};
        f.cmdClose.userClick();
        raw->execute("drop trigger fault");
        raw->execute("delete from pMonthlyPayRollProcessing where mppProcessID in (9001, 9002, 9003)");
        EXPECT_EQ(dbState(), before) << fault;
    }
    EXPECT_NE(testsupport::slurp(data::errorLogPath()).find("LedgerCheck"), std::string::npos);
}

// Half a cent more for each line by hand whose currency is converted: into the department's
// currency for the department amounts, into the company's for the company amounts. Here a
// rupee department of a dirham company, with a dirham line by hand.
TEST_F(LinkingTest, TheLedgerCheckAllowsHalfACentPerLineConvertedIntoThatCurrency) {
    raw->execute(
        "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransType) "
        "values (1, 900, 5, 'PAL/900', 'P')");
    data::TableNames tables;
    data::AssignTableName(*raw, tables);
    auto check = [&](const char* deptOfHandLine, const char* compOfHandLine) {
        raw->execute("delete from paPayAccLinkPostingDetails where TransID=900");
        raw->execute(
            "insert into paPayAccLinkPostingDetails (CompanyID, TransID, DetailID, DepartmentID, AccountID, "
            "AccountDesc, AccCurrID, AccCurrSymbol, DebitAmount, CreditAmount, DeptAmount, CompAmount, "
            "Editable) values (1, 900, 1, 5, 1021, 'Basic Salaries - INR', 3, 'INR', 100, 0, 100, 4.41, "
            "'N'), (1, 900, 2, 5, 1001, 'Basic Salaries - AED', 1, 'AED', 0, 4.41, " +
            std::string(deptOfHandLine) + ", " + compOfHandLine + ", 'Y')");
        return linking::LedgerCheck(*raw, tables, {1, 900, true, {}, {}});
    };
    EXPECT_EQ(check("-100", "-4.41"), "");
    EXPECT_EQ(check("-99.992", "-4.41"), "");  // one line converted into rupees
    EXPECT_EQ(check("-100", "-4.402").substr(0, 46), "The company amounts of this entry do not balan");
    // An account of another company is no account of this one.
    check("-100", "-4.41");
    raw->execute(
        "insert into aAccountMaster (CompanyID, AccountID, AccountDesc, CurrencyID) values (2, 4711, "
        "'Elsewhere', 1)");
    raw->execute("update paPayAccLinkPostingDetails set AccountID=4711 where TransID=900 and DetailID=2");
    EXPECT_EQ(linking::LedgerCheck(*raw, tables, {1, 900, true, {}, {}}).substr(0, 72),
              "Line 2, Basic Salaries - AED, names an account that is not in the accoun");
    // The sources flagged and the sources linked must be the same.
    check("-100", "-4.41");
    EXPECT_EQ(
        linking::LedgerCheck(*raw, tables, {1, 900, true, {9001}, {}}),
        "Payroll run 9001 would be marked posted although this entry does not link it: press Show again "
        "and tick what the entry should link.");
    EXPECT_EQ(linking::LedgerCheck(*raw, tables, {1, 900, true, {}, {9001}}),
              "Payroll run 9001 is linked by this entry but was not marked posted" + kAgain);
}

}  // namespace
}  // namespace linkingtest
