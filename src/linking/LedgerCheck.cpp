#include "linking/LedgerCheck.h"

#include <cmath>
#include <set>

#include "common/Conv.h"

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
// debit or credit needs, or whose amounts disagree on its side.
std::string checkLines(data::Connection& c, const data::TableNames& t, const Key& where, const Totals& s) {
    std::string sql = "select p.DetailID, p.AccountID, p.AccountDesc, p.AccCurrSymbol, p.DebitAmount,";
    sql +=
        " p.CreditAmount, p.DeptAmount, p.CompAmount, a.AccountID KnownAccount, lc.CurrencyID KnownCurrency";
    sql += " from " + t.paPayAccLinkPostingDetails + " p";
    sql += " left join " + t.aAccountMaster + " a on a.CompanyID=p.CompanyID and a.AccountID=p.AccountID";
    sql +=
        " left join " + t.pCurrencyMaster + " lc on lc.CompanyID=p.CompanyID and lc.CurrencyID=p.AccCurrID";
    sql += " where " + where("p") + " and (a.AccountID is null or lc.CurrencyID is null";
    sql += " or ((isnull(p.DebitAmount,0)<>0 or isnull(p.CreditAmount,0)<>0)";
    sql += " and (isnull(p.DeptAmount,0)=0 or isnull(p.CompAmount,0)=0))";
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

std::string checkSources(data::Connection& c, const data::TableNames& t, const LedgerEntry& e,
                         const Key& where) {
    // Every source it links is flagged posted.
    std::string sql = "select d.RefTransID, d.RefTransNo from " + t.paPayAccLinkDetails + " d";
    sql += e.payroll
               ? " left join pMonthlyPayRollProcessing s on s.mppCompanyID=d.CompanyID and "
                 "s.mppProcessID=d.RefTransID"
               : " left join pPaymentHeader s on s.phCompanyID=d.CompanyID and s.phPaymentID=d.RefTransID";
    sql += " where " + where("d") +
           (e.payroll ? " and isnull(s.mppPosted,0)<>1" : " and isnull(s.phPosted,0)<>1");
    sql += " order by d.DetailID";
    auto rs = c.open(sql);
    std::set<int32_t> linked;
    if (!rs->eof()) {
        const std::string name = sourceName(e.payroll, text(rs->field("RefTransNo")));
        rs->close();
        return name +
               " is linked by this entry but was not marked posted: press Ok again, and if it "
               "happens again, report it to support.";
    }
    rs->close();

    // Every source it flags is linked by its own details.
    rs = c.open("select distinct RefTransID from " + t.paPayAccLinkDetails + " where " + where(""));
    for (; !rs->eof(); rs->moveNext()) linked.insert(static_cast<int32_t>(number(rs->field(0))));
    rs->close();
    for (int32_t id : e.flagged) {
        if (linked.count(id)) continue;
        const std::string company = std::to_string(e.companyId), key = std::to_string(id);
        rs = c.open(e.payroll ? "select mppProcessNo from pMonthlyPayRollProcessing where mppCompanyID=" +
                                    company + " and mppProcessID=" + key
                              : "select phPaymentNo from pPaymentHeader where phCompanyID=" + company +
                                    " and phPaymentID=" + key);
        const std::string number = rs->eof() ? key : text(rs->field(0));
        rs->close();
        return sourceName(e.payroll, number) +
               " would be marked posted although this entry does not link it: press Show again and tick "
               "what the entry should link.";
    }

    // No other live entry of its kind links one of them.
    sql = "select h.TransNo, d.RefTransNo from " + t.paPayAccLinkDetails + " d inner join " +
          t.paPayAccLinkDetails +
          " o on o.CompanyID=d.CompanyID and o.RefTransID=d.RefTransID and o.TransID<>d.TransID";
    sql += " inner join " + t.paPayAccLinkHeader + " h on h.CompanyID=o.CompanyID and h.TransID=o.TransID";
    sql += " where " + where("d") + " and isnull(h.Cancelled,0)<>1";
    sql += e.payroll ? " and h.TransType='P'" : " and h.TransType<>'P'";
    sql += " order by h.TransID";
    rs = c.open(sql);
    std::string why;
    if (!rs->eof())
        why = sourceName(e.payroll, text(rs->field(1))) + " is linked by entry " + text(rs->field(0)) +
              " as well: press Show again to list the sources still open.";
    rs->close();
    return why;
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
