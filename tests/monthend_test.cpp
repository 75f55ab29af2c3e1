// Month-end status, audit and trace on generated company data (departments in three
// currencies, payroll and the six kinds of payment, entries live and cancelled) and on the
// demo: through the report queries and through the program as a scheduler runs it.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "TestSupport.h"
#include "browser/MonthStatusView.h"
#include "browser/PostAllDepartments.h"
#include "data/TableNames.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "report/LedgerAudit.h"
#include "report/MonthStatus.h"
#include "support/Generator.h"

namespace {

using testsupport::ProgramResult;

class MonthEndTest : public ::testing::Test {
protected:
    void SetUp() override {
        data::setComponentFolder(tmp.path().string());
        const std::string& made = testsupport::templateDb("monthend", false, [](data::Connection& c) {
            testsupport::generateMonthEnd(c, {.departments = 3,
                                              .employees = 5,
                                              .payments = 8,
                                              .months = 2,
                                              .postedMonths = 1,
                                              .entriesPerType = 2,
                                              .cancelledEvery = 4});
        });
        db = testsupport::copyDb(made, tmp.file("month.db"));
        c = data::sqlite::open(db);
        data::AssignTableName(*c, tables);
    }
    report::MonthStatus status(int month) {
        report::StatusFilter f;
        f.from = common::DateTime::ymd(2026, month, 1);
        f.to = common::DateTime::ymd(2026, month, 28 + month % 3);  // September and October
        return report::LoadMonthStatus({*c, tables, 1, 1}, f);
    }
    ProgramResult run(const std::string& args) {
        return testsupport::runProgram(tmp.path().string(), args + " --db month.db --date 28/10/2026");
    }
    double scalar(const std::string& sql) { return c->open(sql)->field(0).toDouble(); }

