#include "report/VoucherQuery.h"

#include <algorithm>
#include <ctime>
#include <set>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "common/TransactionTypes.h"
#include "report/Fields.h"

namespace report {

namespace {

using fields::number;
using fields::text;
using fields::typeName;

// Reading a record that is not there, as the suite's data access reports it.
constexpr int kNoCurrentRecord = 3021;

// A date column, or an aggregate over one that some backends hand back as text.
std::string dateText(const common::Value& v) {
    if (v.isNull()) return "";
    if (const common::DateTime* d = v.asDate()) return common::formatDate(*d, "dd/MM/yyyy");
    const std::optional<common::DateTime> d = common::parseDate(text(v));
    return d ? common::formatDate(*d, "dd/MM/yyyy") : text(v);
}

void readHeader(const Session& s, int32_t transId, Voucher& v) {
    const data::TableNames& t = s.tables;
    const std::string company = std::to_string(s.companyId);
    std::string sql = "select h.TransNo, h.TransDate, h.TransType, h.Remarks, h.Cancelled, h.cancelremarks,";
    sql += " h.Posted, d.DepartmentName, dc.Symbol DepSymbol, c.CompanyName, cc.Symbol CompSymbol";
    sql += " from " + t.paPayAccLinkHeader + " h";
    sql += " left join " + t.pDepartment + " d on d.CompanyID=h.CompanyID and d.DepartmentID=h.DepartmentID";
    sql += " left join " + t.pCurrencyMaster +
           " dc on dc.CompanyID=h.CompanyID and dc.CurrencyID=d.DepCurrencyID";
    sql += " left join " + t.pCompanyMaster + " c on c.CompanyID=h.CompanyID";
    sql +=
        " left join " + t.pCurrencyMaster + " cc on cc.CompanyID=h.CompanyID and cc.CurrencyID=c.CurrencyID";
    sql += " where h.CompanyID=" + company + " and h.TransID=" + std::to_string(transId);
    auto rs = s.connection.open(sql);
    if (rs->eof())
        common::raise(kNoCurrentRecord, "QORPayAccLinking",
                      "There is no entry " + std::to_string(transId) + " in company " + company + ".");
    v.transId = transId;
    v.entryNo = text(rs->field("TransNo"));
    v.date = dateText(rs->field("TransDate"));
    v.typeCode = text(rs->field("TransType"));
    v.typeName = typeName(v.typeCode);
    v.remarks = text(rs->field("Remarks"));
    // Flags read as the browser reads them: only 1 is set.
    v.cancelled = number(rs->field("Cancelled")) == 1;
    v.cancelReason = text(rs->field("cancelremarks"));
    v.posted = number(rs->field("Posted")) == 1;
    v.department = text(rs->field("DepartmentName"));
    v.departmentCurrency = text(rs->field("DepSymbol"));
    v.companyName = text(rs->field("CompanyName"));
    v.companyCurrency = text(rs->field("CompSymbol"));
    rs->close();
}

void readLines(const Session& s, int32_t transId, Voucher& v) {
    std::string sql = "select DetailID, AccountID, AccountDesc, Description, AccCurrSymbol, RefCurrSymbol,";
    sql += " DebitAmount, CreditAmount, DeptAmount, CompAmount, Editable from " +
           s.tables.paPayAccLinkPostingDetails;
    sql += " where CompanyID=" + std::to_string(s.companyId) + " and TransID=" + std::to_string(transId);
    sql += " order by DetailID";
    auto rs = s.connection.open(sql);
    for (; !rs->eof(); rs->moveNext()) {
        VoucherLine l;
        l.line = static_cast<int32_t>(number(rs->field("DetailID")));
        l.accountId = static_cast<int32_t>(number(rs->field("AccountID")));
        l.accountName = text(rs->field("AccountDesc"));
        l.description = text(rs->field("Description"));
        l.accountCurrency = text(rs->field("AccCurrSymbol"));
        l.currency = text(rs->field("RefCurrSymbol"));
        l.debit = number(rs->field("DebitAmount"));
        l.credit = number(rs->field("CreditAmount"));
        l.departmentAmount = number(rs->field("DeptAmount"));
        l.companyAmount = number(rs->field("CompAmount"));
        l.byHand = text(rs->field("Editable")) == "Y";
        v.lines.push_back(std::move(l));
    }
    rs->close();

    for (const VoucherLine& l : v.lines) {
        auto it = std::find_if(v.totals.begin(), v.totals.end(),
                               [&](const CurrencyTotal& c) { return c.currency == l.accountCurrency; });
        if (it == v.totals.end()) it = v.totals.insert(v.totals.end(), CurrencyTotal{l.accountCurrency});
        it->debit += l.debit;
        it->credit += l.credit;
        it->departmentAmount += l.departmentAmount;
        it->companyAmount += l.companyAmount;
    }
}

void readSources(const Session& s, int32_t transId, Voucher& v) {
    std::string sql = "select count(distinct RefTransID) Sources, count(distinct EmpID) Employees,";
    sql += " min(RefTransDate) FirstDate, max(RefTransDate) LastDate from " + s.tables.paPayAccLinkDetails;
    sql += " where CompanyID=" + std::to_string(s.companyId) + " and TransID=" + std::to_string(transId);
    auto rs = s.connection.open(sql);
    v.sources.payroll = common::IsPayrollCode(v.typeCode);
    if (!rs->eof()) {
        v.sources.count = static_cast<int>(number(rs->field(0)));
        v.sources.employees = static_cast<int>(number(rs->field(1)));
        v.sources.from = dateText(rs->field(2));
        v.sources.to = dateText(rs->field(3));
    }
    rs->close();

    sql =
        "select RefTransID, min(RefTransNo), min(EmpName), min(EmpNo), min(RefTransDate), "
        "min(TransCurrSymbol),";
    sql += " sum(case when Credit=1 then 0 else RefTransAmount end) from " + s.tables.paPayAccLinkDetails;
    sql += " where CompanyID=" + std::to_string(s.companyId) + " and TransID=" + std::to_string(transId);
    sql += " group by RefTransID order by min(DetailID)";
    for (rs = s.connection.open(sql); !rs->eof(); rs->moveNext()) {
        const std::string name = text(rs->field(2)), empNo = text(rs->field(3));
        v.linked.push_back({text(rs->field(1)), empNo.empty() ? name : name + " (" + empNo + ")",
                            dateText(rs->field(4)), text(rs->field(5)), number(rs->field(6))});
    }
}

// The user's full name where the suite keeps one, else the login name.
std::string userName(const Session& s) {
    auto rs =
        s.connection.open("select * from " + s.tables.pusers + " where userid=" + std::to_string(s.userId));
    std::string name;
    if (!rs->eof()) {
        const int full = rs->fieldIndex("fullname");
        if (full >= 0) name = text(rs->field(full));
        if (name.empty() && rs->fieldIndex("username") >= 0) name = text(rs->field("username"));
    }
    rs->close();
    return name.empty() ? "User " + std::to_string(s.userId) : name;
}

}  // namespace

Voucher LoadVoucher(const Session& session, int32_t transId, const std::string& printedAt) {
    Voucher v;
    readHeader(session, transId, v);
    readLines(session, transId, v);
    readSources(session, transId, v);
    v.preparedBy = userName(session);
    v.printedAt = printedAt;
    return v;
}

std::optional<int32_t> FindEntry(const Session& session, const std::string& transNo) {
    // Typed by a person: quotes doubled so that the number stays one literal.
    std::string quoted;
    for (char c : transNo) quoted += c == '\'' ? std::string("''") : std::string(1, c);
    std::string sql = "select TransID from " + session.tables.paPayAccLinkHeader;
    sql += " where CompanyID=" + std::to_string(session.companyId) + " and TransNo='" + quoted + "'";
    auto rs = session.connection.open(sql);
    std::optional<int32_t> id;
    if (!rs->eof()) id = static_cast<int32_t>(number(rs->field(0)));
    rs->close();
    return id;
}

bool HasPrintRight(const Session& session, int32_t interfaceId) {
    std::string sql = "Select FunctionRights from " + session.tables.puserrights;
    sql += " where companyid = " + std::to_string(session.companyId);
    sql += " and userid = " + std::to_string(session.userId);
    sql += " and interfaceid = " + std::to_string(interfaceId);
    auto rs = session.connection.open(sql);
    const bool granted =
        rs->eof() ? session.userId == 1 : rs->field(0).joinText().find('P') != std::string::npos;
    rs->close();
    return granted;
}

std::string NowText() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    const common::DateTime d{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                             local.tm_hour,        local.tm_min,     0};
    return common::formatDate(d, "dd/MM/yyyy") + " " + common::formatDate(d, "HH:mm:ss").substr(0, 5);
}

}  // namespace report
