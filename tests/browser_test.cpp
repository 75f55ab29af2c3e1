// The entry browser driven as a user does: list and date window, sort and search, rights and
// the actions.
#include <algorithm>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "browser/FrmMaster.h"
#include "linking/frmPayrollAccountsLinking.h"

namespace {

using Strings = std::vector<std::string>;

class BrowserTest : public testsupport::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        raw->execute("delete from paPayAccLinkHeader where CompanyID=1");
        raw->execute("update psettings set noofpreviousdays=0 where companyid=1");
        captions({"ID", "Entry No", "Entry Date", "Type", "Department", "Cancelled", "Posted"},
                 {"TransID", "TransNo", "TransDate", "Type", "DepartmentName", "cancel", "Posted"});
    }

    void add(int id, const std::string& no, const std::string& date, const std::string& type = "P",
             int cancelled = 0, int posted = 0, int company = 1, int department = 1) {
        auto n = [](int v) { return std::to_string(v) + ","; };
        raw->execute(
            "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, "
            "TransType, Cancelled, Posted) values (" +
            n(company) + n(id) + n(department) + (no.empty() ? "NULL" : "'" + no + "'") + ",'" + date +
            "','" + type + "'," + n(cancelled) + std::to_string(posted) + ")");
    }
    // The list's captions in columnid order (inserted backwards: the order is columnid's).
    void captions(const Strings& headers, const Strings& names) {
        raw->execute("delete from ptablecolumns where tableid=60");
        for (size_t i = headers.size(); i-- > 0;)
            raw->execute(
                "insert into ptablecolumns (tableid, columnid, columnheader, columnname) values (60," +
                std::to_string(i + 1) + ",'" + headers[i] + "','" + names[i] + "')");
    }
    browser::FrmMaster& reopen() {
        if (module->isLoaded("FrmMaster")) module->FrmMaster().unload();
        return module->FrmMaster();
    }
    static Strings column(const ui::FlexGrid& g, int col) {
        Strings out;
        for (int r = 1; r < g.rows(); ++r) out.push_back(g.textMatrix(r, col));
        return out;
    }
};

TEST_F(BrowserTest, ListsTheEntriesOfTheDateWindow) {
    add(1, "E-13", "2026-10-13");
    add(2, "E-14", "2026-10-14");
    add(3, "", "2026-10-15");
    add(4, "E-20", "2026-10-20");
    add(5, "E-NODEPT", "2026-10-15", "P", 0, 0, 1, 987654);
    add(6, "E-CO2", "2026-10-15", "P", 0, 0, 2);
    auto ids = [&](int days) {
        raw->execute("update psettings set noofpreviousdays=" + std::to_string(days) + " where companyid=1");
        Strings out = column(reopen().flexMaster, 0);
        std::sort(out.begin(), out.end());
        return out;
    };

    EXPECT_EQ(ids(1), (Strings{"2", "3", "4"}));
    const std::string base =
        "select TransID, TransNo, TransDate, Case when TransType='P' then 'Payroll' when TransType='A' then "
        "'Salary Advances' when TransType='R' then 'Reimbursements' when TransType='S' then 'Savings' when "
        "TransType='E' then 'Leave Encashments' when TransType='H' then 'Holded Salaries' when "
        "TransType='O' then 'Others' End Type, dm.DepartmentName,   case when Cancelled=1 then 'Yes' else "
        "'No' end cancel,  case when Posted=1 then 'Yes' else 'No' end Posted  From paPayAccLinkHeader pa, " +
        mapped("pDepartment") +
        " dm Where pa.CompanyID = dm.CompanyID and pa.DepartmentID=dm.DepartmentID and pa.companyid=1";
    EXPECT_EQ(module->session.listBaseQuery, base);
    EXPECT_TRUE(traced(base + " and TransDate>='2026/10/14'"));
    auto& g = module->FrmMaster().flexMaster;
    const int r = browserRow(3);
    ASSERT_EQ(g.cols(), 7);
    EXPECT_EQ(g.textMatrix(r, 1), "");  // a Null entry number
    EXPECT_EQ(g.textMatrix(r, 2), "15/10/2026");
    EXPECT_EQ(g.textMatrix(r, 3) + "|" + g.textMatrix(r, 5) + "|" + g.textMatrix(r, 6), "Payroll|No|No");
    for (int days : {0, -3}) EXPECT_EQ(ids(days), (Strings{"1", "2", "3", "4"})) << days;
}

