// Cancelling an entry from the browser: the reason, the header, the released sources, the
// browser row, and a failure at any statement leaving everything as it was.
#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "browser/FrmMaster.h"
#include "linking/frmcancell.h"

namespace {

using Strings = std::vector<std::string>;

class CancelTest : public testsupport::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        H = mapped("paPayAccLinkHeader");
        DT = mapped("paPayAccLinkDetails");
        dept =
            scalar("select min(DepartmentID) from " + mapped("pDepartment") + " where CompanyID=1").toInt32();
        const std::string pu = mapped("puserrights");
        raw->execute("delete from " + pu + " where companyid=1 and userid=1 and interfaceid=60");
        raw->execute("insert into " + pu +
                     " (companyid, userid, interfaceid, FunctionRights) values (1,1,60,'NEDP')");
        runs = column(
            "select mppProcessID from pMonthlyPayRollProcessing where mppCompanyID=1 "
            "order by mppProcessID limit 3");
        payments =
            column("select phPaymentID from pPaymentHeader where phCompanyID=1 order by phPaymentID limit 3");
        ASSERT_EQ(runs.size() + payments.size(), 6u);
    }

    Strings column(const std::string& sql) {
        Strings out;
        for (auto rs = raw->open(sql); !rs->eof(); rs->moveNext()) out.push_back(rs->field(0).joinText());
        return out;
    }
    std::string state() {
        return rows("select TransID, Cancelled, cancelremarks from " + H + " order by CompanyID, TransID") +
               rows("select mppProcessID, mppPosted from pMonthlyPayRollProcessing order by mppProcessID") +
               rows("select phPaymentID, phPosted from pPaymentHeader order by phPaymentID") +
               rows("select count(*) from " + DT);
    }
    std::string headerOf(int id) {
        return rows("select Cancelled, cancelremarks from " + H +
                    " where CompanyID=1 and TransID=" + std::to_string(id));
    }
    std::string posted(const std::string& table, const std::string& key, const std::string& flag,
                       const Strings& keys) {
        std::string out;
        for (const auto& k : keys)
            out += scalar("select " + flag + " from " + table + " where " + key + "=" + k).joinText();
        return out;
    }
    // An entry with one detail row per source key, in order; its sources flagged posted.
    void addEntry(int id, const std::string& type, const Strings& refs) {
        raw->execute("insert into " + H +
                     " (CompanyID, TransID, DepartmentID, TransNo, TransDate, TransType, Cancelled, Posted) "
                     "values (1," +
                     std::to_string(id) + "," + std::to_string(dept) + ",'PAL-" + std::to_string(id) +
                     "','2026-10-10','" + type + "',0,0)");
        int detail = 0;
        for (const auto& ref : refs) {
            raw->execute("insert into " + DT +
                         " (CompanyID, TransID, DetailID, DepartmentID, RefTransID) values (1," +
                         std::to_string(id) + "," + std::to_string(++detail) + "," + std::to_string(dept) +
                         "," + ref + ")");
            raw->execute(type == "P"
                             ? "update pMonthlyPayRollProcessing set mppPosted=1 where mppProcessID=" + ref
                             : "update pPaymentHeader set phPosted=1 where phPaymentID=" + ref);
        }
    }
    // The browser's Delete on the entry's row, answered Yes: the cancellation screen opens.
    linking::frmcancell& openCancel(int id) {
        auto& f = module->FrmMaster();
        f.flexMaster.userSelectCell(browserRow(id), 1);
        toolkit.answers.push_back(ui::vbYes);
        f.CmdDelete.userClick();
        EXPECT_TRUE(module->isLoaded("frmcancell"));
        return module->frmcancell();
    }
    int count(const std::string& prefix) const {
        auto s = trace->statements();
        return static_cast<int>(
            std::count_if(s.begin(), s.end(), [&](const std::string& x) { return x.rfind(prefix, 0) == 0; }));
    }

    std::string H, DT;
    int dept = 0;
    Strings runs, payments;
};

