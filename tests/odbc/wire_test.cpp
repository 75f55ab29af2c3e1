// What the screens send over FreeTDS, read from the responder's record of the wire: declarations,
// round trips, transaction requests, text; and what a lock timeout, an old compatibility level
// and a lost connection do to a save.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "../TestSupport.h"
#include "data/odbc/OdbcConnection.h"
#include "data/odbc/ServerDialect.h"
#include "journal/frmJournalDetails.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmcancell.h"
#include "support/TdsResponder.h"

namespace {

using testsupport::WireRequest;

class WireTest : public testsupport::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        responder = std::make_unique<testsupport::TdsResponder>(dbPath);
        connect();
    }
    void TearDown() override {
        module.reset();
        session.reset();
        responder.reset();
    }
    // The module's connection goes through FreeTDS to the responder; `raw` stays on the file.
    void connect() {
        module.reset();
        auto odbc = data::odbc::open(responder->connectionString());
        session->trace = trace = std::make_shared<data::TraceConnection>(odbc);
        session->reopen(toolkit);
        module = std::move(session->module);
    }
    // New, Payroll, the department, Show, every run ticked, the remarks; Ok is the test's.
    linking::frmPayrollAccountsLinking& newEntry(const std::string& department, const std::string& remarks) {
        module->FrmMaster().cmdnew.userClick();
        auto& f = module->frmPayrollAccountsLinking();
        f.cboType.userSelectText("Payroll");
        f.cboDepartment.userSelectText(department);
        f.cmdShow.userClick();
        f.chkSelectAll.userClick();
        f.txtRemarks.userPaste(remarks);
        return f;
    }
    data::Connection& wire() { return *trace; }
    std::vector<WireRequest> ok(linking::frmPayrollAccountsLinking& f) {
        responder->clearRecord();
        f.cmdOk.userClick();
        return responder->record();
    }
    std::unique_ptr<testsupport::TdsResponder> responder;
};

size_t count(const std::vector<WireRequest>& record, const std::string& kind) {
    size_t n = 0;
    for (const auto& r : record)
        for (const auto& c : r.calls) n += c.kind == kind;
    return n;
}