TEST_F(BrowserTest, SortAndSearchKeepTheChosenEntryInNaturalOrderForEveryLetter) {
    int id = 1200;
    for (const char* no : {"PAL-7", "ZZZ", "PAL-3", "ABC-1", "PAL-10", "ÉTÉ-2"}) add(++id, no, "2026-10-10");
    add(5, "PAY-1", "2026-10-10", "P", 1);  // cancelled
    auto& f = module->FrmMaster();
    auto& g = f.flexMaster;
    auto landedOn = [&](const std::string& id) {
        EXPECT_EQ(g.textMatrix(g.row(), 0), id);
        EXPECT_EQ(g.topRow(), g.row());
        EXPECT_EQ(g.col(), 0);
        EXPECT_EQ(g.colSel(), g.cols() - 1);
        EXPECT_EQ(f.lastSearchMatch(), g.row());
    };

    // A sort moves the chosen entry's row, and the selection and the buttons go with it.
    g.userSelectCell(browserRow(5), 1);
    EXPECT_EQ(buttons(), "NE-P");
    f.optDescend.userSet(true);
    ASSERT_TRUE(f.cboColNames.userSelectText("Entry No"));
    EXPECT_EQ(column(g, 1), (Strings{"ÉTÉ-2", "ZZZ", "PAY-1", "PAL-10", "PAL-7", "PAL-3", "ABC-1"}));
    EXPECT_EQ(g.textMatrix(g.row(), 0), "5");
    EXPECT_EQ(buttons(), "NE-P");
    EXPECT_EQ(g.sortedBy(), ui::FlexGrid::flexSortGenericDescending);

    // The search sorts its column ascending again and finds the first match, numbers in the
    // entry numbers and letters beyond ASCII included; no match leaves the row where it is.
    ASSERT_TRUE(f.cboSearch.userSelectText("Entry No"));
    f.txtsearch.userType("pal-1");
    landedOn("1205");
    EXPECT_EQ(column(g, 1), (Strings{"ABC-1", "PAL-3", "PAL-7", "PAL-10", "PAY-1", "ZZZ", "ÉTÉ-2"}));
    const int landed = g.row();
    f.txtsearch.userType("x");
    EXPECT_EQ(g.row(), landed);
    EXPECT_EQ(f.lastSearchMatch(), 0);
    f.txtsearch.userPaste("");
    f.txtsearch.userType("été");
    landedOn("1206");

    ASSERT_TRUE(f.cboSearch.userSelectText("ID"));
    f.txtsearch.userPaste("");
    f.txtsearch.userType("12");  // the first two characters compared as a number
    landedOn("1201");

    // A refill lists the rows in the statement's order; the chosen entry stays chosen.
    g.userSelectCell(browserRow(1203), 1);
    f.PopulateRecentEntries();
    EXPECT_EQ(g.textMatrix(g.row(), 0), "1203");
    EXPECT_EQ(g.sortedBy(), ui::FlexGrid::flexSortNone);
    EXPECT_TRUE(toolkit.messages.empty());
}

TEST_F(BrowserTest, DeleteAsksThenRefusesPostedEntriesAndOpensTheCancellation) {
    add(7, "PAL-7", "2026-10-10", "P", 0, 1);
    add(8, "PAL-8", "2026-10-10");
    add(8, "CO2-8", "2026-10-10", "P", 0, 1, 2);  // posted, but another company's
    auto& f = module->FrmMaster();
    auto deleteRow = [&](int id, int answer) {
        f.flexMaster.userSelectCell(browserRow(id), 1);
        toolkit.answers.push_back(answer);
        f.CmdDelete.userClick();
    };

    deleteRow(8, ui::vbNo);
    ASSERT_EQ(toolkit.messages.size(), 1u);
    EXPECT_EQ(toolkit.messages[0].request.text, "Are you sure you want to delete Entry - PAL-8?");
    EXPECT_EQ(toolkit.messages[0].request.style, ui::vbYesNo + ui::vbCritical + ui::vbDefaultButton2);
    EXPECT_EQ(toolkit.messages[0].request.title, "Payroll Accounts Linking");
    EXPECT_FALSE(module->isLoaded("frmcancell"));

    deleteRow(7, ui::vbYes);
    ASSERT_EQ(toolkit.messages.size(), 3u);
    EXPECT_EQ(toolkit.messages[2].request.text, "Entry Posted. Cannot Delete.");
    EXPECT_EQ(toolkit.messages[2].request.style, ui::vbOKOnly + ui::vbInformation);
    EXPECT_TRUE(
        traced("select count(1) from paPayAccLinkHeader where CompanyID=1 and TransID=7 and Posted=1 "));
    EXPECT_FALSE(module->isLoaded("frmcancell"));

    deleteRow(8, ui::vbYes);
    EXPECT_EQ(toolkit.messages.size(), 4u);
    ASSERT_NE(toolkit.topForm(), nullptr);
    EXPECT_EQ(toolkit.topForm()->name(), "frmcancell");
    EXPECT_TRUE(toolkit.errors.empty());
}

}  // namespace
