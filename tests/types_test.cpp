// The transaction-type descriptor against the SQL of both backends, and a new kind that works
// with nothing but its row and its SQL.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>

#include "common/TransactionTypes.h"
#include "data/sqlite/ProcedureCatalog.h"
#include "data/sqlite/SqliteConnection.h"
#include "linking/frmcancell.h"
#include "linking_fixture.h"

namespace linkingtest {
namespace {

using common::TransactionTypes;
using Pairs = std::set<std::pair<std::string, std::string>>;
using Served = std::map<std::string, std::set<std::string>>;

// What a retrieval procedure lists: "runs", or the payment codes its phType condition admits.
std::set<std::string> served(const std::string& body) {
    if (body.find("vwPayrollAccountLines") != std::string::npos) return {"runs"};
    std::set<std::string> codes;
    std::smatch m;
    static const std::regex fixed(R"(phType\s*=\s*'(\w+)')"), list(R"(@Type\)?\s+IN\s*\(([^)]*)\))");
    if (std::regex_search(body, m, fixed)) codes.insert(m[1]);
    if (std::regex_search(body, m, list)) {
        const std::string items = m[1];
        static const std::regex code(R"('(\w+)')");
        for (std::sregex_iterator c(items.begin(), items.end(), code), end; c != end; ++c)
            codes.insert((*c)[1]);
    }
    return codes;
}

TEST(TransactionTypeContract, DescriptorMatchesTheSettingsViewsAndProceduresOfBothSchemas) {
    // What the descriptor asks of the SQL: each payment's setting (named as the type) and the
    // cash account in the settings view; each procedure listing exactly its types' sources.
    Pairs settings{{common::kCashSetting, "Cash"}};
    Served procedures;
    std::set<std::string> codes, names;
    std::set<int> positions;
    for (const auto& t : TransactionTypes()) {
        EXPECT_TRUE(codes.insert(t.code).second && names.insert(t.name).second) << t.name;
        positions.insert(t.comboPosition);
        if (!t.source->payroll) settings.insert({t.setting, t.name});
        procedures[t.procedure].insert(t.source->payroll ? "runs" : t.code);
    }
    EXPECT_EQ(positions.size(), TransactionTypes().size());
    EXPECT_EQ(*positions.rbegin(), static_cast<int>(TransactionTypes().size()) - 1);

    // SQL Server: the scripts as text.
    const std::string sqlserver = std::string(PAYACC_SOURCE_DIR) + "/db/sqlserver/";
    const std::string schema = testsupport::slurp(sqlserver + "schema.sql");
    const std::string script = testsupport::slurp(sqlserver + "procedures.sql");
    const size_t view = schema.find("CREATE VIEW vwPayAccLinkSettings");
    ASSERT_NE(view, std::string::npos);
    const std::string viewText = schema.substr(view, schema.find("\nGO", view) - view);
    Pairs server;
    static const std::regex pair(R"(\('(\w+)',\s*'([^']*)'\))");
    for (std::sregex_iterator p(viewText.begin(), viewText.end(), pair), end; p != end; ++p)
        server.insert({(*p)[1], (*p)[2]});
    EXPECT_EQ(server, settings);
    Served serverProcedures;
    static const std::regex procedure(R"(CREATE PROCEDURE (\w+)([\s\S]*?)\nEND)");
    for (std::sregex_iterator p(script.begin(), script.end(), procedure), end; p != end; ++p)
        if (procedures.count((*p)[1])) serverProcedures[(*p)[1]] = served((*p)[2]);
    EXPECT_EQ(serverProcedures, procedures);

    // The embedded database: a fresh one, and the procedures built into the program.
    testsupport::TempDir tmp;
    testsupport::makeDb(tmp.file("fresh.db"), false);
    auto db = data::sqlite::open(tmp.file("fresh.db"));
    db->execute("insert into pCompanyMaster (CompanyID, CompanyName, CurrencyID) values (1, 'One', 1)");
    Pairs embedded;
    for (auto rs = db->open("select SettingCode, SettingName from vwPayAccLinkSettings"); !rs->eof();
         rs->moveNext())
        embedded.insert({rs->field(0).toText(), rs->field(1).toText()});
    EXPECT_EQ(embedded, settings);
    data::sqlite::ProcedureCatalog catalog("");
    Served embeddedProcedures;
    for (const auto& [name, kinds] : procedures) embeddedProcedures[name] = served(catalog.find(name).body);
    EXPECT_EQ(embeddedProcedures, procedures);
}

// A ninth kind of payment, bonuses, debited to an account in dollars: its row in the
// descriptor, its setting in the settings view and its retrieval procedure, all in the test.
class NinthKindTest : public LinkingTest {
protected:
    void SetUp() override {
        // The built-in procedures and the new one, as an integrator's procedure folder.
        const std::string from = std::string(PAYACC_SOURCE_DIR) + "/db/sqlite/procedures";
        std::filesystem::create_directories(procedures_.path());
        for (const auto& f : std::filesystem::directory_iterator(from))
            std::filesystem::copy_file(f.path(), procedures_.path() / f.path().filename());
        std::ofstream(procedures_.file("spPAGetBonusDetails.sql"))
            << std::regex_replace(testsupport::slurp(from + "/spPAGetLoanIssueDetails.sql"),
                                  std::regex("phType = 'A'"), "phType = 'B'");
        setenv("PAYACC_PROCEDURE_DIR", procedures_.path().c_str(), 1);
        LinkingTest::SetUp();

        std::string view = scalar("select sql from sqlite_master where name='vwPayAccLinkSettings'").toText();
        view = std::regex_replace(view, std::regex(R"(\('O', 'Others'\),)"),
                                  "('O', 'Others'), ('B', 'Bonuses'),");
        raw->execute("drop view vwPayAccLinkSettings");
        raw->execute(view);
        raw->execute(
            "insert into aAccountMaster (CompanyID, AccountID, AccountDesc, CurrencyID) values (1, 2107, "
            "'Bonus Expense', 2)");
        raw->execute("insert into paPayAccLinkSettings values (1, 'B', 'Bonuses', 2107)");
    }
    void TearDown() override {
        LinkingTest::TearDown();
        unsetenv("PAYACC_PROCEDURE_DIR");
    }

