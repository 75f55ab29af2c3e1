// The entry browser: list and date window, colours, captions, sort, search, rights and
// the actions, driven as a user does.
#include <algorithm>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "browser/FrmMaster.h"
#include "linking/frmPayrollAccountsLinking.h"

namespace {

class BrowserTest : public testsupport::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        H = mapped("paPayAccLinkHeader");
        D = mapped("pDepartment");
        PU = mapped("puserrights");
        TC = mapped("ptablecolumns");
        dept = scalar("select min(DepartmentID) from " + D + " where CompanyID=1").toInt32();
        deptName = scalar("select DepartmentName from " + D +
                          " where CompanyID=1 and DepartmentID=" + std::to_string(dept))
                       .toText();
        raw->execute("delete from " + H + " where CompanyID=1");
        setDays(0);
    }

    // The physical name that linktable gives a logical table.
    std::string mapped(const std::string& logical) {
        auto v = scalar("select linktablename from linktable where tablename='" + logical + "'");
        return v.isNull() ? logical : v.toText();
    }
    void setDays(int n) {
        raw->execute("update psettings set noofpreviousdays=" + std::to_string(n) + " where companyid=1");
    }
    void addEntry(int id, const std::string& no, const std::string& isoDate, const std::string& type = "P",
                  int cancelled = 0, int posted = 0, int company = 1, int department = -1) {
        raw->execute("insert into " + H +
                     " (CompanyID, TransID, DepartmentID, TransNo, TransDate, TransType, Remarks, "
                     "Cancelled, Posted) values (" +
                     std::to_string(company) + "," + std::to_string(id) + "," +
                     std::to_string(department < 0 ? dept : department) + "," +
                     (no.empty() ? std::string("NULL") : "'" + no + "'") + ",'" + isoDate + "','" + type +
                     "','r'," + std::to_string(cancelled) + "," + std::to_string(posted) + ")");
    }
    // Captions of the list, in columnid order; the n-th caption's column name is names[n].
    void setCaptions(const std::vector<std::pair<int, std::pair<std::string, std::string>>>& rows) {
        raw->execute("delete from ptables where tableid=60");
        raw->execute("insert into ptables (tableid, tablename) values (60, 'paPayAccLinkHeader')");
        raw->execute("delete from " + TC + " where tableid=60");
        for (const auto& [id, hn] : rows)
            raw->execute("insert into " + TC + " (tableid, columnid, columnheader, columnname) values (60," +
                         std::to_string(id) + ",'" + hn.first + "','" + hn.second + "')");
    }
    void setRights(int user, const std::string& rights) {
        raw->execute("delete from " + PU +
                     " where companyid=1 and interfaceid=60 and userid=" + std::to_string(user));
        if (!rights.empty())
            raw->execute("insert into " + PU +
                         " (companyid, userid, interfaceid, FunctionRights) values (1," +
                         std::to_string(user) + ",60,'" + rights + "')");
    }

    browser::FrmMaster& reopen() {
        if (module->isLoaded("FrmMaster")) module->FrmMaster().unload();
        return module->FrmMaster();
    }
    static std::vector<std::string> column(const ui::FlexGrid& g, int col) {
        std::vector<std::string> out;
        for (int r = 1; r < g.rows(); ++r) out.push_back(g.textMatrix(r, col));
        return out;
    }
    static int rowOf(const ui::FlexGrid& g, const std::string& transId) {
        for (int r = 1; r < g.rows(); ++r)
            if (g.textMatrix(r, 0) == transId) return r;
        return -1;
    }
    bool traced(const std::string& sql) const {
        auto s = trace->statements();
        return std::find(s.begin(), s.end(), sql) != s.end();
    }
    static bool enabled(const browser::FrmMaster& f, bool n, bool e, bool d, bool p) {
        return f.cmdnew.enabled() == n && f.CmdEdit.enabled() == e && f.CmdDelete.enabled() == d &&
               f.cmdPrint.enabled() == p && f.CmdClose.enabled();
    }

    std::string H, D, PU, TC, deptName;
    int dept = 0;
};

