// The linking screen on a large department: 10,000 employees with one processed payroll each
// (40,000 account lines). Show, Select All, one tick and one untick, a full untick, and the
// save of the whole entry next to a plain loop of prepared inserts of the same rows.
// Targets: Show < 1 s, Select All < 0.3 s, one tick < 1 ms, save < 2 s, the embedded save at
// most 1.25 times the plain loop. The same save through FreeTDS and the tests' TDS responder
// counts its round trips (at most 100, whatever the lines).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "common/DateTime.h"
#include "data/ErrorLog.h"
#include "data/odbc/OdbcConnection.h"
#include "entry/Module.h"
#include "linking/LedgerCheck.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "support/DemoSession.h"
#include "support/Generator.h"
#include "support/TdsResponder.h"
#include "ui/Headless.h"

namespace {

namespace fs = std::filesystem;
using linking::frmPayrollAccountsLinking;

constexpr int kEmployees = 10000;

// The generated database, made once per run and copied for each session that writes.
const std::string& templateDb() {
    static testsupport::TempDir dir;
    data::setComponentFolder(dir.path().string());
    return testsupport::templateDb("large", false, [](data::Connection& c) {
        testsupport::generateMonthEnd(
            c, {.departments = 1, .employees = kEmployees, .payments = 0, .months = 1, .postedMonths = 0});
    });
}

// One user's session on the linking screen: type Payroll, the generated department, the
// October payroll range.
struct Session {
    explicit Session(bool ownCopy, bool overTds = false)
        : demo(toolkit, ownCopy ? testsupport::copyDb(templateDb(), templateDb() + ".work.db") : templateDb(),
               false),
          module(demo.module) {
        if (overTds) {
            responder = std::make_unique<testsupport::TdsResponder>(demo.dbPath);
            demo.raw = data::odbc::open(responder->connectionString());
            demo.reopen(toolkit);
        }
        module->FrmMaster().cmdnew.userClick();
        screen = &module->frmPayrollAccountsLinking();
        screen->cboType.userSelectText("Payroll");
        for (int i = 0; i < screen->cboDepartment.listCount(); ++i)
            if (screen->cboDepartment.itemData(i) == 1) screen->cboDepartment.userSelect(i);
    }
    frmPayrollAccountsLinking& f() { return *screen; }
    // A new retrieval leaves the box as it was: untick it first, as a user would.
    void show() {
        f().cmdShow.userClick();
        if (f().chkSelectAll.value() == 1) {
            toolkit.answers.push_back(ui::vbYes);
            f().chkSelectAll.userClick();
        }
    }
    void selectAll() {
        if (f().chkSelectAll.value() == 0) f().chkSelectAll.userClick();
    }
    bool ok(benchmark::State& state) {
        if (!toolkit.errors.empty()) {
            state.SkipWithError(toolkit.errors.back().description().c_str());
            return false;
        }
        return true;
    }

    ui::HeadlessToolkit toolkit;
    std::unique_ptr<testsupport::TdsResponder> responder;
    testsupport::DemoSession demo;
    std::unique_ptr<entry::Module>& module;
    frmPayrollAccountsLinking* screen = nullptr;
};

void BM_Show(benchmark::State& state) {
    Session s(false);
    for (auto _ : state) {
        s.show();
        benchmark::DoNotOptimize(s.f().lvwTransactionDetails.count());
    }
    if (s.ok(state) && s.f().lvwTransactionDetails.count() != 4 * kEmployees)
        state.SkipWithError("the retrieval did not bring every account line");
    state.counters["detail_rows"] = s.f().lvwTransactionDetails.count();
}

void BM_SelectAll(benchmark::State& state) {
    Session s(false);
    for (auto _ : state) {
        state.PauseTiming();
        s.show();
        state.ResumeTiming();
        s.f().chkSelectAll.userClick();
    }
    if (s.ok(state) && s.f().txtTotDepAmount.text() != "0.00")
        state.SkipWithError("unbalanced after Select All");
}

// One run ticked while everything else is unticked, and again while everything else is ticked.
void BM_TickOne(benchmark::State& state) {
    Session s(false);
    s.show();
    if (state.range(0)) s.selectAll();
    auto& l = s.f().lvwTransactions;
    int row = 1;
    for (auto _ : state) {
        state.PauseTiming();
        row = row % l.count() + 1;
        if (l.checked(row)) l.userToggle(row);
        state.ResumeTiming();
        l.userToggle(row);
    }
    s.ok(state);
}

void BM_UntickOne(benchmark::State& state) {
    Session s(false);
    s.show();
    s.selectAll();
    auto& l = s.f().lvwTransactions;
    int row = 1;
    for (auto _ : state) {
        state.PauseTiming();
        row = row % l.count() + 1;
        if (!l.checked(row)) l.userToggle(row);
        state.ResumeTiming();
        l.userToggle(row);
    }
    s.ok(state);
}

void BM_UntickAll(benchmark::State& state) {
    Session s(false);
    for (auto _ : state) {
        state.PauseTiming();
        s.show();
        s.selectAll();
        s.toolkit.answers.push_back(ui::vbYes);
        state.ResumeTiming();
        s.f().chkSelectAll.userClick();
    }
    if (s.ok(state) && s.f().lvwPostingDetails.count() != 0) state.SkipWithError("posting lines left");
}

// The whole entry: header, 40,000 details, the posting lines and 10,000 source flags; with
// argument 1 through FreeTDS and the responder.
void BM_Save(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto s = std::make_unique<Session>(true, state.range(0) == 1);
        s->show();
        s->selectAll();
        if (s->responder) s->responder->clearRecord();
        state.ResumeTiming();
        s->f().cmdOk.userClick();
        if (s->responder) {
            state.counters["round_trips"] = static_cast<double>(s->responder->record().size());
            state.counters["lines"] = s->f().lvwTransactionDetails.count();
        }
        state.PauseTiming();
        if (!s->ok(state)) break;
        if (s->module->isLoaded("frmPayrollAccountsLinking")) {
            state.SkipWithError(s->toolkit.lastMessage() ? s->toolkit.lastMessage()->text.c_str()
                                                         : "not saved");
            break;
        }
        s.reset();
        state.ResumeTiming();
    }
}

