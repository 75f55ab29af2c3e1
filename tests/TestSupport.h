#pragma once
// Shared test fixture: a fresh copy of the demo database in a temporary folder, a traced
// session connection, the headless toolkit and one module (the set-up itself is in
// support/DemoSession, shared with the benchmarks).
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>

#include "browser/FrmMaster.h"
#include "data/ErrorLog.h"
#include "data/sqlite/SqliteConnection.h"
#include "entry/Module.h"
#include "support/DemoSession.h"
#include "ui/Headless.h"

namespace testsupport {

// The program itself, run as a user or a scheduler runs it.
inline const std::string kProgram = PAYACC_BINARY_DIR "/app/payacclink";
struct ProgramResult {
    int status;  // 128 + the signal when killed
    std::string out, err;
};
inline std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}
// Runs the program in `dir` with `args` (shell words) after `env` (env's options and settings;
// the error log goes to `dir` unless it names PAYACC_LOG_DIR).
inline ProgramResult runProgram(const std::string& dir, const std::string& args,
                                const std::string& env = "") {
    const std::string out = dir + "/out.txt", err = dir + "/err.txt";
    const std::string log =
        env.find("PAYACC_LOG_DIR=") == std::string::npos ? " PAYACC_LOG_DIR='" + dir + "'" : "";
    const std::string cmd = "cd '" + dir + "' && env " + env + log + " timeout 300 '" + kProgram + "' " +
                            args + " </dev/null >'" + out + "' 2>'" + err + "'";
    const int raw = std::system(cmd.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(out), slurp(err)};
}

class ModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        data::setComponentFolder(tmp.path().string());
        session = std::make_unique<DemoSession>(toolkit, copyDb(demoTemplate(), tmp.file("test.db")));
        dbPath = session->dbPath;
        raw = session->raw;
        trace = session->trace;
        module = std::move(session->module);
    }
    void TearDown() override { module.reset(); }

    // A new module on the same database: the browser and the screens load afresh.
    void reopen() {
        module.reset();
        toolkit = ui::HeadlessToolkit();
        session->reopen(toolkit);
        module = std::move(session->module);
    }

    // The first column of the first row, on the raw connection.
    common::Value scalar(const std::string& sql) {
        auto rs = raw->open(sql);
        return rs->eof() ? common::Value() : rs->field(0);
    }
    // The physical name of a logical table, through the demo's mapping.
    std::string mapped(const std::string& logical) {
        auto v = scalar("select linktablename from linktable where tablename='" + logical + "'");
        return v.isNull() ? logical : v.toText();
    }
    // The browser's row of an entry, -1 when it is not listed.
    int browserRow(int transId) {
        auto& g = module->FrmMaster().flexMaster;
        for (int r = 1; r < g.rows(); ++r)
            if (g.textMatrix(r, 0) == std::to_string(transId)) return r;
        return -1;
    }
    // New, Edit, Delete, Print as the browser shows them ("-" for disabled); Close is always on.
    std::string buttons() {
        const browser::FrmMaster& f = module->FrmMaster();
        EXPECT_TRUE(f.CmdClose.enabled());
        return std::string(f.cmdnew.enabled() ? "N" : "-") + (f.CmdEdit.enabled() ? "E" : "-") +
               (f.CmdDelete.enabled() ? "D" : "-") + (f.cmdPrint.enabled() ? "P" : "-");
    }
    // Whether this exact statement reached the database.
    bool traced(const std::string& sql) const {
        auto s = trace->statements();
        return std::find(s.begin(), s.end(), sql) != s.end();
    }
    // Every row of a query, one line each.
    std::string rows(const std::string& sql) {
        auto rs = raw->open(sql);
        std::string s;
        while (!rs->eof()) {
            for (int i = 0; i < rs->fieldCount(); ++i) s += rs->field(i).joinText() + "|";
            s += "\n";
            rs->moveNext();
        }
        return s;
    }
    // The link tables and the source flags: what a failed action must leave as it was.
    std::string dbState() {
        return rows("select * from paPayAccLinkHeader order by CompanyID, TransID") +
               rows("select * from paPayAccLinkDetails order by CompanyID, TransID, DetailID") +
               rows("select * from paPayAccLinkPostingDetails order by CompanyID, TransID, DetailID") +
               rows(
                   "select mppCompanyID, mppProcessID from pMonthlyPayRollProcessing where mppPosted=1 "
                   "order by 1, 2") +
               rows("select phCompanyID, phPaymentID from pPaymentHeader where phPosted=1 order by 1, 2");
    }

    TempDir tmp;
    std::unique_ptr<DemoSession> session;
    std::string dbPath;
    data::ConnectionPtr raw;
    std::shared_ptr<data::TraceConnection> trace;
    ui::HeadlessToolkit toolkit;
    std::unique_ptr<entry::Module> module;
};

}  // namespace testsupport