TEST_F(BrowserTest, ListsTheEntriesOfTheDateWindow) {
    addEntry(1, "E-13", "2026-10-13");
    addEntry(2, "E-14", "2026-10-14");
    addEntry(3, "", "2026-10-15");
    addEntry(4, "E-20", "2026-10-20");
    addEntry(5, "E-OTHER-DEPT", "2026-10-15", "P", 0, 0, 1, 987654);  // no such department
    addEntry(6, "E-CO2", "2026-10-15", "P", 0, 0, 2);

    setDays(1);
    auto& f = module->FrmMaster();
    const std::string base =
        "select TransID, TransNo, TransDate, Case when TransType='P' then 'Payroll' when TransType='A' then "
        "'Salary Advances' when TransType='R' then 'Reimbursements' when TransType='S' then 'Savings' when "
        "TransType='E' then 'Leave Encashments' when TransType='H' then 'Holded Salaries' when "
        "TransType='O' then 'Others' End Type, dm.DepartmentName,   case when Cancelled=1 then 'Yes' else "
        "'No' end cancel,  case when Posted=1 then 'Yes' else 'No' end Posted  From " +
        H + " pa, " + D +
        " dm Where pa.CompanyID = dm.CompanyID and pa.DepartmentID=dm.DepartmentID and pa.companyid=1";
    EXPECT_EQ(module->session.listBaseQuery, base);
    EXPECT_TRUE(traced(base + " and TransDate>='2026/10/14'"));

    auto ids = column(f.flexMaster, 0);
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, (std::vector<std::string>{"2", "3", "4"}));
    ASSERT_EQ(f.flexMaster.cols(), 7);
    const int r = rowOf(f.flexMaster, "3");
    ASSERT_GT(r, 0);
    EXPECT_EQ(f.flexMaster.textMatrix(r, 1), "");  // a Null entry number is an empty cell
    EXPECT_EQ(f.flexMaster.textMatrix(r, 2), "15/10/2026");
    EXPECT_EQ(f.flexMaster.textMatrix(r, 3), "Payroll");
    EXPECT_EQ(f.flexMaster.textMatrix(r, 4), deptName);
    EXPECT_EQ(f.flexMaster.textMatrix(r, 5), "No");
    EXPECT_EQ(f.flexMaster.textMatrix(r, 6), "No");

    for (int days : {0, -3}) {
        setDays(days);
        auto& g = reopen().flexMaster;
        ids = column(g, 0);
        std::sort(ids.begin(), ids.end());
        EXPECT_EQ(ids, (std::vector<std::string>{"1", "2", "3", "4"})) << days;
    }
}

TEST_F(BrowserTest, CaptionsInColumnOrderAndCombosWithoutEmployeeNumber) {
    addEntry(1, "E-1", "2026-10-10");
    // Inserted out of order: the captions follow columnid.
    setCaptions({{7, {"Posted?", "Posted"}},
                 {1, {"ID", "TransID"}},
                 {3, {"Entry Date", "TransDate"}},
                 {2, {"Entry No", "TransNo"}},
                 {5, {"Emp No", " eEmpNo "}},
                 {4, {"Type", "Type"}},
                 {6, {"Cancelled", "cancel"}}});
    auto& f = module->FrmMaster();
    std::vector<std::string> headers;
    for (int c = 0; c < f.flexMaster.cols(); ++c) headers.push_back(f.flexMaster.textMatrix(0, c));
    EXPECT_EQ(headers, (std::vector<std::string>{"ID", "Entry No", "Entry Date", "Type", "Emp No",
                                                 "Cancelled", "Posted?"}));
    for (ui::ComboBox* combo : {&f.cboColNames, &f.cboSearch}) {
        std::vector<std::pair<std::string, int64_t>> items;
        for (int i = 0; i < combo->listCount(); ++i) items.emplace_back(combo->list(i), combo->itemData(i));
        EXPECT_EQ(items, (std::vector<std::pair<std::string, int64_t>>{{"ID", 0},
                                                                       {"Entry No", 1},
                                                                       {"Entry Date", 2},
                                                                       {"Type", 3},
                                                                       {"Cancelled", 5},
                                                                       {"Posted?", 6}}))
            << combo->name();
    }
    for (int c = 0; c < 7; ++c) EXPECT_GT(f.flexMaster.colWidth(c), 0);
}

