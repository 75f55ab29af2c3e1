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
                     " (companyid, userid, interfaceid, FunctionRights) values (1, 1, 60, 'NEDP')");
        raw->execute("update psettings set noofpreviousdays=0 where companyid=1");
        runs =
            ids("select mppProcessID from pMonthlyPayRollProcessing where mppCompanyID=1 "
                "order by mppProcessID limit 3");
        payments =
            ids("select phPaymentID from pPaymentHeader where phCompanyID=1 order by phPaymentID limit 3");
        ASSERT_EQ(runs.size(), 3u);
        ASSERT_EQ(payments.size(), 3u);
    }

    std::string mapped(const std::string& logical) {
        auto v = scalar("select linktablename from linktable where tablename='" + logical + "'");
        return v.isNull() ? logical : v.toText();
    }
    std::vector<std::string> ids(const std::string& sql) {
        std::vector<std::string> out;
        for (auto rs = raw->open(sql); !rs->eof(); rs->moveNext()) out.push_back(rs->field(0).toText());
        return out;
    }
    // Every row of a query, fields joined: compares database states.
    std::string dump(const std::string& sql) {
        std::string out;
        for (auto rs = raw->open(sql); !rs->eof(); rs->moveNext()) {
            for (int i = 0; i < rs->fieldCount(); ++i) out += rs->field(i).joinText() + "|";
            out += "\n";
        }
        return out;
    }
    std::string state() {
        return dump("select TransID, Cancelled, cancelremarks from " + H + " order by CompanyID, TransID") +
               dump("select mppProcessID, mppPosted from pMonthlyPayRollProcessing order by mppProcessID") +
               dump("select phPaymentID, phPosted from pPaymentHeader order by phPaymentID") +
               dump("select count(*) from " + DT);
    }

    // An entry linking the given source keys (one detail row each, in order), its sources flagged.
    void addEntry(int id, const std::string& type, const std::vector<std::string>& refs) {
        raw->execute("delete from " + H + " where CompanyID=1 and TransID=" + std::to_string(id));
        raw->execute("insert into " + H +
                     " (CompanyID, TransID, DepartmentID, TransNo, TransDate, TransType, Remarks, Cancelled, "
                     "Posted) values (1," +
                     std::to_string(id) + "," + std::to_string(dept) + ",'PAL-" + std::to_string(id) +
                     "','2026-10-10','" + type + "','r',0,0)");
        int detail = 0;
        for (const auto& ref : refs) {
            raw->execute(
                "insert into " + DT +
                " (CompanyID, TransID, DetailID, DepartmentID, RefTransID, RefTransNo, RefTransType, "
                "Credit) values (1," +
                std::to_string(id) + "," + std::to_string(++detail) + "," + std::to_string(dept) + "," + ref +
                ",'S-" + ref + "','" + type + "',0)");
            if (type == "P")
                raw->execute("update pMonthlyPayRollProcessing set mppPosted=1 where mppProcessID=" + ref);
            else
                raw->execute("update pPaymentHeader set phPosted=1 where phPaymentID=" + ref);
        }
    }
    int rowOf(int transId) {
        auto& g = module->FrmMaster().flexMaster;
        for (int r = 1; r < g.rows(); ++r)
            if (g.textMatrix(r, 0) == std::to_string(transId)) return r;
        return -1;
    }
    // The browser's Delete on the entry's row, answered Yes: the cancellation screen opens.
    linking::frmcancell& openCancel(int transId) {
        auto& f = module->FrmMaster();
        f.flexMaster.userSelectCell(rowOf(transId), 1);
        toolkit.answers.push_back(ui::vbYes);
        f.CmdDelete.userClick();
        EXPECT_TRUE(module->isLoaded("frmcancell"));
        return module->frmcancell();
    }
    std::string headerOf(int transId) {
        return dump("select Cancelled, cancelremarks from " + H +
                    " where CompanyID=1 and TransID=" + std::to_string(transId));
    }
    std::string flags(const std::string& table, const std::string& key, const std::string& flag,
                      const std::vector<std::string>& keys) {
        std::string out;
        for (const auto& k : keys)
            out += scalar("select " + flag + " from " + table + " where " + key + "=" + k).joinText();
        return out;
    }
    int count(const std::string& prefix) const {
        auto s = trace->statements();
        return static_cast<int>(
            std::count_if(s.begin(), s.end(), [&](const std::string& x) { return x.rfind(prefix, 0) == 0; }));
    }
    bool traced(const std::string& sql) const {
        auto s = trace->statements();
        return std::find(s.begin(), s.end(), sql) != s.end();
    }

    std::string H, DT;
    int dept = 0;
    std::vector<std::string> runs, payments;
};

