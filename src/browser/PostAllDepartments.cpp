#include "browser/PostAllDepartments.h"

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>

#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "common/TransactionTypes.h"
#include "entry/Module.h"
#include "entry/qorPayrollAccounts.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "report/MonthStatus.h"
#include "ui/Headless.h"

namespace browser {

namespace {

using Status = DepartmentOutcome::Status;

// A dry run lets the screen run its whole save, checks and guards included, and turns the
// save's commit into a rollback: the entry it shows is exactly the one that would be saved.
class RollbackConnection : public data::ForwardingConnection {
public:
    using ForwardingConnection::ForwardingConnection;
    void commitTrans() override { inner().rollbackTrans(); }
};

struct Department {
    int32_t id;
    std::string name;
    int index;  // in the screen's department list
};

// The text of the last message box or uncaught error since the marks, "" when none.
struct Marks {
    size_t messages, errors;
};
Marks mark(const ui::HeadlessToolkit& t) { return {t.messages.size(), t.errors.size()}; }
std::string shownSince(const ui::HeadlessToolkit& t, const Marks& m) {
    if (t.errors.size() > m.errors) {
        const auto& e = t.errors.back();
        return "error " + std::to_string(e.number()) + ": " + e.description();
    }
    if (t.messages.size() > m.messages) return t.messages.back().request.text;
    return "";
}

// Closes the linking screen from its Close button, declining to save.
void closeScreen(ui::HeadlessToolkit& t, linking::frmPayrollAccountsLinking& f) {
    t.answers.clear();
    t.answers.push_back(ui::vbNo);
    f.cmdClose.userClick();
    t.answers.clear();
    if (t.findForm(f.name()) == &f) f.userClose();
}

void readPostingLines(linking::frmPayrollAccountsLinking& f, DepartmentOutcome& out) {
    auto& l = f.lvwPostingDetails;
    out.lines = l.count();
    for (int r = 1; r <= l.count(); ++r) {
        PostingLine p{l.cell(r, linking::pst::DebitAccountID) + " " + l.cell(r, linking::pst::DebitAccount),
                      l.cell(r, linking::pst::Description), l.cell(r, linking::pst::AccCurrency),
                      l.cell(r, linking::pst::DebitAmount), l.cell(r, linking::pst::CreditAmount)};
        auto& total = out.totals[p.currency];
        total.first += common::Val(p.debit);
        total.second += common::Val(p.credit);
        out.postingLines.push_back(std::move(p));
    }
}

int countSources(linking::frmPayrollAccountsLinking& f) {
    if (f.lvwTransactions.count() > 0) {
        int n = 0;
        for (int r = 1; r <= f.lvwTransactions.count(); ++r) n += f.lvwTransactions.checked(r) ? 1 : 0;
        return n;
    }
    std::set<std::string> ids;
    for (int r = 1; r <= f.lvwTransactionDetails.count(); ++r)
        if (f.lvwTransactionDetails.checked(r))
            ids.insert(f.lvwTransactionDetails.cell(r, linking::det::TransID));
    return static_cast<int>(ids.size());
}

// printf into a string; the attribute lets the compiler check each format against its values.
__attribute__((format(printf, 2, 3))) void appendf(std::string& out, const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::va_list again;
    va_copy(again, args);
    const int n = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    if (n > 0) {
        const size_t at = out.size();
        out.resize(at + static_cast<size_t>(n) + 1);
        std::vsnprintf(out.data() + at, static_cast<size_t>(n) + 1, format, again);
        out.pop_back();
    }
    va_end(again);
}

std::string amount(double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.2f", v);
    return buf;
}

std::string cut(const std::string& s, size_t width) { return s.size() <= width ? s : s.substr(0, width); }

void row(std::string& out, const std::string& dept, const std::string& entry, const std::string& sources,
         const std::string& lines, const std::string& debit, const std::string& credit,
         const std::string& currency) {
    appendf(out, "%-28s %-12s %7s %6s %15s %15s  %s\n", cut(dept, 28).c_str(), entry.c_str(), sources.c_str(),
            lines.c_str(), debit.c_str(), credit.c_str(), currency.c_str());
}

// One line per department; a department with lines in more than one currency continues on
// lines of its own, one per further currency.
void printOutcome(std::string& out, const DepartmentOutcome& d, bool dryRun) {
    if (d.status == Status::NothingToPost || (d.status == Status::NotPosted && d.lines == 0)) {
        appendf(out, "%-28s %s\n", cut(d.name, 28).c_str(),
                (d.status == Status::NothingToPost ? d.reason : "not posted: " + d.reason).c_str());
        return;
    }
    bool first = true;
    for (const auto& [currency, total] : d.totals) {
        row(out, first ? d.name : "", first ? d.entryNo : "", first ? std::to_string(d.sources) : "",
            first ? std::to_string(d.lines) : "", amount(total.first), amount(total.second), currency);
        first = false;
    }
    if (d.status == Status::NotPosted) appendf(out, "    not posted: %s\n", d.reason.c_str());
    if (dryRun)
        for (const auto& l : d.postingLines)
            appendf(out, "    %-40s %-20s %-5s %15s %15s\n", cut(l.account, 40).c_str(),
                    cut(l.description, 20).c_str(), l.currency.c_str(), l.debit.c_str(), l.credit.c_str());
}

}  // namespace

std::string PostSummary(const std::vector<DepartmentOutcome>& outcomes, bool dryRun, bool stopped) {
    std::string out;
    if (dryRun) appendf(out, "Dry run: nothing is written; entry numbers are those the entries would get.\n");
    row(out, "Department", "Entry", "Sources", "Lines", "Debit", "Credit", "Currency");
    int posted = 0, nothing = 0, failed = 0, sources = 0, lines = 0;
    std::map<std::string, std::pair<double, double>> totals;
    for (const auto& d : outcomes) {
        printOutcome(out, d, dryRun);
        if (d.status == Status::NothingToPost) ++nothing;
        if (d.status == Status::NotPosted) ++failed;
        if (d.status != Status::Posted) continue;
        ++posted;
        sources += d.sources;
        lines += d.lines;
        for (const auto& [currency, t] : d.totals) {
            totals[currency].first += t.first;
            totals[currency].second += t.second;
        }
    }
    const std::string summary = std::to_string(posted) + (dryRun ? " would post" : " posted");
    if (totals.empty())
        row(out, "Total", summary, std::to_string(sources), std::to_string(lines), "", "", "");
    bool first = true;
    for (const auto& [currency, t] : totals) {
        row(out, first ? "Total" : "", first ? summary : "", first ? std::to_string(sources) : "",
            first ? std::to_string(lines) : "", amount(t.first), amount(t.second), currency);
        first = false;
    }
    appendf(out, "%d department(s): %d %s, %d with nothing to post, %d not posted%s\n",
            static_cast<int>(outcomes.size()), posted, dryRun ? "would be posted" : "posted", nothing, failed,
            stopped ? " (stopped)" : "");
    return out;
}

namespace {

// The user's steps on one department. Each acts on a control the user can reach, and the
// department stops at the first message box or error a step brings: that text is the reason.
class Steps {
public:
    Steps(ui::HeadlessToolkit& t, DepartmentOutcome& out) : t_(t), out_(out) {}

