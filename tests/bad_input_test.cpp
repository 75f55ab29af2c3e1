// Hostile input, field by field: quotes, semicolons, comment markers, non-ASCII letters and
// 4,000-character texts in every free text, Null and non-numbers in the columns the screens
// read, dates at the edges of the calendar and ids at the edges of 32 bits. Each must end in
// what the screens define or in an error the user is shown: never a crash, never a half-written
// entry, never a statement that the input rewrote.
#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>

#include "common/Error.h"
#include "data/ErrorLog.h"
#include "data/sqlite/Generator.h"
#include "journal/frmJournalDetails.h"
#include "linking/frmcancell.h"
#include "linking_fixture.h"

namespace linkingtest {
namespace {

namespace pst = linking::pst;
namespace trn = linking::trn;
namespace det = linking::det;

// As long as a free-text box takes (255), ASCII only so that characters are bytes; no
// blank at either end, since texts are trimmed on their way in.
std::string longText() {
    const std::string unit = "O'Neil said \"stop\"; -- then /* nothing */ ";
    std::string s;
    while (s.size() < 255) s += unit;
    s.resize(255);
    s.back() = 'Z';
    return s;
}

// What every free text is tried with.
std::vector<std::string> hostileTexts() {
    return {"O'Brien's advance",
            "x', Remarks='changed', Cancelled=0 where 1=1 --",
            "He said \"stop\" and \"go\"",
            "a; delete from paPayAccLinkHeader; select 1",
            "-- not a comment",
            "/* not a comment */ and -- neither",
            "Zürich – Ærøskøbing, 東京, Łódź",
            longText()};
}

// A text as an SQL literal, for setting up data with plain SQL.
std::string literal(const std::string& text) {
    std::string out = "'";
    for (char ch : text) out += ch == '\'' ? std::string("''") : std::string(1, ch);
    return out + "'";
}

std::string withoutApostrophes(std::string s) {
    s.erase(std::remove(s.begin(), s.end(), '\''), s.end());
    return s;
}

class BadInputTest : public LinkingTest {
protected:
    void SetUp() override {
        LinkingTest::SetUp();
        raw->execute("update psettings set noofpreviousdays=0 where companyid=1");
    }

    // A fresh copy of the demo database, module and toolkit, for cases that each need their own.
    void restart() {
        module.reset();
        trace.reset();
        raw.reset();
        toolkit = ui::HeadlessToolkit();
        std::error_code ec;
        for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(dbPath + suffix, ec);
        SetUp();
    }

    bool linkingOpen() const { return module->isLoaded("frmPayrollAccountsLinking"); }
    int newestEntry() { return count("select max(TransID) from paPayAccLinkHeader where CompanyID=1"); }

    // The link tables and the source flags: what a failed action must leave as it was.
    std::string dbState() {
        return rows("select * from paPayAccLinkHeader order by CompanyID, TransID") +
               rows("select * from paPayAccLinkDetails order by CompanyID, TransID, DetailID") +
               rows("select * from paPayAccLinkPostingDetails order by CompanyID, TransID, DetailID") +
               rows(
                   "select mppCompanyID, mppProcessID from pMonthlyPayRollProcessing where mppPosted=1 order "
                   "by 1, 2") +
               rows("select phCompanyID, phPaymentID from pPaymentHeader where phPosted=1 order by 1, 2");
    }

    int browserRow(const std::string& transId) {
        auto& g = browser().flexMaster;
        for (int r = 1; r < g.rows(); ++r)
            if (g.textMatrix(r, 0) == transId) return r;
        return 0;
    }
    // Selects the entry's browser row and presses Delete, answering Yes.
    linking::frmcancell& openCancel(int transId) {
        const int row = browserRow(std::to_string(transId));
        EXPECT_GT(row, 0) << "entry " << transId << " not in the browser";
        browser().flexMaster.userSelectCell(row, 0);
        toolkit.answers = {ui::vbYes};
        browser().CmdDelete.userClick();
        return module->frmcancell();
    }

    // Entry 701 of the test department: one detail row of run 9501 and one journal line, every
    // column filled, so that one column at a time can be emptied.
    void addSavedEntry() {
        addRun(9501, 901, 1000, 0, 0);
        raw->execute("update pMonthlyPayRollProcessing set mppPosted=1 where mppProcessID=9501");
        raw->execute(
            "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, "
            "TransType, "
            "Remarks, Cancelled, cancelremarks, Posted) values (1, 701, 9, 'PAL/701', '2026-11-28', 'P', "
            "'Entry 701', 0, NULL, 0)");
        const std::string details =
            "insert into paPayAccLinkDetails (CompanyID, TransID, DetailID, DepartmentID, RefTransID, "
            "RefTransNo, "
            "RefTransType, RefTransDate, EmpID, EmpName, EmpNo, AccountID, AccountDesc, TransCurrSymbol, "
            "AccCurrSymbol, TransCurrID, AccCurrID, RefTransAmount, AccountAmount, DeptAmount, CompAmount, "
            "Credit) "
            "values ";
        raw->execute(details +
                     "(1, 701, 1, 9, 9501, 'PRT/9501', 'Basic Salary', '2026-11-28', 901, 'Tester 901', "
                     "'T901', 1001, 'Basic Salaries - AED', 'AED', 'AED', 1, 1, 1000, 1000, 1000, 1000, 0)");
        raw->execute(details +
                     "(1, 701, 2, 9, 9501, 'PRT/9501', 'Net Pay', '2026-11-28', 901, 'Tester 901', "
                     "'T901', 1004, 'Net Salaries Payable - AED', 'AED', 'AED', 1, 1, 1000, 1000, 1000, "
                     "1000, 1)");
        const std::string posting =
            "insert into paPayAccLinkPostingDetails (CompanyID, TransID, DetailID, DepartmentID, AccountID, "
            "AccountDesc, Description, AccCurrID, AccCurrSymbol, RefCurrID, RefCurrSymbol, DebitAmount, "
            "CreditAmount, RefTransAmount, DeptAmount, CompAmount, Editable) values ";
        raw->execute(posting +
                     "(1, 701, 1, 9, 1001, 'Basic Salaries - AED', 'wages', 1, 'AED', 1, 'AED', 1000, 0, "
                     "1000, 1000, 1000, 'N')");
        raw->execute(posting +
                     "(1, 701, 2, 9, 1004, 'Net Salaries Payable - AED', 'wages', 1, 'AED', 1, 'AED', 0, "
                     "1000, -1000, -1000, -1000, 'N')");
    }