    testsupport::TempDir tmp;
    std::string db;
    data::ConnectionPtr c;
    data::TableNames tables;
};

TEST_F(MonthEndTest, StatusCountsWhatIsOpenAndPostingClosesItAtTheAmountsItShowed) {
    // September was posted: every source of every type and department is held, by the live
    // entries listed, and the cancelled twins release nothing.
    const report::MonthStatus september = status(9);
    ASSERT_EQ(september.cells.size(), 3u * 7u);
    for (const report::StatusCell& cell : september.cells) {
        EXPECT_EQ(cell.posted, cell.sources) << cell.typeCode << " " << cell.department;
        EXPECT_EQ(cell.open + cell.released, 0);
        EXPECT_EQ(cell.entries.size(), cell.typeCode == "P" ? 2u : 1u + (cell.sources > 1));
    }
    // A run moved to another department after its posting: its entry shows in both departments,
    // and once in the total.
    c->execute("update pMonthlyPayRollProcessing set mppDepartmentID=(select max(DepartmentID) from " +
               tables.pDepartment + " where DepartmentID<>mppDepartmentID) where mppProcessID=(select " +
               "min(RefTransID) from paPayAccLinkDetails)");
    EXPECT_EQ(status(9).total().entries.size(), september.total().entries.size());

    const report::MonthStatus before = status(10);
    EXPECT_EQ(before.total().sources, 3 * (5 + 8));
    EXPECT_EQ(before.total().open, before.total().sources);
    EXPECT_EQ(before.total().withoutRate, 0);
    ProgramResult open = run("status --from 01/10/2026 --to 31/10/2026 --csv open.csv");
    EXPECT_EQ(open.status, 1) << open.err;
    const std::string csv = testsupport::slurp(tmp.file("open.csv"));
    EXPECT_EQ(csv.substr(0, csv.find('\n') + 1),
              "type,department,sources,posted,open,open_amount,entries\r\n");
    EXPECT_NE(csv.find("Payroll,Department 2,5,0,5,"), std::string::npos) << csv;

    auto post = [&](const char* type) {
        browser::PostSession session;
        session.connection = c;
        session.processDate = "28/10/2026";
        browser::PostRequest r;
        r.type = type;
        r.from = common::DateTime::ymd(2026, 10, 1);
        r.to = common::DateTime::ymd(2026, 10, 31);
        return browser::PostAllDepartments(session).run(r);
    };
    for (const auto& type : common::TransactionTypes())
        for (const auto& d : post(type.name))
            ASSERT_EQ(d.status, browser::DepartmentOutcome::Status::Posted)
                << type.name << " " << d.name << ": " << d.reason;

    // Each cell's open amount was what its entries now debit in the company's currency: a
    // payroll run's basic and allowances, a payment's lines, converted at rates that are not 1.
    const report::MonthStatus after = status(10);
    ASSERT_EQ(after.cells.size(), before.cells.size());
    for (size_t i = 0; i < after.cells.size(); ++i) {
        const report::StatusCell &was = before.cells[i], &now = after.cells[i];
        EXPECT_EQ(now.open, 0);
        EXPECT_EQ(now.posted, was.sources);
        ASSERT_EQ(now.entries.size(), 1u) << now.typeCode << " " << now.department;
        const double debited =
            scalar("select sum(CompAmount) from paPayAccLinkDetails where Credit=0 and TransID=" +
                   std::to_string(now.entries[0].transId));
        EXPECT_NEAR(was.openAmount, debited, 0.001) << now.typeCode << " " << now.department;
        EXPECT_GT(was.openAmount, 0);
    }
    EXPECT_EQ(run("status --from 01/10/2026 --to 31/10/2026").status, 0);
    // Posting again finds nothing, and says which entry holds each department's runs.
    for (const auto& d : post("Payroll"))
        EXPECT_EQ(d.reason,
                  "nothing to post: its payroll runs are in " + after.find("P", d.id)->entries[0].transNo);

    // A cancelled entry releases its runs: open again, counted as released, exit status 1.
    const report::EntryRef payroll = after.find("P", before.cells.front().departmentId)->entries[0];
    c->execute("update paPayAccLinkHeader set Cancelled=1 where TransID=" + std::to_string(payroll.transId));
    const report::MonthStatus reopened = status(10);
    const report::StatusCell* released = reopened.find("P", before.cells.front().departmentId);
    EXPECT_EQ(released->released, 5);
    EXPECT_EQ(released->open, 5);
    EXPECT_NEAR(released->openAmount, before.cells.front().openAmount, 0.001);
    ProgramResult table = run("status --from 01/10/2026 --to 31/10/2026 --type payroll");
    EXPECT_EQ(table.status, 1);
    EXPECT_EQ(table.out.find("Savings"), std::string::npos) << table.out;
}

TEST_F(MonthEndTest, AuditFindsEachBreakOnceNamingEntryAndSourceAndNeverWrites) {
    ProgramResult clean = run("audit");
    EXPECT_EQ(clean.status, 0) << clean.out << clean.err;
    EXPECT_EQ(clean.out.rfind("No findings: ", 0), 0u) << clean.out;

    auto id = [&](const std::string& sql) { return std::to_string(static_cast<long>(scalar(sql))); };
    const std::string live = " from paPayAccLinkHeader h where h.Cancelled=0 and h.TransType=";
    const std::string linked =
        id("select min(RefTransID) from paPayAccLinkDetails d inner join paPayAccLinkHeader h "
           "on h.TransID=d.TransID where h.TransType='P'");
    const std::string openRun = id("select max(mppProcessID) from pMonthlyPayRollProcessing");
    const std::string payment =
        id("select min(RefTransID) from paPayAccLinkDetails d inner join "
           "paPayAccLinkHeader h on h.TransID=d.TransID where h.TransType='S'");
    std::vector<std::string> e;  // four live payroll entries
    for (int k = 0; k < 4; ++k)
        e.push_back(id("select min(h.TransID)" + live + "'P' and h.TransID>" + (k ? e.back() : "0")));
    const std::string copied = id("select max(h.TransID)" + live + "'O'");
    const std::string cancelled = id("select min(TransID) from paPayAccLinkHeader where Cancelled=1");
    auto number = [&](const std::string& trans) {
        return c->open("select TransNo from paPayAccLinkHeader where TransID=" + trans)->field(0).toText();
    };
    const std::string header =
        "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, "
        "TransDate, TransType, Cancelled) values (1, ";
    const std::string line = "update paPayAccLinkPostingDetails set ";
    for (const std::string& fault :
         {header + "900, 1, 'PAL/900', '2026-09-30', 'P', 0)",
          "insert into paPayAccLinkDetails (CompanyID, TransID, DetailID, RefTransID) values (1, 900, 1, " +
              linked + ")",
          "update pMonthlyPayRollProcessing set mppPosted=1 where mppProcessID=" + openRun,
          "update pPaymentHeader set phPosted=0 where phPaymentID=" + payment,
          line + "DeptAmount=DeptAmount+0.02 where DetailID=1 and TransID=" + e[0],
          line + "DeptAmount=DeptAmount+5 where TransID=" + cancelled,
          line + "AccountID=999999 where DetailID=2 and TransID=" + e[1],
          line + "AccCurrID=NULL where DetailID=1 and TransID=" + e[2],
          "update paPayAccLinkHeader set TransNo='" + number(copied) + "' where TransID=" + e[3],
          header + "901, 1, 'PAL/1.5', '2026-09-30', 'P', 1)"})
        c->execute(fault);
    // What the audit may not change: every row it reads.
    const auto state = [&] {
        std::string rows;
        for (const char* table : {"paPayAccLinkHeader", "paPayAccLinkDetails", "paPayAccLinkPostingDetails",
                                  "pMonthlyPayRollProcessing", "pPaymentHeader", "linktable"})
            for (auto rs = c->open(std::string("select * from ") + table); !rs->eof(); rs->moveNext())
                for (int i = 0; i < rs->fieldCount(); ++i) rows += rs->field(i).joinText() + "|";
        return rows;
    };
    const std::string before = state();

    ProgramResult found = run("audit --csv audit.csv");
    EXPECT_EQ(found.status, 1) << found.err;
    EXPECT_EQ(state(), before);
    EXPECT_NE(found.out.find("8 finding(s): "), std::string::npos) << found.out;
    // check, then the entry and the source it must name.
    const std::map<std::string, std::pair<std::string, std::string>> expected = {
        {"twice-linked", {number(e[0]).substr(0, 4), "(id " + linked + ")"}},
        {"flag-without-link", {"", "(id " + openRun + ")"}},
        {"link-without-flag", {"PAL/", "payment MP202609/" + payment + " (id " + payment + ")"}},
        {"unbalanced", {number(e[0]), ""}},
        {"unknown-account", {number(e[1]), ""}},
        {"no-currency", {number(e[2]), ""}},
        {"duplicate-number", {number(copied), ""}},
        {"number-blocks-numbering", {"PAL/1.5", ""}}};
    std::map<std::string, int> seen;
    std::stringstream rows(testsupport::slurp(tmp.file("audit.csv")));
    std::string row;
    std::getline(rows, row);
    EXPECT_EQ(row, "check,company,entry,source,finding,action\r");
    while (std::getline(rows, row)) {
        const std::string check = row.substr(0, row.find(','));
        ++seen[check];
        ASSERT_TRUE(expected.count(check)) << row;
        EXPECT_NE(row.find("," + expected.at(check).first), std::string::npos) << row;
        EXPECT_NE(row.find(expected.at(check).second), std::string::npos) << row;
    }
    for (const auto& [check, where] : expected) EXPECT_EQ(seen[check], 1) << check;
}

}  // namespace