    bool run(ui::Control& control, const std::function<void()>& act) {
        if (!control.reachable()) return stop(control.unreachableReason());
        const Marks before = mark(t_);
        act();
        const std::string shown = shownSince(t_, before);
        return shown.empty() || stop(shown);
    }
    bool stop(const std::string& reason) {
        out_.status = Status::NotPosted;
        out_.reason = reason;
        return false;
    }

private:
    ui::HeadlessToolkit& t_;
    DepartmentOutcome& out_;
};

// One department on a freshly opened linking screen, from the type to Ok.
void postOne(ui::HeadlessToolkit& t, linking::frmPayrollAccountsLinking& f, const PostRequest& request,
             int departmentIndex, const Marks& opened, DepartmentOutcome& out) {
    Steps step(t, out);
    // The settings check runs when the screen loads and leaves it read-only.
    if (const std::string shown = shownSince(t, opened); !shown.empty()) return (void)step.stop(shown);

    bool known = true;
    if (!step.run(f.cboType, [&] { known = f.cboType.userSelectText(request.type); })) return;
    if (!known) throw std::invalid_argument("unknown type");
    if (!step.run(f.cboDepartment, [&] { f.cboDepartment.userSelect(departmentIndex); }) ||
        !step.run(f.dtpFromDate, [&] { f.dtpFromDate.userSet(request.from); }) ||
        !step.run(f.dtpToDate, [&] { f.dtpToDate.userSet(request.to); }) ||
        // A listing that raised midway is half a listing: it is never saved.
        !step.run(f.cmdShow, [&] { f.cmdShow.userClick(); }))
        return;
    if (f.lvwTransactionDetails.count() == 0) {
        out.status = Status::NothingToPost;
        out.reason = "nothing to post";
        return;
    }

    // Payroll is ticked through Select All; payments have no transaction list, so each
    // payment line is ticked as the user would.
    if (f.lvwTransactions.count() > 0) {
        if (!step.run(f.chkSelectAll, [&] { f.chkSelectAll.userSet(1); })) return;
    } else {
        for (int r = 1; r <= f.lvwTransactionDetails.count(); ++r)
            if (!f.lvwTransactionDetails.checked(r) &&
                !step.run(f.lvwTransactionDetails, [&] { f.lvwTransactionDetails.userToggle(r); }))
                return;
    }
    if (!request.remarks.empty() && !step.run(f.txtRemarks, [&] { f.txtRemarks.userPaste(request.remarks); }))
        return;
    if (request.entryDate && !step.run(f.dtpTransDate, [&] { f.dtpTransDate.userSet(*request.entryDate); }))
        return;
    out.sources = countSources(f);
    readPostingLines(f, out);

    if (!step.run(f.cmdOk, [&] { f.cmdOk.userClick(); })) return;
    out.entryNo = f.txtTransNo.text();
    if (t.findForm(f.name()) == &f) return (void)step.stop("the screen did not save the entry");
    out.status = Status::Posted;
}

}  // namespace

std::string NoNewRightMessage(int32_t userId, int32_t interfaceId) {
    return "User " + std::to_string(userId) + " may not make new entries (no \"N\" right on interface " +
           std::to_string(interfaceId) + "); nothing was posted.";
}

namespace {

// Said of a department the screen listed nothing for: where the range's sources are, or that
// it has none, as the month status reads them.
std::string nothingToPost(entry::Module& module, const PostRequest& request, int32_t department) {
    const entry::SessionContext& s = module.session;
    try {
        return "nothing to post: " +
               report::NothingToPostReason({module.connection(), s.tables, s.companyId, s.userId},
                                           report::TypeCodeOf(request.type).value_or(""), department,
                                           request.from, request.to);
    } catch (const common::Error&) {
        return "nothing to post";
    }
}

}  // namespace

namespace {

// One run through the screens, as a user goes: the browser's New opens the linking screen
// once to read the departments, then once per chosen department to post it.
struct Walk {
    Walk(const PostRequest& r, const PostAllDepartments::Progress& p, const PostSession& s,
         ui::HeadlessToolkit& t, entry::Module& m)
        : request(r), progress(p), session(s), toolkit(t), module(m) {}