TEST_F(WireTest, ASaveDeclaresEachTextOnceAndItsRoundTripsDoNotGrowWithItsLines) {
    const std::string remarks = "\xd8\xb1\xd8\xa7\xd8\xaa\xd8\xa8 \xe0\xa4\xb5\xe0\xa5\x87 \xf0\x9f\x8e\x89";
    auto& first = newEntry("Administration", remarks);
    first.dtpTransDate.userSet({2026, 10, 28, 14, 30, 0});  // a time of day the entry does not keep
    auto small = ok(first);
    ASSERT_FALSE(module->isLoaded("frmPayrollAccountsLinking")) << toolkit.lastMessage()->text;
    auto large = ok(newEntry("Site Operations", "second"));
    ASSERT_FALSE(module->isLoaded("frmPayrollAccountsLinking"));
    const std::string details = "paPayAccLinkDetails(";
    auto rows = [&](const std::vector<WireRequest>& record) {
        size_t n = 0;
        for (const auto& r : record)
            for (const auto& c : r.calls)
                n += c.name == "sp_execute" && c.text.find(details) != std::string::npos;
        return n;
    };
    // Five times the lines, no more round trips (the first save also prepared its statements).
    EXPECT_GT(rows(large), rows(small) * 3);
    EXPECT_LE(large.size(), small.size());
    EXPECT_LE(small.size(), 21u);

    std::map<std::string, std::set<std::string>> declarations;
    bool remarksAsUnicode = false;
    std::set<std::string> dates;  // the header's and the details' date parameters, with their types
    for (const auto* record : {&small, &large})
        for (const auto& r : *record)
            for (const auto& c : r.calls) {
                if (!c.declarations.empty()) declarations[c.text].insert(c.declarations);
                for (size_t i = 0; i < c.values.size(); ++i) {
                    remarksAsUnicode |= c.values[i] == remarks && c.types[i] == "nvarchar(4000)";
                    const char* table = i == 4 ? "paPayAccLinkHeader (" : i == 7 ? details.c_str() : nullptr;
                    if (table && c.text.find(table) != std::string::npos)
                        dates.insert(table + c.types[i].substr(0, 9));
                }
            }
    EXPECT_TRUE(remarksAsUnicode);
    EXPECT_EQ(dates,
              (std::set<std::string>{"paPayAccLinkDetails(datetime2", "paPayAccLinkHeader (datetime2"}));
    EXPECT_GE(declarations.size(), 3u);
    for (const auto& [text, forms] : declarations) EXPECT_EQ(forms.size(), 1u) << text;

    // One transaction, its lock taken first, the posted flags in one batch, then the commit.
    const auto& calls = [&] {
        std::vector<testsupport::WireCall> all;
        for (const auto& r : small) all.insert(all.end(), r.calls.begin(), r.calls.end());
        return all;
    }();
    EXPECT_EQ(count(small, "begin"), 1u);
    EXPECT_EQ(count(small, "commit"), 1u);
    size_t begin = 0;
    while (calls[begin].kind != "begin") ++begin;
    EXPECT_NE(calls[begin + 1].text.find("sp_getapplock @Resource = N'payacclink entries of company 1'"),
              std::string::npos);
    EXPECT_TRUE(std::any_of(calls.begin(), calls.end(), [](const auto& c) {
        return c.kind == "batch" && std::count(c.text.begin(), c.text.end(), ';') > 2 &&
               c.text.find("update pMonthlyPayRollProcessing set mppPosted=1") == 0;
    }));
    EXPECT_EQ(scalar("select Remarks from paPayAccLinkHeader where TransNo='PAL/6'"), common::Value(remarks));
    EXPECT_EQ(scalar("select TransDate from paPayAccLinkHeader where TransNo='PAL/6'").toText(),
              "28/10/2026");
    // A text longer than one read of the driver comes back whole, with an emoji across the seam.
    const std::string longText = std::string(2046, 'x') + "\xf0\x9f\x8e\x89" + std::string(3000, 'y');
    EXPECT_EQ(wire().open("select '" + longText + "' as t")->field(0).joinText(), longText);
    // A text of 4000 units is still declared nvarchar(4000); a write outside a transaction is
    // sent at once.
    responder->clearRecord();
    wire().command("select ? as t")->execute({common::Value(std::string(4000, 'x'))});
    EXPECT_EQ(responder->record().back().calls.back().declarations, "@P1 NVARCHAR(4000)");
    wire().command("update paPayAccLinkHeader set Remarks=? where TransNo='PAL/1'")->execute({"at once"});
    EXPECT_EQ(scalar("select Remarks from paPayAccLinkHeader where TransNo='PAL/1'"),
              common::Value("at once"));
}

