// The embedded database's own content: the payroll gathering procedure on the demo data,
// through the real backend as the screens send it.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "common/Error.h"
#include "data/Connection.h"
#include "data/ErrorLog.h"
#include "data/sqlite/SqliteConnection.h"

using common::Value;
using testsupport::TempDir;

namespace {

using Row = std::map<std::string, Value>;

std::vector<Row> rowsOf(data::Connection& c, const std::string& sql) {
    auto rs = c.open(sql);
    std::vector<Row> out;
    for (; !rs->eof(); rs->moveNext()) {
        Row r;
        for (int i = 0; i < rs->fieldCount(); ++i) r[rs->fieldName(i)] = rs->field(i);
        out.push_back(std::move(r));
    }
    return out;
}

std::vector<std::string> columnsOf(data::Connection& c, const std::string& sql) {
    return c.open(sql)->names();
}

double num(const Row& r, const std::string& col) { return r.at(col).toDouble(); }
std::string text(const Row& r, const std::string& col) { return r.at(col).joinText(); }
// Debit lines add, credit lines subtract.
double signedAmount(const Row& r, const std::string& col) {
    return num(r, "Credit") == 1 ? -num(r, col) : num(r, col);
}

class DbTest : public ::testing::Test {
protected:
    void SetUp() override {
        path = tmp.file("demo.db");
        std::filesystem::copy_file(testsupport::demoTemplate(), path);
        db = data::sqlite::open(path);
    }
    int64_t count(const std::string& sql) { return db->open(sql)->field(0).toInt64(); }
    std::vector<Row> payroll(int company, const std::string& from, const std::string& to, int dept) {
        return rowsOf(*db, "exec spPAGetPayrollAccountDetails " + std::to_string(company) + ",'" + from +
                               "','" + to + "'," + std::to_string(dept));
    }
    TempDir tmp;
    std::string path;
    data::ConnectionPtr db;
};

TEST_F(DbTest, PayrollProcedureGivesTheBalancedLinesOfRunsNotYetLinked) {
    const std::vector<std::string> expectedColumns{
        "mppProcessID",    "mppProcessNo",  "mppProcessedDate", "eEmpNo",    "eName",     "mppEmpID",
        "mppDepartmentID", "depCurrencyID", "CompCurrID",       "DepSymbol", "ComSymbol", "AccountDesc",
        "sacSalaryaccID",  "Type",          "Credit",           "netPay",    "AccExRate", "DepExRate",
        "CompExRate",      "ResSymbol",     "sacCurrencyID",    "AccSymbol", "CurrencyID"};
    EXPECT_EQ(columnsOf(*db, "exec spPAGetPayrollAccountDetails 1,'20261001','20261031',3"), expectedColumns);

    // Site Operations in October: dirham and dollar staff, nothing linked yet.
    auto rows = payroll(1, "20261001", "20261031", 3);
    const int64_t runs = count(
        "select count(*) from pMonthlyPayRollProcessing where mppCompanyID=1 "
        "and mppDepartmentID=3 and mppProcessedDate like '2026-10-%'");
    ASSERT_GT(runs, 100);
    ASSERT_EQ(static_cast<int64_t>(rows.size()), 4 * runs);
    std::map<int64_t, std::vector<Row>> byRun;
    for (const auto& r : rows) byRun[r.at("mppProcessID").toInt64()].push_back(r);
    EXPECT_EQ(static_cast<int64_t>(byRun.size()), runs);
    std::set<std::string> currencies;
    for (const auto& [id, lines] : byRun) {
        ASSERT_EQ(lines.size(), 4u) << id;
        auto run =
            rowsOf(*db, "select * from pMonthlyPayRollProcessing where mppCompanyID=1 and mppProcessID=" +
                            std::to_string(id))[0];
        const char* components[] = {"mppBasic", "mppAllowances", "mppDeductions", "mppNetPay"};
        for (int i = 0; i < 4; ++i) {
            EXPECT_DOUBLE_EQ(num(lines[i], "netPay"), num(run, components[i])) << id;
            EXPECT_EQ(num(lines[i], "Credit"), i < 2 ? 0 : 1) << id;
        }
        for (const char* col : {"netPay", "AccExRate", "DepExRate", "CompExRate"}) {
            double balance = 0;
            for (const auto& l : lines) balance += signedAmount(l, col);
            EXPECT_NEAR(balance, 0.0, 1e-6) << id << " " << col;
        }
        const Row& basic = lines[0];
        currencies.insert(text(basic, "ResSymbol"));
        EXPECT_EQ(text(basic, "DepSymbol"), "AED");
        EXPECT_EQ(text(basic, "ComSymbol"), "AED");
        EXPECT_EQ(text(basic, "AccSymbol"), text(basic, "ResSymbol"));
        if (text(basic, "ResSymbol") == "USD") {
            // Dollars into dirhams at the rate stored for (AED, USD).
            EXPECT_DOUBLE_EQ(num(basic, "DepExRate"), std::round(num(basic, "netPay") * 3.6725 * 100) / 100);
            EXPECT_EQ(basic.at("sacCurrencyID").toInt64(), 2);
        } else {
            EXPECT_DOUBLE_EQ(num(basic, "DepExRate"), num(basic, "netPay"));
        }
    }
    EXPECT_EQ(currencies, (std::set<std::string>{"AED", "USD"}));

    // Pune is paid and kept in rupees, the company in dirhams; August is linked by an entry.
    EXPECT_TRUE(payroll(1, "20260801", "20260831", 5).empty());
    auto pune = payroll(1, "20260901", "20260930", 5);
    ASSERT_EQ(pune.size(), 4u * 60);
    const Row& first = pune[0];
    EXPECT_EQ(first.at("depCurrencyID").toInt64(), 3);
    EXPECT_EQ(first.at("CompCurrID").toInt64(), 1);
    EXPECT_EQ(text(first, "DepSymbol"), "INR");
    EXPECT_EQ(text(first, "ComSymbol"), "AED");
    EXPECT_EQ(text(first, "Type"), "Basic Salary");
    EXPECT_DOUBLE_EQ(num(first, "DepExRate"), num(first, "netPay"));
    EXPECT_DOUBLE_EQ(num(first, "CompExRate"), std::round(num(first, "netPay") * 0.0441 * 100) / 100);

    // Administration's August is posted; Finance's August entry was cancelled, so its runs
    // come back.
    EXPECT_TRUE(payroll(1, "20260801", "20260831", 1).empty());
    EXPECT_EQ(payroll(1, "20260801", "20260831", 2).size(), 4u * 25);

    // Both ends of the range count; a range between processing days holds nothing.
    EXPECT_EQ(payroll(1, "20261028", "20261028", 3).size(), rows.size());
    EXPECT_TRUE(payroll(1, "20260829", "20260927", 3).empty());

    // Another company: staff paid in a currency without salary accounts have no lines.
    auto housekeeping = payroll(2, "20260901", "20260930", 1);
    EXPECT_EQ(housekeeping.size(), 4u * 7);
    for (const auto& r : housekeeping) EXPECT_EQ(text(r, "ResSymbol"), "QAR");
}

}  // namespace