    const PostRequest& request;
    const PostAllDepartments::Progress& progress;
    const PostSession& session;
    ui::HeadlessToolkit& toolkit;
    entry::Module& module;

    std::vector<Department> departments, chosen;
    std::vector<DepartmentOutcome> outcomes;
    std::string failure;  // an invalid_argument raised inside a modal show
    std::string refused;
    bool cancelled = false;
    bool listing = true;
    size_t next = 0;      // the next of the chosen departments
    bool posted = false;  // since the browser was last opened
    DepartmentOutcome* current = nullptr;
    int currentIndex = 0;
    Marks opened{};

    void modal(ui::Form& form) {
        if (auto* f = dynamic_cast<linking::frmPayrollAccountsLinking*>(&form)) return linkingScreen(*f);
        if (auto* master = dynamic_cast<FrmMaster*>(&form)) browser(*master);
    }

    bool more() const {
        return !listing && next < chosen.size() && failure.empty() && !cancelled && refused.empty();
    }

    void linkingScreen(linking::frmPayrollAccountsLinking& f) {
        try {
            if (listing) {
                // The screen lists the company's departments in name order.
                for (int i = 0; i < f.cboDepartment.listCount(); ++i)
                    departments.push_back(
                        {static_cast<int32_t>(f.cboDepartment.itemData(i)), f.cboDepartment.list(i), i});
            } else {
                postOne(toolkit, f, request, currentIndex, opened, *current);
                if (current->status == Status::NothingToPost)
                    current->reason = nothingToPost(module, request, current->id);
            }
        } catch (const std::invalid_argument& e) {
            failure = e.what();
        }
        if (toolkit.findForm(f.name()) == &f) closeScreen(toolkit, f);
    }

