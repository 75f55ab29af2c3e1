#include "report/LedgerExport.h"

#include "common/Conv.h"
#include "report/Fields.h"

namespace report {

using fields::number;
using fields::text;
using fields::typeName;

std::vector<LedgerRow> LoadLedgerRows(const Session& s, const common::DateTime& from,
                                      const common::DateTime& to, bool includeCancelled) {
    const data::TableNames& t = s.tables;
    std::string sql = "select h.TransNo, h.TransDate, h.TransType, d.DepartmentName, h.Cancelled, h.Posted,";
    sql += " p.DetailID, p.AccountID, p.AccountDesc, p.Description, p.AccCurrSymbol, p.DebitAmount,";
    sql += " p.CreditAmount, p.DeptAmount, p.CompAmount";
    sql += " from " + t.paPayAccLinkHeader + " h";
    sql += " inner join " + t.paPayAccLinkPostingDetails +
           " p on p.CompanyID=h.CompanyID and p.TransID=h.TransID";
    sql += " left join " + t.pDepartment + " d on d.CompanyID=h.CompanyID and d.DepartmentID=h.DepartmentID";
    sql += " where h.CompanyID=" + std::to_string(s.companyId);
    // The day after the range as the upper bound keeps an entry dated with a time of day; a
    // range to the calendar's last day has no day after it and no bound.
    const data::Dialect dialect = s.connection.dialect();
    sql += " and h.TransDate>=" + dialect.dateLiteral(from, "dd/MMM/yyyy");
    if (to < common::DateTime::ymd(9999, 12, 31))
        sql += " and h.TransDate<" + dialect.dateLiteral(common::addDays(to, 1), "dd/MMM/yyyy");
    if (!includeCancelled) sql += " and isnull(h.Cancelled,0)<>1";
    sql += " order by h.TransDate, h.TransID, p.DetailID";

    std::vector<LedgerRow> rows;
    auto rs = s.connection.open(sql);
    for (; !rs->eof(); rs->moveNext()) {
        LedgerRow r;
        r.entryNo = text(rs->field("TransNo"));
        const common::Value& date = rs->field("TransDate");
        r.date = date.isNull() ? "" : common::formatDate(date.toDate(), "dd/MM/yyyy");
        r.type = typeName(text(rs->field("TransType")));
        r.department = text(rs->field("DepartmentName"));
        r.status = number(rs->field("Cancelled")) == 1 ? "Cancelled"
                   : number(rs->field("Posted")) == 1  ? "Posted"
                                                       : "Open";
        r.line = static_cast<int32_t>(number(rs->field("DetailID")));
        r.accountId = static_cast<int32_t>(number(rs->field("AccountID")));
        r.accountName = text(rs->field("AccountDesc"));
        r.description = text(rs->field("Description"));
        r.currency = text(rs->field("AccCurrSymbol"));
        r.debit = number(rs->field("DebitAmount"));
        r.credit = number(rs->field("CreditAmount"));
        r.departmentAmount = number(rs->field("DeptAmount"));
        r.companyAmount = number(rs->field("CompAmount"));
        rows.push_back(std::move(r));
    }
    rs->close();
    return rows;
}

std::string CsvTextField(std::string_view text) {
    if (!text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos)
        return CsvField("'" + std::string(text));
    return CsvField(text);
}

std::string CsvField(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
    std::string out = "\"";
    for (char c : text) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + '"';
}

void WriteLedgerCsv(std::ostream& out, const std::vector<LedgerRow>& rows, bool raw) {
    out << "Entry No,Date,Type,Department,Line,Account ID,Account Name,Description,Currency,"
           "Debit,Credit,Department Amount,Company Amount,Status\r\n";
    // Plain numbers with two decimals, no grouping: the file is read by programs.
    auto amount = [](double v) { return common::Format(v, "0.00"); };
    auto cell = [raw](const std::string& v) { return raw ? CsvField(v) : CsvTextField(v); };
    for (const LedgerRow& r : rows) {
        out << cell(r.entryNo) << ',' << cell(r.date) << ',' << cell(r.type) << ',' << cell(r.department)
            << ',' << r.line << ',' << r.accountId << ',' << cell(r.accountName) << ',' << cell(r.description)
            << ',' << cell(r.currency) << ',' << amount(r.debit) << ',' << amount(r.credit) << ','
            << amount(r.departmentAmount) << ',' << amount(r.companyAmount) << ',' << cell(r.status)
            << "\r\n";
    }
}

}  // namespace report
