// Where the component departs from the classic behaviour to keep data whole: two copies on one
// database never post a source twice or share an entry's keys, a stale screen undoes nothing, a
// failed save loses no typed work, and an entry balanced by hand re-opens as it was saved. Also
// hostile remarks. (The random walk of two users is the property test's.)
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "journal/frmJournalDetails.h"
#include "linking/frmcancell.h"
#include "linking_fixture.h"

namespace linkingtest {
namespace {

class SafeguardTest : public LinkingTest {
protected:
    void SetUp() override {
        LinkingTest::SetUp();
        raw->execute("update psettings set noofpreviousdays=0 where companyid=1");
    }
    // A new entry of every open run of the test department, saved.
    void saveOpenRuns() {
        auto& f = openNew();
        gather(f, "Payroll", DateTime::ymd(2026, 11, 20));
        f.chkSelectAll.userSet(1);
        f.cmdOk.userClick();
        ASSERT_FALSE(linkingOpen()) << lastMessage();
    }
};

// An entry cancelled or posted by another user after the screen's own check, just as its
// transaction begins, is closed to an open edit, and one posted so to an open cancellation.
// (Cancelled before a stale cancellation: the property test's two users.)
const std::string kClosedToEdit =
    "This entry has been cancelled or posted by another user meanwhile; close the screen to leave it as it "
    "is.";
const std::string kClosedToCancel =
    "This entry has been cancelled or posted by another user meanwhile; it is left as it is.";

TEST_F(SafeguardTest, AnEntryClosedMeanwhileIsClosedToAnOpenEditOrCancellation) {
    addRun(9101, 901, 1000, 100, 50);
    saveOpenRuns();
    auto& grid = browser().flexMaster;
    std::string column;
    const auto closeAtBegin = [&](const data::TraceEntry& e) {
        if (e.kind == data::TraceEntry::Kind::Begin)
            raw->execute("update paPayAccLinkHeader set " + column + "=1 where TransID=6");
    };
    for (const char* set : {"Cancelled", "Posted"}) {
        column = set;
        grid.userSelectCell(grid.rows() - 1, 0);
        ASSERT_EQ(grid.textMatrix(grid.row(), 0), "6");
        browser().CmdEdit.userClick();
        auto& late = module->frmPayrollAccountsLinking();
        late.txtRemarks.userPaste("edited meanwhile");
        trace->beforeEach = closeAtBegin;
        late.cmdOk.userClick();
        trace->beforeEach = nullptr;
        EXPECT_EQ(lastMessage(), kClosedToEdit) << set;
        toolkit.answers = {ui::vbNo};
        late.cmdClose.userClick();
        ASSERT_FALSE(linkingOpen());
        raw->execute("update paPayAccLinkHeader set " + column + "=0 where TransID=6");
    }
    grid.userSelectCell(grid.rows() - 1, 0);
    toolkit.answers = {ui::vbYes};
    browser().CmdDelete.userClick();
    module->frmcancell().txtreason.userType("too late");
    trace->beforeEach = closeAtBegin;
    module->frmcancell().cmdok.userClick();
    trace->beforeEach = nullptr;
    EXPECT_EQ(lastMessage(), kClosedToCancel);
    EXPECT_FALSE(module->isLoaded("frmcancell"));
    EXPECT_EQ(rows("select Remarks, Cancelled, Posted from paPayAccLinkHeader where TransID=6") +
                  rows("select mppPosted from pMonthlyPayRollProcessing where mppProcessID=9101"),
              "|0|1|\n1|\n");
}

// An edit opened before another user released one of its sources, and a new entry linked it:
// saving the stale edit would link the run twice, so it is refused and changes nothing.
TEST_F(SafeguardTest, AStaleEditOfASourceAnotherEntryTookMeanwhileIsRefused) {
    addRun(9101, 901, 1000, 100, 50);
    addRun(9102, 902, 2000, 200, 80);
    // Another company's entry linking a run of the same id takes nothing from this one.
    raw->execute("insert into paPayAccLinkHeader (CompanyID, TransID, TransType) values (2, 50, 'P')");
    raw->execute(
        "insert into paPayAccLinkDetails (CompanyID, TransID, DetailID, RefTransID) values (2,50,1,9101)");
    saveOpenRuns();

    OtherCopy stale(*module, dbPath);
    auto& g = stale.module.FrmMaster().flexMaster;
    g.userSelectCell(g.rows() - 1, 0);
    stale.module.FrmMaster().CmdEdit.userClick();
    auto& editing = stale.module.frmPayrollAccountsLinking();
    ASSERT_EQ(editing.lvwTransactions.count(), 2);

    auto& mine = openEdit(6);
    mine.lvwTransactions.userToggle(2);
    mine.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    saveOpenRuns();  // the released run

    const std::string before = dbState();
    editing.txtRemarks.userPaste("late");
    editing.cmdOk.userClick();
    EXPECT_EQ(
        lastBox(stale.toolkit).text,
        "Entry PAL/7 has linked some of the ticked transactions since they were listed; press Show again to "
        "list the ones still open.");
    EXPECT_EQ(dbState(), before);
    EXPECT_TRUE(stale.linkingOpen());
}

// Two programs save at the same moment, each in a department of its own: every save goes
// through with a key and a number of its own.
TEST_F(SafeguardTest, ParallelSavesAllSucceedWithDistinctNumbers) {
    constexpr int kEach = 50;
    for (int i = 1; i <= 2 * kEach; ++i) addRun(9100 + i, 901 + i % 5, 1000 + i, 100, 50);
    // The second half goes to "Test Lab B" and an employee of its own.
    raw->execute("insert into " + mapped("pDepartment") +
                 " (CompanyID, DepartmentID, DepartmentName, DepCurrencyID) values (1, 10, 'Test Lab B', 1)");
    raw->execute(
        "insert into pemployee (eCompanyID, eEmployeeID, eEmpNo, eName, eDepartmentID, ecurrencyid) "
        "values (1, 911, 'T911', 'Tester 911', 10, 1)");
    raw->execute("update pMonthlyPayRollProcessing set mppDepartmentID=10, mppEmpID=911 where mppProcessID>" +
                 std::to_string(9100 + kEach));

    // Each program in a folder of its own, for its script, output and log.
    auto run = [&](const std::string& department, testsupport::ProgramResult* result) {
        const std::string dir = tmp.file(department);
        std::filesystem::create_directory(dir);
        std::string text;
        for (int i = 0; i < kEach; ++i)
            text += "click cmdnew\nselect cboType Payroll\nselect cboDepartment " + department +
                    "\nset dtpFromDate 01/11/2026\nset dtpToDate 30/11/2026\nclick cmdShow\n"
                    "tick lvwTransactions 1\nclick cmdOk\n";
        std::ofstream(dir + "/saves.script") << text;
        *result = testsupport::runProgram(dir, "script saves.script --db '" + dbPath + "' --date 15/10/2026");
    };
    testsupport::ProgramResult a, b;
    std::thread pa(run, "Test Lab", &a), pb(run, "Test Lab B", &b);
    pa.join();
    pb.join();
    EXPECT_EQ(a.status, 0) << a.out << a.err;
    EXPECT_EQ(b.status, 0) << b.out << b.err;
    EXPECT_EQ(rows("select count(distinct TransID), count(distinct TransNo) from paPayAccLinkHeader where "
                   "CompanyID=1 and TransID>5"),
              "100|100|\n");
    EXPECT_EQ(testsupport::LedgerFaults(*raw), "");
}

// The entry number's own handler, and a prefix in another script counted in characters.
TEST_F(SafeguardTest, SmallFailurePathsAreLoggedAsTheirHandlersDo) {
    addRun(9101, 901, 1000, 100, 50);
    raw->execute("update pprefix set Prefix='ق/' where companyid=1 and InterfaceID=60");
    raw->execute("update paPayAccLinkHeader set TransNo='ق/' || TransID where CompanyID=1");
    auto& f = openNew();
    gather(f, "Payroll", DateTime::ymd(2026, 11, 20));
    f.lvwTransactions.userToggle(1);
    trace->beforeEach = [](const data::TraceEntry& e) {
        // The classic statement and its guarded stand-in both fail: only then does the
        // number procedure's own handler stop the save.
        if (e.text.find("Select isnull(max(convert(int,right(TransNo") != std::string::npos ||
            e.text.find("max(try_convert(int,") != std::string::npos)
            throw common::Error(-2147217900, "test", "number statement failed");
    };
    f.cmdOk.userClick();
    trace->beforeEach = nullptr;
    EXPECT_EQ(lastMessage(), "number statement failed");
    EXPECT_EQ(lastBox(toolkit).style, ui::vbOKOnly + ui::vbExclamation);
    const std::string log = testsupport::slurp(data::errorLogPath());
    EXPECT_NE(log.find("Employeeexit:"), std::string::npos) << log;
    EXPECT_NE(log.find(":Generateexitno:N\r\n"), std::string::npos) << log;
    EXPECT_EQ(count("select count(*) from paPayAccLinkHeader where CompanyID=1 and TransNo=''"), 0);

    if (linkingOpen()) f.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    EXPECT_EQ(scalar("select TransNo from paPayAccLinkHeader where TransID=6").toText(), "ق/6");
}

// As the classic component left its payment entries: linked, never flagged.
TEST_F(LinkingTest, ASourceOfAnOlderEntryThatNeverFlaggedItIsNamedWithWhatToDo) {
    auto& f = openNew();
    gather(f, "Reimbursements", DateTime::ymd(2026, 10, 15), "Administration");
    f.lvwTransactionDetails.userToggle(1);
    f.lvwTransactionDetails.userToggle(2);
    const std::string payment = f.lvwTransactionDetails.cell(1, linking::det::TransNo);
    f.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    raw->execute("update pPaymentHeader set phPosted=0 where phCompanyID=1");

    auto& again = openNew();
    gather(again, "Reimbursements", DateTime::ymd(2026, 10, 15), "Administration");
    ASSERT_EQ(again.lvwTransactionDetails.cell(1, linking::det::TransNo), payment);
    again.lvwTransactionDetails.userToggle(1);
    again.lvwTransactionDetails.userToggle(2);
    const std::string before = dbState();
    again.cmdOk.userClick();
    EXPECT_EQ(lastMessage(),
              "Entry PAL/6 already links payment " + payment +
                  " but, saved before sources were marked posted, never marked it so, which is why "
                  "it is listed as open; untick it, or cancel PAL/6 first if this entry should link it.");
    EXPECT_EQ(dbState(), before);
}

// Hostile remarks reach the database exactly, typed or pasted, never inside a statement's text.
class BadInputTest : public SafeguardTest {};

TEST_F(BadInputTest, RemarksReachTheHeaderExactlyAsTypedOrPasted) {
    // The long text fills a box (255), in ASCII so that characters are bytes, with no blank at
    // either end, since texts are trimmed on their way in.
    std::string longText;
    while (longText.size() < 254) longText += "O'Neil said \"stop\"; -- then /* nothing */ ";
    const std::vector<std::string> texts = {"O'Brien's advance",
                                            "x', Remarks='changed', Cancelled=0 where 1=1 --",
                                            "a; delete from paPayAccLinkHeader; -- \"not\" /* a comment */",
                                            "Zürich – Ærøskøbing, 東京, Łódź", longText.substr(0, 254) + "Z"};
    for (int i = 0; i < static_cast<int>(texts.size()); ++i) {
        SCOPED_TRACE("text " + std::to_string(i) + (i % 2 ? ", typed" : ", pasted"));
        addRun(9100 + i, 901 + i % 5, 1000 + i, 100, 50);
        auto& f = openNew();
        gather(f, "Payroll", DateTime::ymd(2026, 11, 30));
        ASSERT_EQ(f.lvwTransactions.count(), 1);
        f.lvwTransactions.userToggle(1);
        if (i % 2)
            f.txtRemarks.userType(texts[i]);
        else
            f.txtRemarks.userPaste(texts[i]);
        trace->clear();
        f.cmdOk.userClick();
        ASSERT_FALSE(linkingOpen()) << lastMessage();
        const std::string id = std::to_string(6 + i);
        EXPECT_EQ(
            rows("select TransID, Remarks from paPayAccLinkHeader where CompanyID=1 and TransID>=" + id),
            id + "|" + texts[i] + "|\n")
            << "one new entry, its remarks as given";
        for (const auto& s : trace->statements())
            EXPECT_EQ(s.find(texts[i]), std::string::npos) << "the remarks went into a statement's text";
    }
    EXPECT_TRUE(toolkit.errors.empty());
}

}  // namespace
}  // namespace linkingtest