    // The first opening reads the departments through New; each later one posts as many as
    // New allows.
    void browser(FrmMaster& master) {
        posted = false;
        if (listing) {
            if (!master.cmdnew.reachable()) {
                refused = NoNewRightMessage(session.userId, session.interfaceId);
                master.CmdClose.userClick();
                return;
            }
            master.cmdnew.userClick();
            module.collect();
            listing = false;
            choose();
        }
        // New may go off as the browser moves to a saved entry's row (the administrator's
        // rights hold at load only): the browser is then opened again, as a user would.
        for (; next < chosen.size() && failure.empty() && master.cmdnew.reachable(); ++next) {
            if (progress &&
                !progress(static_cast<int>(next + 1), static_cast<int>(chosen.size()), chosen[next].name)) {
                cancelled = true;
                break;
            }
            DepartmentOutcome& out = begin(chosen[next]);
            currentIndex = chosen[next].index;
            current = &out;
            opened = mark(toolkit);
            master.cmdnew.userClick();
            module.collect();
            posted |= out.status == Status::Posted;
        }
        // A freshly opened browser without New refuses the departments left, each with why.
        if (next < chosen.size() && failure.empty() && !cancelled && !posted && !master.cmdnew.reachable()) {
            const std::string why = master.cmdnew.unreachableReason();
            for (; next < chosen.size(); ++next) {
                DepartmentOutcome& out = begin(chosen[next]);
                out.status = Status::NotPosted;
                out.reason = why;
            }
        }
        master.CmdClose.userClick();
    }

    void choose() {
        for (const auto& d : departments)
            if (!request.department || *request.department == d.id) chosen.push_back(d);
        if (request.department && chosen.empty())
            failure = "no department " + std::to_string(*request.department) + " in company " +
                      std::to_string(session.companyId);
        outcomes.reserve(chosen.size());
    }

    DepartmentOutcome& begin(const Department& d) {
        DepartmentOutcome& out = outcomes.emplace_back();
        out.id = d.id;
        out.name = d.name;
        return out;
    }
};

}  // namespace

std::vector<DepartmentOutcome> PostAllDepartments::run(const PostRequest& request, const Progress& progress) {
    if (common::TypeOfName(request.type) == nullptr)
        throw std::invalid_argument("unknown type '" + request.type + "'");

    ui::HeadlessToolkit toolkit;
    entry::Module module(toolkit);
    entry::qorPayrollAccounts component(module);
    component.setAdocon(request.dryRun ? std::make_shared<RollbackConnection>(session_.connection)
                                       : session_.connection);
    component.strProjectKey = session_.projectKey.empty() ? entry::kProjectKey : session_.projectKey;
    component.MsgboxTitle = session_.msgTitle;
    component.ProcessDate = session_.processDate;
    component.intUserID = session_.userId;
    component.intCompanyID = session_.companyId;
    component.intInterfaceID = session_.interfaceId;

    refused_.clear();
    cancelled_ = false;
    Walk walk(request, progress, session_, toolkit, module);
    toolkit.onModal = [&walk](ui::Form& form) { walk.modal(form); };
    do {
        component.Show();
        module.collect();
    } while (walk.more());
    refused_ = walk.refused;
    cancelled_ = walk.cancelled;
    if (!walk.failure.empty()) throw std::invalid_argument(walk.failure);
    if (!toolkit.errors.empty() && walk.departments.empty() && refused_.empty()) {
        const auto& e = toolkit.errors.front();
        throw std::runtime_error("error " + std::to_string(e.number()) + ": " + e.description());
    }
    return std::move(walk.outcomes);
}

}  // namespace browser