// The ledger check that ends every save, on the saved 40,000-line entry: its share of BM_Save.
void BM_LedgerCheck(benchmark::State& state) {
    Session s(true);
    s.show();
    s.selectAll();
    s.f().cmdOk.userClick();
    if (!s.ok(state)) return;
    linking::LedgerEntry entry;
    entry.companyId = 1;
    entry.transId =
        s.demo.raw->open("select max(TransID) from paPayAccLinkHeader where CompanyID=1")->field(0).toInt32();
    auto rs = s.demo.raw->open("select RefTransID from paPayAccLinkDetails where CompanyID=1 and TransID=" +
                               std::to_string(entry.transId));
    for (; !rs->eof(); rs->moveNext()) entry.linked.push_back(rs->field(0).toInt32());
    entry.flagged = entry.linked;
    std::sort(entry.flagged.begin(), entry.flagged.end());
    entry.flagged.erase(std::unique(entry.flagged.begin(), entry.flagged.end()), entry.flagged.end());
    for (auto _ : state) {
        const std::string why = linking::LedgerCheck(*s.demo.raw, s.module->session.tables, entry);
        if (!why.empty()) {
            state.SkipWithError(why.c_str());
            break;
        }
    }
}

// The same detail and posting rows through one prepared insert each, in one transaction,
// without the screen: what the database alone costs.
void BM_PlainInserts(benchmark::State& state) {
    using common::Trim;
    using common::Val;
    using common::Value;
    namespace det = linking::det;
    namespace pst = linking::pst;
    for (auto _ : state) {
        state.PauseTiming();
        auto s = std::make_unique<Session>(true);
        s->show();
        s->selectAll();
        auto& d = s->f().lvwTransactionDetails;
        auto& p = s->f().lvwPostingDetails;
        auto& c = *s->demo.raw;
        state.ResumeTiming();
        c.beginTrans();
        auto cmd = c.command(
            " insert into paPayAccLinkDetails( CompanyID, TransID, DetailID, DepartmentID, RefTransID, "
            "RefTransNo, "
            "RefTransType, RefTransDate,EmpID, EmpName, EmpNo, AccountID, AccountDesc, TransCurrSymbol, "
            "AccCurrSymbol,TransCurrID, AccCurrID, RefTransAmount, AccountAmount, DeptAmount, "
            "CompAmount,Credit) "
            "Values ( ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ");
        for (int r = 1; r <= d.count(); ++r) {
            auto n = [&](int col) { return Value(Val(d.cell(r, col))); };
            auto t = [&](int col) { return Value(Trim(d.cell(r, col))); };
            cmd->execute({Value(1),
                          Value(999),
                          Value(r),
                          n(det::DeptID),
                          n(det::TransID),
                          t(det::TransNo),
                          t(det::Type),
                          Value(common::formatDate(common::toDate(d.cell(r, det::Date)), "dd/MMM/yyyy")),
                          n(det::EmpID),
                          t(det::Employee),
                          t(det::EmpNo),
                          n(det::AccountID),
                          t(det::AccountName),
                          t(det::ResCurr),
                          t(det::AccCur),
                          n(det::ResCurrID),
                          n(det::AccCurrID),
                          n(det::RespAmt),
                          n(det::Amount),
                          n(det::DepAmount),
                          n(det::ComAmt),
                          n(det::Credit)});
        }
        auto post = c.command(
            " insert into paPayAccLinkPostingDetails( CompanyID, TransID, DetailID, DepartmentID, AccountID, "
            "AccountDesc, Description, AccCurrID, AccCurrSymbol, RefCurrID, RefCurrSymbol, DebitAmount, "
            "CreditAmount,RefTransAmount, DeptAmount, CompAmount, Editable) Values "
            "( ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ");
        for (int r = 1; r <= p.count(); ++r) {
            auto n = [&](int col) { return Value(Val(p.cell(r, col))); };
            auto t = [&](int col) { return Value(Trim(p.cell(r, col))); };
            post->execute({Value(1), Value(999), Value(r), n(pst::DeptID), n(pst::DebitAccountID),
                           t(pst::DebitAccount), t(pst::Description), n(pst::AccCurrID), t(pst::AccCurrency),
                           t(pst::ResCurrID), t(pst::TransCurr), n(pst::DebitAmount), n(pst::CreditAmount),
                           n(pst::TransAmt), n(pst::DeptAmount), n(pst::CompAmount), t(pst::Editable)});
        }
        c.commitTrans();
        state.PauseTiming();
        s.reset();
        state.ResumeTiming();
    }
}

}  // namespace

BENCHMARK(BM_Show)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_SelectAll)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_TickOne)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond)->Iterations(200);
BENCHMARK(BM_UntickOne)->Unit(benchmark::kMicrosecond)->Iterations(200);
BENCHMARK(BM_UntickAll)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Save)->Arg(0)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Save)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_PlainInserts)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_LedgerCheck)->Unit(benchmark::kMillisecond)->Iterations(3);

BENCHMARK_MAIN();