TEST_F(BrowserTest, CancelledRowsAreRedAndCannotBeCancelledAgain) {
    setRights(1, "NEDP");
    addEntry(1, "E-1", "2026-10-10");
    addEntry(2, "E-2", "2026-10-11", "A", 1);
    addEntry(3, "E-3", "2026-10-12", "R", 0, 1);
    auto& f = module->FrmMaster();
    auto& g = f.flexMaster;
    const int cancelled = rowOf(g, "2"), open = rowOf(g, "1"), posted = rowOf(g, "3");
    for (int c = 0; c < 6; ++c) EXPECT_EQ(g.cellBackColor(cancelled, c), ui::RGB(255, 0, 0)) << c;
    EXPECT_NE(g.cellBackColor(cancelled, 6), ui::RGB(255, 0, 0));
    for (int c = 0; c < 7; ++c) {
        EXPECT_NE(g.cellBackColor(open, c), ui::RGB(255, 0, 0));
        EXPECT_NE(g.cellBackColor(posted, c), ui::RGB(255, 0, 0));
    }
    EXPECT_EQ(g.col(), 3);

    g.userSelectCell(cancelled, 1);
    EXPECT_TRUE(enabled(f, true, true, false, true));
    g.userSelectCell(open, 1);
    EXPECT_TRUE(enabled(f, true, true, true, true));
}

TEST_F(BrowserTest, SortsByTheChosenColumnAndDatesThroughColumnOne) {
    addEntry(1, "B-2", "2026-10-10", "P");
    addEntry(2, "A-9", "2026-10-12", "A");
    addEntry(3, "C-1", "2026-10-11", "R");
    setCaptions({{1, {"ID", "TransID"}},
                 {2, {"Entry No", "TransNo"}},
                 {3, {"Entry DATE", "TransDate"}},
                 {4, {"Type", "Type"}},
                 {5, {"Department", "DepartmentName"}},
                 {6, {"Cancelled", "cancel"}},
                 {7, {"Posted", "Posted"}}});
    auto& f = module->FrmMaster();
    auto& g = f.flexMaster;

    ASSERT_TRUE(f.cboColNames.userSelectText("Entry DATE"));
    EXPECT_EQ(g.col(), 1);
    EXPECT_EQ(g.colSel(), 1);
    EXPECT_EQ(column(g, 0), (std::vector<std::string>{"2", "1", "3"}));
    EXPECT_FALSE(toolkit.busy());

    f.optDescend.userSet(true);
    EXPECT_EQ(f.cboColNames.listIndex(), -1);
    ASSERT_TRUE(f.cboColNames.userSelectText("Entry DATE"));
    EXPECT_EQ(column(g, 0), (std::vector<std::string>{"3", "1", "2"}));

    ASSERT_TRUE(f.cboColNames.userSelectText("Type"));
    EXPECT_EQ(g.col(), 3);
    EXPECT_EQ(column(g, 3), (std::vector<std::string>{"Salary Advances", "Reimbursements", "Payroll"}));

    f.optAscend.userSet(true);
    ASSERT_TRUE(f.cboColNames.userSelectText("Type"));
    EXPECT_EQ(column(g, 3), (std::vector<std::string>{"Payroll", "Reimbursements", "Salary Advances"}));
}