TEST_F(CancelTest, PayrollEntryReleasesBothRunsAndKeepsItsDetails) {
    addEntry(901, "P", {runs[0], runs[1]});
    raw->execute("update pMonthlyPayRollProcessing set mppPosted=1 where mppProcessID=" + runs[2]);
    auto& c = openCancel(901);
    trace->clear();
    c.txtreason.userType("Duplicate's run");  // a typed apostrophe never arrives
    c.cmdok.userClick();

    EXPECT_EQ(headerOf(901), "1|Duplicates run|\n");
    EXPECT_EQ(posted("pMonthlyPayRollProcessing", "mppProcessID", "mppPosted", runs), "001");
    EXPECT_EQ(scalar("select count(*) from " + DT + " where CompanyID=1 and TransID=901").toInt32(), 2);
    EXPECT_EQ(count("update " + H +
                    "  set cancelled=1, cancelremarks='Duplicates run' where TransID=901  and "
                    "CompanyID= 1"),
              1);
    EXPECT_EQ(count("Select distinct RefTransID from " + DT + " where CompanyID=1 and TransID=901"), 1);
    EXPECT_EQ(
        count("update pMonthlyPayRollProcessing set mppPosted=0 where mppCompanyID=1 and mppProcessID=" +
              runs[1]),
        1);
    EXPECT_EQ(count("update pPaymentHeader"), 0);

    EXPECT_FALSE(module->isLoaded("frmcancell"));
    auto& g = module->FrmMaster().flexMaster;
    const int row = browserRow(901);
    EXPECT_EQ(g.textMatrix(row, 5), "Yes");
    for (int col = 0; col < g.cols(); ++col) EXPECT_EQ(g.cellBackColor(row, col), 255u) << col;
    EXPECT_TRUE(toolkit.errors.empty());
}

TEST_F(CancelTest, PaymentNamedTwiceReleasedOnceAndPastedApostropheStoredExactly) {
    addEntry(902, "A", {payments[0], payments[1], payments[0]});
    raw->execute("update pPaymentHeader set phPosted=1 where phPaymentID=" + payments[2]);
    auto& c = openCancel(902);
    trace->clear();
    c.txtreason.userPaste(" O'Brien's month' ");
    c.cmdok.userClick();
    EXPECT_EQ(headerOf(902), "1| O'Brien's month' |\n");
    EXPECT_EQ(posted("pPaymentHeader", "phPaymentID", "phPosted", {payments[0], payments[1], payments[2]}),
              "001");
    EXPECT_EQ(count("update pPaymentHeader set phPosted=0 where phCompanyID=1 and phPaymentID="), 2);
    EXPECT_EQ(count("update pMonthlyPayRollProcessing"), 0);
}

TEST_F(CancelTest, ReasonIsRequiredAndTheWindowCannotCloseWithoutCancelling) {
    addEntry(903, "P", {runs[0]});
    const std::string before = state();
    auto& c = openCancel(903);
    const size_t shown = toolkit.messages.size();

    c.txtreason.userType("   ");
    c.cmdok.userClick();
    ASSERT_EQ(toolkit.messages.size(), shown + 1);
    EXPECT_EQ(toolkit.messages.back().request.text, "Enter reason for deletion");
    EXPECT_EQ(toolkit.messages.back().request.style, ui::vbOKOnly + ui::vbInformation);
    EXPECT_TRUE(c.txtreason.hasFocus());
    c.userClose();  // a blank reason keeps the screen open and the entry as it was
    EXPECT_EQ(toolkit.messages.size(), shown + 2);
    EXPECT_TRUE(module->isLoaded("frmcancell"));
    EXPECT_EQ(state(), before);

    // Typed apostrophes never reach the box; Enter moves on to Ok.
    c.txtreason.userPaste("");
    c.txtreason.userType("it's wrong");
    EXPECT_EQ(c.txtreason.text(), "its wrong");
    c.txtreason.userKey(ui::vbKeyReturn);
    EXPECT_TRUE(c.cmdok.hasFocus());

    c.userClose();
    EXPECT_FALSE(module->isLoaded("frmcancell"));
    EXPECT_EQ(std::count(toolkit.transcript.begin(), toolkit.transcript.end(), "UNLOAD frmcancell"), 1);
    EXPECT_EQ(headerOf(903), "1|its wrong|\n");
    EXPECT_EQ(posted("pMonthlyPayRollProcessing", "mppProcessID", "mppPosted", {runs[0]}), "0");
    EXPECT_EQ(toolkit.messages.size(), shown + 2);
}

}  // namespace
