// The program as it runs outside the source tree: databases made by init (bare, of an older
// build, with demo data dated from today) and the command line's help and version.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "TestSupport.h"
#include "common/DateTime.h"
#include "data/sqlite/SqliteConnection.h"

namespace {

const std::string kBinary = PAYACC_BINARY_DIR "/app/payacclink";

struct Result {
    int status;
    std::string out, err;
};

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

class InstallTest : public ::testing::Test {
protected:
    // Runs the program from an empty folder, with no way back to the sources: the procedures
    // and schema must come from the program itself.
    Result run(const std::string& args, const std::string& env = "") {
        std::string out = tmp.file("out.txt"), err = tmp.file("err.txt");
        std::string cmd = "cd '" + tmp.path().string() +
                          "' && env -u PAYACC_PROCEDURE_DIR -u PAYACC_DEMO_DATE " + env +
                          " PAYACC_LOG_DIR='" + tmp.path().string() + "' timeout 120 '" + kBinary + "' " +
                          args + " </dev/null >'" + out + "' 2>'" + err + "'";
        int raw = std::system(cmd.c_str());
        return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(out), slurp(err)};
    }
    std::string write(const std::string& name, const std::string& text) {
        std::ofstream(tmp.file(name), std::ios::binary) << text;
        return tmp.file(name);
    }
    long long count(const std::string& db, const std::string& sql) {
        auto c = data::sqlite::open(tmp.file(db));
        return c->open(sql)->field(0).toInt64();
    }
    testsupport::TempDir tmp;
};

// What the suite adds before a company can use the component: the company, its settings row
// and a user with rights.
const char* const kFirstCompany =
    "insert into pCompanyMaster (CompanyID, CompanyName, CurrencyID) values (1, 'First', 1);"
    "insert into pCurrencyMaster (CompanyID, CurrencyID, Symbol, CurrencyName) values (1, 1, 'EUR', 'Euro');"
    "insert into psettings (companyid, noofpreviousdays) values (1, 30);"
    "insert into pusers (userid, username) values (1, 'admin');"
    "insert into puserrights (companyid, userid, interfaceid, FunctionRights) values (1, 1, 60, 'NEDP');";

const char* const kBrowse =
    "expect FrmMaster \"Payroll Accounts Linking\"\n"
    "expect flexMaster.rows 1\n"
    "expect-cell flexMaster 0 1 Trans No\n"
    "expect cmdnew.enabled true\n"
    "close\n";

TEST_F(InstallTest, ABareDatabaseWithOneCompanyOpensAnEmptyBrowser) {
    ASSERT_EQ(run("init bare.db").status, 0);
    data::sqlite::open(tmp.file("bare.db"))->execute(kFirstCompany);
    write("browse.txt", kBrowse);
    Result r = run("script browse.txt --db bare.db");
    EXPECT_EQ(r.status, 0) << r.out << r.err;
}

TEST_F(InstallTest, ADatabaseOfAnOlderBuildGetsItsMappingAndOpens) {
    ASSERT_EQ(run("init old.db").status, 0);
    {
        // The first builds wrote the mapping and captions only with the demo data.
        auto c = data::sqlite::open(tmp.file("old.db"));
        c->execute("delete from linktable");
        c->execute("delete from ptablecolumns");
        c->execute("delete from ptables");
        c->execute("PRAGMA user_version = 0");
        c->execute(kFirstCompany);
        c->execute("insert into linktable values ('pDepartment', 'pDepartmentMaster')");
    }
    write("browse.txt", kBrowse);
    Result r = run("script browse.txt --db old.db");
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(count("old.db", "PRAGMA user_version"), data::sqlite::kSchemaVersion);
    EXPECT_EQ(count("old.db", "select count(*) from linktable where tablename = 'pDepartment'"), 1)
        << "a row the installation has is not given twice";
    EXPECT_EQ(count("old.db", "select count(*) from linktable"), 15);
}

TEST_F(InstallTest, TheDemoHasRunsToPostOnTheDayItIsMade) {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    const auto today = common::DateTime::ymd(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);

    ASSERT_EQ(run("init demo.db --demo").status, 0);
    EXPECT_EQ(count("demo.db", "select count(*) from pMonthlyPayRollProcessing where mppProcessedDate > '" +
                                   common::isoDate(today) + "'"),
              0);
    // New, Payroll, a department and Show, on today's date as a first start has it.
    write("first.txt",
          "click cmdnew\n"
          "select cboType Payroll\n"
          "select cboDepartment Administration\n"
          "click cmdShow\n"
          "dump lvwTransactions\n");
    Result r = run("script first.txt --db demo.db");
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("\n1\t[ ]\t"), std::string::npos) << r.out;

    // A fixed day gives the same data whenever it is made.
    ASSERT_EQ(run("init fixed.db --demo --as-of 28/10/2026").status, 0);
    EXPECT_EQ(count("fixed.db",
                    "select count(distinct mppProcessedDate) from pMonthlyPayRollProcessing "
                    "where mppProcessedDate in ('2026-08-28', '2026-09-28', '2026-10-28')"),
              3);
    ASSERT_EQ(run("init env.db --demo", "PAYACC_DEMO_DATE=28/10/2026").status, 0);
    EXPECT_EQ(count("env.db", "select max(phDate) from pPaymentHeader"),
              count("fixed.db", "select max(phDate) from pPaymentHeader"));
    EXPECT_EQ(run("init bad.db --demo --as-of 2026-10-28").status, 2);
    EXPECT_EQ(run("init bad.db --as-of 28/10/2026").status, 2) << "--as-of dates demo data only";
}

TEST_F(InstallTest, HelpPerModeAndVersion) {
    Result version = run("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("payacclink ", 0), 0u) << version.out;

    Result help = run("--help");
    EXPECT_EQ(help.status, 0);
    for (const char* mode : {"gui", "script", "init"}) EXPECT_NE(help.out.find(mode), std::string::npos);
    EXPECT_NE(help.out.find(tmp.path().string() + "/QORPayAccLinkingError.log"), std::string::npos)
        << "says where the error log goes\n"
        << help.out;

    Result init = run("init --help");
    EXPECT_EQ(init.status, 0);
    EXPECT_NE(init.out.find("--as-of"), std::string::npos) << init.out;
    EXPECT_EQ(init.out.find("--trace-sql"), std::string::npos) << "only init's own options\n" << init.out;

    Result bad = run("init --bogus x.db");
    EXPECT_EQ(bad.status, 2);
    EXPECT_EQ(bad.err.find('\n'), bad.err.size() - 1) << bad.err;
}

}  // namespace
