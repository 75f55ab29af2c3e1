#include "browser/MonthStatusView.h"

#include "browser/GridColumns.h"
#include "entry/Module.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "report/Fields.h"

namespace browser {

namespace {

int rowOf(const FrmMaster& master, int32_t transId) {
    const ui::FlexGrid& grid = master.flexMaster;
    for (int r = grid.fixedRows; r < grid.rows(); ++r)
        if (grid.textMatrix(r, mst::TransID) == std::to_string(transId)) return r;
    return -1;
}

}  // namespace

bool MonthStatusView::permitted() const { return master_.rights().find('P') != std::string::npos; }

void MonthStatusView::load(const common::DateTime& day) {
    from_ = common::DateTime::ymd(day.year, day.month, 1);
    to_ = common::DateTime::ymd(day.year, day.month, common::daysInMonth(day.year, day.month));
    entry::Module& m = master_.module();
    report::StatusFilter filter;
    filter.from = from_;
    filter.to = to_;
    status_ = report::LoadMonthStatus(
        {m.connection(), m.session.tables, m.session.companyId, m.session.userId}, filter);
}

MonthStatusView::Opened MonthStatusView::open(const std::string& typeCode, int32_t departmentId,
                                              size_t entry) {
    refusal_.clear();
    const report::StatusCell* cell = status_.find(typeCode, departmentId);
    Opened opened = Opened::Nothing;
    if (cell == nullptr)
        refusal_ = "There are no " + report::fields::typeName(typeCode) +
                   " sources of this department in the month.";
    else if (cell->open > 0)
        opened = openNew(*cell);
    else if (entry < cell->entries.size())
        opened = openEntry(cell->entries[entry]);
    if (opened != Opened::Nothing) load(from_);
    return opened;
}

MonthStatusView::Opened MonthStatusView::openNew(const report::StatusCell& cell) {
    if (!master_.cmdnew.reachable()) {
        refusal_ = "You may not make new entries.";
        return Opened::Nothing;
    }
    // The user's steps on the new screen: type, department, the month, Show. A screen that
    // its settings check left read-only has said why, and is left so.
    const std::string type = report::fields::typeName(cell.typeCode);
    const int32_t department = cell.departmentId;
    const common::DateTime from = from_, to = to_;
    master_.module().beforeNextShow([=](ui::Form& form) {
        auto* f = dynamic_cast<linking::frmPayrollAccountsLinking*>(&form);
        if (f == nullptr || !f->cmdOk.enabled() || !f->fraLoanApp.enabled()) return;
        if (!f->cboType.userSelectText(type)) return;
        for (int i = 0; i < f->cboDepartment.listCount(); ++i)
            if (f->cboDepartment.itemData(i) == department) f->cboDepartment.userSelect(i);
        f->dtpFromDate.userSet(from);
        f->dtpToDate.userSet(to);
        f->cmdShow.userClick();
    });
    master_.cmdnew.userClick();
    return Opened::NewEntry;
}

MonthStatusView::Opened MonthStatusView::openEntry(const report::EntryRef& entry) {
    int row = rowOf(master_, entry.transId);
    // An entry older than the browser's window of recent days: the browser lists them all.
    if (row < 0) {
        master_.GridPopulate(master_.module().session.listBaseQuery);
        row = rowOf(master_, entry.transId);
    }
    if (row < 0) {
        refusal_ = "Entry " + entry.transNo + " is not in the browser's list.";
        return Opened::Nothing;
    }
    master_.flexMaster.userSelectCell(row, 1);
    if (master_.CmdEdit.reachable()) {
        master_.CmdEdit.userClick();
    } else if (master_.cmdPrint.reachable()) {
        master_.cmdPrint.userClick();
    } else {
        refusal_ = "You may not open entry " + entry.transNo + ".";
        return Opened::Nothing;
    }
    return Opened::Entry;
}

std::string NothingToPostNote(linking::frmPayrollAccountsLinking& f) {
    std::string note = "Nothing to post in this range";
    const std::optional<std::string> type = report::TypeCodeOf(f.cboType.text());
    if (!type || f.cboDepartment.listIndex() < 0) return note;
    entry::Module& m = f.module();
    try {
        note += ": " + report::NothingToPostReason(
                           {m.connection(), m.session.tables, m.session.companyId, m.session.userId}, *type,
                           static_cast<int32_t>(f.cboDepartment.itemData(f.cboDepartment.listIndex())),
                           f.dtpFromDate.value(), f.dtpToDate.value());
    } catch (const common::Error&) {
    }
    return note + ".";
}

}  // namespace browser
