// Saving an entry: the checks and their order, numbering, what a save writes, closing with
// unsaved changes, and that a save is all or nothing whichever call fails.
#include "common/Error.h"
#include "linking_fixture.h"
#include "ui/Helpers.h"

namespace linkingtest {
namespace {

class SaveTest : public LinkingTest {
protected:
    // Three runs of the test department on 28/11/2026; runs 1 and 3 ticked.
    frmPayrollAccountsLinking& payrollEntry() {
        auto& f = threeRuns();
        f.lvwTransactions.userToggle(1);
        f.lvwTransactions.userToggle(3);
        f.txtRemarks.userType("  November wages  ");
        return f;
    }

    static std::string screenState(const frmPayrollAccountsLinking& f) {
        return f.cboType.text() + "|" + std::to_string(f.cboDepartment.listIndex()) + "|" +
               common::isoDate(f.dtpTransDate.value()) + "|" + f.txtRemarks.text() + "|" +
               f.txtTransNo.text() + "|" + f.txtTotDepAmount.text() + "\n" + dump(f.lvwTransactions) +
               dump(f.lvwTransactionDetails) + dump(f.lvwPostingDetails);
    }

    // Presses Ok once for every call the save makes, failing the k-th call each time: the
    // database and the screen must come out as they went in. Stops when a press saves
    // (a fault after the commit, in the browser's refresh, no longer undoes the save).
    void faultEveryCall(frmPayrollAccountsLinking& f) {
        const std::string db0 = dbState(), screen0 = screenState(f);
        for (int k = 1;; ++k) {
            ASSERT_LT(k, 500);
            int calls = 0, commitAt = 0;
            bool thrown = false;
            trace->beforeEach = [&](const data::TraceEntry& e) {
                ++calls;
                if (e.kind == data::TraceEntry::Kind::Commit) commitAt = calls;
                // A failed entry-number statement is numbered again by a guarded one: the
                // fault goes to the call after it.
                if (calls >= k && !thrown && e.text.find("isnumeric(") == std::string::npos) {
                    thrown = true;
                    throw common::Error(-2147467259, "test", "fault at call " + std::to_string(k));
                }
            };
            f.cmdOk.userClick();
            trace->beforeEach = nullptr;
            if (!linkingOpen()) {
                EXPECT_GT(k, commitAt) << "saved although call " << k << " failed before the commit";
                return;
            }
            EXPECT_EQ(lastMessage(), "fault at call " + std::to_string(k));
            EXPECT_EQ(dbState(), db0) << "after a fault at call " << k;
            EXPECT_EQ(screenState(f), screen0) << "after a fault at call " << k;
            // The work stays unsaved, so closing asks.
            EXPECT_TRUE(ui::ControlsChanged(f)) << "after a fault at call " << k;
            EXPECT_TRUE(toolkit.errors.empty());
        }
    }
};

TEST_F(SaveTest, ChecksComeInOrderWithTheirMessagesAndFocus) {
    addPayment(9201, "O", 901, 100, "2026-10-20");
    auto& f = openNew();
    const std::string before = dbState();
    auto press = [&] {
        toolkit.messages.clear();
        f.cmdOk.userClick();
        EXPECT_EQ(toolkit.messages.size(), 1u);
        return toolkit.messages.empty() ? "" : lastMessage() + " " + std::to_string(lastBox(toolkit).style);
    };
    const std::string info = " " + std::to_string(ui::vbOKOnly + ui::vbInformation);

    EXPECT_EQ(press(), "Select a type." + info);
    EXPECT_EQ(f.activeControl(), &f.cboType);
    f.dtpTransDate.userSet(DateTime::ymd(2026, 10, 14));
    f.cboType.userSelectText("Others");
    EXPECT_EQ(press(), "Select a department." + info);
    EXPECT_EQ(f.activeControl(), &f.cboDepartment);
    f.cboDepartment.userSelectText("Test Lab");
    EXPECT_EQ(press(), "Date cannot be less than today." + info);
    EXPECT_EQ(f.activeControl(), &f.dtpTransDate);
    f.dtpTransDate.userSet(DateTime::ymd(2026, 10, 15));  // the process date itself passes
    EXPECT_EQ(press(), "Select at least one details." + info);
    EXPECT_EQ(f.activeControl(), &f.lvwPostingDetails);

    f.cmdShow.userClick();
    f.lvwTransactionDetails.userToggle(1);  // the debit without its cash credit
    EXPECT_EQ(f.txtTotDepAmount.text(), "100.00");
    EXPECT_EQ(press(), "Debit total and Credit total must be same" + info);
    EXPECT_EQ(f.activeControl(), &f.lvwPostingDetails);
    f.txtTotDepAmount.setText("0.001");
    EXPECT_EQ(press(), "Debit total and Credit total must be same" + info);
    EXPECT_EQ(dbState(), before);
    ASSERT_TRUE(linkingOpen());

    // Only the balance text counts for the classic check, so an empty one passes it; the ledger
    // check under it still refuses the unbalanced entry.
    f.txtTotDepAmount.setText("");
    EXPECT_EQ(press(),
              "The department amounts of this entry do not balance (they differ by 100.00 AED): "
              "check the posting lines' department amounts." +
                  info);
    EXPECT_EQ(dbState(), before);
    EXPECT_TRUE(linkingOpen());
    EXPECT_NE(testsupport::slurp(data::errorLogPath()).find("LedgerCheck"), std::string::npos);
}

TEST_F(SaveTest, EntryNumberIsThePrefixAndTheNextNumberOfThatPrefix) {
    auto& f = openNew();
    raw->execute("update pprefix set Prefix='X' where companyid=1 and InterfaceID=60");
    const std::string insert =
        "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransDate, TransType, TransNo) "
        "values ";
    raw->execute(
        insert +
        "(1, 101, 1, '2026-10-01', 'P', 'X9'), (1, 102, 1, '2026-10-01', 'P', 'X10'), (1, 103, 1, "
        "'2026-10-01', 'P', 'XA1'), (1, 104, 1, '2026-10-01', 'P', 'Y50'), (2, 101, 1, '2026-10-01', "
        "'P', 'X40')");
    trace->clear();
    EXPECT_EQ(f.Generateappno(), "X11");
    EXPECT_EQ(trace->statements(),
              (std::vector<std::string>{
                  "SELECT Prefix FROM pprefix WHERE InterfaceID = 60 and companyid=1",
                  "Select isnull(max(convert(int,right(TransNo,len(TransNo)-1))),0) from paPayAccLinkHeader "
                  "where CompanyID    = 1 and len(TransNo)>len('X') and  isnumeric(isnull(right(TransNo,"
                  "len(TransNo)-1),0)) =1 and substring(TransNo,1,len('X'))='X'"}));

    // Without a prefix only all-digit numbers count.
    raw->execute("delete from pprefix where companyid=1");
    EXPECT_EQ(f.Generateappno(), "1");
    raw->execute(insert + "(1, 105, 1, '2026-10-01', 'P', '7')");
    EXPECT_EQ(f.Generateappno(), "8");
}

TEST_F(SaveTest, ClosingAsksToSaveOnlyWhenSomethingChanged) {
    openNew().cmdClose.userClick();  // nothing changed
    EXPECT_TRUE(toolkit.messages.empty());
    EXPECT_FALSE(linkingOpen());

    // Yes runs the save, and a failing check keeps the screen open; No closes it unsaved.
    auto& f = openNew();
    f.txtRemarks.userType("draft");
    toolkit.answers.push_back(ui::vbYes);
    f.cmdClose.userClick();
    EXPECT_EQ(lastMessage(), "Select a type.");
    EXPECT_TRUE(linkingOpen());
    toolkit.answers.push_back(ui::vbNo);
    f.cmdClose.userClick();
    EXPECT_EQ(lastMessage(), "Save Changes?");
    EXPECT_EQ(lastBox(toolkit).style, ui::vbYesNo + ui::vbInformation);
    EXPECT_FALSE(linkingOpen());
    EXPECT_EQ(count("select count(*) from paPayAccLinkHeader"), 6);
}

// Whichever call fails, nothing stays; the retries then save the entry once, in full: header,
// details, posting lines and flags.
TEST_F(SaveTest, NewEntryIsAllOrNothingWhateverCallFailsAndWritesHeaderDetailsLinesAndFlags) {
    raw->execute("update pDepartmentMaster set DepCurrencyID=3 where CompanyID=1 and DepartmentID=9");
    auto& f = payrollEntry();
    auto o = oracle();
    const auto want =
        ticked(o.listed('P', 9, DateTime::ymd(2026, 11, 28), DateTime::ymd(2026, 11, 28)), {9001, 9003});
    trace->clear();
    faultEveryCall(f);
    ASSERT_FALSE(linkingOpen());
    ASSERT_TRUE(toolkit.errors.empty());
    EXPECT_EQ(
        rows("select CompanyID, TransID, DepartmentID, TransNo, TransDate, TransType, Remarks, Cancelled, "
             "cancelremarks, Posted from paPayAccLinkHeader where CompanyID=1 and TransID>5"),
        "1|6|9|PAL/6|20/11/2026|P|November wages|0||0|\n");
    auto header = std::find_if(trace->entries().begin(), trace->entries().end(), [](const auto& e) {
        return e.kind == data::TraceEntry::Kind::Command &&
               e.text.find("paPayAccLinkHeader") != std::string::npos;
    });
    ASSERT_NE(header, trace->entries().end());
    EXPECT_EQ(header->text,
              " insert into paPayAccLinkHeader ( CompanyID,TransID, DepartmentID, TransNo, TransDate, "
              "TransType, Remarks, Cancelled) values (?, ?, ?, ?, ?, ?, ?, ?) ");
    EXPECT_EQ(header->values,
              (std::vector<common::Value>{1, 6, 9, "PAL/6", "20/Nov/2026", "P", "November wages", 0}));

    // The ticked runs' lines and their sums, as the oracle has them, and the runs flagged.
    EXPECT_EQ(o.entryFaults(6) + text(o.stored(6)), text(want.lines));
    EXPECT_EQ(testsupport::LedgerFaults(*raw), "");
    EXPECT_EQ(rows("select DetailID, RefTransID, DepartmentID, RefTransNo, RefTransType, RefTransDate, "
                   "EmpID, EmpName, EmpNo, AccountDesc, TransCurrSymbol, AccCurrSymbol from "
                   "paPayAccLinkDetails where CompanyID=1 and TransID=6 and DetailID in (4, 5) "
                   "order by DetailID"),
              "4|9001|9|PRT/9001|Net Pay|28/11/2026|901|Tester 901|T901|Net Salaries Payable - AED|AED|"
              "AED|\n5|9003|9|PRT/9003|Basic Salary|28/11/2026|906|Tester 906|T906|Basic Salaries - USD|"
              "USD|USD|\n");
    EXPECT_EQ(rows("select DetailID, DepartmentID, AccountDesc, Description, AccCurrSymbol, RefCurrSymbol, "
                   "Editable from paPayAccLinkPostingDetails where CompanyID=1 and TransID=6 and DetailID "
                   "in (1, 8) order by DetailID"),
              "1|9|Basic Salaries - AED||AED|AED|N|\n8|9|Net Salaries Payable - USD||USD|USD|N|\n");
}

TEST_F(SaveTest, EditedEntryIsAllOrNothingWhateverCallFails) {
    auto& g = browser().flexMaster;  // the list the save refreshes
    const int browserRows = g.rows();
    payrollEntry().cmdOk.userClick();
    ASSERT_FALSE(linkingOpen());
    // The browser shows the new entry as its current row.
    EXPECT_EQ(g.rows(), browserRows + 1);
    ASSERT_EQ(g.row(), g.rows() - 1);
    std::string cells;
    for (int c = 0; c < 7; ++c) cells += g.textMatrix(g.row(), c) + "|";
    EXPECT_EQ(cells, "6|PAL/6|20/11/2026|Payroll|Test Lab|No|No|");
    auto& f = openEdit(6);
    f.dtpTransDate.userSet(DateTime::ymd(2026, 11, 25));
    f.lvwTransactions.userToggle(2);  // run 9003
    ASSERT_EQ(f.txtTotDepAmount.text(), "0.00");
    faultEveryCall(f);
    ASSERT_FALSE(linkingOpen());
    EXPECT_EQ(rows("select TransDate from paPayAccLinkHeader where CompanyID=1 and TransID=6"),
              "25/11/2026|\n");
    EXPECT_EQ(oracle().entryFaults(6) + testsupport::LedgerFaults(*raw), "");
    EXPECT_EQ(rows("select distinct RefTransID from paPayAccLinkDetails where CompanyID=1 and TransID=6"),
              "9001|\n");
}

}  // namespace
}  // namespace linkingtest
