#include "report/MonthStatus.h"

#include <algorithm>
#include <map>
#include <set>

#include "common/Conv.h"
#include "report/Fields.h"
#include "report/Statements.h"

namespace report {

namespace {

using fields::number;
using fields::text;

// The conditions a source table's rows meet: the session company, the range and the filter.
struct SourceTable {
    const char* table;  // with its alias
    const char* company;
    const char* id;
    const char* date;
    const char* department;
    const char* currency;  // the currency its amounts are in
    bool payroll;
};

const SourceTable kRuns{"pMonthlyPayRollProcessing m",
                        "m.mppCompanyID",
                        "m.mppProcessID",
                        "m.mppProcessedDate",
                        "m.mppDepartmentID",
                        "e.ecurrencyid",
                        true};
const SourceTable kPayments{"pPaymentHeader m",
                            "m.phCompanyID",
                            "m.phPaymentID",
                            "m.phDate",
                            "m.phDepartmentID",
                            "m.phcurrencyid",
                            false};

std::string where(const SourceTable& s, const Session& session, const StatusFilter& f) {
    std::string sql = " where " + std::string(s.company) + "=" + std::to_string(session.companyId) +
                      sql::DateRange(s.date, f.from, f.to);
    if (f.department) sql += std::string(" and ") + s.department + "=" + std::to_string(*f.department);
    if (!s.payroll && f.type) sql += " and m.phType=" + sql::Quoted(*f.type);
    return sql;
}

// Per type and department: the counts and the open amount. A payroll run's amount is its
// gross pay (basic and allowances, the debit side of its entry), a payment's the sum of its
// lines, each line converted and rounded to the cent as its entry line would be.
std::string countsStatement(const Session& session, const SourceTable& s, const StatusFilter& f) {
    const data::TableNames& t = session.tables;
    std::string perSource = "select " + std::string(s.payroll ? "'P'" : "m.phType") + " TransType, " +
                            s.company + " CompanyID, " + s.id + " SourceID, " + s.department +
                            " DepartmentID, ";
    perSource += sql::LinkedBy(t, s.company, s.id, s.payroll, true) + " Live, ";
    perSource += sql::LinkedBy(t, s.company, s.id, s.payroll, false) + " Dead, ";
    perSource += sql::RateToCompany(s.currency) + " Rate";
    if (s.payroll) perSource += ", m.mppBasic Basic, m.mppAllowances Allowances";
    perSource += " from " + std::string(s.table);
    if (s.payroll)
        perSource += " left join pemployee e on e.eCompanyID=m.mppCompanyID and e.eEmployeeID=m.mppEmpID";
    perSource += " left join " + t.pCompanyMaster + " c on c.CompanyID=" + s.company;
    perSource += " left join pExchangeRate x on x.CompanyID=" + std::string(s.company) +
                 " and x.CurrencyID1=c.CurrencyID and x.CurrencyID2=" + s.currency;
    perSource += where(s, session, f);

    // The amount is Null where the rate is missing, so that such sources are counted apart.
    std::string amounts;
    if (s.payroll) {
        amounts =
            "select s.TransType, s.DepartmentID, s.Live, s.Dead, "
            "round(s.Basic*s.Rate,2)+round(s.Allowances*s.Rate,2)"
            " Amount from (" +
            perSource + ") s";
    } else {
        amounts =
            "select s.TransType, s.DepartmentID, s.Live, s.Dead, case when s.Rate is null then null"
            " else isnull(sum(round(l.pdPaymentAmt*s.Rate,2)),0) end Amount from (" +
            perSource + ") s";
        amounts += " left join pPaymentDetails l on l.pdCompanyID=s.CompanyID and l.pdPaymentID=s.SourceID";
        amounts += " group by s.CompanyID, s.SourceID, s.TransType, s.DepartmentID, s.Live, s.Dead, s.Rate";
    }
    return "select a.TransType, a.DepartmentID, count(*) Sources, sum(a.Live) Posted,"
           " sum(case when a.Live=0 and a.Dead=1 then 1 else 0 end) Released,"
           " sum(case when a.Live=0 then isnull(a.Amount,0) else 0 end) OpenAmount,"
           " sum(case when a.Live=0 and a.Amount is null then 1 else 0 end) WithoutRate from (" +
           amounts + ") a group by a.TransType, a.DepartmentID";
}

// The live entries that hold the range's sources, per type and department.
std::string entriesStatement(const Session& session, const SourceTable& s, const StatusFilter& f) {
    const data::TableNames& t = session.tables;
    std::string sql = "select distinct " + std::string(s.payroll ? "'P'" : "m.phType") + " TransType, " +
                      s.department + " DepartmentID, h.TransID, h.TransNo from " + s.table;
    sql += " inner join " + t.paPayAccLinkDetails + " d on d.CompanyID=" + s.company +
           " and d.RefTransID=" + s.id;
    sql += " inner join " + t.paPayAccLinkHeader + " h on h.CompanyID=d.CompanyID and h.TransID=d.TransID";
    sql += where(s, session, f) + " and " + sql::KindOf("h", s.payroll) + " and isnull(h.Cancelled,0)<>1";
    return sql;
}

// The branches the filter asks for, joined by union.
std::string bothKinds(const Session& session, const StatusFilter& f,
                      std::string (*statement)(const Session&, const SourceTable&, const StatusFilter&),
                      const char* join) {
    const bool runs = !f.type || *f.type == "P", payments = !f.type || *f.type != "P";
    std::string sql;
    if (runs) sql = statement(session, kRuns, f);
    if (payments)
        sql += (sql.empty() ? "" : std::string(" ") + join + " ") + statement(session, kPayments, f);
    return sql;
}

int typeOrder(const std::string& code) {
    for (size_t i = 0; i < common::kTransactionTypes.size(); ++i)
        if (common::EqualsNoCase(code, common::kTransactionTypes[i].code)) return static_cast<int>(i);
    return static_cast<int>(common::kTransactionTypes.size());
}

}  // namespace

std::optional<std::string> TypeCodeOf(const std::string& name) {
    for (const auto& t : common::kTransactionTypes)
        if (common::EqualsNoCase(common::Trim(name), t.name)) return std::string(t.code);
    return std::nullopt;
}

std::string EntryList(const std::vector<EntryRef>& entries) {
    std::string out;
    for (size_t i = 0; i < entries.size(); ++i)
        out += (i == 0 ? "" : i + 1 == entries.size() ? " and " : ", ") + entries[i].transNo;
    return out;
}

StatusCell MonthStatus::total() const {
    StatusCell sum;
    std::set<int32_t> seen;
    for (const StatusCell& c : cells) {
        sum.sources += c.sources;
        sum.posted += c.posted;
        sum.open += c.open;
        sum.released += c.released;
        sum.openAmount += c.openAmount;
        sum.withoutRate += c.withoutRate;
        for (const EntryRef& e : c.entries)
            if (seen.insert(e.transId).second) sum.entries.push_back(e);
    }
    std::sort(sum.entries.begin(), sum.entries.end(), EntryOrder);
    return sum;
}

const StatusCell* MonthStatus::find(const std::string& typeCode, int32_t departmentId) const {
    for (const StatusCell& c : cells)
        if (c.departmentId == departmentId && common::EqualsNoCase(c.typeCode, typeCode)) return &c;
    return nullptr;
}

MonthStatus LoadMonthStatus(const Session& session, const StatusFilter& filter) {
    const data::TableNames& t = session.tables;
    sql::RequireTables(t);
    const std::string company = std::to_string(session.companyId);
    MonthStatus status;

    auto rs = session.connection.open("select cc.Symbol from " + t.pCompanyMaster + " c left join " +
                                      t.pCurrencyMaster +
                                      " cc on cc.CompanyID=c.CompanyID and cc.CurrencyID=c.CurrencyID"
                                      " where c.CompanyID=" +
                                      company);
    if (!rs->eof()) status.companyCurrency = text(rs->field(0));
    rs = session.connection.open("select DepartmentID, DepartmentName from " + t.pDepartment +
                                 " where CompanyID=" + company + " order by DepartmentName");
    std::map<int32_t, std::string> names;
    for (; !rs->eof(); rs->moveNext()) {
        Department d{static_cast<int32_t>(number(rs->field(0))), text(rs->field(1))};
        names[d.id] = d.name;
        status.departments.push_back(std::move(d));
    }

    std::map<std::pair<std::string, int32_t>, StatusCell> cells;
    rs = session.connection.open(bothKinds(session, filter, countsStatement, "union all"));
    for (; !rs->eof(); rs->moveNext()) {
        StatusCell c;
        c.typeCode = common::UCase(text(rs->field("TransType")));
        c.departmentId = static_cast<int32_t>(number(rs->field("DepartmentID")));
        c.sources = static_cast<int>(number(rs->field("Sources")));
        c.posted = static_cast<int>(number(rs->field("Posted")));
        c.open = c.sources - c.posted;
        c.released = static_cast<int>(number(rs->field("Released")));
        c.openAmount = number(rs->field("OpenAmount"));
        c.withoutRate = static_cast<int>(number(rs->field("WithoutRate")));
        auto name = names.find(c.departmentId);
        c.department = name != names.end() ? name->second : "Department " + std::to_string(c.departmentId);
        cells[{c.typeCode, c.departmentId}] = std::move(c);
    }
    rs = session.connection.open(bothKinds(session, filter, entriesStatement, "union"));
    for (; !rs->eof(); rs->moveNext()) {
        auto cell =
            cells.find({common::UCase(text(rs->field(0))), static_cast<int32_t>(number(rs->field(1)))});
        if (cell != cells.end())
            cell->second.entries.push_back({static_cast<int32_t>(number(rs->field(2))), text(rs->field(3))});
    }
    rs->close();

    for (auto& [key, c] : cells) {
        std::sort(c.entries.begin(), c.entries.end(), EntryOrder);
        status.cells.push_back(std::move(c));
    }
    std::map<int32_t, size_t> byName;
    for (size_t i = 0; i < status.departments.size(); ++i) byName[status.departments[i].id] = i;
    auto rank = [&](const StatusCell& c) {
        auto at = byName.find(c.departmentId);
        return std::make_tuple(typeOrder(c.typeCode), at == byName.end() ? byName.size() : at->second,
                               c.departmentId);
    };
    std::sort(status.cells.begin(), status.cells.end(),
              [&](const StatusCell& a, const StatusCell& b) { return rank(a) < rank(b); });
    return status;
}

}  // namespace report
