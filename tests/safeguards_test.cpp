// Where the component departs from the classic behaviour to keep data whole: two copies on one
// database never post a source twice or share an entry's keys, a stale screen undoes nothing, a
// failed save loses no typed work, and an entry balanced by hand re-opens as it was saved.

#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "journal/frmJournalDetails.h"
#include "linking/frmcancell.h"
#include "linking_fixture.h"

namespace linkingtest {
namespace {

namespace pst = linking::pst;

// A second copy of the component: its own toolkit, module and connection on the same file.
struct OtherCopy {
    OtherCopy(const entry::Module& first, const std::string& dbPath) : module(toolkit) {
        module.session = first.session;
        module.session.connection = data::sqlite::open(dbPath);
    }
    frmPayrollAccountsLinking& openNew() {
        module.FrmMaster().cmdnew.userClick();
        return module.frmPayrollAccountsLinking();
    }
    bool linkingOpen() const { return module.isLoaded("frmPayrollAccountsLinking"); }
    ui::HeadlessToolkit toolkit;
    entry::Module module;
};

class SafeguardTest : public LinkingTest {
protected:
    void SetUp() override {
        LinkingTest::SetUp();
        raw->execute("update psettings set noofpreviousdays=0 where companyid=1");
    }
    void show(frmPayrollAccountsLinking& f, const std::string& type) {
        ASSERT_TRUE(f.cboType.userSelectText(type));
        ASSERT_TRUE(f.cboDepartment.userSelectText("Test Lab"));
        f.dtpFromDate.userSet(DateTime::ymd(2026, 11, 1));
        f.dtpToDate.userSet(DateTime::ymd(2026, 11, 30));
        f.cmdShow.userClick();
    }
};

// Two users Show the same selection and press Ok one after the other: the second is stopped
// and keeps the screen, and each source stays linked by the first entry only. Payments are
// flagged by the entry that links them, and released when an edit unticks them.
TEST_F(SafeguardTest, SourcesLinkedMeanwhileStopTheSecondSaveAndPaymentsAreFlagged) {
    addRun(9101, 901, 1000, 100, 50);
    addRun(9102, 902, 1200, 100, 50);
    addPayment(9501, "A", 901, 200, "2026-11-05");
    addPayment(9502, "A", 902, 300, "2026-11-06");
    OtherCopy second(*module, dbPath);
    for (const std::string type : {"Payroll", "Salary Advances"}) {
        SCOPED_TRACE(type);
        auto& mine = openNew();
        auto& theirs = second.openNew();
        show(mine, type);
        show(theirs, type);
        for (auto* f : {&mine, &theirs}) {
            auto& l = type == "Payroll" ? f->lvwTransactions : f->lvwTransactionDetails;
            for (int r = 1; r <= l.count(); ++r) l.userToggle(r);
        }
        const std::string dump = this->dump(theirs.lvwPostingDetails);

        mine.cmdOk.userClick();
        ASSERT_FALSE(linkingOpen()) << lastMessage();
        const std::string number = scalar(
                                       "select TransNo from paPayAccLinkHeader where TransID="
                                       "(select max(TransID) from paPayAccLinkHeader)")
                                       .toText();
        theirs.cmdOk.userClick();
        ASSERT_TRUE(second.linkingOpen());
        ASSERT_TRUE(second.toolkit.lastMessage());
        EXPECT_EQ(lastBox(second.toolkit).text,
                  "Entry " + number +
                      " has linked some of the ticked transactions since they were listed; press Show "
                      "again to list the ones still open.");
        EXPECT_EQ(lastBox(second.toolkit).style, ui::vbOKOnly + ui::vbInformation);
        EXPECT_EQ(this->dump(theirs.lvwPostingDetails), dump);
        EXPECT_EQ(theirs.txtTransNo.text(), "");
        // The screen is as unsaved as before: closing it asks.
        second.toolkit.answers = {ui::vbNo};
        theirs.cmdClose.userClick();
        EXPECT_EQ(lastBox(second.toolkit).text, "Save Changes?");
        EXPECT_FALSE(second.linkingOpen());
    }
    // Each source is linked by one live entry.
    EXPECT_EQ(
        rows("select d.RefTransID, count(distinct h.TransID) from paPayAccLinkDetails d, paPayAccLinkHeader "
             "h where d.CompanyID=h.CompanyID and d.TransID=h.TransID and h.CompanyID=1 and h.Cancelled=0 "
             "and d.RefTransID>9000 group by d.RefTransID order by 1"),
        "9101|1|\n9102|1|\n9501|1|\n9502|1|\n");
    EXPECT_EQ(count("select count(*) from paPayAccLinkHeader where CompanyID=1"), 7);
    const std::string flags =
        "select phPaymentID, phPosted from pPaymentHeader where phPaymentID>9500 order by 1";
    EXPECT_EQ(rows(flags), "9501|1|\n9502|1|\n");
    auto& e = openEdit(7);
    ASSERT_EQ(e.lvwTransactions.cell(2, linking::trn::TransID), "9502");
    e.lvwTransactions.userToggle(2);
    e.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    EXPECT_EQ(rows(flags), "9501|1|\n9502|0|\n");
}

// A browser (and an edit) opened before another user cancelled the entry and linked its runs
// again.
const std::string kClosedToEdit =
    "This entry has been cancelled or posted by another user meanwhile; close the screen to leave it as it "
    "is.";
const std::string kClosedToCancel =
    "This entry has been cancelled or posted by another user meanwhile; it is left as it is.";

TEST_F(SafeguardTest, StaleCancellationOrEditChangesNothing) {
    addRun(9101, 901, 1000, 100, 50);
    auto& f = openNew();
    show(f, "Payroll");
    f.lvwTransactions.userToggle(1);
    f.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();

    OtherCopy stale(*module, dbPath);
    auto& g = stale.module.FrmMaster().flexMaster;
    g.userSelectCell(g.rows() - 1, 0);
    ASSERT_EQ(g.textMatrix(g.row(), 0), "6");
    // The other user also has the entry open for editing.
    stale.module.FrmMaster().CmdEdit.userClick();
    auto& editing = stale.module.frmPayrollAccountsLinking();
    editing.txtRemarks.userPaste("edited late");

    toolkit.answers = {ui::vbYes};
    browser().CmdDelete.userClick();
    module->frmcancell().txtreason.userType("first reason");
    module->frmcancell().cmdok.userClick();
    auto& again = openNew();
    show(again, "Payroll");
    again.lvwTransactions.userToggle(1);
    again.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    const auto state = [&] {
        return rows("select TransID, Cancelled, cancelremarks from paPayAccLinkHeader where TransID>5") +
               rows("select mppPosted from pMonthlyPayRollProcessing where mppProcessID=9101");
    };
    const std::string before = state();

    editing.cmdOk.userClick();
    EXPECT_EQ(lastBox(stale.toolkit).text, kClosedToEdit);
    stale.toolkit.answers = {ui::vbNo};
    editing.cmdClose.userClick();
    ASSERT_FALSE(stale.linkingOpen());

    stale.toolkit.answers = {ui::vbYes};
    stale.module.FrmMaster().CmdDelete.userClick();
    stale.module.frmcancell().txtreason.userType("second reason");
    stale.module.frmcancell().cmdok.userClick();
    EXPECT_EQ(lastBox(stale.toolkit).text, kClosedToCancel);
    EXPECT_FALSE(stale.module.isLoaded("frmcancell"));
    EXPECT_EQ(state(), before);
    EXPECT_EQ(before, "6|1|first reason|\n7|0||\n1|\n");
    EXPECT_EQ(g.textMatrix(g.row(), 5), "Yes");

    // An entry posted meanwhile is as closed to an open edit or cancellation as a cancelled one.
    auto& grid = browser().flexMaster;
    grid.userSelectCell(grid.rows() - 1, 0);
    ASSERT_EQ(grid.textMatrix(grid.row(), 0), "7");
    browser().CmdEdit.userClick();
    auto& late = module->frmPayrollAccountsLinking();
    late.txtRemarks.userPaste("edited after posting");
    // Posted after the screen's own posted check, just as its transaction begins.
    const auto postAtBegin = [&](const data::TraceEntry& e) {
        if (e.kind == data::TraceEntry::Kind::Begin)
            raw->execute("update paPayAccLinkHeader set Posted=1 where TransID=7");
    };
    trace->beforeEach = postAtBegin;
    late.cmdOk.userClick();
    trace->beforeEach = nullptr;
    EXPECT_EQ(lastMessage(), kClosedToEdit);
    toolkit.answers = {ui::vbNo};
    late.cmdClose.userClick();
    ASSERT_FALSE(linkingOpen());
    raw->execute("update paPayAccLinkHeader set Posted=0 where TransID=7");
    grid.userSelectCell(grid.rows() - 1, 0);
    toolkit.answers = {ui::vbYes};
    browser().CmdDelete.userClick();
    module->frmcancell().txtreason.userType("too late");
    trace->beforeEach = postAtBegin;
    module->frmcancell().cmdok.userClick();
    trace->beforeEach = nullptr;
    EXPECT_EQ(lastMessage(), kClosedToCancel);
    EXPECT_EQ(rows("select Remarks, Cancelled, Posted from paPayAccLinkHeader where TransID=7"), "|0|1|\n");
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
    EXPECT_EQ(count("select count(*) from pMonthlyPayRollProcessing where mppProcessID>9100 and mppPosted=1"),
              2 * kEach);
}

// A debit gathered, its credit added by hand: re-opened, the line is still a credit of the same
// amount, and saving it unchanged writes the same rows again.
TEST_F(SafeguardTest, HandBalancedEntryReopensAndResavesUnchanged) {
    addPayment(9301, "A", 901, 250.75, "2026-11-10");
    auto& f = openNew();
    show(f, "Salary Advances");
    f.lvwTransactionDetails.userToggle(1);
    f.lvwPostingDetails.userSelectRow(1);
    f.lvwPostingDetails.userRightClick();
    f.mnuAdd.userClick();
    auto& ed = module->frmJournalDetails();
    ASSERT_TRUE(ed.cboAccountID.userSelectText("Emirates Bank Current Account"));
    ed.txtDescription.userType("Paid by bank transfer");
    // Leaving the amount box puts a number in the amount pattern and leaves anything else alone.
    ed.txtAmount.userPaste("abc");
    ed.txtAmount.LostFocus();
    EXPECT_EQ(ed.txtAmount.text(), "abc");
    ed.txtAmount.userPaste("250.75");
    ed.txtAmount.LostFocus();
    EXPECT_EQ(ed.txtAmount.text(), "250.75");
    ed.cmdOK.userClick();
    ed.cmdCancel.userClick();
    f.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    const std::string stored =
        "select DetailID, AccountID, Description, DebitAmount, CreditAmount, DeptAmount, CompAmount, "
        "RefTransAmount, Editable from paPayAccLinkPostingDetails where CompanyID=1 and TransID=6 order by 1";
    const std::string saved = rows(stored);

    auto& e = openEdit(6);
    EXPECT_EQ(e.txtTotDepAmount.text(), "0.00");
    EXPECT_EQ(e.lvwPostingDetails.cell(2, pst::TotalAmount), "-250.75");
    e.lvwPostingDetails.userSelectRow(2);
    e.lvwPostingDetails.userDblClick();
    auto& line = module->frmJournalDetails();
    EXPECT_TRUE(line.optCredit.value());
    EXPECT_EQ(line.txtAmount.text(), "250.75");
    line.cmdOK.userClick();  // committed as it stands
    line.cmdCancel.userClick();
    EXPECT_EQ(e.txtTotDepAmount.text(), "0.00");
    e.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    EXPECT_EQ(rows(stored), saved);
}

// The entry number's own handler, a prefix in another script counted in characters, and a
// table mapping that fails on a later Show.
TEST_F(SafeguardTest, SmallFailurePathsAreLoggedAsTheirHandlersDo) {
    addRun(9101, 901, 1000, 100, 50);
    raw->execute("update pprefix set Prefix='ق/' where companyid=1 and InterfaceID=60");
    raw->execute("update paPayAccLinkHeader set TransNo='ق/' || TransID where CompanyID=1");
    auto& f = openNew();
    show(f, "Payroll");
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
    ASSERT_NE(toolkit.lastMessage(), nullptr);
    EXPECT_EQ(lastBox(toolkit).style, ui::vbOKOnly + ui::vbExclamation);
    std::string log = testsupport::slurp(data::errorLogPath());
    EXPECT_NE(log.find("Employeeexit:"), std::string::npos) << log;
    EXPECT_NE(log.find(":Generateexitno:N\r\n"), std::string::npos) << log;
    EXPECT_EQ(count("select count(*) from paPayAccLinkHeader where CompanyID=1 and TransNo=''"), 0);

    if (linkingOpen()) f.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    EXPECT_EQ(scalar("select TransNo from paPayAccLinkHeader where TransID=6").toText(), "ق/6");

    // A table mapping that fails on a later Show is logged and shown, and the browser loads.
    browser().CmdClose.userClick();
    module->collect();
    raw->execute("alter table linktable rename to linktable_gone");
    module->session.connection = trace;
    browser();
    EXPECT_TRUE(module->isLoaded("FrmMaster"));
    EXPECT_EQ(lastBox(toolkit).style, ui::vbOKOnly + ui::vbExclamation);
    log = testsupport::slurp(data::errorLogPath());
    EXPECT_NE(log.find("FrmMaster:"), std::string::npos) << log;
    EXPECT_NE(log.find(":AssignTableName:N\r\n"), std::string::npos) << log;
}

// One copy's browser lists while another holds its save's transaction open, and sees only what
// is committed.
TEST_F(SafeguardTest, BrowserDuringAnotherSaveSeesOnlyWhatIsCommitted) {
    raw->beginTrans();
    raw->execute(
        "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, TransType, "
        "Remarks, Cancelled) values (1, 990, 9, 'OTHER/990', '2026-11-01', 'P', 'first copy', 0)");
    EXPECT_TRUE(std::filesystem::exists(dbPath + "-wal")) << "the database is not in write-ahead-log mode";
    OtherCopy second(*module, dbPath);
    auto& g = second.module.FrmMaster().flexMaster;
    std::set<std::string> listed;
    for (int r = 1; r < g.rows(); ++r) listed.insert(g.textMatrix(r, 0));
    EXPECT_EQ(listed, (std::set<std::string>{"1", "2", "3", "4", "5"}));
    raw->rollbackTrans();
}

}  // namespace
}  // namespace linkingtest