// A run posted, edited and cancelled from the screens by one user, then posted again by
// another: trace shows both entries, who did what and why.
TEST(MonthEndTraceTest, TraceShowsEveryEntryThatHeldARunWithItsUsersAndReason) {
    testsupport::TempDir tmp;
    const std::string dir = tmp.path().string();
    testsupport::copyDb(testsupport::demoTemplate(), tmp.file("demo.db"));
    auto run = [&](const std::string& args) { return testsupport::runProgram(dir, args + " --db demo.db"); };
    ASSERT_EQ(run("script " PAYACC_SOURCE_DIR "/scripts/examples/entry_life.script --date 15/10/2026").status,
              0);
    const std::string october =
        " --type Payroll --from 01/10/2026 --to 31/10/2026 --date 28/10/2026 --department 1";
    ASSERT_EQ(run("post --user 3" + october).status, 0);
    auto c = data::sqlite::open(tmp.file("demo.db"));
    const std::string id =
        c->open(
             "select min(mppProcessID) from pMonthlyPayRollProcessing where mppDepartmentID=1 "
             "and mppProcessedDate>='2026-10-01'")
            ->field(0)
            .toText();

    // PAL/6 was posted before its cancellation; a payment may have the run's id.
    c->execute("update paPayAccLinkHeader set Posted=1 where TransNo='PAL/6'");
    c->execute("insert into pPaymentHeader (phCompanyID, phPaymentID, phType) values (1, " + id + ", 'S')");
    EXPECT_NE(run("trace --payment " + id).out.find("No entry holds it."), std::string::npos);
    ProgramResult trace = run("trace --run " + id);
    ASSERT_EQ(trace.status, 0) << trace.err;
    std::stringstream split(trace.out);
    std::string source, header, cancelled, edited, live;
    for (std::string* line : {&source, &header, &cancelled, &edited, &live}) std::getline(split, *line);
    EXPECT_NE(source.find("(id " + id + "), "), std::string::npos) << source;
    EXPECT_NE(source.find("Administration, dated 28/10/2026: flagged posted, held by 1 live entry."),
              std::string::npos)
        << source;
    EXPECT_EQ(cancelled.substr(0, 39), "PAL/6        15/10/2026 Cancelled admin");
    EXPECT_NE(cancelled.find("Linked twice by mistake"), std::string::npos) << cancelled;
    EXPECT_EQ(edited.substr(0, 25), "    saved again by admin ");
    EXPECT_EQ(live.substr(0, 39), "PAL/7        28/10/2026 Open      clerk");

    EXPECT_EQ(run("trace --payment 999999").status, 2);
}

