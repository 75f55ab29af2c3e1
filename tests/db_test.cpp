// The embedded database's own content: the gathering procedures and the exchange rate on the
// demo data, the settings check's counts, the saved demo entries and the large data set
// generator. Statements go through the real backend, as the screens send them.
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
#include "data/sqlite/Generator.h"
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
    std::vector<Row> payments(const std::string& proc, int dept, const std::string& code,
                              const std::string& from = "20260801", const std::string& to = "20261031") {
        return rowsOf(*db, "exec " + proc + " 1,'" + from + "','" + to + "'," + std::to_string(dept) + ",'" +
                               code + "'");
    }

    TempDir tmp;
    std::string path;
    data::ConnectionPtr db;
};

TEST_F(DbTest, PayrollProcedureGivesTheBalancedLinesOfRunsNotYetLinked) {
    const std::vector<std::string> expectedColumns{
        "mppProcessID", "mppProcessNo", "mppProcessedDate", "eEmpNo",     "eName",     "mppEmpID",
        "mppDepartmentID", "depCurrencyID", "CompCurrID", "DepSymbol", "ComSymbol", "AccountDesc",
        "sacSalaryaccID", "Type",          "Credit",     "netPay",    "AccExRate", "DepExRate",
        "CompExRate",   "ResSymbol",     "sacCurrencyID", "AccSymbol", "CurrencyID"};
    EXPECT_EQ(columnsOf(*db, "exec spPAGetPayrollAccountDetails 1,'20261001','20261031',3"), expectedColumns);

    // Site Operations in October: dirham and dollar staff, nothing linked yet.
    auto rows = payroll(1, "20261001", "20261031", 3);
    const int64_t runs = count("select count(*) from pMonthlyPayRollProcessing where mppCompanyID=1 "
                               "and mppDepartmentID=3 and mppProcessedDate like '2026-10-%'");
    ASSERT_GT(runs, 100);
    ASSERT_EQ(static_cast<int64_t>(rows.size()), 4 * runs);
    std::map<int64_t, std::vector<Row>> byRun;
    for (const auto& r : rows) byRun[r.at("mppProcessID").toInt64()].push_back(r);
    EXPECT_EQ(static_cast<int64_t>(byRun.size()), runs);
    std::set<std::string> currencies;
    for (const auto& [id, lines] : byRun) {
        ASSERT_EQ(lines.size(), 4u) << id;
        auto run = rowsOf(*db, "select * from pMonthlyPayRollProcessing where mppCompanyID=1 and mppProcessID=" +
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

TEST_F(DbTest, PaymentProceduresGiveBothSidesOfEveryLineOfTheirKind) {
    const std::vector<std::string> expectedColumns{
        "phPaymentNo", "phDate",       "eEmpNo",       "eName",      "AccExRate",    "Credit",
        "phPaymentID", "adcAccountID", "phDepartmentID", "AccountDesc", "pdPaymentAmt", "DepExRate",
        "CompExRate",  "ResSymbol",    "AccSymbol",    "phcurrencyid", "CurrencyID",  "phEmployeeID",
        "depCurrencyID", "CompCurrID", "DepSymbol",    "ComSymbol"};
    EXPECT_EQ(columnsOf(*db, "exec spPAGetSavingsDetails 1,'20260801','20261031',3,'S'"), expectedColumns);

    struct Kind {
        const char* proc;
        const char* code;
        int account;
    };
    const Kind kinds[] = {{"spPAGetLoanIssueDetails", "A", 2001},     {"spPAGetReimbursementDetails", "R", 2002},
                          {"spPAGetSavingsDetails", "S", 2003},       {"spPAGetPaymentOthersDetails", "E", 2004},
                          {"spPAGetPaymentOthersDetails", "H", 2005}, {"spPAGetPaymentOthersDetails", "O", 2006}};
    for (const auto& k : kinds) {
        size_t total = 0;
        for (int dept = 1; dept <= 5; ++dept) {
            auto rows = payments(k.proc, dept, k.code);
            const int64_t lines = count(
                "select count(*) from pPaymentHeader h join pPaymentDetails d on d.pdCompanyID=h.phCompanyID "
                "and d.pdPaymentID=h.phPaymentID where h.phCompanyID=1 and h.phDepartmentID=" +
                std::to_string(dept) + " and h.phType='" + k.code + "' and h.phPosted<>1 and d.pdPaymentAmt<>0");
            ASSERT_EQ(static_cast<int64_t>(rows.size()), 2 * lines) << k.code << " dept " << dept;
            total += rows.size();
            double depBalance = 0, compBalance = 0;
            for (size_t i = 0; i + 1 < rows.size(); i += 2) {
                const Row &debit = rows[i], &credit = rows[i + 1];
                EXPECT_EQ(num(debit, "Credit"), 0);
                EXPECT_EQ(num(credit, "Credit"), 1);
                EXPECT_EQ(debit.at("adcAccountID").toInt64(), k.account);
                EXPECT_EQ(credit.at("adcAccountID").toInt64(), 3001);
                EXPECT_EQ(text(credit, "AccountDesc"), "Cash in Hand");
                EXPECT_EQ(debit.at("phPaymentID"), credit.at("phPaymentID"));
                EXPECT_DOUBLE_EQ(num(debit, "pdPaymentAmt"), num(credit, "pdPaymentAmt"));
                EXPECT_NE(num(debit, "pdPaymentAmt"), 0);
                for (const Row* r : {&debit, &credit}) {
                    depBalance += signedAmount(*r, "DepExRate");
                    compBalance += signedAmount(*r, "CompExRate");
                    EXPECT_EQ(r->at("phDepartmentID").toInt64(), dept);
                }
            }
            EXPECT_NEAR(depBalance, 0.0, 1e-6);
            EXPECT_NEAR(compBalance, 0.0, 1e-6);
        }
        EXPECT_GT(total, 0u) << k.code;
    }

    // Held salaries through the shared procedure: September's on site are linked by an entry,
    // October's are not; the dollar department's amounts come in dollars and in dirhams.
    EXPECT_TRUE(payments("spPAGetPaymentOthersDetails", 3, "H", "20260901", "20260930").empty());
    auto held = payments("spPAGetPaymentOthersDetails", 3, "H", "20261001", "20261031");
    ASSERT_EQ(held.size(), 2u);
    EXPECT_EQ(text(held[0], "AccountDesc"), "Held Salaries Payable");
    auto exportHeld = payments("spPAGetPaymentOthersDetails", 4, "H");
    ASSERT_FALSE(exportHeld.empty());
    for (const auto& r : exportHeld) {
        if (text(r, "ResSymbol") != "USD") continue;
        EXPECT_EQ(text(r, "DepSymbol"), "USD");
        EXPECT_DOUBLE_EQ(num(r, "DepExRate"), num(r, "pdPaymentAmt"));
        EXPECT_DOUBLE_EQ(num(r, "CompExRate"), std::round(num(r, "pdPaymentAmt") * 3.6725 * 100) / 100);
        EXPECT_DOUBLE_EQ(num(r, "AccExRate"), num(r, "CompExRate"));  // both accounts keep dirhams
    }

    // The shared procedure serves only its own kinds; the others keep to theirs whatever code
    // they are given. August's advance on site is linked.
    EXPECT_TRUE(payments("spPAGetPaymentOthersDetails", 1, "A").empty());
    EXPECT_EQ(payments("spPAGetLoanIssueDetails", 1, "R").size(), payments("spPAGetLoanIssueDetails", 1, "A").size());
    for (const auto& r : payments("spPAGetLoanIssueDetails", 3, "A"))
        EXPECT_NE(text(r, "phDate").substr(0, 7), "2026-08");
}

TEST_F(DbTest, SettingsCheckCountsAreCompleteOnlyForTheFirstCompany) {
    auto counts = [&](int company) {
        const std::string k = std::to_string(company);
        int64_t a = count("select count(1) from pCurrencyMaster where companyID= " + k +
                          " and CurrencyID in(select distinct ecurrencyid from pemployee where eCompanyID=" + k + ")");
        int64_t b = count("select count(1) from paSalaryAccountsConfig where sacCompanyID=" + k);
        int64_t c = count("select count(1) from vwPayAccLinkSettings where isnull(adcAccountID,0) = 0 " +
                          std::string(" and CompanyID=") + k);
        return std::vector<int64_t>{a, b, c};
    };
    EXPECT_EQ(counts(1), (std::vector<int64_t>{3, 12, 0}));
    // Company 2: dollars without salary accounts, no held-salary account, no cash setting.
    EXPECT_EQ(counts(2), (std::vector<int64_t>{2, 4, 2}));

    // The view lists every setting of every company, stored or not.
    auto view = rowsOf(*db, "select SettingCode, adcAccountID, AccountDesc from vwPayAccLinkSettings "
                            "where CompanyID=2 order by SettingCode");
    ASSERT_EQ(view.size(), 7u);
    EXPECT_EQ(text(view[1], "SettingCode"), "CASH");
    EXPECT_TRUE(view[1].at("adcAccountID").isNull());
    EXPECT_EQ(text(view[0], "AccountDesc"), "Salary Advances");

    // A duplicate salary account breaks the count as surely as a missing one; so does a
    // setting cleared of its account.
    db->execute("insert into paSalaryAccountsConfig (sacCompanyID, sacCurrencyID, sacComponent, sacSalaryaccID, "
                "sacCredit) values (1, 1, 'B', 1001, 0)");
    EXPECT_EQ(counts(1)[1], 13);
    db->execute("update paPayAccLinkSettings set adcAccountID=0 where CompanyID=1 and SettingCode='cash'");
    EXPECT_EQ(counts(1)[2], 1);
    // A company the settings were never entered for lacks all seven.
    db->execute("insert into pCompanyMaster (CompanyID, CompanyName, CurrencyID) values (7, 'New', 1)");
    EXPECT_EQ(counts(7), (std::vector<int64_t>{0, 0, 7}));
}

TEST_F(DbTest, ExchangeRateLooksUpOnlyTheStoredDirection) {
    EXPECT_DOUBLE_EQ(data::GetExchangeRate(*db, 1, 1, 2), 3.6725);
    EXPECT_DOUBLE_EQ(data::GetExchangeRate(*db, 1, 2, 1), 0.2723);
    EXPECT_DOUBLE_EQ(data::GetExchangeRate(*db, 1, 3, 1), 22.68);
    EXPECT_DOUBLE_EQ(data::GetExchangeRate(*db, 1, 1, 1), 1.0);
    EXPECT_DOUBLE_EQ(data::GetExchangeRate(*db, 1, 4, 4), 1.0);  // the euro has no rows at all
    EXPECT_DOUBLE_EQ(data::GetExchangeRate(*db, 2, 1, 2), 3.64);

    auto rate = [&](int company, int first, int second) {
        auto cmd = db->command("spGetExchangeRate", data::CommandType::StoredProc);
        cmd->setParameter(1, Value(company));
        cmd->setParameter(2, Value(first));
        cmd->setParameter(3, Value(second));
        cmd->execute();
        return cmd->parameter(4);
    };
    EXPECT_TRUE(rate(1, 1, 4).isNull());
    EXPECT_TRUE(rate(1, 4, 1).isNull());
    EXPECT_TRUE(rate(2, 1, 3).isNull());  // company 1's rupee rates are not company 2's
    // Removing one direction does not let the other stand in for it.
    db->execute("delete from pExchangeRate where CompanyID=1 and CurrencyID1=2 and CurrencyID2=1");
    EXPECT_TRUE(rate(1, 2, 1).isNull());
    EXPECT_DOUBLE_EQ(rate(1, 1, 2).toDouble(), 3.6725);
    // A stored rate for the same currency is taken as stored.
    db->execute("insert into pExchangeRate (CompanyID, CurrencyID1, CurrencyID2, Rate) values (1, 3, 3, 1.5)");
    EXPECT_DOUBLE_EQ(rate(1, 3, 3).toDouble(), 1.5);
}

TEST_F(DbTest, SavedDemoEntriesMatchTheirSourcesAndTheMapping) {
    // Every entry's journal lines balance and add up to its details.
    auto entries = rowsOf(*db, "select CompanyID, TransID, TransType, Cancelled from paPayAccLinkHeader");
    ASSERT_EQ(entries.size(), 6u);
    for (const auto& e : entries) {
        const std::string key = " where CompanyID=" + text(e, "CompanyID") + " and TransID=" + text(e, "TransID");
        auto posting = rowsOf(*db, "select * from paPayAccLinkPostingDetails" + key + " order by DetailID");
        auto details = rowsOf(*db, "select * from paPayAccLinkDetails" + key + " order by DetailID");
        ASSERT_FALSE(posting.empty());
        double debit = 0, credit = 0, dept = 0, detailDebit = 0;
        for (size_t i = 0; i < posting.size(); ++i) {
            EXPECT_EQ(posting[i].at("DetailID").toInt64(), static_cast<int64_t>(i + 1));
            EXPECT_EQ(text(posting[i], "Editable"), "N");
            debit += num(posting[i], "DebitAmount");
            credit += num(posting[i], "CreditAmount");
            dept += num(posting[i], "DeptAmount");
        }
        for (const auto& d : details)
            if (num(d, "Credit") != 1) detailDebit += num(d, "AccountAmount");
        EXPECT_NEAR(debit, credit, 1e-6) << key;
        EXPECT_NEAR(dept, 0.0, 1e-6) << key;
        EXPECT_NEAR(debit, detailDebit, 1e-6) << key;

        // Sources of standing entries are flagged; the cancelled entry's are free again.
        const bool payroll = text(e, "TransType") == "P";
        const std::string flags =
            payroll ? "select distinct m.mppPosted from paPayAccLinkDetails d join pMonthlyPayRollProcessing m on "
                      "m.mppCompanyID=d.CompanyID and m.mppProcessID=d.RefTransID"
                    : "select distinct p.phPosted from paPayAccLinkDetails d join pPaymentHeader p on "
                      "p.phCompanyID=d.CompanyID and p.phPaymentID=d.RefTransID";
        auto set = rowsOf(*db, flags + " where d.CompanyID=" + text(e, "CompanyID") +
                                   " and d.TransID=" + text(e, "TransID"));
        ASSERT_EQ(set.size(), 1u) << key;
        EXPECT_EQ(set[0].begin()->second.toInt64(), num(e, "Cancelled") == 1 ? 0 : 1) << key;
    }
    EXPECT_EQ(count("select count(*) from paPayAccLinkHeader where Cancelled=1"), 1);
    EXPECT_EQ(count("select count(*) from paPayAccLinkHeader where CompanyID=1 and Posted=1"), 1);

    // A header saved without Posted and cancelremarks reads as open and not cancelled.
    auto cmd = db->command(" insert into paPayAccLinkHeader ( CompanyID,TransID, DepartmentID, TransNo, TransDate, "
                           "TransType, Remarks, Cancelled) values (?, ?, ?, ?, ?, ?, ?, ?) ");
    cmd->refreshParameters();
    cmd->execute({Value(1), Value(9), Value(1), Value("PAL/9"), Value("15/Oct/2026"), Value("P"), Value(""), Value(0)});
    auto fresh = rowsOf(*db, "select Posted, cancelremarks, TransDate from paPayAccLinkHeader where TransID=9")[0];
    EXPECT_EQ(fresh.at("Posted").toInt64(), 0);
    EXPECT_TRUE(fresh.at("cancelremarks").isNull());
    EXPECT_EQ(fresh.at("TransDate").toDate().year, 2026);

    // Every logical name maps to a table or view that exists; departments live under another
    // name, and nothing answers to the logical one.
    auto links = rowsOf(*db, "select tablename, linktablename from linktable");
    EXPECT_EQ(links.size(), 15u);
    for (const auto& l : links)
        EXPECT_EQ(count("select count(*) from sqlite_master where name='" + text(l, "linktablename") + "'"), 1)
            << text(l, "tablename");
    EXPECT_EQ(count("select count(*) from sqlite_master where name='pDepartment'"), 0);
    EXPECT_EQ(count("select count(*) from pDepartmentMaster where CompanyID=1"), 5);

    // The browser's captions: seven, in column order.
    auto captions = rowsOf(*db, "select tc.columnheader,tc.columnname from ptables t, ptablecolumns tc where "
                                "t.tableid = tc.tableid and tablename ='paPayAccLinkHeader' and tc.tableid=60 "
                                "order by columnid");
    std::vector<std::string> names;
    for (const auto& c : captions) names.push_back(text(c, "columnname"));
    EXPECT_EQ(names, (std::vector<std::string>{"TransID", "TransNo", "TransDate", "TransType", "DepartmentName",
                                               "cancel", "Posted"}));
}

TEST(DbGenerator, WritesTheSameShapeIntoAnEmptySchemaAndBesideTheDemo) {
    TempDir tmp;
    data::sqlite::OpenOptions create;
    create.create = true;
    auto db = data::sqlite::open(tmp.file("large.db"), create);
    data::sqlite::initialise(*db, false);
    data::sqlite::GeneratorOptions o;
    o.employees = 40;
    o.months = 2;
    o.companyId = 3;
    o.departmentId = 8;
    o.savedEntries = 100;
    o.seed = 7;
    data::sqlite::generateLarge(*db, o);
    auto count = [&](const std::string& sql) { return db->open(sql)->field(0).toInt64(); };

    EXPECT_EQ(count("select count(*) from pemployee where eCompanyID=3 and eDepartmentID=8"), 40);
    EXPECT_EQ(count("select count(*) from pMonthlyPayRollProcessing where mppCompanyID=3"), 80);
    EXPECT_EQ(count("select count(*) from pMonthlyPayRollProcessing where mppCompanyID=3 and "
                    "abs(mppBasic + mppAllowances - mppDeductions - mppNetPay) > 0.001"),
              0);
    // The settings it made are complete, and the mapping lets the screens find the tables.
    EXPECT_EQ(count("select count(1) from paSalaryAccountsConfig where sacCompanyID=3"), 4);
    EXPECT_EQ(count("select count(1) from vwPayAccLinkSettings where isnull(adcAccountID,0) = 0  and CompanyID=3"),
              0);
    EXPECT_EQ(count("select count(*) from linktable where tablename='pDepartment'"), 1);

    // 80 standing entries link one run each; 20 more are cancelled attempts at runs since
    // linked again. All are numbered on from the prefix and carry consistent lines.
    EXPECT_EQ(count("select count(*) from paPayAccLinkHeader where CompanyID=3"), 100);
    EXPECT_EQ(count("select count(*) from paPayAccLinkHeader where CompanyID=3 and Cancelled=1"), 20);
    EXPECT_EQ(count("select count(distinct TransNo) from paPayAccLinkHeader where CompanyID=3 and TransNo like 'PAL/%'"),
              100);
    EXPECT_EQ(count("select count(*) from paPayAccLinkDetails where CompanyID=3"), 400);
    EXPECT_EQ(count("select count(*) from (select TransID from paPayAccLinkPostingDetails where CompanyID=3 "
                    "group by TransID having count(*) = 4 and abs(sum(DebitAmount) - sum(CreditAmount)) < 0.001 "
                    "and abs(sum(DeptAmount)) < 0.001)"),
              100);
    EXPECT_EQ(count("select count(*) from pMonthlyPayRollProcessing where mppCompanyID=3 and mppPosted=1"), 80);
    EXPECT_EQ(db->open("exec spPAGetPayrollAccountDetails 3,'20260901','20261031',8")->rows().size(), 0u);

    // Beside the demo: new ids and numbers after the demo's, and the same seed gives the
    // same amounts.
    auto beside = [&](const std::string& name) {
        auto path = tmp.file(name);
        std::filesystem::copy_file(testsupport::demoTemplate(), path);
        auto c = data::sqlite::open(path);
        data::sqlite::GeneratorOptions g;
        g.employees = 25;
        g.savedEntries = 3;
        data::sqlite::generateLarge(*c, g);
        return c;
    };
    auto a = beside("a.db"), b = beside("b.db");
    auto total = [](data::Connection& c) {
        return c.open("select sum(mppNetPay) from pMonthlyPayRollProcessing")->field(0).toDouble();
    };
    EXPECT_DOUBLE_EQ(total(*a), total(*b));
    EXPECT_EQ(a->open("select count(*) from pemployee where eCompanyID=1")->field(0).toInt64(), 345);
    EXPECT_EQ(a->open("select max(TransNo) from paPayAccLinkHeader where CompanyID=1 and TransID>5")->field(0).toText(),
              "PAL/8");
    // The demo's October runs of Administration and the generated ones, less the three linked.
    const int64_t demoRuns = 30;
    EXPECT_EQ(static_cast<int64_t>(a->open("exec spPAGetPayrollAccountDetails 1,'20261001','20261031',1")->rows().size()),
              4 * (demoRuns + 25 - 3));

    // Nothing is left behind when it fails.
    auto failing = data::sqlite::open(tmp.file("a.db"));
    data::sqlite::GeneratorOptions bad;
    bad.employees = 5;
    bad.months = 0;
    bad.savedEntries = 1;
    EXPECT_THROW(data::sqlite::generateLarge(*failing, bad), common::Error);
    EXPECT_EQ(failing->open("select count(*) from pemployee where eCompanyID=1")->field(0).toInt64(), 345);
}

}  // namespace