TEST_F(BrowserTest, SearchLandsOnTheFirstPrefixMatch) {
    addEntry(5, "PAY-1", "2026-10-10");
    addEntry(1201, "PAL-7", "2026-10-10");
    addEntry(1202, "ZZZ", "2026-10-10");
    addEntry(1203, "PAL-3", "2026-10-10");
    addEntry(1204, "ABC-1", "2026-10-10");
    addEntry(1205, "PAL-5", "2026-10-10");
    setCaptions({{1, {"ID", "TransID"}},
                 {2, {"Entry No", "TransNo"}},
                 {3, {"Date", "TransDate"}},
                 {4, {"Type", "Type"}},
                 {5, {"Department", "DepartmentName"}},
                 {6, {"Cancelled", "cancel"}},
                 {7, {"Posted", "Posted"}}});
    auto& f = module->FrmMaster();
    auto& g = f.flexMaster;
    auto landedOn = [&](const std::string& id) {
        EXPECT_EQ(g.textMatrix(g.row(), 0), id);
        EXPECT_EQ(g.topRow(), g.row());
        EXPECT_EQ(g.col(), 0);
        EXPECT_EQ(g.colSel(), g.cols() - 1);
    };

    // Sorted descending first: the search sorts its column ascending again.
    f.optDescend.userSet(true);
    ASSERT_TRUE(f.cboColNames.userSelectText("Entry No"));
    ASSERT_TRUE(f.cboSearch.userSelectText("Entry No"));
    f.txtsearch.userType("pal");
    landedOn("1203");
    EXPECT_EQ(column(g, 1), (std::vector<std::string>{"ABC-1", "PAL-3", "PAL-5", "PAL-7", "PAY-1", "ZZZ"}));

    const int landed = g.row();
    f.txtsearch.userType("x");  // "palx": nothing matches, the current row stays
    EXPECT_EQ(g.row(), landed);
    EXPECT_EQ(g.textMatrix(landed, 0), "1203");

    f.txtsearch.userPaste("");
    ASSERT_TRUE(f.cboSearch.userSelectText("ID"));
    f.txtsearch.userType("12");  // compares the first two characters as a number
    landedOn("1201");
    EXPECT_TRUE(toolkit.messages.empty());
}

TEST_F(BrowserTest, RightsDecideTheButtons) {
    addEntry(1, "E-1", "2026-10-10");
    setRights(1, "NEDP");
    auto& f = module->FrmMaster();
    EXPECT_TRUE(enabled(f, true, true, true, true));
    EXPECT_TRUE(traced("Select FunctionRights from " + PU +
                       " where companyid = 1 and userid = 1 and interfaceid = 60"));

    setRights(1, "nedp");
    EXPECT_TRUE(enabled(reopen(), false, false, false, false));

    setRights(1, "PxD");
    EXPECT_TRUE(enabled(reopen(), false, false, true, true));

    // No rights row: the administrator gets everything at load, but moving in the grid
    // re-applies the (empty) rights string.
    setRights(1, "");
    auto& admin = reopen();
    EXPECT_TRUE(enabled(admin, true, true, true, true));
    admin.flexMaster.userSelectCell(1, 1);
    EXPECT_TRUE(enabled(admin, false, false, false, false));

    module->session.userId = 7;
    setRights(7, "");
    EXPECT_TRUE(enabled(reopen(), false, false, false, false));
    setRights(7, "NE");
    EXPECT_TRUE(enabled(reopen(), true, true, false, false));
}