    // The same database seen by a new module: the browser loads afresh.
    void reopen() {
        module.reset();
        toolkit = ui::HeadlessToolkit();
        module = std::make_unique<entry::Module>(toolkit);
        module->session.connection = trace;
        module->session.userId = 1;
        module->session.companyId = 1;
        module->session.interfaceId = 60;
        module->session.msgTitle = "Payroll Accounts Linking";
        module->session.processDate = "15/10/2026";
    }

    // An advance of the test department gathered on a new entry with its debit row ticked, and a
    // credit line that balances it added in the line editor with this description.
    frmPayrollAccountsLinking& advanceBalancedByHand(int paymentId, double amount,
                                                     const std::string& description, bool typed) {
        addPayment(paymentId, "A", 901, amount, "2026-11-10");
        auto& f = openNew();
        gather(f, "Salary Advances", DateTime::ymd(2026, 11, 20));
        // A new entry never flags a payment, so earlier advances are listed again: tick this one's.
        tickPaymentRows(f, paymentId, {"0"});
        f.lvwPostingDetails.userRightClick();
        f.mnuAdd.userClick();
        auto& ed = module->frmJournalDetails();
        EXPECT_TRUE(ed.cboAccountID.userSelectText("Emirates Bank Current Account"));
        if (typed)
            ed.txtDescription.userType(description);
        else
            ed.txtDescription.userPaste(description);
        ed.txtAmount.userType(common::Format2(amount));
        ed.cmdOK.userClick();
        ed.cmdCancel.userClick();
        EXPECT_EQ(f.txtTotDepAmount.text(), "0.00");
        return f;
    }

    // Ticks the detail rows of one payment whose "Credit" is one of the given texts.
    static void tickPaymentRows(frmPayrollAccountsLinking& f, int paymentId,
                                const std::vector<std::string>& sides) {
        int ticked = 0;
        for (int r = 1; r <= f.lvwTransactionDetails.count(); ++r) {
            if (f.lvwTransactionDetails.cell(r, det::TransID) != std::to_string(paymentId)) continue;
            if (std::find(sides.begin(), sides.end(), f.lvwTransactionDetails.cell(r, det::Credit)) ==
                sides.end())
                continue;
            f.lvwTransactionDetails.userToggle(r);
            ++ticked;
        }
        EXPECT_EQ(ticked, static_cast<int>(sides.size())) << "payment " << paymentId;
    }

