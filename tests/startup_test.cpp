// The host program refusing what it cannot work on before any screen opens, and init leaving
// either a whole database or nothing.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "TestSupport.h"
#include "data/sqlite/SqliteConnection.h"

namespace {

const std::string kBinary = PAYACC_BINARY_DIR "/app/payacclink";

struct Result {
    int status;  // 128 + the signal when killed
    std::string err;
};

class StartupTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(std::filesystem::exists(kBinary)) << kBinary << " is not built"; }
    Result run(const std::string& args, const std::string& env = "PAYACC_LOG_DIR=.") {
        const std::string err = tmp.file("err.txt");
        const std::string cmd = "cd '" + tmp.path().string() + "' && env " + env + " timeout 120 '" +
                                kBinary + "' " + args + " </dev/null >/dev/null 2>'" + err + "'";
        const int raw = std::system(cmd.c_str());
        std::ifstream in(err);
        std::stringstream s;
        s << in.rdbuf();
        return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, s.str()};
    }
    void sql(const std::string& file, const std::string& statement) {
        data::sqlite::OpenOptions o;
        o.create = true;
        data::sqlite::open(tmp.file(file), o)->execute(statement);
    }
    std::set<std::string> files() const {
        std::set<std::string> out;
        for (const auto& e : std::filesystem::directory_iterator(tmp.path())) out.insert(e.path().filename());
        return out;
    }
    testsupport::TempDir tmp;
};

TEST_F(StartupTest, AKilledInitLeavesNoFileAndAFinishedOneAWholeDatabase) {
    const Result killed = run("init new.db --demo", "PAYACC_TEST_KILL_INIT=before-rename");
    EXPECT_EQ(killed.status, 128 + SIGKILL) << killed.err;
    EXPECT_EQ(files(), std::set<std::string>{"err.txt"}) << "a killed init left a file behind";

    ASSERT_EQ(run("init new.db --demo").status, 0);
    EXPECT_EQ(files(), (std::set<std::string>{"err.txt", "new.db"}));
    auto c = data::sqlite::open(tmp.file("new.db"));
    EXPECT_GT(c->open("select count(*) from pMonthlyPayRollProcessing")->field(0).toInt32(), 0);
}

TEST_F(StartupTest, EachUnusableStartGivesOneLineAndStatusTwo) {
    ASSERT_EQ(run("init demo.db --demo").status, 0);
    std::ofstream(tmp.file("close.txt")) << "close\n";
    std::ofstream(tmp.file("empty.db"));
    std::ofstream(tmp.file("letter.db")) << "Dear reader, this is not a database.\n";
    sql("bare.db", "create table notes (x)");
    std::filesystem::copy_file(tmp.file("demo.db"), tmp.file("nosettings.db"));
    sql("nosettings.db", "delete from psettings where companyid=1");

    const struct {
        std::string args, env, says;
    } cases[] = {
        {"--db empty.db", "", "empty (0 bytes)"},
        {"--db letter.db", "", "not a database"},
        {"--db bare.db", "", "no payroll accounts linking tables"},
        {"--db demo.db --company 999", "", "company 999 is not in"},
        {"--db nosettings.db", "", "no settings row in psettings"},
        {"--db demo.db --trace-sql close.txt/trace.txt", "", "cannot write the trace file"},
        {"--db demo.db", "PAYACC_LOG_DIR=./missing", "cannot write the error log"},
    };
    for (const auto& c : cases) {
        const Result r = run("script close.txt " + c.args, c.env.empty() ? "PAYACC_LOG_DIR=." : c.env);
        EXPECT_EQ(r.status, 2) << c.args << ": " << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << c.args << ": " << r.err;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << c.args << ": " << r.err;
    }
    EXPECT_EQ(std::filesystem::file_size(tmp.file("empty.db")), 0u) << "an empty file was made a database";

    // A script without a single expect line still fails when one of its commands does: here
    // the linking screen cannot load.
    sql("demo.db", "drop view vwPayAccLinkSettings");
    std::ofstream(tmp.file("new.txt")) << "click cmdnew\nclose\n";
    EXPECT_EQ(run("script new.txt --db demo.db").status, 1);
}

}  // namespace