    common::ExtraTransactionType bonuses_{{"B", "Bonuses", "spPAGetBonusDetails", "Bonus", "B",
                                           &common::kPayments, static_cast<int>(TransactionTypes().size())}};
    testsupport::TempDir procedures_;
};

TEST_F(NinthKindTest, IsListedGatheredSavedBrowsedAndCancelledWithNothingButItsRowAndItsSql) {
    addPayment(9301, "B", 901, 1000, "2026-10-12");
    addPayment(9302, "B", 906, 250.55, "2026-10-20", 2);
    addPayment(9303, "O", 902, 70, "2026-10-21");
    const char* flags =
        "select group_concat(phPosted, '') from (select phPosted from pPaymentHeader where "
        "phPaymentID in (9301, 9302, 9303) order by phPaymentID)";

    auto& f = openNew();
    ASSERT_EQ(f.cboType.list(f.cboType.listCount() - 1), "Bonuses");
    gather(f, "Bonuses", DateTime::ymd(2026, 10, 15));
    const auto rows = oracle().listed('B', 9, DateTime::ymd(2026, 10, 1), DateTime::ymd(2026, 10, 31));
    ASSERT_EQ(rows.size(), 4u);  // a debit and a credit for each bonus, the other kind left out
    EXPECT_EQ(text(shownRows(f.lvwTransactionDetails)), text(rows));
    EXPECT_EQ(f.lvwTransactionDetails.cell(1, linking::det::Type), "Bonus");
    for (int r = 1; r <= f.lvwTransactionDetails.count(); ++r) f.lvwTransactionDetails.userToggle(r);
    expectPosting(f, ticked(rows, {9301, 9302}));
    f.txtRemarks.userType("October bonuses");
    f.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();

    const int id = scalar("select max(TransID) from paPayAccLinkHeader where TransType='B'").toInt32();
    EXPECT_EQ(oracle().entryFaults(id), "");
    EXPECT_EQ(scalar(flags).toText(), "110");
    ASSERT_GT(browserRow(id), 0);
    EXPECT_EQ(browser().flexMaster.textMatrix(browserRow(id), 3), "Bonuses");

    // Opened again, it shows its type; cancelled, it releases its bonuses.
    EXPECT_EQ(openEdit(id).cboType.text(), "Bonuses");
    shown().cmdClose.userClick();
    ASSERT_FALSE(linkingOpen());
    browser().flexMaster.userSelectCell(browserRow(id), 1);
    toolkit.answers.push_back(ui::vbYes);
    browser().CmdDelete.userClick();
    module->frmcancell().txtreason.userType("Paid twice");
    module->frmcancell().cmdok.userClick();
    EXPECT_EQ(scalar(flags).toText(), "000");
    EXPECT_EQ(testsupport::LedgerFaults(*raw), "");
}

}  // namespace
}  // namespace linkingtest
