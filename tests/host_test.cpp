// The host program as a user runs it: its exit statuses, init, scripts and the demo database.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "TestSupport.h"
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

class HostTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(std::filesystem::exists(kBinary)) << kBinary << " is not built"; }
    // Runs the program with the arguments (shell words) and the environment settings given.
    Result run(const std::string& args, const std::string& env = "") {
        std::string out = tmp.file("out.txt"), err = tmp.file("err.txt");
        std::string cmd = "cd '" + tmp.path().string() + "' && env " + env + " PAYACC_LOG_DIR='" +
                          tmp.path().string() + "' timeout 120 '" + kBinary + "' " + args + " </dev/null >'" +
                          out + "' 2>'" + err + "'";
        int raw = std::system(cmd.c_str());
        return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(out), slurp(err)};
    }
    std::string write(const std::string& name, const std::string& text) {
        std::ofstream(tmp.file(name), std::ios::binary) << text;
        return tmp.file(name);
    }
    testsupport::TempDir tmp;
};

TEST_F(HostTest, BadInvocationsEndWithOneLineAndStatusTwo) {
    std::string notADatabase = write("junk.db", std::string(4096, 'x'));
    const std::string cases[] = {
        "--bogus",
        "--user abc --db junk.db",
        "--date 31/02/2026",
        "--db missing.db",
        "--db " + notADatabase,
        "script missing.txt --db junk.db",
        "init new.db --demo --user 1",
    };
    for (const std::string& args : cases) {
        Result r = run(args);
        EXPECT_EQ(r.status, 2) << args << "\n" << r.out << r.err;
        EXPECT_EQ(r.err.rfind("payacclink: ", 0), 0u) << args << ": " << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << args << ": " << r.err;
    }
    EXPECT_FALSE(std::filesystem::exists(tmp.file("new.db")));
}

TEST_F(HostTest, InitMakesADatabaseThatScriptsRunOn) {
    Result made = run("init demo.db --demo");
    ASSERT_EQ(made.status, 0) << made.err;
    {
        auto c = data::sqlite::open(tmp.file("demo.db"));
        auto rs = c->open("select count(*) from pCompanyMaster");
        EXPECT_GT(rs->field(0).toInt32(), 0);
    }
    EXPECT_EQ(run("init demo.db --demo").status, 2) << "an existing file is left alone";
    ASSERT_EQ(run("init empty.db").status, 0);
    {
        auto c = data::sqlite::open(tmp.file("empty.db"));
        EXPECT_EQ(c->open("select count(*) from pCompanyMaster")->field(0).toInt32(), 0);
    }

    write("browse.txt",
          "expect FrmMaster \"Payroll Accounts Linking\"\n"
          "expect-sql from linktable\n"
          "expect cmdnew.enabled true\n"
          "close\n");
    Result r =
        run("script browse.txt --db demo.db --user 1 --company 1 --date 15/10/2026 --trace-sql trace.txt");
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(r.out.rfind("SHOW FrmMaster: Payroll Accounts Linking\n", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("UNLOAD FrmMaster\nOK\n"), std::string::npos) << r.out;
    EXPECT_NE(slurp(tmp.file("trace.txt")).find("linktable"), std::string::npos);

    // A user without rights sees the buttons disabled; a failed expectation ends with status 1.
    Result denied = run("script browse.txt --db demo.db --user 4");
    EXPECT_EQ(denied.status, 1) << denied.out;
    EXPECT_NE(denied.out.find("FAIL line 3: expect cmdnew.enabled: expected \"true\", got \"false\""),
              std::string::npos)
        << denied.out;

    // A wrong key opens nothing, so the script's first line finds no form.
    Result locked = run("script browse.txt --db demo.db --key wrong");
    EXPECT_EQ(locked.status, 1);
    EXPECT_NE(locked.out.find("FAIL line 1:"), std::string::npos) << locked.out;
}

// Every example script runs to its end on a fresh demo database; their own expect lines check
// what the screens show and hold.
TEST_F(HostTest, ExampleScriptsPassOnTheDemoDatabase) {
    int scripts = 0;
    for (const auto& e : std::filesystem::directory_iterator(PAYACC_SOURCE_DIR "/scripts/examples")) {
        if (e.path().extension() != ".script") continue;
        const std::string db = tmp.file(e.path().stem().string() + ".db");
        ASSERT_EQ(run("init '" + db + "' --demo --as-of " + std::string(testsupport::kDemoDayText)).status, 0);
        Result r = run("script '" + e.path().string() + "' --db '" + db + "' --date 15/10/2026");
        EXPECT_EQ(r.status, 0) << e.path() << "\n" << r.out << r.err;
        ++scripts;
    }
    EXPECT_GE(scripts, 2);
}

}  // namespace
