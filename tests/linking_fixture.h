#pragma once
// The linking screen's tests: a department of their own ("Test Lab", paid in dirhams) with
// runs and payments whose amounts the tests know, and helpers that drive the screen as a user.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "linking/frmPayrollAccountsLinking.h"

namespace linkingtest {

using common::DateTime;
using linking::frmPayrollAccountsLinking;

inline constexpr int kDept = 9;  // "Test Lab"

class LinkingTest : public testsupport::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        raw->execute(
            "insert into " + mapped("pDepartment") +
            " (CompanyID, DepartmentID, DepartmentName, DepCurrencyID) values (1, 9, 'Test Lab', 1)");
        // 901-905 paid in dirhams, 906 in dollars.
        for (int e = 901; e <= 906; ++e)
            raw->execute(
                "insert into pemployee (eCompanyID, eEmployeeID, eEmpNo, eName, eDepartmentID, ecurrencyid) "
                "values (1, " +
                std::to_string(e) + ", 'T" + std::to_string(e) + "', 'Tester " + std::to_string(e) +
                "', 9, " + (e == 906 ? "2" : "1") + ")");
    }

    // A processed payroll of the test department on the 28th of November 2026.
    void addRun(int id, int emp, double basic, double allowances, double deductions,
                const std::string& isoDate = "2026-11-28") {
        raw->execute(
            "insert into pMonthlyPayRollProcessing (mppCompanyID, mppProcessID, mppProcessNo, "
            "mppProcessedDate, mppDepartmentID, mppEmpID, mppBasic, mppAllowances, mppDeductions, "
            "mppNetPay, mppPosted) values (1, " +
            std::to_string(id) + ", 'PRT/" + std::to_string(id) + "', '" + isoDate + "', 9, " +
            std::to_string(emp) + ", " + common::NumberText(basic) + ", " + common::NumberText(allowances) +
            ", " + common::NumberText(deductions) + ", " +
            common::NumberText(basic + allowances - deductions) + ", 0)");
    }
    // A payment of the test department with one line.
    void addPayment(int id, const std::string& type, int emp, double amount, const std::string& isoDate,
                    int currency = 1) {
        raw->execute(
            "insert into pPaymentHeader (phCompanyID, phPaymentID, phPaymentNo, phDate, phDepartmentID, "
            "phEmployeeID, phcurrencyid, phType, phPosted) values (1, " +
            std::to_string(id) + ", 'PAY/" + std::to_string(id) + "', '" + isoDate + "', 9, " +
            std::to_string(emp) + ", " + std::to_string(currency) + ", '" + type + "', 0)");
        raw->execute(
            "insert into pPaymentDetails (pdCompanyID, pdPaymentID, pdLineID, pdPaymentAmt) values (1, " +
            std::to_string(id) + ", 1, " + common::NumberText(amount) + ")");
    }

    browser::FrmMaster& browser() { return module->FrmMaster(); }
    bool linkingOpen() const { return module->isLoaded("frmPayrollAccountsLinking"); }
    // New entry, as from the browser's New button.
    frmPayrollAccountsLinking& openNew() {
        browser().cmdnew.userClick();
        return module->frmPayrollAccountsLinking();
    }
    // Edit the entry of the browser row with that TransID, as from the Edit button.
    frmPayrollAccountsLinking& openEdit(int transId) {
        auto& g = browser().flexMaster;
        for (int r = 1; r < g.rows(); ++r) {
            if (g.textMatrix(r, 0) == std::to_string(transId)) {
                g.userSelectCell(r, 0);
                browser().CmdEdit.userClick();
                return shown();
            }
        }
        ADD_FAILURE() << "entry " << transId << " not in the browser";
        return shown();
    }
    // The linking screen if it is open. An entry that failed to load leaves none, and asking
    // the module would load a new one: such callers get a screen that was never loaded.
    frmPayrollAccountsLinking& shown() {
        if (auto* f = module->loadedForm("frmPayrollAccountsLinking"))
            return static_cast<frmPayrollAccountsLinking&>(*f);
        if (!notLoaded_) notLoaded_ = std::make_unique<frmPayrollAccountsLinking>(*module);
        return *notLoaded_;
    }

    // Type, department and transaction date as a user picks them, then Show.
    void gather(frmPayrollAccountsLinking& f, const std::string& type, const DateTime& transDate,
                const std::string& department = "Test Lab") {
        f.dtpTransDate.userSet(transDate);
        ASSERT_TRUE(f.cboType.userSelectText(type));
        ASSERT_TRUE(f.cboDepartment.userSelectText(department));
        f.cmdShow.userClick();
    }

    // The posting line of an account in a transaction currency, 0 when none.
    static int lineOf(const frmPayrollAccountsLinking& f, const std::string& account,
                      const std::string& currency) {
        for (int r = 1; r <= f.lvwPostingDetails.count(); ++r)
            if (f.lvwPostingDetails.cell(r, linking::pst::DebitAccountID) == account &&
                f.lvwPostingDetails.cell(r, linking::pst::ResCurrID) == currency)
                return r;
        return 0;
    }
    // One row's cells joined with "|".
    static std::string rowCells(const ui::ListView& l, int row) {
        std::string s;
        for (int c = 0; c < l.columnCount(); ++c) s += (c ? "|" : "") + l.cell(row, c);
        return s;
    }
    // Everything the user sees in the three lists, ticks included.
    static std::string dump(const ui::ListView& l) {
        std::string s;
        for (int r = 1; r <= l.count(); ++r) {
            s += l.checked(r) ? "[x]" : "[ ]";
            for (int c = 0; c < l.columnCount(); ++c) s += "|" + l.cell(r, c);
            s += "\n";
        }
        return s;
    }
    int count(const std::string& sql) { return scalar(sql).toInt32(); }
    std::string lastMessage() const {
        return toolkit.lastMessage() ? toolkit.lastMessage()->text : std::string();
    }
    void TearDown() override {
        notLoaded_.reset();
        ModuleTest::TearDown();
    }

private:
    std::unique_ptr<frmPayrollAccountsLinking> notLoaded_;
};

}  // namespace linkingtest
