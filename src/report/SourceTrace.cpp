#include "report/SourceTrace.h"

#include <algorithm>

#include "common/Conv.h"
#include "common/TransactionTypes.h"
#include "report/Fields.h"
#include "report/Statements.h"

namespace report {

namespace {

using fields::number;
using fields::text;

std::string dateText(const common::Value& v) {
    const common::DateTime* d = v.asDate();
    return d ? common::formatDate(*d, "dd/MM/yyyy") : text(v);
}

void readSource(const Session& s, SourceTrace& trace) {
    const common::SourceTable& m = trace.payroll ? common::kPayrollRuns : common::kPayments;
    auto col = [](const char* column) { return std::string("m.") + column; };
    const std::string company = std::to_string(s.companyId), id = std::to_string(trace.id);
    std::string sql = "select " + col(m.number) + ", " + col(m.date) + ", dp.DepartmentName, e.eName, " +
                      col(m.posted) + ", " + common::TypeCodeOf(m, "m");
    sql += std::string(" from ") + m.table + " m left join pemployee e on e.eCompanyID=" + col(m.company) +
           " and e.eEmployeeID=" + col(m.employee) + " left join " + s.tables.pDepartment +
           " dp on dp.CompanyID=" + col(m.company) + " and dp.DepartmentID=" + col(m.department) + " where " +
           col(m.company) + "=" + company + " and " + col(m.key) + "=" + id;
    auto rs = s.connection.open(sql);
    if (rs->eof()) return;
    trace.found = true;
    trace.number = text(rs->field(0));
    trace.date = dateText(rs->field(1));
    trace.department = text(rs->field(2));
    trace.employee = text(rs->field(3));
    trace.flagged = number(rs->field(4)) == 1;
    trace.typeName = fields::typeName(text(rs->field(5)));
}

}  // namespace

int SourceTrace::live() const {
    return static_cast<int>(std::count_if(entries.begin(), entries.end(),
                                          [](const TracedEntry& e) { return e.status != "Cancelled"; }));
}

SourceTrace LoadSourceTrace(const Session& s, bool payroll, int32_t id) {
    sql::RequireTables(s.tables);
    SourceTrace trace;
    trace.payroll = payroll;
    trace.id = id;
    readSource(s, trace);

    const data::TableNames& t = s.tables;
    const std::string company = std::to_string(s.companyId);
    std::string sql =
        "select distinct h.TransID, h.TransNo, h.TransDate, h.TransType, h.Cancelled, h.cancelremarks,"
        " h.Posted, dp.DepartmentName from " +
        t.paPayAccLinkDetails + " d inner join " + t.paPayAccLinkHeader +
        " h on h.CompanyID=d.CompanyID and h.TransID=d.TransID left join " + t.pDepartment +
        " dp on dp.CompanyID=h.CompanyID and dp.DepartmentID=h.DepartmentID";
    sql += " where d.CompanyID=" + company + " and d.RefTransID=" + std::to_string(id) + " and " +
           sql::KindOf("h", payroll) + " order by h.TransID";
    auto rs = s.connection.open(sql);
    for (; !rs->eof(); rs->moveNext()) {
        TracedEntry e;
        e.transId = static_cast<int32_t>(number(rs->field(0)));
        e.transNo = text(rs->field(1));
        e.date = dateText(rs->field(2));
        e.typeName = fields::typeName(text(rs->field(3)));
        e.status = number(rs->field(4)) == 1 ? "Cancelled" : number(rs->field(6)) == 1 ? "Posted" : "Open";
        e.cancelReason = text(rs->field(5));
        e.department = text(rs->field(7));
        trace.entries.push_back(std::move(e));
    }
    rs->close();

    for (EntryEvent& event : LoadSourceEvents(s.connection, t, s.companyId, id))
        for (TracedEntry& e : trace.entries)
            if (e.transId == event.transId) e.events.push_back(event);
    return trace;
}

}  // namespace report