TEST_F(WireTest, ALockTimeoutAnOldServerAndALostConnectionEachKeepTheWork) {
    auto& f = newEntry("Administration", "October");
    // The server counts its columns in UTF-16 units: 253 letters and one emoji fill all 255.
    const std::string full = std::string(253, 'x') + "\xf0\x9f\x8e\x89";
    f.txtRemarks.setText("");
    f.txtRemarks.userPaste(full + "\xf0\x9f\x8e\x89");
    EXPECT_EQ(f.txtRemarks.text(), full);
    f.txtRemarks.setText("October");
    const std::string before = dbState();
    // A detail the server refuses, not the first of the batch: the save stops, nothing written.
    raw->execute(
        "create trigger refuse before insert on paPayAccLinkDetails when new.DetailID = 2 begin "
        "select raise(abort, 'row 2 refused'); end");
    f.cmdOk.userClick();
    EXPECT_NE(toolkit.lastMessage()->text.find("row 2 refused"), std::string::npos);
    EXPECT_EQ(dbState(), before);
    raw->execute("drop trigger refuse");
    responder->clearRecord();
    // Another copy holds the company's entries past the wait: one sentence, nothing written,
    // also when the connection goes down at the rollback that follows.
    responder->setApplockResult(-1);
    responder->dropOn("rollback");
    f.cmdOk.userClick();
    ASSERT_TRUE(module->isLoaded("frmPayrollAccountsLinking"));
    EXPECT_NE(toolkit.lastMessage()->text.find("more than 15 seconds"), std::string::npos);
    EXPECT_EQ(dbState(), before);
    responder->setApplockResult(0);

    // The connection drops at the commit: the work stays, Close asks, the next Ok connects again.
    EXPECT_EQ(count(responder->record(), "rollback"), 1u);
    responder->dropOn("commit");
    f.cmdOk.userClick();
    ASSERT_TRUE(module->isLoaded("frmPayrollAccountsLinking"));
    EXPECT_NE(toolkit.lastMessage()->text.find("the connection to the database was lost"), std::string::npos);
    EXPECT_EQ(dbState(), before);
    toolkit.answers.push_back(ui::vbNo);
    int cancel = 0;
    f.Form_QueryUnload(cancel, 0);
    EXPECT_EQ(toolkit.lastMessage()->text, "Save Changes?");
    f.cmdOk.userClick();
    EXPECT_FALSE(module->isLoaded("frmPayrollAccountsLinking"));
    EXPECT_EQ(rows("select TransNo, Remarks from paPayAccLinkHeader where TransID > 5"), "PAL/6|October|\n");

    // A level that cannot be read counts as the oldest, 100: the numbering goes without
    // TRY_CONVERT, past odd stored numbers: a fraction, and more digits than an int may hold.
    raw->execute("update paPayAccLinkHeader set TransNo='PAL/7.5' where TransNo='PAL/5'");
    raw->execute("update paPayAccLinkHeader set TransNo='PAL/9999999999' where TransNo='PAL/4'");
    responder->setCompatibilityLevel(0);
    connect();
    auto& again = newEntry("Finance & Accounts", "level 100");
    // The line editor converts with the rates the server's procedure gives back: rupees to dirhams.
    again.lvwPostingDetails.userRightClick();
    again.mnuAdd.userClick();
    auto& hand = module->frmJournalDetails();
    ASSERT_TRUE(hand.cboAccountID.userSelectText("HDFC Bank Pune Account"));
    hand.txtAmount.userType("100");
    EXPECT_EQ(hand.txtDepAmount.text() + " " + hand.txtCompAmount.text(), "4.41 4.41");
    hand.cmdCancel.userClick();
    ok(again);
    EXPECT_FALSE(module->isLoaded("frmPayrollAccountsLinking")) << toolkit.lastMessage()->text;
    EXPECT_EQ(scalar("select Remarks from paPayAccLinkHeader where TransNo='PAL/7'"),
              common::Value("level 100"));

    // A cancellation's reason goes as a parameter, never inside the statement's text.
    const int id =
        static_cast<int>(scalar("select TransID from paPayAccLinkHeader where TransNo='PAL/7'").toInt64());
    module->FrmMaster().flexMaster.userSelectCell(browserRow(id), 1);
    toolkit.answers.push_back(ui::vbYes);
    module->FrmMaster().CmdDelete.userClick();
    module->frmcancell().txtreason.userPaste("O'Brien's run");
    responder->clearRecord();
    module->frmcancell().cmdok.userClick();
    bool bound = false;
    for (const auto& r : responder->record())
        for (const auto& c : r.calls)
            if (c.text.find("cancelremarks") != std::string::npos)
                bound = c.text.find("Brien") == std::string::npos && c.values.size() == 1 &&
                        c.values[0] == "O'Brien's run";
    EXPECT_TRUE(bound);
}

}  // namespace

// Only a literal with text beyond ASCII gets its N, written apart from a word before it.
TEST(ServerDialect, ALiteralBeyondAsciiGetsItsNOnce) {
    const std::pair<const char*, const char*> cases[] = {
        {"select 'abc'", "select 'abc'"},
        {"select 'راتب'", "select N'راتب'"},
        {"where a like'é%'", "where a like N'é%'"},
        {"values(N'é',n'ü')", "values(N'é',n'ü')"},
        {"select 'O''Brien ü', [é] /* 'ü' */ -- 'ü'", "select N'O''Brien ü', [é] /* 'ü' */ -- 'ü'"},
    };
    for (const auto& [sql, want] : cases) EXPECT_EQ(data::odbc::unicodeLiterals(sql), want) << sql;
}