TEST_F(CancelTest, PayrollEntryReleasesBothRunsAndKeepsItsDetails) {
    addEntry(901, "P", {runs[0], runs[1]});
    raw->execute("update pMonthlyPayRollProcessing set mppPosted=1 where mppProcessID=" + runs[2]);
    auto& c = openCancel(901);
    EXPECT_EQ(c.caption(), "Cancel");
    EXPECT_EQ(c.lblreason.caption(), "Reason:");
    EXPECT_EQ(c.cmdok.caption(), "&Ok");
    trace->clear();

    c.txtreason.userType("Duplicate run");
    c.cmdok.userClick();

    EXPECT_EQ(headerOf(901), "1|Duplicate run|\n");
    EXPECT_EQ(flags("pMonthlyPayRollProcessing", "mppProcessID", "mppPosted", runs), "001");
    EXPECT_EQ(scalar("select count(*) from " + DT + " where CompanyID=1 and TransID=901").toInt32(), 2);
    EXPECT_TRUE(
        traced("update " + H +
               "  set cancelled=1, cancelremarks='Duplicate run' where TransID=901  and CompanyID= 1"));
    EXPECT_TRUE(traced("Select distinct RefTransID from " + DT + " where CompanyID=1 and TransID=901"));
    EXPECT_TRUE(traced(
        "update pMonthlyPayRollProcessing set mppPosted=0 where mppCompanyID=1 and mppProcessID=" + runs[1]));
    EXPECT_EQ(count("update pPaymentHeader"), 0);

    EXPECT_FALSE(module->isLoaded("frmcancell"));
    auto& g = module->FrmMaster().flexMaster;
    const int row = rowOf(901);
    EXPECT_EQ(g.textMatrix(row, 5), "Yes");
    for (int col = 0; col < g.cols(); ++col) EXPECT_EQ(g.cellBackColor(row, col), 255u) << col;
    EXPECT_TRUE(toolkit.errors.empty());
}

TEST_F(CancelTest, PaymentNamedTwiceIsReleasedOnce) {
    addEntry(902, "A", {payments[0], payments[1], payments[0]});
    auto& c = openCancel(902);
    trace->clear();
    c.txtreason.userType("Wrong month");
    c.cmdok.userClick();
    EXPECT_EQ(headerOf(902), "1|Wrong month|\n");
    EXPECT_EQ(flags("pPaymentHeader", "phPaymentID", "phPosted", {payments[0], payments[1]}), "00");
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
    EXPECT_EQ(flags("pMonthlyPayRollProcessing", "mppProcessID", "mppPosted", {runs[0]}), "0");
    EXPECT_EQ(toolkit.messages.size(), shown + 2);
}

TEST_F(CancelTest, PastedApostropheIsStoredExactly) {
    addEntry(904, "S", {payments[2]});
    auto& c = openCancel(904);
    c.txtreason.userPaste(" O'Brien's run' ");
    c.cmdok.userClick();
    EXPECT_FALSE(module->isLoaded("frmcancell"));
    EXPECT_EQ(scalar("select cancelremarks from " + H + " where CompanyID=1 and TransID=904").toText(),
              " O'Brien's run' ");
    EXPECT_EQ(flags("pPaymentHeader", "phPaymentID", "phPosted", {payments[2]}), "0");
}

TEST_F(CancelTest, FailureAtAnyStatementLeavesEverythingAsItWas) {
    addEntry(905, "P", {runs[0], runs[1], runs[0]});
    auto& g = module->FrmMaster().flexMaster;
    const int row = rowOf(905);
    auto& c = openCancel(905);
    c.txtreason.userType("Entered twice");
    const std::string before = state();
    std::vector<uint32_t> colours;
    for (int col = 0; col < g.cols(); ++col) colours.push_back(g.cellBackColor(row, col));

    int k = 1;
    for (; k < 40; ++k) {
        int calls = 0;
        trace->beforeEach = [&](const data::TraceEntry&) {
            if (++calls == k)
                throw common::Error(-2147467259, "TestProvider", "injected fault " + std::to_string(k));
        };
        c.cmdok.userClick();
        trace->beforeEach = nullptr;
        if (!module->isLoaded("frmcancell"))
            break;  // the k-th call never came: the cancellation went through

        EXPECT_EQ(state(), before) << "fault at call " << k;
        EXPECT_FALSE(trace->inTransaction()) << k;
        EXPECT_EQ(g.textMatrix(row, 5), "No") << k;
        for (int col = 0; col < g.cols(); ++col) EXPECT_EQ(g.cellBackColor(row, col), colours[col]) << k;
        ASSERT_NE(toolkit.lastMessage(), nullptr);
        EXPECT_EQ(toolkit.lastMessage()->text, "injected fault " + std::to_string(k));
        EXPECT_TRUE(c.cmdok.enabled());
    }
    // Begin, update, select, two releases (distinct runs) and commit each failed once.
    EXPECT_GE(k, 7);
    EXPECT_EQ(headerOf(905), "1|Entered twice|\n");
    EXPECT_EQ(g.textMatrix(row, 5), "Yes");

    std::ifstream log(data::errorLogPath(), std::ios::binary);
    std::stringstream text;
    text << log.rdbuf();
    std::string line;
    int logged = 0;
    while (std::getline(text, line)) {
        EXPECT_EQ(line.rfind("frmcancell:QORPayAccLinking:-2147467259:TestProvider:injected fault ", 0), 0u)
            << line;
        EXPECT_NE(line.find(":Cmdok_Click :"), std::string::npos) << line;
        ++logged;
    }
    EXPECT_EQ(logged, k - 1);
}

}  // namespace
