// Cancelling an entry from the browser: the reason, the header, the released sources and the
// browser row.
#include <algorithm>

#include "TestSupport.h"
#include "browser/FrmMaster.h"
#include "linking/frmcancell.h"

namespace {

using Strings = std::vector<std::string>;

class CancelTest : public testsupport::ModuleTest {
protected:
    std::string headerOf(int id) {
        return rows("select Cancelled, cancelremarks from paPayAccLinkHeader where CompanyID=1 and TransID=" +
                    std::to_string(id));
    }
    // The posted flags of these sources, in order.
    std::string posted(bool payroll, const Strings& keys) {
        std::string out;
        for (const auto& k : keys)
            out += scalar(payroll ? "select mppPosted from pMonthlyPayRollProcessing where mppProcessID=" + k
                                  : "select phPosted from pPaymentHeader where phPaymentID=" + k)
                       .joinText();
        return out;
    }
    // An entry of department 1 with one detail row per source key; its sources flagged posted.
    void addEntry(int id, const std::string& type, const Strings& refs) {
        const std::string n = std::to_string(id);
        raw->execute(
            "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, "
            "TransType, Cancelled, Posted) values (1," +
            n + ",1,'PAL-" + n + "','2026-10-10','" + type + "',0,0)");
        int detail = 0;
        for (const auto& ref : refs) {
            raw->execute(
                "insert into paPayAccLinkDetails (CompanyID, TransID, DetailID, DepartmentID, "
                "RefTransID) values (1," +
                n + "," + std::to_string(++detail) + ",1," + ref + ")");
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
    // How many statements began so.
    int count(const std::string& prefix) const {
        auto s = trace->statements();
        return static_cast<int>(
            std::count_if(s.begin(), s.end(), [&](const std::string& x) { return x.rfind(prefix, 0) == 0; }));
    }

    // The demo's first payroll runs and payments of company 1.
    const Strings runs{"1", "2", "3"}, payments{"101", "102", "103"};
};

TEST_F(CancelTest, CancellingReleasesEachSourceOnceAndKeepsTheDetails) {
    addEntry(901, "P", {runs[0], runs[1]});
    raw->execute("update pMonthlyPayRollProcessing set mppPosted=1 where mppProcessID=" + runs[2]);
    auto& c = openCancel(901);
    trace->clear();
    c.txtreason.userType("Duplicate's run");  // stored as typed
    c.cmdok.userClick();

    EXPECT_EQ(headerOf(901), "1|Duplicate's run|\n");
    EXPECT_EQ(posted(true, runs), "001");
    EXPECT_EQ(scalar("select count(*) from paPayAccLinkDetails where CompanyID=1 and TransID=901").toInt32(),
              2);
    EXPECT_EQ(count("update paPayAccLinkHeader  set cancelled=1, cancelremarks='Duplicate''s run' where "
                    "TransID=901  and CompanyID= 1"),
              1);
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
    EXPECT_FALSE(module->FrmMaster().CmdDelete.enabled()) << "a cancelled entry cannot be cancelled again";

    // A payment named twice is released once; a pasted apostrophe is stored exactly.
    addEntry(902, "A", {payments[0], payments[1], payments[0]});
    raw->execute("update pPaymentHeader set phPosted=1 where phPaymentID=" + payments[2]);
    module->FrmMaster().unload();
    openCancel(902).txtreason.userPaste(" O'Brien's month' ");
    trace->clear();
    module->frmcancell().cmdok.userClick();
    EXPECT_EQ(headerOf(902), "1| O'Brien's month' |\n");
    EXPECT_EQ(posted(false, payments), "001");
    EXPECT_EQ(count("update pPaymentHeader set phPosted=0 where phCompanyID=1 and phPaymentID="), 2);
    EXPECT_EQ(count("update pMonthlyPayRollProcessing"), 0);
    EXPECT_TRUE(toolkit.errors.empty());
}

TEST_F(CancelTest, ReasonIsRequiredAndOnlyOkCancels) {
    addEntry(903, "P", {runs[0]});
    const std::string before = dbState();
    auto& c = openCancel(903);
    const size_t shown = toolkit.messages.size();

    c.txtreason.userType("   ");
    c.cmdok.userClick();
    ASSERT_EQ(toolkit.messages.size(), shown + 1);
    EXPECT_EQ(toolkit.messages.back().request.text, "Enter reason for deletion");
    EXPECT_EQ(toolkit.messages.back().request.style, ui::vbOKOnly + ui::vbInformation);
    EXPECT_TRUE(c.txtreason.hasFocus());

    // Keep entry and the window's frame leave the entry as it was, with or without a reason.
    c.cmdKeep.userClick();
    EXPECT_FALSE(module->isLoaded("frmcancell"));
    openCancel(903).txtreason.userPaste("changed my mind");
    module->frmcancell().userClose();
    EXPECT_FALSE(module->isLoaded("frmcancell"));
    EXPECT_EQ(toolkit.messages.size(), shown + 2);  // the reason's and the second Delete question
    EXPECT_EQ(dbState(), before);

    // Enter moves on to Ok, which cancels.
    auto& again = openCancel(903);
    again.txtreason.userPaste("its wrong");
    again.txtreason.userKey(ui::vbKeyReturn);
    EXPECT_TRUE(again.cmdok.hasFocus());
    again.cmdok.userClick();
    EXPECT_FALSE(module->isLoaded("frmcancell"));
    EXPECT_EQ(headerOf(903), "1|its wrong|\n");
    EXPECT_EQ(posted(true, {runs[0]}), "0");
}

}  // namespace