    // A box with only OK since `from`: the notices and error descriptions the user is shown.
    bool noticeShownSince(size_t from) const {
        for (size_t i = from; i < toolkit.messages.size(); ++i)
            if (toolkit.messages[i].request.buttons() == ui::vbOKOnly) return true;
        return false;
    }
    std::string errorLog() {
        std::ifstream in(data::errorLogPath(), std::ios::binary);
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    }
    bool statementsContain(const std::string& text) const {
        for (const auto& s : trace->statements())
            if (s.find(text) != std::string::npos) return true;
        return false;
    }
};

TEST_F(BadInputTest, RemarksReachTheHeaderExactlyAsTypedOrPasted) {
    const auto texts = hostileTexts();
    const std::string before =
        rows("select CompanyID, TransID, Remarks, Cancelled from paPayAccLinkHeader order by 1, 2");
    for (size_t i = 0; i < texts.size(); ++i) {
        SCOPED_TRACE("text " + std::to_string(i) + (i % 2 ? ", typed" : ", pasted"));
        addRun(9100 + static_cast<int>(i), 901 + static_cast<int>(i % 5), 1000 + static_cast<double>(i), 100,
               50);
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
        EXPECT_EQ(scalar("select Remarks from paPayAccLinkHeader where CompanyID=1 and TransID=" +
                         std::to_string(newestEntry()))
                      .joinText(),
                  texts[i]);
        EXPECT_FALSE(statementsContain(texts[i])) << "the remarks went into a statement's text";
    }
    // Editing binds the remarks too.
    const int last = newestEntry();
    auto& f = openEdit(last);
    f.txtRemarks.userPaste(texts[1]);
    f.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    EXPECT_EQ(
        scalar("select Remarks from paPayAccLinkHeader where CompanyID=1 and TransID=" + std::to_string(last))
            .joinText(),
        texts[1]);
    // Nothing else changed: the entries there were, and one new entry per text.
    EXPECT_EQ(
        rows("select CompanyID, TransID, Remarks, Cancelled from paPayAccLinkHeader where TransID<" +
             std::to_string(last - static_cast<int>(texts.size()) + 1) + " or CompanyID<>1 order by 1, 2"),
        before);
    EXPECT_EQ(count("select count(*) from paPayAccLinkHeader where CompanyID=1 and TransID>=" +
                    std::to_string(last - static_cast<int>(texts.size()) + 1)),
              static_cast<int>(texts.size()));
    EXPECT_TRUE(toolkit.errors.empty());
}

TEST_F(BadInputTest, CancellationReasonIsStoredAsTypedOrPastedAndTouchesOnlyItsEntry) {
    const auto texts = hostileTexts();
    for (size_t i = 0; i < texts.size(); ++i)
        raw->execute(
            "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, "
            "TransType, Remarks, Cancelled) values (1, " +
            std::to_string(601 + i) + ", 9, 'PAL/" + std::to_string(601 + i) +
            "', '2026-11-01', 'P', 'r', 0)");
    const std::string others =
        "select CompanyID, TransID, Remarks, Cancelled, cancelremarks from paPayAccLinkHeader where TransID "
        "not between 601 and 700 order by 1, 2";
    const std::string othersBefore = rows(others);
    std::string expected;
    for (size_t i = 0; i < texts.size(); ++i) {
        const bool typed = i % 2 == 1;
        SCOPED_TRACE("text " + std::to_string(i) + (typed ? ", typed" : ", pasted"));
        auto& c = openCancel(601 + static_cast<int>(i));
        ASSERT_EQ(toolkit.topForm(), &c);
        if (typed)
            c.txtreason.userType(texts[i]);
        else
            c.txtreason.userPaste(texts[i]);
        c.cmdok.userClick();
        ASSERT_FALSE(module->isLoaded("frmcancell")) << lastMessage();
        // A typed apostrophe never arrives; a pasted one is kept.
        expected +=
            std::to_string(601 + i) + "|1|" + (typed ? withoutApostrophes(texts[i]) : texts[i]) + "|\n";
        EXPECT_EQ(
            rows("select TransID, Cancelled, cancelremarks from paPayAccLinkHeader where CompanyID=1 and "
                 "TransID between 601 and 700 and Cancelled=1 order by TransID"),
            expected);
        EXPECT_EQ(count("select count(*) from paPayAccLinkHeader where TransID between 601 and 700 and "
                        "Cancelled=0 and cancelremarks is null"),
                  static_cast<int>(texts.size() - i - 1));
        EXPECT_EQ(rows(others), othersBefore);
    }
    EXPECT_TRUE(toolkit.errors.empty());
}

TEST_F(BadInputTest, LineDescriptionsAreSavedExactly) {
    const auto texts = hostileTexts();
    for (size_t i = 0; i < texts.size(); ++i) {
        SCOPED_TRACE("text " + std::to_string(i));
        auto& f = advanceBalancedByHand(9300 + static_cast<int>(i), 100 + static_cast<double>(i), texts[i],
                                        i % 2 == 1);
        // A gathered line may change its description only.
        f.lvwPostingDetails.userSelectRow(1);
        f.lvwPostingDetails.userDblClick();
        auto& ed = module->frmJournalDetails();
        ed.txtDescription.userPaste(texts[texts.size() - 1 - i]);
        ed.cmdOK.userClick();
        ed.cmdCancel.userClick();
        f.cmdOk.userClick();
        ASSERT_FALSE(linkingOpen()) << lastMessage();
        EXPECT_EQ(rows("select AccountID, Description from paPayAccLinkPostingDetails where CompanyID=1 and "
                       "TransID=" +
                       std::to_string(newestEntry()) + " order by DetailID"),
                  "2001|" + texts[texts.size() - 1 - i] + "|\n3002|" + texts[i] + "|\n");
    }
    EXPECT_TRUE(toolkit.errors.empty());
}

TEST_F(BadInputTest, SearchTextStaysOnTheScreen) {
    raw->execute("update " + mapped("pDepartment") +
                 " set DepartmentName='Zürich – Ærø' where CompanyID=1 and "
                 "DepartmentID=9");
    raw->execute(
        "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, TransType, "
        "Remarks, Cancelled) values (1, 801, 9, 'PAL/801', '2026-11-01', 'P', 'r', 0)");
    auto& b = browser();
    auto& g = b.flexMaster;
    const int rowsBefore = g.rows();
    ASSERT_TRUE(b.cboSearch.userSelectText("Department"));
    for (const auto& text : hostileTexts()) {
        SCOPED_TRACE(text.substr(0, 40));
        b.txtsearch.setText("");
        trace->clear();
        b.txtsearch.userType(text);
        EXPECT_TRUE(trace->statements().empty()) << "a search sent a statement";
        EXPECT_EQ(g.rows(), rowsBefore);
        EXPECT_TRUE(toolkit.errors.empty());
        EXPECT_TRUE(toolkit.messages.empty());
    }
    // Letters beyond ASCII compare as they are, the ASCII ones without regard to case.
    b.txtsearch.setText("");
    b.txtsearch.userType("zür");
    EXPECT_EQ(g.textMatrix(g.row(), 0), "801");
}

TEST_F(BadInputTest, NamesInTheDataReachTheScreensAndTheDatabaseUnchanged) {
    const std::string dept = "O'Hara \"R&D\"; -- /* Zürich */";
    const std::string emp1 = "D'Souza \"Jr\"; --x /*y*/ Ærø", emp2 = longText();
    const std::string apostropheAccount = "Director's \"Loan\"; -- /*x*/";
    const std::string cashAccount = "Caisse \"Zürich\"; -- /* Ærø */ ;";
    raw->execute("update " + mapped("pDepartment") + " set DepartmentName=" + literal(dept) +
                 " where CompanyID=1 and DepartmentID=9");
    raw->execute("update pemployee set eName=" + literal(emp1) +
                 ", eEmpNo='T''901;--' where eCompanyID=1 and "
                 "eEmployeeID=901");
    raw->execute("update pemployee set eName=" + literal(emp2) + " where eCompanyID=1 and eEmployeeID=902");
    raw->execute("update aAccountMaster set AccountDesc=" + literal(apostropheAccount) +
                 " where CompanyID=1 and AccountID=2001");
    raw->execute("update aAccountMaster set AccountDesc=" + literal(cashAccount) +
                 " where CompanyID=1 and AccountID=3001");
    ASSERT_EQ(scalar("select eName from pemployee where eCompanyID=1 and eEmployeeID=902").toText(), emp2);

    // Payroll of both employees: the names go through the lists into the details.
    addRun(9401, 901, 1000, 100, 50);
    addRun(9402, 902, 2000, 200, 100);
    auto& f = openNew();
    gather(f, "Payroll", DateTime::ymd(2026, 11, 30), dept);
    ASSERT_EQ(f.lvwTransactions.count(), 2);
    EXPECT_EQ(f.lvwTransactions.cell(1, trn::EmpNo) + "|" + f.lvwTransactions.cell(1, trn::Employee),
              emp1 + "|T'901;--");
    EXPECT_EQ(f.lvwTransactions.cell(2, trn::EmpNo), emp2);
    f.chkSelectAll.userClick();
    f.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    const std::string payroll = std::to_string(newestEntry());
    EXPECT_EQ(rows("select distinct EmpName, EmpNo from paPayAccLinkDetails where CompanyID=1 and TransID=" +
                   payroll + " order by EmpID"),
              emp1 + "|T'901;--|\n" + emp2 + "|T902|\n");
    auto& g = browser().flexMaster;
    EXPECT_EQ(g.textMatrix(browserRow(payroll), 4), dept);
    auto& e = openEdit(std::stoi(payroll));
    EXPECT_EQ(e.lvwTransactionDetails.cell(1, det::Employee), emp1);
    EXPECT_EQ(e.cboDepartment.text(), dept);
    toolkit.answers = {ui::vbNo};
    e.cmdClose.userClick();
    toolkit.answers.clear();

    // An advance: both sides' account names go into the journal lines as they are.
    addPayment(9403, "A", 901, 250, "2026-11-10");
    auto& a = openNew();
    gather(a, "Salary Advances", DateTime::ymd(2026, 11, 20), dept);
    ASSERT_EQ(a.lvwTransactionDetails.count(), 2);
    a.lvwTransactionDetails.userToggle(1);
    a.lvwTransactionDetails.userToggle(2);
    ASSERT_EQ(a.lvwPostingDetails.count(), 2);
    EXPECT_EQ(a.lvwPostingDetails.cell(1, pst::DebitAccount), apostropheAccount);
    EXPECT_EQ(a.lvwPostingDetails.cell(2, pst::DebitAccount), cashAccount);
    // The editor finds an account by its name: quotes, semicolons and comment markers in a name
    // are found as they are ...
    a.lvwPostingDetails.userSelectRow(2);
    a.lvwPostingDetails.userDblClick();
    auto& ed = module->frmJournalDetails();
    EXPECT_EQ(ed.cboAccountID.text(), cashAccount);
    ed.cmdCancel.userClick();
    // ... but the name goes into the look-up as it stands, so an apostrophe breaks it: the
    // editor logs the failure and tells the user, and goes on.
    const size_t shown = toolkit.messages.size();
    a.lvwPostingDetails.userSelectRow(1);
    a.lvwPostingDetails.userDblClick();
    EXPECT_TRUE(noticeShownSince(shown));
    EXPECT_NE(errorLog().find("ItemSelected"), std::string::npos);
    module->frmJournalDetails().cmdCancel.userClick();
    a.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    EXPECT_EQ(rows("select AccountDesc from paPayAccLinkPostingDetails where CompanyID=1 and TransID=" +
                   std::to_string(newestEntry()) + " order by DetailID"),
              apostropheAccount + "|\n" + cashAccount + "|\n");

    // The numbering prefix goes into its statement as it stands too: an apostrophe in it fails
    // the save with the database's message, and nothing is written.
    raw->execute("update pprefix set Prefix='O''K/' where companyid=1 and InterfaceID=60");
    addPayment(9404, "A", 902, 75, "2026-11-12");
    auto& p = openNew();
    gather(p, "Salary Advances", DateTime::ymd(2026, 11, 20), dept);
    tickPaymentRows(p, 9404, {"0", "1"});
    const std::string state = dbState();
    const size_t before = toolkit.messages.size();
    p.cmdOk.userClick();
    EXPECT_TRUE(linkingOpen());
    ASSERT_TRUE(noticeShownSince(before));
    EXPECT_NE(lastMessage(), "Debit total and Credit total must be same");
    EXPECT_EQ(dbState(), state);
    EXPECT_TRUE(toolkit.errors.empty());
}

// One column emptied at a time, on a fresh database each; the screen that reads it is driven.
TEST_F(BadInputTest, NullInEveryColumnAScreenReadsEndsInItsRuleOrAClearError) {
    enum Path { Browser, Edit, Gather, Editor, Cancel, Save };
    struct Case {
        std::string column;
        std::string sql;
        Path path;
        // The screen's own rule for the Null, when it has one; without, a clear error is due.
        std::function<void()> rule;
        bool errorAllowed = false;  // the rule holds, or the user is told of an error
    };
    const std::string D = mapped("pDepartment");
    auto cell = [this](int col) {
        auto& g = browser().flexMaster;
        const int row = browserRow("701");
        EXPECT_GT(row, 0);
        return row > 0 ? g.textMatrix(row, col) : std::string("(no row)");
    };
    auto editing = [this]() -> frmPayrollAccountsLinking& { return module->frmPayrollAccountsLinking(); };
    const std::string H = "update paPayAccLinkHeader set ", HW = " where CompanyID=1 and TransID=701";
    const std::string DT = "update paPayAccLinkDetails set ", PD = "update paPayAccLinkPostingDetails set ";
    const std::vector<Case> cases = {
        {"TransNo", H + "TransNo=NULL" + HW, Browser, [&] { EXPECT_EQ(cell(1), ""); }},
        {"TransDate", H + "TransDate=NULL" + HW, Browser, [&] { EXPECT_EQ(cell(2), ""); }, true},
        {"TransType", H + "TransType=NULL" + HW, Browser, [&] { EXPECT_EQ(cell(3), ""); }},
        {"Cancelled", H + "Cancelled=NULL" + HW, Browser, [&] { EXPECT_EQ(cell(5), "No"); }},
        {"Posted", H + "Posted=NULL" + HW, Browser, [&] { EXPECT_EQ(cell(6), "No"); }},
        {"DepartmentID", H + "DepartmentID=NULL" + HW, Browser, [&] { EXPECT_EQ(browserRow("701"), 0); }},
        {"DepartmentName", "update " + D + " set DepartmentName=NULL where CompanyID=1 and DepartmentID=9",
         Browser, [&] { EXPECT_EQ(cell(4), ""); }},
        {"noofpreviousdays", "update psettings set noofpreviousdays=NULL where companyid=1", Browser,
         nullptr},
        {"columnheader", "update ptablecolumns set columnheader=NULL where tableid=60 and columnid=2",
         Browser, nullptr},
        {"columnname", "update ptablecolumns set columnname=NULL where tableid=60 and columnid=2", Browser,
         [&] {
             EXPECT_EQ(browser().flexMaster.textMatrix(0, 1), "Trans No");
             EXPECT_FALSE(browser().cboColNames.userSelectText("Trans No"));
         }},
        {"FunctionRights", "update puserrights set FunctionRights=NULL where companyid=1 and userid=1",
         Browser, nullptr},
        {"linktablename", "update linktable set linktablename=NULL where tablename='pDepartment'", Browser,
         nullptr},
        {"Remarks", H + "Remarks=NULL" + HW, Edit, [&] { EXPECT_EQ(editing().txtRemarks.text(), ""); }},
        {"TransNo (edit)", H + "TransNo=NULL" + HW, Edit,
         [&] { EXPECT_EQ(editing().txtTransNo.text(), ""); }},
        {"TransDate (edit)", H + "TransDate=NULL" + HW, Edit, nullptr},
        {"TransType (edit)", H + "TransType=NULL" + HW, Edit,
         [&] { EXPECT_EQ(editing().cboType.listIndex(), -1); }, true},
        {"RefTransNo", DT + "RefTransNo=NULL" + HW, Edit, nullptr},
        {"RefTransDate", DT + "RefTransDate=NULL" + HW, Edit,
         [&] { EXPECT_EQ(editing().lvwTransactionDetails.cell(1, det::Date), ""); }, true},
        {"EmpName", DT + "EmpName=NULL" + HW, Edit, nullptr},
        {"AccountAmount", DT + "AccountAmount=NULL" + HW, Edit, nullptr},
        {"Description", PD + "Description=NULL" + HW, Edit,
         [&] { EXPECT_EQ(editing().lvwPostingDetails.cell(1, pst::Description), ""); }},
        {"DebitAmount", PD + "DebitAmount=NULL" + HW, Edit, nullptr},
        {"Editable", PD + "Editable=NULL" + HW, Edit, nullptr},
        {"eName", "update pemployee set eName=NULL where eCompanyID=1 and eEmployeeID=901", Gather, nullptr},
        {"eEmpNo", "update pemployee set eEmpNo=NULL where eCompanyID=1 and eEmployeeID=901", Gather,
         nullptr},
        {"mppProcessNo", "update pMonthlyPayRollProcessing set mppProcessNo=NULL where mppProcessID=9502",
         Gather, nullptr},
        {"mppProcessedDate",
         "update pMonthlyPayRollProcessing set mppProcessedDate=NULL where mppProcessID=9502", Gather,
         [&] { EXPECT_EQ(editing().lvwTransactionDetails.count(), 0); }},
        {"Symbol", "update pCurrencyMaster set Symbol=NULL where CompanyID=1 and CurrencyID=1", Gather,
         nullptr},
        {"AccountDesc", "update aAccountMaster set AccountDesc=NULL where CompanyID=1 and AccountID=1001",
         Gather, nullptr},
        {"DepCurrencyID", "update " + D + " set DepCurrencyID=NULL where CompanyID=1 and DepartmentID=9",
         Gather, nullptr},
        {"sacCredit",
         "update paSalaryAccountsConfig set sacCredit=NULL where sacCompanyID=1 and sacSalaryaccID=1004",
         Gather, [&] { EXPECT_EQ(editing().lvwTransactionDetails.count(), 4); }, true},
        {"CurrencyID (account)",
         "update aAccountMaster set CurrencyID=NULL where CompanyID=1 and AccountID=3002", Editor, nullptr},
        {"RefTransID", DT + "RefTransID=NULL" + HW, Cancel, nullptr},
        {"Prefix", "update pprefix set Prefix=NULL where companyid=1 and InterfaceID=60", Save,
         [&] {
             EXPECT_FALSE(linkingOpen());
             EXPECT_TRUE(common::IsNumeric(
                 scalar("select TransNo from paPayAccLinkHeader where CompanyID=1 and TransID=" +
                        std::to_string(newestEntry()))
                     .joinText()));
         }},
    };

    for (const Case& c : cases) {
        SCOPED_TRACE("Null " + c.column);
        restart();
        addSavedEntry();
        addRun(9502, 901, 1200, 100, 80);
        addPayment(9503, "A", 901, 300, "2026-11-10");
        raw->execute(c.sql);
        const std::string state = dbState();
        std::optional<common::Error> raised;
        try {
            switch (c.path) {
                case Browser:
                    browser();
                    break;
                case Edit:
                    openEdit(701);
                    break;
                case Gather:
                case Save: {
                    auto& f = openNew();
                    gather(f, "Payroll", DateTime::ymd(2026, 11, 30));
                    if (c.path == Save) {
                        f.chkSelectAll.userClick();
                        f.cmdOk.userClick();
                    }
                    break;
                }
                case Editor: {
                    auto& f = openNew();
                    gather(f, "Salary Advances", DateTime::ymd(2026, 11, 20));
                    f.lvwTransactionDetails.userToggle(1);
                    f.lvwPostingDetails.userRightClick();
                    f.mnuAdd.userClick();
                    module->frmJournalDetails().cboAccountID.userSelectText("Emirates Bank Current Account");
                    break;
                }
                case Cancel: {
                    auto& k = openCancel(701);
                    k.txtreason.userPaste("duplicate");
                    k.cmdok.userClick();
                    break;
                }
            }
        } catch (const common::Error& e) {
            raised = e;  // from a code path with no handler: the host shows it
        } catch (const std::exception& e) {
            ADD_FAILURE() << "not the component's error: " << e.what();
        }
        const bool toldOfError = raised || !toolkit.errors.empty() || noticeShownSince(0);
        if (!c.rule) {
            EXPECT_TRUE(toldOfError) << "nothing told the user";
        } else if (!(c.errorAllowed && toldOfError)) {
            EXPECT_FALSE(toldOfError) << (raised ? raised->description() : lastMessage());
            if (!toldOfError) c.rule();
        }
        if (c.path != Save) {
            EXPECT_EQ(dbState(), state) << "the link tables or the flags changed";
        }
    }
}

// An edit that fails half-way through loading must not hand its entry to the next New.
TEST_F(BadInputTest, FailedEditLeavesNothingForTheNextNewEntry) {
    addSavedEntry();
    raw->execute("update paPayAccLinkDetails set RefTransNo=NULL where CompanyID=1 and TransID=701");
    openEdit(701);
    ASSERT_FALSE(toolkit.errors.empty());
    const std::string state = dbState();

    browser().cmdnew.userClick();
    auto& f = module->frmPayrollAccountsLinking();
    EXPECT_EQ(toolkit.topForm(), &f);
    EXPECT_TRUE(f.fraDateRange.enabled());
    EXPECT_EQ(f.txtTransNo.text(), "");
    EXPECT_EQ(f.cboType.listIndex(), -1);
    EXPECT_EQ(f.lvwTransactions.count() + f.lvwTransactionDetails.count() + f.lvwPostingDetails.count(), 0);
    f.cmdOk.userClick();
    EXPECT_TRUE(linkingOpen());
    EXPECT_EQ(lastMessage(), "Select a type.");
    EXPECT_EQ(dbState(), state);
}

TEST_F(BadInputTest, NonNumbersWhereNumbersAreReadBack) {
    // Text in a number column of a saved line: loading it converts it, and fails on the spot.
    addSavedEntry();
    raw->execute("update paPayAccLinkPostingDetails set DebitAmount='abc' where CompanyID=1 and TransID=701");
    std::string state = dbState();
    openEdit(701);
    EXPECT_FALSE(toolkit.errors.empty());
    EXPECT_EQ(dbState(), state);

    // A detail amount that only starts with a number is read for its leading number and goes
    // back as that number when the entry is saved again.
    restart();
    addSavedEntry();
    raw->execute(
        "update paPayAccLinkDetails set AccountAmount='1000abc' where CompanyID=1 and TransID=701 and "
        "DetailID=1");
    auto& e = openEdit(701);
    EXPECT_EQ(e.lvwTransactionDetails.cell(1, det::Amount), "1000abc");
    e.txtRemarks.userPaste("read again");
    e.cmdOk.userClick();
    EXPECT_FALSE(linkingOpen()) << lastMessage();
    EXPECT_EQ(
        rows("select typeof(AccountAmount), AccountAmount from paPayAccLinkDetails where TransID=701 and "
             "DetailID=1"),
        "real|1000|\n");

    // A TransID that is no number is entry 0: Edit and Delete do nothing.
    restart();
    raw->execute(
        "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, TransType, "
        "Remarks, Cancelled) values (1, 'abc', 9, 'PAL/abc', '2026-11-01', 'P', 'r', 0)");
    state = dbState();
    const int row = browserRow("abc");
    ASSERT_GT(row, 0);
    browser().flexMaster.userSelectCell(row, 0);
    browser().CmdEdit.userClick();
    browser().CmdDelete.userClick();
    EXPECT_FALSE(linkingOpen());
    EXPECT_FALSE(module->isLoaded("frmcancell"));
    EXPECT_TRUE(toolkit.messages.empty());
    EXPECT_EQ(dbState(), state);

    // Amounts pasted into the line editor, past its key filter.
    struct Paste {
        std::string text;
        std::string committed;  // the line's "Dept amount", or "" when the line is refused
    };
    for (const Paste& p : std::vector<Paste>{
             {"abc", ""}, {"12abc", "-12.00"}, {"  7.5  ", "-7.50"}, {"-5", "5.00"}, {"1e400", ""}}) {
        SCOPED_TRACE("amount " + p.text);
        restart();
        addPayment(9310, "A", 901, 100, "2026-11-10");
        auto& f = openNew();
        gather(f, "Salary Advances", DateTime::ymd(2026, 11, 20));
        f.lvwTransactionDetails.userToggle(1);
        f.lvwPostingDetails.userRightClick();
        f.mnuAdd.userClick();
        auto& ed = module->frmJournalDetails();
        ASSERT_TRUE(ed.cboAccountID.userSelectText("Emirates Bank Current Account"));
        ed.txtDescription.userType("pasted amount");
        ed.txtAmount.userPaste(p.text);
        ed.cmdOK.userClick();
        if (p.committed.empty()) {
            EXPECT_EQ(f.lvwPostingDetails.count(), 1) << "refused amount committed";
            EXPECT_TRUE(noticeShownSince(0) || !toolkit.errors.empty());
        } else {
            ASSERT_EQ(f.lvwPostingDetails.count(), 2);
            EXPECT_EQ(f.lvwPostingDetails.cell(2, pst::DeptAmount), p.committed);
        }
        for (int r = 1; r <= f.lvwPostingDetails.count(); ++r)
            for (int col : {pst::DebitAmount, pst::CreditAmount, pst::DeptAmount, pst::CompAmount})
                EXPECT_TRUE(common::IsNumeric(f.lvwPostingDetails.cell(r, col)))
                    << f.lvwPostingDetails.cell(r, col);
        EXPECT_TRUE(common::IsNumeric(f.txtTotDepAmount.text())) << f.txtTotDepAmount.text();
    }
}

TEST_F(BadInputTest, DatesAtTheEdgesOfMonthsYearsAndTheCalendar) {
    struct Edge {
        std::string processDate;  // the host's, dd/MM/yyyy
        std::string iso;          // a payment on that day
        DateTime first, last;     // the month the date falls in
    };
    for (const Edge& e : std::vector<Edge>{
             {"29/02/2028", "2028-02-29", DateTime::ymd(2028, 2, 1), DateTime::ymd(2028, 2, 29)},
             {"31/12/2026", "2026-12-31", DateTime::ymd(2026, 12, 1), DateTime::ymd(2026, 12, 31)},
             {"28/02/1900", "1900-02-28", DateTime::ymd(1900, 2, 1), DateTime::ymd(1900, 2, 28)},
             {"01/01/1900", "1900-01-01", DateTime::ymd(1900, 1, 1), DateTime::ymd(1900, 1, 31)},
             {"31/12/9999", "9999-12-31", DateTime::ymd(9999, 12, 1), DateTime::ymd(9999, 12, 31)}}) {
        SCOPED_TRACE(e.processDate);
        restart();
        raw->execute("update psettings set noofpreviousdays=90 where companyid=1");
        module->session.processDate = e.processDate;
        const DateTime day = common::toDate(e.processDate);
        addPayment(9320, "R", 901, 80, e.iso);
        addRun(9321, 902, 1000, 100, 50, e.iso);

        // Payroll: both range dates become the latest run of the month, here the day itself.
        auto& f = openNew();
        EXPECT_EQ(f.dtpTransDate.value(), day);
        ASSERT_TRUE(f.cboType.userSelectText("Payroll"));
        EXPECT_EQ(f.dtpFromDate.value(), day);
        EXPECT_EQ(f.dtpToDate.value(), day);
        ASSERT_TRUE(f.cboDepartment.userSelectText("Test Lab"));
        f.cmdShow.userClick();
        EXPECT_EQ(f.lvwTransactions.count(), 1);
        if (f.lvwTransactions.count() == 1) {
            EXPECT_EQ(f.lvwTransactions.cell(1, trn::Date), common::formatDate(day, "dd/MMM/yyyy"));
        }

        // Any other type: the whole month, its last day included.
        toolkit.answers = {ui::vbYes};
        ASSERT_TRUE(f.cboType.userSelectText("Reimbursements"));
        toolkit.answers.clear();
        EXPECT_EQ(f.dtpFromDate.value(), e.first);
        EXPECT_EQ(f.dtpToDate.value(), e.last);
        ASSERT_TRUE(f.cboDepartment.userSelectText("Test Lab"));
        f.cmdShow.userClick();
        ASSERT_EQ(f.lvwTransactionDetails.count(), 2);
        f.lvwTransactionDetails.userToggle(1);
        f.lvwTransactionDetails.userToggle(2);
        f.cmdOk.userClick();
        ASSERT_FALSE(linkingOpen()) << lastMessage();
        const std::string entry = std::to_string(newestEntry());
        EXPECT_EQ(
            rows("select TransDate from paPayAccLinkHeader where CompanyID=1 and TransID=" + entry) +
                rows("select distinct RefTransDate from paPayAccLinkDetails where CompanyID=1 and TransID=" +
                     entry),
            common::formatDate(day, "dd/MM/yyyy") + "|\n" + common::formatDate(day, "dd/MM/yyyy") + "|\n");
        // The browser's date window reaches back 90 days from the edge and shows the new row.
        auto& g = browser().flexMaster;
        EXPECT_EQ(g.textMatrix(browserRow(entry), 2), common::formatDate(day, "dd/MM/yyyy"));
        restart();
        raw->execute("update psettings set noofpreviousdays=90 where companyid=1");
        module->session.processDate = e.processDate;
        raw->execute(
            "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, "
            "TransType, Remarks, Cancelled) values (1, 901, 9, 'PAL/901', '" +
            e.iso + "', 'R', 'r', 0)");
        EXPECT_GT(browserRow("901"), 0);
        EXPECT_TRUE(toolkit.errors.empty());
    }
}

TEST_F(BadInputTest, IdsAtThe32BitLimitsAndNegative) {
    // Companies and departments at both ends of 32 bits, with their own data.
    for (int company : {INT_MAX, INT_MIN}) {
        SCOPED_TRACE("company " + std::to_string(company));
        restart();
        data::sqlite::GeneratorOptions g;
        g.employees = 3;
        g.companyId = company;
        g.departmentId = company == INT_MAX ? INT_MAX : -1;
        g.savedEntries = 2;
        data::sqlite::generateLarge(*raw, g);
        raw->execute("update psettings set noofpreviousdays=0 where companyid=" + std::to_string(company));
        module->session.companyId = company;
        EXPECT_EQ(browser().flexMaster.rows() - 1, 2);
        auto& f = openNew();
        ASSERT_TRUE(f.cboType.userSelectText("Payroll"));
        ASSERT_TRUE(f.cboDepartment.userSelectText("Department " + std::to_string(g.departmentId)));
        f.cmdShow.userClick();
        ASSERT_EQ(f.lvwTransactions.count(), 1);  // the two saved entries link runs 1 and 2
        f.chkSelectAll.userClick();
        f.cmdOk.userClick();
        ASSERT_FALSE(linkingOpen()) << lastMessage();
        const std::string c = std::to_string(company);
        EXPECT_EQ(rows("select TransID, DepartmentID from paPayAccLinkHeader where CompanyID=" + c +
                       " and TransID=3"),
                  "3|" + std::to_string(g.departmentId) + "|\n");
        EXPECT_EQ(
            count("select count(*) from pMonthlyPayRollProcessing where mppPosted=1 and mppCompanyID=" + c),
            3);
        openCancel(3).txtreason.userPaste("limit");
        module->frmcancell().cmdok.userClick();
        EXPECT_EQ(
            count("select count(*) from pMonthlyPayRollProcessing where mppPosted=1 and mppCompanyID=" + c),
            2);
        EXPECT_TRUE(toolkit.errors.empty());
    }

    // A user at the bottom of the range has no rights row: no button but Close.
    restart();
    module->session.userId = INT_MIN;
    browser();
    EXPECT_FALSE(browser().cmdnew.enabled() || browser().CmdEdit.enabled() || browser().CmdDelete.enabled());
    EXPECT_TRUE(statementsContain(" and userid = -2147483648 and interfaceid = 60"));

    // Sources keyed at the limits are linked and released by their own keys.
    restart();
    addRun(INT_MAX, 901, 1000, 100, 50);
    addRun(INT_MIN, 902, 2000, 200, 100);
    addRun(-1, 903, 3000, 300, 150);
    auto& f = openNew();
    gather(f, "Payroll", DateTime::ymd(2026, 11, 30));
    ASSERT_EQ(f.lvwTransactions.count(), 3);
    f.chkSelectAll.userClick();
    f.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    const int entry = newestEntry();
    EXPECT_EQ(rows("select distinct RefTransID from paPayAccLinkDetails where CompanyID=1 and TransID=" +
                   std::to_string(entry) + " order by 1"),
              "-2147483648|\n-1|\n2147483647|\n");
    EXPECT_EQ(rows("select mppProcessID from pMonthlyPayRollProcessing where mppPosted=1 and mppProcessID in "
                   "(-2147483648, -1, 2147483647) order by 1"),
              "-2147483648|\n-1|\n2147483647|\n");
    openCancel(entry).txtreason.userPaste("limits");
    module->frmcancell().cmdok.userClick();
    EXPECT_EQ(count("select count(*) from pMonthlyPayRollProcessing where mppPosted=1 and mppProcessID in "
                    "(-2147483648, -1, 2147483647)"),
              0);

    // A negative entry key is edited and cancelled like any other, and only it.
    addSavedEntry();
    raw->execute("update paPayAccLinkHeader set TransID=-7 where TransID=701");
    raw->execute("update paPayAccLinkDetails set TransID=-7 where TransID=701");
    raw->execute("update paPayAccLinkPostingDetails set TransID=-7 where TransID=701");
    reopen();
    const std::string others = rows("select * from paPayAccLinkHeader where TransID<>-7 order by 1, 2");
    auto& e = openEdit(-7);
    ASSERT_EQ(e.lvwPostingDetails.count(), 2);
    e.txtRemarks.userPaste("negative key");
    e.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    openCancel(-7).txtreason.userPaste("negative");
    module->frmcancell().cmdok.userClick();
    EXPECT_EQ(rows("select Remarks, Cancelled, cancelremarks from paPayAccLinkHeader where TransID=-7"),
              "negative key|1|negative|\n");
    EXPECT_EQ(rows("select * from paPayAccLinkHeader where TransID<>-7 order by 1, 2"), others);
    EXPECT_EQ(count("select mppPosted from pMonthlyPayRollProcessing where mppProcessID=9501"), 0);

    // The next key or number past 2,147,483,647 cannot be made: the save says so and writes nothing.
    for (const std::string& top :
         {std::string("TransID=2147483647"), std::string("TransNo='PAL/2147483647'")}) {
        SCOPED_TRACE(top);
        restart();
        raw->execute(
            "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, "
            "TransType, Remarks, Cancelled) values (1, 50, 9, 'PAL/50', '2026-11-01', 'P', 'r', 0)");
        raw->execute("update paPayAccLinkHeader set " + top + " where CompanyID=1 and TransID=50");
        addRun(9330, 901, 1000, 100, 50);
        auto& n = openNew();
        gather(n, "Payroll", DateTime::ymd(2026, 11, 30));
        n.chkSelectAll.userClick();
        const std::string state = dbState();
        n.cmdOk.userClick();
        EXPECT_TRUE(linkingOpen());
        EXPECT_EQ(lastMessage(), "Overflow");
        EXPECT_EQ(dbState(), state);
        EXPECT_TRUE(toolkit.errors.empty());
    }
}

}  // namespace
}  // namespace linkingtest
