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

// A column of the source table, under alias m.
std::string m(const char* column) { return std::string("m.") + column; }

// The company's, the range's and the filter's sources.
std::string where(const common::SourceTable& s, const Session& session, const StatusFilter& f) {
    std::string sql = " where " + m(s.company) + "=" + std::to_string(session.companyId) +
                      sql::DateRange(session.connection.dialect(), m(s.date), f.from, f.to);
    if (f.department) sql += " and " + m(s.department) + "=" + std::to_string(*f.department);
    if (s.type && f.type) sql += " and " + m(s.type) + "=" + sql::Quoted(*f.type);
    return sql;
}

// One row per type, department and live entry (none for the open sources): how many
// sources, how many of those a cancelled entry released, and their amount in the company's
// currency with the count of those without a rate. A payroll run's amount is its gross pay
// (basic and allowances, the debit side of its entry), a payment's the sum of its lines,
// each converted and rounded to the cent as its entry's line would be.
std::string statusStatement(const Session& session, const common::SourceTable& s, const StatusFilter& f) {
    const data::TableNames& t = session.tables;
    const std::string company = std::to_string(session.companyId);
    std::string amount;
    if (s.payroll) {
        const std::string rate = sql::RateToCompany(std::string("e.") + s.currency);
        amount = "round(m.mppBasic*" + rate + ",2)+round(m.mppAllowances*" + rate + ",2)";
    } else {
        // Lines without a rate give Null, a payment without lines 0.
        amount =
            "(select case when count(*)=0 then 0 else sum(round(l.pdPaymentAmt*" +
            sql::RateToCompany("p.phcurrencyid") +
            ",2)) end from pPaymentDetails l inner join pPaymentHeader p on p.phCompanyID=l.pdCompanyID and"
            " p.phPaymentID=l.pdPaymentID left join " +
            t.pCompanyMaster +
            " c on c.CompanyID=p.phCompanyID left join pExchangeRate x on x.CompanyID=p.phCompanyID and"
            " x.CurrencyID1=c.CurrencyID and x.CurrencyID2=p.phcurrencyid where l.pdCompanyID=" +
            company + " and l.pdPaymentID=m.phPaymentID)";
    }
    std::string perSource = "select " + common::TypeCodeOf(s, "m") + " TransType, " + m(s.department) +
                            " DepartmentID, " + sql::LiveEntry(t, company, m(s.key), s.payroll) +
                            " TransID, " + sql::LinkedByCancelled(t, company, m(s.key), s.payroll) +
                            " Released, " + amount + " Amount";
    perSource += " from " + std::string(s.table) + " m";
    if (s.payroll) {
        perSource += " left join pemployee e on e.eCompanyID=m.mppCompanyID and e.eEmployeeID=m.mppEmpID";
        perSource += " left join " + t.pCompanyMaster + " c on c.CompanyID=m.mppCompanyID";
        perSource +=
            " left join pExchangeRate x on x.CompanyID=m.mppCompanyID and x.CurrencyID1=c.CurrencyID and"
            " x.CurrencyID2=e.ecurrencyid";
    }
    perSource += where(s, session, f);
    return "select a.TransType, a.DepartmentID, a.TransID, count(*) Sources, sum(a.Released) Released,"
           " sum(isnull(a.Amount,0)) Amount, sum(case when a.Amount is null then 1 else 0 end) WithoutRate "
           "from (" +
           perSource + ") a group by a.TransType, a.DepartmentID, a.TransID";
}

int typeOrder(const std::string& code) {
    const auto& types = common::TransactionTypes();
    for (size_t i = 0; i < types.size(); ++i)
        if (common::EqualsNoCase(code, types[i].code)) return static_cast<int>(i);
    return static_cast<int>(types.size());
}

}  // namespace

std::optional<std::string> TypeCodeOf(const std::string& name) {
    for (const auto& t : common::TransactionTypes())
        if (common::EqualsNoCase(common::Trim(name), t.name)) return std::string(t.code);
    return std::nullopt;
}

std::string EntryList(const std::vector<EntryRef>& entries) {
    std::string out;
    for (size_t i = 0; i < entries.size(); ++i)
        out += (i == 0 ? "" : i + 1 == entries.size() ? " and " : ", ") + entries[i].transNo;
    return out;
}

std::string NothingToPostReason(const Session& session, const std::string& typeCode, int32_t departmentId,
                                const common::DateTime& from, const common::DateTime& to) {
    StatusFilter filter;
    filter.from = from;
    filter.to = to;
    filter.type = typeCode;
    filter.department = departmentId;
    const MonthStatus status = LoadMonthStatus(session, filter);
    const std::string sources =
        common::IsPayrollCode(typeCode) ? "payroll runs" : fields::typeName(typeCode) + " payments";
    const StatusCell* cell = status.find(typeCode, departmentId);
    if (cell == nullptr) return "no " + sources + " are dated in it";
    const std::string held = "its " + sources + " are in " + EntryList(cell->entries);
    if (cell->open == 0) return held;
    // No entry holds these, yet the screen lists none: flagged posted, or without account lines.
    return std::to_string(cell->open) + " of its " + sources +
           " are held by no entry but flagged posted or without account lines (payacclink audit lists the "
           "flagged ones)" +
           (cell->entries.empty() ? "" : "; the others are in " + EntryList(cell->entries));
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

    // The branches the filter asks for; the entries' numbers joined on after grouping.
    std::string sql;
    const common::TransactionType* only = filter.type ? common::TypeOfCode(*filter.type) : nullptr;
    const bool runs = only != nullptr && only->source->payroll;
    if (!filter.type || runs) sql = statusStatement(session, common::kPayrollRuns, filter);
    if (!filter.type || !runs)
        sql += (sql.empty() ? "" : " union all ") + statusStatement(session, common::kPayments, filter);
    sql =
        "select g.TransType, g.DepartmentID, g.TransID, h.TransNo, g.Sources, g.Released, g.Amount, "
        "g.WithoutRate"
        " from (" +
        sql + ") g left join " + t.paPayAccLinkHeader + " h on h.CompanyID=" + company +
        " and h.TransID=g.TransID";
    std::map<std::pair<std::string, int32_t>, StatusCell> cells;
    for (rs = session.connection.open(sql); !rs->eof(); rs->moveNext()) {
        const std::string type = common::UCase(text(rs->field(0)));
        const int32_t department = static_cast<int32_t>(number(rs->field(1)));
        StatusCell& c = cells[{type, department}];
        c.typeCode = type;
        c.departmentId = department;
        const int sources = static_cast<int>(number(rs->field(4)));
        c.sources += sources;
        if (!rs->field(2).isNull()) {
            c.posted += sources;
            c.entries.push_back({static_cast<int32_t>(number(rs->field(2))), text(rs->field(3))});
            continue;
        }
        c.open += sources;
        c.released += static_cast<int>(number(rs->field(5)));
        c.openAmount += number(rs->field(6));
        c.withoutRate += static_cast<int>(number(rs->field(7)));
    }
    rs->close();

    for (auto& [key, c] : cells) {
        auto name = names.find(c.departmentId);
        c.department = name != names.end() ? name->second : "Department " + std::to_string(c.departmentId);
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
