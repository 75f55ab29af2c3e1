#pragma once
// The linking screen's tests: a department of their own ("Test Lab", 9, paid in dirhams) with
// runs and payments whose amounts the tests know, and helpers that drive the screen as a user.
#include <cmath>
#include <memory>
#include <string>

#include "TestSupport.h"
#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "support/Oracle.h"

namespace linkingtest {

using common::DateTime;
using common::NumberText;
using linking::frmPayrollAccountsLinking;

// A second copy of the component: its own toolkit, module and connection on the same file.
struct OtherCopy {
    OtherCopy(const entry::Module& first, const std::string& dbPath) : module(toolkit) {
        module.session = first.session;
        module.session.connection = data::sqlite::open(dbPath);
    }
    bool linkingOpen() const { return module.isLoaded("frmPayrollAccountsLinking"); }
    ui::HeadlessToolkit toolkit;
    entry::Module module;
};

class LinkingTest : public testsupport::ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        raw->execute(
            "insert into pDepartmentMaster (CompanyID, DepartmentID, DepartmentName, DepCurrencyID) values "
            "(1, 9, 'Test Lab', 1)");
        for (int e = 901; e <= 906; ++e) {  // 906 is paid in dollars
            const std::string n = std::to_string(e);
            raw->execute(
                "insert into pemployee (eCompanyID, eEmployeeID, eEmpNo, eName, eDepartmentID, ecurrencyid) "
                "values (1, " +
                n + ", 'T" + n + "', 'Tester " + n + "', 9, " + (e == 906 ? "2)" : "1)"));
        }
    }

    // A processed payroll of the test department, by default on the 28th of November 2026.
    void addRun(int id, int emp, double basic, double allowances, double deductions,
                const std::string& isoDate = "2026-11-28") {
        const std::string n = std::to_string(id);
        raw->execute(
            "insert into pMonthlyPayRollProcessing (mppCompanyID, mppProcessID, mppProcessNo, "
            "mppProcessedDate, "
            "mppDepartmentID, mppEmpID, mppBasic, mppAllowances, mppDeductions, mppNetPay, mppPosted) values "
            "(1, " +
            n + ", 'PRT/" + n + "', '" + isoDate + "', 9, " + std::to_string(emp) + ", " + NumberText(basic) +
            ", " + NumberText(allowances) + ", " + NumberText(deductions) + ", " +
            NumberText(basic + allowances - deductions) + ", 0)");
    }
    // A payment of the test department with one line.
    void addPayment(int id, const std::string& type, int emp, double amount, const std::string& isoDate,
                    int currency = 1) {
        const std::string n = std::to_string(id);
        raw->execute(
            "insert into pPaymentHeader (phCompanyID, phPaymentID, phPaymentNo, phDate, phDepartmentID, "
            "phEmployeeID, phcurrencyid, phType, phPosted) values (1, " +
            n + ", 'PAY/" + n + "', '" + isoDate + "', 9, " + std::to_string(emp) + ", " +
            std::to_string(currency) + ", '" + type + "', 0)");
        raw->execute(
            "insert into pPaymentDetails (pdCompanyID, pdPaymentID, pdLineID, pdPaymentAmt) values (1, " + n +
            ", 1, " + NumberText(amount) + ")");
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
        const int row = browserRow(transId);
        if (row < 0) {
            ADD_FAILURE() << "entry " << transId << " not in the browser";
            return shown();
        }
        browser().flexMaster.userSelectCell(row, 0);
        browser().CmdEdit.userClick();
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
    // Three runs on 28/11/2026, two in dirhams and one in dollars, gathered on a new entry.
    frmPayrollAccountsLinking& threeRuns() {
        addRun(9001, 901, 1000, 200, 100);
        addRun(9002, 902, 2000, 300, 250);
        addRun(9003, 906, 500, 50, 20);
        auto& f = openNew();
        gather(f, "Payroll", DateTime::ymd(2026, 11, 20));
        return f;
    }

    // A posting line as the screen holds one (the company amount a quarter of the Dept amount);
    // the first line added is selected.
    static void addLine(frmPayrollAccountsLinking& f, const std::string& account, int id, double debit,
                        double credit, const std::string& editable, const std::string& description = "") {
        using common::Format2;
        auto& l = f.lvwPostingDetails;
        const int r = l.add(std::to_string(l.count() + 1));
        const std::string dept = Format2(debit - credit), comp = Format2((debit - credit) / 4),
                          n = std::to_string(id), d = Format2(debit), c = Format2(credit);
        namespace pst = linking::pst;
        const int cols[] = {pst::DebitAccount, pst::Description, pst::DebitAccountID, pst::DebitAmount,
                            pst::CreditAmount, pst::TotalAmount, pst::TransAmt,       pst::CompAmount,
                            pst::DeptAmount,   pst::Editable};
        const std::string texts[] = {account, description, n, d, c, dept, dept, comp, dept, editable};
        for (size_t i = 0; i < std::size(cols); ++i) l.setCell(r, cols[i], texts[i]);
        if (l.selectedIndex() == 0) l.setSelectedIndex(r);
    }
    // One row's cells joined with "|".
    static std::string rowCells(const ui::ListView& l, int row) {
        std::string s;
        for (int c = 0; c < l.columnCount(); ++c) s += (c ? "|" : "") + l.cell(row, c);
        return s;
    }
    testsupport::Oracle oracle(int32_t company = 1) { return testsupport::Oracle(*raw, company); }
    // The posting lines the oracle builds from these sources' rows, ticked source by source.
    static testsupport::PostingList ticked(const std::vector<testsupport::SourceLine>& rows,
                                           std::initializer_list<int32_t> sources) {
        testsupport::PostingList p;
        for (int32_t s : sources)
            for (const auto& r : rows)
                if (r.source == s) p.tick(r, true);
        return p;
    }
    // The screen shows these posting lines and their balance.
    static void expectPosting(const frmPayrollAccountsLinking& f, const testsupport::PostingList& p) {
        EXPECT_EQ(text(shownLines(f.lvwPostingDetails)) + f.txtTotDepAmount.text(),
                  text(p.lines) + common::Format2(p.balance()));
    }
    // The posting list as the oracle's lines. The list may keep the line editor's sign on a
    // credit by hand, so there the sign follows the department amount, as a stored one does.
    static std::vector<testsupport::Line> shownLines(const ui::ListView& l) {
        namespace pst = linking::pst;
        std::vector<testsupport::Line> out;
        for (int r = 1; r <= l.count(); ++r) {
            auto n = [&](int c) { return common::Val(l.cell(r, c)); };
            const bool hand = l.cell(r, pst::Editable) == "Y";
            out.push_back({static_cast<int32_t>(n(pst::DebitAccountID)),
                           static_cast<int32_t>(n(pst::AccCurrID)), static_cast<int32_t>(n(pst::ResCurrID)),
                           n(pst::DebitAmount),
                           hand && n(pst::DeptAmount) > 0 ? -std::fabs(n(pst::CreditAmount))
                           : hand                         ? std::fabs(n(pst::CreditAmount))
                                                          : n(pst::CreditAmount),
                           n(pst::TransAmt), n(pst::DeptAmount), n(pst::CompAmount), hand});
        }
        return out;
    }
    // The detail list as the oracle's source lines.
    static std::vector<testsupport::SourceLine> shownRows(const ui::ListView& l) {
        namespace det = linking::det;
        std::vector<testsupport::SourceLine> out;
        for (int r = 1; r <= l.count(); ++r) {
            auto n = [&](int c) { return common::Val(l.cell(r, c)); };
            out.push_back({static_cast<int32_t>(n(det::TransID)), static_cast<int32_t>(n(det::AccountID)),
                           static_cast<int32_t>(n(det::ResCurrID)), static_cast<int32_t>(n(det::AccCurrID)),
                           static_cast<int>(n(det::Credit)), n(det::RespAmt), n(det::Amount),
                           n(det::DepAmount), n(det::ComAmt)});
        }
        return out;
    }
    // Everything the user sees in the three lists, ticks included.
    static std::string dump(const ui::ListView& l) {
        std::string s;
        for (int r = 1; r <= l.count(); ++r) s += (l.checked(r) ? "[x]|" : "[ ]|") + rowCells(l, r) + "\n";
        return s;
    }
    int count(const std::string& sql) { return scalar(sql).toInt32(); }
    // The last message box, or an empty one when none was shown: a check then fails instead
    // of ending the run.
    static const ui::MessageBoxRequest& lastBox(const ui::HeadlessToolkit& t) {
        static const ui::MessageBoxRequest none;
        return t.lastMessage() ? *t.lastMessage() : none;
    }
    std::string lastMessage() const { return lastBox(toolkit).text; }
    void TearDown() override {
        notLoaded_.reset();
        ModuleTest::TearDown();
    }

private:
    std::unique_ptr<frmPayrollAccountsLinking> notLoaded_;
};

}  // namespace linkingtest