// The browser's month status: an open cell opens New as the user would fill it in and press
// Show; once saved the cell is posted and opens its entry; a user without the rights is told
// why nothing opens.
class MonthStatusViewTest : public testsupport::ModuleTest {};

TEST_F(MonthStatusViewTest, OpenCellOpensNewFilledInAndPostedCellItsEntry) {
    raw->execute("update psettings set noofpreviousdays=30 where companyid=1");
    reopen();
    browser::MonthStatusView view(module->FrmMaster());
    ASSERT_TRUE(view.permitted());
    view.load(common::DateTime::ymd(2026, 10, 15));
    int32_t admin = 0;
    for (const report::Department& d : view.status().departments)
        if (d.name == "Administration") admin = d.id;
    ASSERT_EQ(view.status().find("P", admin)->open, 30);

    using Opened = browser::MonthStatusView::Opened;
    ASSERT_EQ(view.open("P", admin), Opened::NewEntry);
    linking::frmPayrollAccountsLinking& f = module->frmPayrollAccountsLinking();
    EXPECT_EQ(module->EntryMode, "N");
    EXPECT_EQ(f.cboType.text() + "|" + f.cboDepartment.text() + "|" +
                  common::formatDate(f.dtpFromDate.value(), "dd/MM/yyyy") + "|" +
                  common::formatDate(f.dtpToDate.value(), "dd/MM/yyyy"),
              "Payroll|Administration|01/10/2026|31/10/2026");
    EXPECT_EQ(f.lvwTransactions.count(), 30);
    f.chkSelectAll.userSet(1);
    f.cmdOk.userClick();
    ASSERT_FALSE(module->isLoaded("frmPayrollAccountsLinking"))
        << (toolkit.messages.empty() ? "" : toolkit.messages.back().request.text);
    module->collect();

    view.load(view.from());
    const report::StatusCell posted = *view.status().find("P", admin);  // open() reads the month again
    ASSERT_EQ(posted.posted, 30);
    ASSERT_EQ(view.open("P", admin), Opened::Entry);
    EXPECT_EQ(module->EntryMode, "E");
    EXPECT_EQ(module->frmPayrollAccountsLinking().txtTransNo.text(), posted.entries[0].transNo);
    module->frmPayrollAccountsLinking().cmdClose.userClick();
    module->collect();
    // A run its entry no longer holds: the cell opens New again, for that run.
    const std::string t = std::to_string(posted.entries[0].transId);
    raw->execute("delete from paPayAccLinkDetails where TransID=" + t +
                 " and RefTransID=(select max(RefTransID) from paPayAccLinkDetails where TransID=" + t + ")");
    view.load(view.from());
    EXPECT_EQ(view.open("P", admin), Opened::NewEntry);

    // The read-only user may look, and print, but not start an entry.
    reopen();
    module->session.userId = 2;
    browser::MonthStatusView readOnly(module->FrmMaster());
    EXPECT_TRUE(readOnly.permitted());
    readOnly.load(common::DateTime::ymd(2026, 9, 1));
    EXPECT_EQ(readOnly.open("P", admin), Opened::Nothing);
    EXPECT_EQ(readOnly.refusal(), "You may not make new entries.");
    EXPECT_FALSE(module->isLoaded("frmPayrollAccountsLinking"));
}
