#pragma once
// Shared test fixture: a fresh copy of the demo database in a temporary folder, a traced
// session connection, the headless toolkit and one module (the set-up itself is in
// support/DemoSession, shared with the benchmarks).
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "browser/FrmMaster.h"
#include "data/ErrorLog.h"
#include "data/sqlite/SqliteConnection.h"
#include "entry/Module.h"
#include "support/DemoSession.h"
#include "ui/Headless.h"

namespace testsupport {

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

    // Runs a query on the raw connection and returns the first column of the first row.
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
