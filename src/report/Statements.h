#pragma once
// Statement fragments that the month-end status, the audit and the trace share, in the
// suite's dialect (isnull, exists, derived tables), which both backends take: SQL Server
// as it is, the embedded database through its adapter.
#include <string>

#include "common/DateTime.h"
#include "common/Error.h"
#include "common/TransactionTypes.h"
#include "data/Dialect.h"
#include "data/TableNames.h"
#include "report/MonthStatus.h"

namespace report::sql {

// A text literal, quotes doubled: these statements also carry what a person typed.
inline std::string Quoted(const std::string& text) {
    std::string out = "'";
    for (char c : text) out += c == '\'' ? std::string("''") : std::string(1, c);
    return out + "'";
}

// The days from..to of a date column: the day after the range as the upper bound keeps a
// date carrying a time of day.
inline std::string DateRange(const data::Dialect& dialect, const std::string& column,
                             const common::DateTime& from, const common::DateTime& to) {
    return " and " + column + ">=" + dialect.dateLiteral(from, "dd/MMM/yyyy") + " and " + column + "<" +
           dialect.dateLiteral(common::addDays(to, 1), "dd/MMM/yyyy");
}

// Whether header alias h is an entry of payroll runs or of payments: the details' RefTransID
// means a run of the one and a payment of the other.
inline std::string KindOf(const std::string& h, bool payroll) {
    return h + (payroll ? ".TransType=" : ".TransType<>") + Quoted(common::kPayrollRuns.soleCode);
}

// The company's entries of the kind, live (not cancelled) or cancelled, as a list for IN.
inline std::string EntriesOfKind(const data::TableNames& t, const std::string& company, bool payroll,
                                 bool live) {
    return "(select h.TransID from " + t.paPayAccLinkHeader + " h where h.CompanyID=" + company + " and " +
           KindOf("h", payroll) + (live ? " and isnull(h.Cancelled,0)<>1)" : " and h.Cancelled=1)");
}

// A condition on detail alias d: it links source `id` for one of those entries. The list is
// read once per statement; the "+0" keeps the embedded database from walking it through
// the index, one seek per listed entry, instead of testing each of the source's few details.
inline std::string LinksFor(const data::TableNames& t, const std::string& company, const std::string& id,
                            bool payroll, bool live) {
    return "d.CompanyID=" + company + " and d.RefTransID=" + id + " and d.TransID+0 in " +
           EntriesOfKind(t, company, payroll, live);
}

// The live entry that holds the source (the last made, should there be two), or Null.
inline std::string LiveEntry(const data::TableNames& t, const std::string& company, const std::string& id,
                             bool payroll) {
    return "(select max(d.TransID) from " + t.paPayAccLinkDetails + " d where " +
           LinksFor(t, company, id, payroll, true) + ")";
}

// 1 when a cancelled entry held the source, else 0.
inline std::string LinkedByCancelled(const data::TableNames& t, const std::string& company,
                                     const std::string& id, bool payroll) {
    return "case when exists (select 1 from " + t.paPayAccLinkDetails + " d where " +
           LinksFor(t, company, id, payroll, false) + ") then 1 else 0 end";
}

// How many units of the company's currency (c.CurrencyID) one unit of `currency` buys, as the
// exchange-rate procedure answers: the stored row of that direction, 1 for the same currency
// without one, Null otherwise. Needs aliases c (the company) and x (pExchangeRate).
inline std::string RateToCompany(const std::string& currency) {
    return "case when c.CurrencyID=" + currency + " then isnull(x.Rate,1) else x.Rate end";
}

// The mapped names these statements need; a database without its mapping gives a sentence,
// not a statement with a missing table name.
inline void RequireTables(const data::TableNames& t) {
    const std::pair<const char*, const std::string*> needed[] = {
        {"paPayAccLinkHeader", &t.paPayAccLinkHeader},
        {"paPayAccLinkDetails", &t.paPayAccLinkDetails},
        {"paPayAccLinkPostingDetails", &t.paPayAccLinkPostingDetails},
        {"pDepartment", &t.pDepartment},
        {"pCompanyMaster", &t.pCompanyMaster},
        {"pCurrencyMaster", &t.pCurrencyMaster},
        {"aAccountMaster", &t.aAccountMaster},
        {"pprefix", &t.pprefix}};
    for (const auto& [logical, name] : needed)
        if (name->empty())
            common::raise(common::err::InvalidProcedureCall, "QORPayAccLinking",
                          std::string("The table mapping (linktable) names no table for ") + logical +
                              "; add its row, or open the database once with payacclink to add it.");
}

}  // namespace report::sql

namespace report {

// Entries in the order they were made.
inline bool EntryOrder(const EntryRef& a, const EntryRef& b) { return a.transId < b.transId; }

}  // namespace report
