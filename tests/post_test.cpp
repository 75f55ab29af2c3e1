// payacclink post as the accountant and the scheduler run it: the real program on copies of
// the demo database.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <string>
#include <thread>

#include "TestSupport.h"
#include "browser/PostAllDepartments.h"
#include "data/sqlite/SqliteConnection.h"
#include "support/Oracle.h"

namespace {

using testsupport::kProgram;
using testsupport::slurp;
const std::string kOctober = " --type Payroll --from 01/10/2026 --to 31/10/2026 --date 28/10/2026";

class PostTest : public ::testing::Test {
protected:
    using Result = testsupport::ProgramResult;
    void SetUp() override { std::filesystem::copy_file(testsupport::demoTemplate(), tmp.file("demo.db")); }
    Result post(const std::string& args) {
        return testsupport::runProgram(tmp.path().string(), "post --db demo.db " + args);
    }
    // Entries, detail rows, posting lines and runs flagged posted: what a run writes.
    std::string written() {
        std::string s;
        for (const char* t : {"paPayAccLinkHeader", "paPayAccLinkDetails", "paPayAccLinkPostingDetails"})
            s += scalar(std::string("select count(*) from ") + t) + " ";
        return s + scalar("select sum(mppPosted) from pMonthlyPayRollProcessing");
    }
    // The ledger whole and every entry the runs made as the oracle has it.
    std::string faults() {
        auto c = data::sqlite::open(tmp.file("demo.db"));
        testsupport::Oracle o(*c, 1);
        std::string s = testsupport::LedgerFaults(*c);
        for (auto rs = c->open("select TransID from paPayAccLinkHeader where CompanyID=1 and TransID>5");
             !rs->eof(); rs->moveNext())
            s += o.entryFaults(rs->field(0).toInt32());
        return s;
    }
    std::string scalar(const std::string& sql) {
        return data::sqlite::open(tmp.file("demo.db"))->open(sql)->field(0).toText();
    }
    testsupport::TempDir tmp;
};

TEST_F(PostTest, PostsEachDepartmentOnceAndADryRunWritesNothing) {
    const std::string before = written();
    Result dry = post(kOctober + " --dry-run");
    ASSERT_EQ(dry.status, 0) << dry.err;
    EXPECT_EQ(written(), before);
    EXPECT_NE(dry.out.find("Basic Salaries - INR"), std::string::npos) << dry.out;  // its posting lines
    EXPECT_NE(dry.out.find("5 would post"), std::string::npos) << dry.out;

    const std::string remarks = "October payroll" + std::string(240, '.');  // as long as the column
    Result run = post(kOctober + " --remarks '" + remarks + "'");
    ASSERT_EQ(run.status, 0) << run.err;
    // In name order, each with its number, sources, lines and balanced totals per currency.
    for (const char* line :
         {"Administration               PAL/6             30      8       339675.00       339675.00  AED",
          "Engineering Centre Pune      PAL/7             60      4      7956000.00      7956000.00  INR",
          "Site Operations              PAL/10           160      8      1708000.00      1708000.00  AED",
          "Total                        5 posted         320     32      2448225.00      2448225.00  AED"})
        EXPECT_NE(run.out.find(line), std::string::npos) << line << "\n" << run.out;
    // Nothing on standard error but the progress a slow run reports.
    EXPECT_EQ(std::regex_replace(run.err, std::regex("department [0-9]+ of [0-9]+: [^\n]*\n"), ""), "");
    EXPECT_EQ(faults(), "");
    EXPECT_EQ(scalar("select count(*) from paPayAccLinkHeader where Remarks = '" + remarks +
                     "' and TransType = 'P' and TransDate = '2026-10-28'"),
              "5");
    const std::string after = written();

    Result again = post(kOctober);
    EXPECT_EQ(again.status, 0);
    EXPECT_NE(again.out.find("0 posted, 5 with nothing to post"), std::string::npos) << again.out;
    EXPECT_EQ(written(), after) << "a second run posts nothing";

    Result one =
        post("--type 'Salary Advances' --from 01/10/2026 --to 31/10/2026 --date 28/10/2026 --department 1");
    EXPECT_EQ(one.status, 0) << one.err;
    EXPECT_NE(one.out.find("Administration               PAL/11"), std::string::npos) << one.out;
    EXPECT_EQ(one.out.find("Export Sales"), std::string::npos) << one.out;

    // The totals keep debits and credits apart in each currency, where lines in one currency do
    // not balance on their own.
    browser::DepartmentOutcome d;
    d.status = browser::DepartmentOutcome::Status::Posted;
    d.totals = {{"USD", {10, 4}}, {"AED", {22.02, 44}}};
    EXPECT_NE(browser::PostSummary({d, d}, false, false)
                  .find(std::string(67, ' ') + "20.00            8.00  USD\n"),
              std::string::npos);
}

TEST_F(PostTest, RefusedDepartmentsAreReportedWithTheScreensMessageAndTheRestPosted) {
    // Deductions of the rupee payroll configured as a debit: only the Pune department's
    // entry cannot balance.
    data::sqlite::open(tmp.file("demo.db"))
        ->execute(
            "update paSalaryAccountsConfig set sacCredit = 0 where sacCompanyID = 1 and sacCurrencyID = 3 "
            "and sacComponent = 'D'");
    Result r = post(kOctober);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(
        r.out.find(
            "Engineering Centre Pune                        60      4      8343600.00      7568400.00  INR\n"
            "    not posted: Debit total and Credit total must be same"),
        std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("4 posted, 0 with nothing to post, 1 not posted"), std::string::npos) << r.out;
    EXPECT_EQ(faults(), "");

    const std::string before = written();
    struct Case {
        std::string args, message;
        int status;
    } cases[] = {
        {"--company 2" + kOctober,
         "Housekeeping                 not posted: All the settings are not entered. Set all the settings to "
         "continue.",
         1},
        {"--department 9" + kOctober, "payacclink: no department 9 in company 1", 2},
        {"--type Payrol --from 01/10/2026 --to 31/10/2026", "--type: Payrol not in", 2},
        {"--type Payroll --from 31/10/2026 --to 01/10/2026", "--to comes before --from", 2},
        {"--type Payroll --from 1.10.2026 --to 31/10/2026", "needs a date written dd/MM/yyyy", 2},
        {"--type Payroll --to 31/10/2026", "--from is required", 2},
    };
    for (const auto& c : cases) {
        Result got = post(c.args);
        EXPECT_EQ(got.status, c.status) << c.args;
        EXPECT_NE((got.out + got.err).find(c.message), std::string::npos) << c.args << "\n"
                                                                          << got.out << got.err;
    }
    EXPECT_EQ(written(), before);
}

TEST_F(PostTest, ADepartmentStopsAtItsFirstMessageOrErrorAndNothingHalfListedIsSaved) {
    struct Case {
        const char* change;
        std::vector<std::string> shown;
        int status;
    } cases[] = {
        // Without the dollar rates the listing of each department with dollar staff raises midway.
        {"delete from pExchangeRate where CompanyID=1 and CurrencyID2=2",
         {"Administration               not posted: error 94: Invalid use of Null",
          "2 posted, 0 with nothing to post, 3 not posted"},
         1},
        // A rate of nought lists every dollar line without a dirham amount: the ledger check
        // refuses what the balance alone would pass.
        {"update pExchangeRate set Rate=0 where CompanyID=1 and CurrencyID1=1 and CurrencyID2=2",
         {"not posted: Line 5, Basic Salaries - USD, has no department amount: check the exchange rate from "
          "USD to AED.",
          "not posted: Line 1, Basic Salaries - USD, has no company amount: check the exchange rate from USD "
          "to AED.",
          "2 posted, 0 with nothing to post, 3 not posted"},
         1},
        // The administrator without a rights row loses New on the first saved row; the browser is
        // opened again for the next department, as the user would.
        {"delete from puserrights where companyid=1 and userid=1", {"5 posted, 0 with nothing to post"}, 0},
    };
    for (const auto& c : cases) {
        std::filesystem::remove(tmp.file("demo.db"));
        std::filesystem::copy_file(testsupport::demoTemplate(), tmp.file("demo.db"));
        data::sqlite::open(tmp.file("demo.db"))->execute(c.change);
        Result r = post(kOctober);
        EXPECT_EQ(r.status, c.status) << c.change << "\n" << r.out << r.err;
        for (const auto& text : c.shown)
            EXPECT_NE(r.out.find(text), std::string::npos) << text << "\n" << r.out;
        EXPECT_EQ(faults(), "") << c.change;  // no line without its amounts, no run flagged unlinked
    }
}

TEST_F(PostTest, AKilledRunLeavesWholeDepartmentsOnly) {
    // Where a complete run ends.
    ASSERT_EQ(post(kOctober).status, 0);
    const std::string complete = written();
    std::filesystem::remove(tmp.file("demo.db"));
    std::filesystem::copy_file(testsupport::demoTemplate(), tmp.file("demo.db"));

    // Killed with the third department's rows written and not committed.
    const std::string cmd =
        "cd '" + tmp.path().string() + "' && { PAYACC_TEST_PAUSE_BEFORE_COMMIT=3 PAYACC_LOG_DIR=. '" +
        kProgram + "' post --db demo.db" + kOctober + " </dev/null >out.txt 2>err.txt & echo $! >pid.txt; }";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    for (int i = 0; i < 600 && slurp(tmp.file("err.txt")).find("paused") == std::string::npos; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ASSERT_NE(slurp(tmp.file("err.txt")).find("paused before commit 3"), std::string::npos);
    ::kill(std::stoi(slurp(tmp.file("pid.txt"))), SIGKILL);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));

    EXPECT_EQ(scalar("select count(*) from paPayAccLinkHeader"), "8") << "two of five";
    EXPECT_EQ(faults(), "");
    Result rest = post(kOctober);
    EXPECT_EQ(rest.status, 0) << rest.err;
    EXPECT_NE(rest.out.find("3 posted, 2 with nothing to post"), std::string::npos) << rest.out;
    EXPECT_EQ(written(), complete) << "the rest posted by a second run, as one run would have";
}

}  // namespace
