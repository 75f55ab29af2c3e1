#include "linking/LedgerCheck.h"

#include <algorithm>
#include <cmath>
#include <unordered_set>

#include "common/Conv.h"
#include "common/TransactionTypes.h"

namespace linking {

namespace {

using common::Value;

// Half a cent, and a little more for the binary fractions of summed amounts.
constexpr double kHalfCent = 0.005 + 1e-9;

std::string text(const Value& v) { return v.isNull() ? std::string() : common::Trim(v.joinText()); }
double number(const Value& v) { return v.isNull() ? 0.0 : v.toDouble(); }

std::string money(double v, const std::string& currency) {
    return common::Format(v, "###,###,##0.00") + (currency.empty() ? "" : " " + currency);
}

std::string lineName(const data::Recordset& rs) {
    std::string name = text(rs.field("AccountDesc"));
    if (name.empty()) name = "account " + text(rs.field("AccountID"));
    return "Line " + text(rs.field("DetailID")) + ", " + name + ",";
}

// The entry's key, written for a table of the statement.
struct Key {
    std::string company, transId;
    std::string operator()(const std::string& alias) const {
        const std::string a = alias.empty() ? "" : alias + ".";
        return a + "CompanyID=" + company + " and " + a + "TransID=" + transId;
    }
};

struct Totals {
    double dept = 0, comp = 0;
    int deptConverted = 0, compConverted = 0;
    std::string deptCurrency, compCurrency;
};

Totals readTotals(data::Connection& c, const data::TableNames& t, const Key& where) {
    std::string sql = "select sum(p.DeptAmount) DeptSum, sum(p.CompAmount) CompSum,";
    sql += " sum(case when p.Editable='Y' and p.AccCurrID<>d.DepCurrencyID then 1 else 0 end) DeptConverted,";
    sql += " sum(case when p.Editable='Y' and p.AccCurrID<>cm.CurrencyID then 1 else 0 end) CompConverted,";
    sql += " max(dc.Symbol) DepSymbol, max(cc.Symbol) ComSymbol";
    sql += " from " + t.paPayAccLinkHeader + " h inner join " + t.paPayAccLinkPostingDetails;
    sql += " p on p.CompanyID=h.CompanyID and p.TransID=h.TransID";
    sql += " left join " + t.pDepartment + " d on d.CompanyID=h.CompanyID and d.DepartmentID=h.DepartmentID";
    sql += " left join " + t.pCompanyMaster + " cm on cm.CompanyID=h.CompanyID";
    sql += " left join " + t.pCurrencyMaster +
           " dc on dc.CompanyID=h.CompanyID and dc.CurrencyID=d.DepCurrencyID";
    sql +=
        " left join " + t.pCurrencyMaster + " cc on cc.CompanyID=h.CompanyID and cc.CurrencyID=cm.CurrencyID";
    sql += " where " + where("h");
    auto rs = c.open(sql);
    Totals out;
    if (!rs->eof()) {
        out.dept = number(rs->field("DeptSum"));
        out.comp = number(rs->field("CompSum"));
        out.deptConverted = static_cast<int>(number(rs->field("DeptConverted")));
        out.compConverted = static_cast<int>(number(rs->field("CompConverted")));
        out.deptCurrency = text(rs->field("DepSymbol"));
        out.compCurrency = text(rs->field("ComSymbol"));
    }
    rs->close();
    return out;
}

std::string checkBalance(const Totals& s) {
    if (std::fabs(s.dept) > kHalfCent * (1 + s.deptConverted))
        return "The department amounts of this entry do not balance (they differ by " +
               money(s.dept, s.deptCurrency) + "): check the posting lines' department amounts.";
    if (std::fabs(s.comp) > kHalfCent * (1 + s.compConverted))
        return "The company amounts of this entry do not balance (they differ by " +
               money(s.comp, s.compCurrency) +
               "): the exchange rates of its currencies do not agree; balance it with a line in the currency "
               "of the lines that differ, or check the exchange rates to " +
               s.compCurrency + ".";
    return "";
}

// The first line without a known account and currency, or without the converted amounts its
// debit or credit needs, or whose amounts disagree on its side. A converted amount of nought
// is missing only where no rate converts the line's currency: a real rate may round a few
// cents to nothing.
std::string checkLines(data::Connection& c, const data::TableNames& t, const Key& where, const Totals& s) {
    std::string sql = "select p.DetailID, p.AccountID, p.AccountDesc, p.AccCurrSymbol, p.DebitAmount,";
    sql +=
        " p.CreditAmount, p.DeptAmount, p.CompAmount, a.AccountID KnownAccount, lc.CurrencyID KnownCurrency";
    sql += " from " + t.paPayAccLinkPostingDetails + " p";
    sql += " left join " + t.aAccountMaster + " a on a.CompanyID=p.CompanyID and a.AccountID=p.AccountID";
    sql +=
        " left join " + t.pCurrencyMaster + " lc on lc.CompanyID=p.CompanyID and lc.CurrencyID=p.AccCurrID";
    sql += " left join " + t.pDepartment + " d on d.CompanyID=p.CompanyID and d.DepartmentID=p.DepartmentID";
    sql += " left join " + t.pCompanyMaster + " cm on cm.CompanyID=p.CompanyID";
    // The rates from the line's currency to the department's and to the company's.
    sql +=
        " left join pExchangeRate rd on rd.CompanyID=p.CompanyID and rd.CurrencyID1=d.DepCurrencyID"
        " and rd.CurrencyID2=p.AccCurrID";
    sql +=
        " left join pExchangeRate rc on rc.CompanyID=p.CompanyID and rc.CurrencyID1=cm.CurrencyID"
        " and rc.CurrencyID2=p.AccCurrID";
    sql += " where " + where("p") + " and (a.AccountID is null or lc.CurrencyID is null";
    sql += " or ((isnull(p.DebitAmount,0)<>0 or isnull(p.CreditAmount,0)<>0)";
    sql += " and ((isnull(p.DeptAmount,0)=0 and isnull(rd.Rate,0)=0)";
    sql += " or (isnull(p.CompAmount,0)=0 and isnull(rc.Rate,0)=0)))";
    sql += " or (isnull(p.DebitAmount,0)-isnull(p.CreditAmount,0))*isnull(p.DeptAmount,0)<0";
    sql += " or (isnull(p.DebitAmount,0)-isnull(p.CreditAmount,0))*isnull(p.CompAmount,0)<0)";
    sql += " order by p.DetailID";
    auto rs = c.open(sql);
    std::string why;
    if (!rs->eof()) {
        const std::string line = lineName(*rs), currency = text(rs->field("AccCurrSymbol"));
        const double side = number(rs->field("DebitAmount")) - number(rs->field("CreditAmount"));
        if (rs->field("KnownAccount").isNull())
            why = line +
                  " names an account that is not in the accounts master: check the accounts and the "
                  "salary account settings.";
        else if (rs->field("KnownCurrency").isNull())
            why = line + " has no known currency: check the account's currency in the accounts master.";
        else if (number(rs->field("DeptAmount")) == 0)
            why = line + " has no department amount: check the exchange rate from " + currency + " to " +
                  s.deptCurrency + ".";
        else if (number(rs->field("CompAmount")) == 0)
            why = line + " has no company amount: check the exchange rate from " + currency + " to " +
                  s.compCurrency + ".";
        else
            why = line + " is a " + (side > 0 ? "debit" : "credit") + " of " +
                  money(std::fabs(side), currency) +
                  " whose converted amounts stand on the other side: open the line in the editor and save it "
                  "again.";
    }
    rs->close();
    return why;
}

std::string sourceName(bool payroll, const std::string& number) {
    return (payroll ? "Payroll run " : "Payment ") + number;
}

// The source table of the entry's kind.
const common::SourceTable& sourceTable(bool payroll) {
    return payroll ? common::kPayrollRuns : common::kPayments;
}

// Checked in slices, so that no statement grows with the entry; each source costs one index
// look-up.
constexpr size_t kSourcesPerCheck = 1000;

std::string sourceNumber(data::Connection& c, const LedgerEntry& e, int32_t id) {
    const common::SourceTable& st = sourceTable(e.payroll);
    auto rs = c.open("select " + std::string(st.number) + " from " + st.table + " where " + st.company + "=" +
                     std::to_string(e.companyId) + " and " + st.key + "=" + std::to_string(id));
    const std::string number = rs->eof() ? std::to_string(id) : text(rs->field(0));
    rs->close();
    return number;
}

std::string checkSources(data::Connection& c, const data::TableNames& t, const LedgerEntry& e,
                         const Key& where) {
    // The lines hold exactly the sources flagged: a source flagged without a line, or a line
    // of a source left unflagged, would leave the flags and the ledger apart.
    const std::unordered_set<int32_t> flagged(e.flagged.begin(), e.flagged.end());
    const std::unordered_set<int32_t> linked(e.linked.begin(), e.linked.end());
    for (int32_t id : e.flagged)
        if (!linked.count(id))
            return sourceName(e.payroll, sourceNumber(c, e, id)) +
                   " would be marked posted although this entry does not link it: press Show again and tick "
                   "what the entry should link.";
    for (int32_t id : e.linked)
        if (!flagged.count(id))
            return sourceName(e.payroll, sourceNumber(c, e, id)) +
                   " is linked by this entry but was not marked posted: press Ok again, and if it happens "
                   "again, "
                   "report it to support.";
    auto rs = c.open("select count(*) Lines from " + t.paPayAccLinkDetails + " where " + where(""));
    const double lines = rs->eof() ? 0 : number(rs->field(0));
    rs->close();
    if (lines != static_cast<double>(e.linked.size()))
        return "This entry holds " + common::NumberText(lines) + " source lines where " +
               std::to_string(e.linked.size()) +
               " were written: press Ok again, and if it happens again, report it "
               "to support.";

    // And the flags took.
    const common::SourceTable& st = sourceTable(e.payroll);
    const std::string company = std::to_string(e.companyId);
    for (size_t from = 0; from < e.flagged.size(); from += kSourcesPerCheck) {
        std::string keys;
        const size_t to = std::min(e.flagged.size(), from + kSourcesPerCheck);
        for (size_t i = from; i < to; ++i) keys += (i > from ? "," : "") + std::to_string(e.flagged[i]);
        const std::string slice = " from " + std::string(st.table) + " where " + st.company + "=" + company +
                                  " and " + st.key + " in (" + keys + ")";
        rs = c.open("select count(*) Flagged" + slice + " and " + st.posted + "=1");
        const double flags = rs->eof() ? 0 : number(rs->field(0));
        rs->close();
        if (flags == static_cast<double>(to - from)) continue;
        rs = c.open("select " + std::string(st.number) + slice + " and isnull(" + st.posted + ",0)<>1");
        const std::string which = rs->eof() ? std::string() : text(rs->field(0));
        rs->close();
        return which.empty()
                   ? std::string(e.payroll ? "A payroll run" : "A payment") +
                         " this entry would mark posted is not in the company's records: press Show again."
                   : sourceName(e.payroll, which) +
                         " is linked by this entry but was not marked posted: press Ok again, and if it "
                         "happens again, report it to support.";
    }
    return "";
}

}  // namespace

std::string LedgerCheck(data::Connection& c, const data::TableNames& t, const LedgerEntry& e) {
    const Key where{std::to_string(e.companyId), std::to_string(e.transId)};
    const Totals totals = readTotals(c, t, where);
    std::string why = checkLines(c, t, where, totals);
    if (why.empty()) why = checkBalance(totals);
    if (why.empty()) why = checkSources(c, t, e, where);
    return why;
}

}  // namespace linking