TEST_F(BrowserTest, DeleteAsksThenRefusesPostedEntriesAndOpensTheCancellation) {
    setRights(1, "NEDP");
    addEntry(7, "PAL-7", "2026-10-10", "P", 0, 1);
    addEntry(8, "PAL-8", "2026-10-10");
    addEntry(8, "CO2-8", "2026-10-10", "P", 0, 1, 2);  // posted, but another company's
    auto& f = module->FrmMaster();
    auto& g = f.flexMaster;

    g.userSelectCell(rowOf(g, "8"), 1);
    toolkit.answers.push_back(ui::vbNo);
    f.CmdDelete.userClick();
    ASSERT_EQ(toolkit.messages.size(), 1u);
    EXPECT_EQ(toolkit.messages[0].request.text, "Are you sure you want to delete Entry - PAL-8?");
    EXPECT_EQ(toolkit.messages[0].request.style, ui::vbYesNo + ui::vbCritical + ui::vbDefaultButton2);
    EXPECT_EQ(toolkit.messages[0].request.title, "Payroll Accounts Linking");
    EXPECT_FALSE(module->isLoaded("frmcancell"));

    g.userSelectCell(rowOf(g, "7"), 1);
    toolkit.answers.push_back(ui::vbYes);
    f.CmdDelete.userClick();
    ASSERT_EQ(toolkit.messages.size(), 3u);
    EXPECT_EQ(toolkit.messages[2].request.text, "Entry Posted. Cannot Delete.");
    EXPECT_EQ(toolkit.messages[2].request.style, ui::vbOKOnly + ui::vbInformation);
    EXPECT_TRUE(traced("select count(1) from " + H + " where CompanyID=1 and TransID=7 and Posted=1 "));
    EXPECT_FALSE(module->isLoaded("frmcancell"));
    EXPECT_TRUE(toolkit.errors.empty());

    g.userSelectCell(rowOf(g, "8"), 1);
    toolkit.answers.push_back(ui::vbYes);
    f.CmdDelete.userClick();
    EXPECT_EQ(toolkit.messages.size(), 4u);
    ASSERT_NE(toolkit.topForm(), nullptr);
    EXPECT_EQ(toolkit.topForm()->name(), "frmcancell");
}

TEST_F(BrowserTest, NewAndEditOpenTheLinkingScreenInTheirModes) {
    setRights(1, "NEDP");
    auto& empty = module->FrmMaster();
    empty.CmdEdit.userClick();  // no entry selected: nothing happens
    EXPECT_EQ(module->EntryMode, "");
    EXPECT_EQ(toolkit.topForm(), nullptr);

    empty.cmdnew.userClick();
    EXPECT_EQ(module->EntryMode, "N");
    ASSERT_NE(toolkit.topForm(), nullptr);
    EXPECT_EQ(toolkit.topForm()->name(), "frmPayrollAccountsLinking");
    EXPECT_TRUE(module->frmPayrollAccountsLinking().cmdOk.enabled());
    module->frmPayrollAccountsLinking().unload();

    addEntry(11, "PAL-11", "2026-10-10", "P", 1);
    auto& f = reopen();
    f.flexMaster.userSelectCell(rowOf(f.flexMaster, "11"), 1);
    f.CmdEdit.userClick();
    EXPECT_EQ(module->EntryMode, "E");
    ASSERT_NE(toolkit.topForm(), nullptr);
    EXPECT_EQ(toolkit.topForm()->name(), "frmPayrollAccountsLinking");
    EXPECT_EQ(module->frmPayrollAccountsLinking().txtTransNo.text(), "PAL-11");
    EXPECT_FALSE(module->frmPayrollAccountsLinking().cmdOk.enabled());
    EXPECT_TRUE(toolkit.errors.empty());
}

TEST_F(BrowserTest, WithoutTheTableMappingTheListStatementIsWhatFails) {
    raw->execute("drop table linktable");
    EXPECT_THROW(module->FrmMaster(), common::Error);
    const auto statements = trace->statements();
    ASSERT_FALSE(statements.empty());
    EXPECT_EQ(statements.back().rfind("select TransID, TransNo, TransDate, Case ", 0), 0u) << statements.back();
    EXPECT_NE(statements.back().find(" From  pa,  dm Where"), std::string::npos) << statements.back();
}

TEST_F(BrowserTest, CloseDropsTheSessionConnection) {
    auto& f = module->FrmMaster();
    EXPECT_EQ(f.caption(), "Payroll Accounts Linking");
    f.CmdClose.userClick();
    EXPECT_EQ(module->session.connection, nullptr);
    EXPECT_FALSE(module->isLoaded("FrmMaster"));
    EXPECT_TRUE(raw->isOpen());
}

}  // namespace
