// The host program as a user runs it, from a folder of its own with no way back to the sources:
// exit statuses and refusals, init (whole or nothing, bare, older builds, the demo), scripts, help.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <set>
#include <vector>

#include "TestSupport.h"
#include "data/sqlite/SqliteConnection.h"

namespace {

using testsupport::ProgramResult;

class HostTest : public ::testing::Test {
protected:
    // The procedures and schema must come from the program itself.
    ProgramResult run(const std::string& args, const std::string& env = "") {
        return testsupport::runProgram(
            tmp.path().string(), args,
            "-u PAYACC_PROCEDURE_DIR -u PAYACC_DEMO_DATE -u DISPLAY -u QT_QPA_PLATFORM " + env);
    }
    void write(const std::string& name, const std::string& text) {
        std::ofstream(tmp.file(name), std::ios::binary) << text;
    }
    data::ConnectionPtr open(const std::string& db) {
        data::sqlite::OpenOptions o;
        o.create = true;
        return data::sqlite::open(tmp.file(db), o);
    }
    long long count(const std::string& db, const std::string& sql) {
        return open(db)->open(sql)->field(0).toInt64();
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

TEST_F(HostTest, EachUnusableStartOrReportGivesOneLineAndStatusTwo) {
    const ProgramResult killed = run("init new.db --demo", "PAYACC_TEST_KILL_INIT=before-rename");
    EXPECT_EQ(killed.status, 128 + SIGKILL) << killed.err;
    std::set<std::string> files;
    for (const auto& e : std::filesystem::directory_iterator(tmp.path())) files.insert(e.path().filename());
    EXPECT_EQ(files, (std::set<std::string>{"err.txt", "out.txt"})) << "a killed init left a file behind";

    ASSERT_EQ(run("init demo.db --demo --as-of 28/10/2026").status, 0);
    write("close.txt", "close\n");
    write("keep.csv", "old");
    write("empty.db", "");
    open("bare.db")->execute("create table notes (x)");
    std::filesystem::copy_file(tmp.file("demo.db"), tmp.file("nosettings.db"));
    open("nosettings.db")->execute("delete from psettings where companyid=1");
    std::filesystem::copy_file(tmp.file("demo.db"), tmp.file("newer.db"));
    open("newer.db")->execute("update paPayAccLinkSchema set Version = 99");
    namespace fs = std::filesystem;
    for (const char* copy : {"damaged.db", "readonly.db", "unreadable.db", "locked.db"})
        fs::copy_file(tmp.file("demo.db"), tmp.file(copy));
    std::fstream(tmp.file("damaged.db"), std::ios::in | std::ios::out | std::ios::binary).seekp(4096 * 3)
        << std::string(4000, '\xDE');
    fs::permissions(tmp.file("readonly.db"), fs::perms{0444});
    fs::permissions(tmp.file("unreadable.db"), fs::perms::none);
    data::ConnectionPtr lock = open("locked.db");
    lock->beginTrans();  // another program's save, held
    write("odbc644.txt", "DSN=nowhere\n");
    for (const char* folder : {"shared", "theirs", "procedures"}) fs::create_directory(tmp.file(folder));
    fs::permissions(tmp.file("shared"), fs::perms::all);
    // What another user meets: root is refused nothing, so as root the program runs as nobody.
    // That needs a build other users can reach: under a private folder (a clone in mktemp -d)
    // the cases of another user are left out.
    const bool root = ::geteuid() == 0;
    const std::string setpriv = "setpriv --reuid=65534 --regid=65534 --clear-groups";
    const bool asNobody = root && std::system((setpriv + " test -x " + testsupport::kProgram).c_str()) == 0;
    if (root && !asNobody)
        std::cerr << "note: " << testsupport::kProgram << " is out of other users' reach\n";
    const std::string nobody = asNobody ? setpriv : "";
    const std::string nobodyLog = "PAYACC_LOG_DIR=" + tmp.file("theirs") + " " + nobody;
    if (root) {
        EXPECT_EQ(::chown(tmp.file("theirs").c_str(), 65534, 65534), 0);
        fs::permissions(tmp.path(), fs::perms{0755});
    }
    const std::string post = "post --type Payroll --from 01/10/2026 --to 31/10/2026";

    struct Case {
        std::string args, env, says;
    };
    std::vector<Case> cases = {
        {"--db missing.db", "", ""},
        {"init demo.db --demo", "", ""},  // an existing file is left alone
        {"script close.txt --db empty.db", "", "empty (0 bytes)"},
        {"script close.txt --db bare.db", "", "no payroll accounts linking tables"},
        {"script close.txt --db nosettings.db", "", "no settings row in psettings"},
        {"script close.txt --db newer.db", "", "schema version 99, newer than this payacclink knows"},
        {"script close.txt --db demo.db", "PAYACC_LOG_DIR=./missing", "cannot write the error log"},
        // The reports: nothing is written where they refuse.
        {"print --entry PAL/99 --pdf x.pdf --db demo.db", "", "no entry 'PAL/99'"},
        {"export --from 01/01/2020 --to 31/01/2020 --csv keep.csv --db demo.db", "",
         "no open or posted entries"},
        // Databases that cannot be used are named with their problem before anything is tried.
        {"script close.txt --db readonly.db", nobodyLog, "database 'readonly.db' is read-only"},
        {"print --entry PAL/1 --db unreadable.db", nobodyLog, "cannot read database 'unreadable.db'"},
        {post + " --db damaged.db", "", "database 'damaged.db' is damaged"},
        {post + " --db locked.db", "PAYACC_TEST_BUSY_TIMEOUT_MS=100", "database 'locked.db' is locked"},
        {post + " --db demo.db", "PAYACC_PROCEDURE_DIR=procedures", "of the procedures the program calls"},
        {post + " --db demo.db --remarks " + std::string(256, 'r'), "",
         "an entry's remarks hold at most 255"},
        {"script close.txt --odbc-file odbc644.txt", "", "readable by its owner only (it is mode 0644)"},
        {"script close.txt", "PAYACC_ODBC='DSN=nowhere'", "cannot connect"},  // read from the environment
        // The error log: never in a folder another user could plant links in.
        {"script close.txt --db demo.db", "PAYACC_LOG_DIR=shared", "every user may write to the folder"},
        {"script close.txt --db demo.db", root ? "PAYACC_LOG_DIR=theirs" : "PAYACC_LOG_DIR=/",
         "belongs to another user"},
        // Control characters reach no terminal.
        {"--db \"$(printf 'x\\033[2J.db')\"", "", "no database file 'x\\x1B[2J.db'"},
    };
    // Without a state folder, and not beside a program of its own: no log, no start.
    if (asNobody)
        cases.push_back(
            {"script close.txt", "PAYACC_LOG_DIR= HOME= XDG_STATE_HOME= " + nobody, "no folder for it"});
    // Root reads and writes any file.
    if (root && !asNobody) std::erase_if(cases, [&](const Case& c) { return c.env == nobodyLog; });
    for (const auto& c : cases) {
        const ProgramResult r = run(c.args, c.env);
        EXPECT_EQ(r.status, 2) << c.args << ": " << r.out << r.err;
        EXPECT_EQ(r.err.rfind("payacclink: ", 0), 0u) << c.args << ": " << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << c.args << ": " << r.err;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << c.args << ": " << r.err;
    }
    EXPECT_FALSE(std::filesystem::exists(tmp.file("x.pdf")));
    EXPECT_EQ(testsupport::slurp(tmp.file("keep.csv")), "old");
    EXPECT_EQ(std::filesystem::file_size(tmp.file("empty.db")), 0u) << "an empty file was made a database";

    // A script without a single expect line still fails when one of its commands does: here
    // the linking screen cannot load.
    open("demo.db")->execute("drop view vwPayAccLinkSettings");
    write("new.txt", "click cmdnew\nclose\n");
    EXPECT_EQ(run("script new.txt --db demo.db").status, 1);
}

// Every output: a new file renamed over the target, so a planted link is replaced and its
// target untouched; private when new, the old mode when replaced; whole or not at all.
TEST_F(HostTest, OutputsReplaceTheirTargetWholeAndPrivately) {
    namespace fs = std::filesystem;
    const mode_t umask = ::umask(022);
    ASSERT_EQ(run("init demo.db --demo --as-of 28/10/2026").status, 0);
    write("victim.txt", "victim");
    write("close.txt", "close\n");
    for (const char* name : {"x.pdf", "x.csv", "trace.txt", "new.db"})
        fs::create_symlink("victim.txt", tmp.file(name));
    const std::string print = "print --entry PAL/1 --db demo.db --pdf x.pdf",
                      exportAll = "export --from 01/08/2026 --to 31/12/9999 --db demo.db";
    for (const std::string& args : std::vector<std::string>{
             print, exportAll + " --csv x.csv", "script close.txt --db demo.db --trace-sql trace.txt"})
        EXPECT_EQ(run(args).status, 0) << args;
    EXPECT_EQ(run("init new.db").status, 2);
    EXPECT_EQ(testsupport::slurp(tmp.file("victim.txt")), "victim");
    EXPECT_TRUE(fs::is_symlink(tmp.file("new.db")));
    EXPECT_EQ(testsupport::slurp(tmp.file("trace.txt")).rfind("OPEN\t", 0), 0u);
    auto mode = [&](const char* name) { return fs::symlink_status(tmp.file(name)).permissions(); };
    for (const char* name : {"demo.db", "x.pdf", "x.csv", "trace.txt"})
        EXPECT_EQ(mode(name), fs::perms::owner_read | fs::perms::owner_write) << name;
    fs::permissions(tmp.file("x.csv"),
                    fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    EXPECT_EQ(run(exportAll + " --csv x.csv").status, 0);
    EXPECT_EQ(mode("x.csv"), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);

    // A write the system refuses ends the command (a failing trace, the session's statements)
    // and leaves the old file.
    const std::string pdf = testsupport::slurp(tmp.file("x.pdf")),
                      csv = testsupport::slurp(tmp.file("x.csv"));
    for (const auto& [args, env] : std::vector<std::pair<std::string, std::string>>{
             {print, "PAYACC_TEST_FAIL_WRITE=1"},
             {exportAll + " --csv x.csv", "PAYACC_TEST_FAIL_WRITE=1"},
             {"init fresh.db --demo", "PAYACC_TEST_FAIL_WRITE=1"},
             {"script close.txt --db demo.db --trace-sql trace.txt", "PAYACC_TEST_FAIL_WRITE=2"},
             {exportAll + " --csv /dev/full", ""}}) {
        const ProgramResult r = run(args, env);
        EXPECT_NE(r.status, 0) << args;
        EXPECT_NE((r.out + r.err).find("No space left on device"), std::string::npos)
            << args << ": " << r.err;
    }
    EXPECT_EQ(testsupport::slurp(tmp.file("x.pdf")), pdf);
    EXPECT_EQ(testsupport::slurp(tmp.file("x.csv")), csv);
    // Names reach the terminal with their control characters escaped.
    open("demo.db")->execute(
        "update pDepartmentMaster set DepartmentName='Admin'||char(27)||'[2J' where CompanyID=1 and "
        "DepartmentID=1");
    const std::string dryRun = "post --type Payroll --from 01/10/2026 --to 31/10/2026 --dry-run --db demo.db";
    const ProgramResult posted = run(dryRun);
    EXPECT_NE(posted.out.find("Admin\\x1B[2J "), std::string::npos) << posted.out;
    EXPECT_EQ(posted.out.find('\x1b'), std::string::npos);
    // Standard output is checked too.
    for (const std::string& args : {exportAll, dryRun}) {
        const std::string cmd = "cd '" + tmp.path().string() + "' && PAYACC_LOG_DIR=. " +
                                testsupport::kProgram + " " + args + " >/dev/full 2>/dev/null";
        EXPECT_EQ(WEXITSTATUS(std::system(cmd.c_str())), 2) << args;
    }
    std::set<std::string> files;
    for (const auto& e : fs::directory_iterator(tmp.path())) files.insert(e.path().filename());
    EXPECT_EQ(files, (std::set<std::string>{"close.txt", "demo.db", "err.txt", "new.db", "out.txt",
                                            "trace.txt", "victim.txt", "x.csv", "x.pdf"}));
    ::umask(umask);
}

// Databases init makes (today's demo, one of a fixed day, a bare one with a company added),
// scripts on them as users with and without rights, and the help.
TEST_F(HostTest, InitMakesDatabasesThatScriptsRunOnAndHelpSaysWhereTheLogGoes) {
    for (const char* args :
         {"init demo.db --demo", "init fixed.db --demo --as-of 28/10/2026", "init bare.db"})
        ASSERT_EQ(run(args).status, 0) << args;
    ASSERT_EQ(run("init env.db --demo", "PAYACC_DEMO_DATE=28/10/2026").status, 0);
    // Today's demo has nothing processed after today; a fixed day gives the same data whenever made.
    EXPECT_EQ(count("demo.db",
                    "select count(*) from pMonthlyPayRollProcessing where mppProcessedDate > "
                    "date('now', 'localtime')"),
              0);
    EXPECT_EQ(count("fixed.db",
                    "select count(distinct mppProcessedDate) from pMonthlyPayRollProcessing "
                    "where mppProcessedDate in ('2026-08-28', '2026-09-28', '2026-10-28')"),
              3);
    const char* lastPayment = "select max(phDate) from pPaymentHeader";
    EXPECT_EQ(count("env.db", lastPayment), count("fixed.db", lastPayment));
    EXPECT_EQ(count("bare.db", "select count(*) from pCompanyMaster"), 0);
    open("bare.db")->execute(kFirstCompany);
    write("browse.txt",
          "expect FrmMaster \"Payroll Accounts Linking\"\nexpect-sql from linktable\n"
          "expect cmdnew.enabled true\nexpect-cell flexMaster 0 1 Trans No\nclose\n");
    // New, Payroll, a department and Show, on today's date as a first start has it.
    write("first.txt",
          "click cmdnew\nselect cboType Payroll\nselect cboDepartment Administration\n"
          "click cmdShow\ndump lvwTransactions\n");
    struct Case {
        std::string args;
        int status;
        std::string says;
    };
    for (const Case& c : std::vector<Case>{
             {"script browse.txt --db demo.db --user 1 --company 1 --date 15/10/2026 --trace-sql trace.txt",
              0, "SHOW FrmMaster: Payroll Accounts Linking\n"},
             {"script browse.txt --db bare.db", 0, "UNLOAD FrmMaster\nOK\n"},
             {"script first.txt --db demo.db", 0, "\n1\t[ ]\t"},
             // Without rights the buttons are off, and a failed expectation ends with status 1.
             {"script browse.txt --db demo.db --user 4", 1,
              "FAIL line 3: expect cmdnew.enabled: expected \"true\", got \"false\""},
             {"script browse.txt --db demo.db --key wrong", 1, "FAIL line 1:"},  // a wrong key opens nothing
             {"--version", 0, "payacclink "},
             {"--help", 0, tmp.path().string() + "/QORPayAccLinkingError.log"},
             {"--help", 0, "every user sees it in the process list"},
             {"init --help", 0, "--as-of"}}) {
        const ProgramResult r = run(c.args);
        EXPECT_EQ(r.status, c.status) << c.args << ": " << r.out << r.err;
        EXPECT_NE(r.out.find(c.says), std::string::npos) << c.args << ": " << r.out;
    }
    EXPECT_NE(testsupport::slurp(tmp.file("trace.txt")).find("linktable"), std::string::npos);
    // Every example script runs to its end on a demo database; its own expect lines check it.
    int scripts = 0;
    for (const auto& e : std::filesystem::directory_iterator(PAYACC_SOURCE_DIR "/scripts/examples")) {
        if (e.path().extension() != ".script") continue;
        const std::string db = tmp.file(e.path().stem().string() + ".db");
        std::filesystem::copy_file(tmp.file("fixed.db"), db);  // dated as the examples expect
        const ProgramResult r = run("script '" + e.path().string() + "' --db '" + db + "' --date 15/10/2026");
        EXPECT_EQ(r.status, 0) << e.path() << "\n" << r.out << r.err;
        ++scripts;
    }
    EXPECT_GE(scripts, 2);
    EXPECT_EQ(run("init --help").out.find("--trace-sql"), std::string::npos) << "only init's own options";
}

}  // namespace
