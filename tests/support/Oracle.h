#pragma once
// The money oracle: what a link entry must hold, computed a second time from the source rows
// (runs, payments, the salary account set-up, the link settings, accounts, rates) with plain
// queries on the base tables, never through the screens' code nor the views and procedures
// that feed them. Tests drive the screens and compare what they list, show and store with it.
//
// The rules, as a payroll office reads them:
// - rate(X <- Y) is how many X one Y buys: a pExchangeRate row, 1 for the same currency
//   without a row, no amount otherwise. Converted amounts are rounded to cents.
// - A run gives one line per non-zero component configured for the employee's currency (basic
//   and allowances debit, deductions and net pay credit), each converted into the account's,
//   the department's and the company's currency; net pay takes the rounded basic + allowances -
//   deductions, so that a run balances to the cent in every currency. A payment line gives a
//   debit to the account set for its kind and a credit to the cash account.
// - Posting lines group the ticked rows by account and the row's own currency, in order of first
//   tick: debit and credit sums in the account's currency, department, company and own amounts
//   signed (credits subtract), each running sum rounded to cents; a line whose debit and credit
//   both come back to 0 goes. A line by hand of amount A in its account's currency K holds A on
//   its side and round2(A x rate) in the department's and the company's currency, signed.
// - An entry is stored when its balance (the department amounts) shows 0.00 and its company
//   amounts net to zero within half a cent for itself and for each line by hand in another
//   currency than the company's; every line has a known account and, when it moves money,
//   department and company amounts.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "common/DateTime.h"
#include "data/Connection.h"

namespace testsupport {

// Cents, half away from zero on the decimal value (15 significant digits), as the database's
// round() and the screens' "0.00" round.
double round2(double x);
// Two decimals, never "-0.00".
std::string money(double x);

// An account line of a run or a payment: a detail row as Show lists it.
struct SourceLine {
    int32_t source = 0, account = 0, ownCurrency = 0, accountCurrency = 0;
    int credit = 0;  // as configured; only 1 is a credit
    double own = 0, amount = 0, department = 0, company = 0;
    std::string text() const;
};

// A posting line.
struct Line {
    int32_t account = 0, accountCurrency = 0, ownCurrency = 0;
    double debit = 0, credit = 0, trans = 0, department = 0, company = 0;
    bool byHand = false;
    // Account, currencies, the five amounts to the cent and "Y" for a line by hand.
    std::string text() const;
};

// Lines or rows one a line, for comparisons that show the difference.
template <class T>
std::string text(const std::vector<T>& items) {
    std::string s;
    for (const auto& i : items) s += i.text() + "\n";
    return s;
}

// The posting list as gathering keeps it; lines by hand are added, changed and removed in
// `lines` itself.
struct PostingList {
    std::vector<Line> lines;
    void tick(const SourceLine& row, bool ticked);
    double balance() const;  // the department amounts' sum, to the cent
};

class Oracle {
public:
    Oracle(data::Connection& c, int32_t company);

    std::optional<double> rate(int32_t to, int32_t from) const;
    int32_t companyCurrency() const { return companyCurrency_; }
    int32_t departmentCurrency(int32_t department) const;
    int32_t accountCurrency(int32_t account) const;

    // The rows Show lists for a type ('P' payroll, else the payment kind), in list order.
    std::vector<SourceLine> listed(char type, int32_t department, const common::DateTime& from,
                                   const common::DateTime& to) const;
    // Every line of one run ('P') or payment, posted or not.
    std::vector<SourceLine> linesOf(char type, int32_t source) const;
    // A line by hand of `amount` in its account's currency.
    Line byHand(int32_t department, int32_t account, double amount, bool credit) const;
    // Whether Ok stores an entry of these lines for the department.
    bool saves(const std::vector<Line>& lines, int32_t department) const;

    // A saved entry's posting lines, as stored, and its details as the lines of its sources
    // they stand for (a detail that is none of them: as stored, with source 0).
    std::vector<Line> stored(int32_t transId) const;
    std::vector<SourceLine> details(int32_t transId) const;
    // What is wrong with a saved entry, "" when nothing: its details must be lines of its
    // sources (a run whole), its gathered lines their sums, its lines by hand their own
    // conversion, all numbered from 1.
    std::string entryFaults(int32_t transId) const;

    // The voucher's totals: per account currency in order of first use, "USD 1.00 2.00 3.00
    // 4.00" (debit, credit, department, company), one a line; and whether it balances.
    std::string totals(int32_t transId) const;
    bool balanced(int32_t transId) const;
    // The export: one line per posting line of the company's entries dated from..to, fields
    // as the CSV holds them joined with "|".
    std::string ledger(const common::DateTime& from, const common::DateTime& to, bool cancelled) const;

private:
    void runLines(int32_t id, const double parts[4], double netPay, int32_t currency, int32_t department,
                  std::vector<SourceLine>& out) const;
    void paymentLines(int32_t id, char kind, int32_t currency, double amount, int32_t department,
                      std::vector<SourceLine>& out) const;
    double convert(double amount, int32_t to, int32_t from) const;
    std::pair<int32_t, char> header(int32_t transId) const;  // department and type letter

    data::Connection& c_;
    int32_t company_, companyCurrency_ = 0;
    std::map<int32_t, int32_t> departments_, accounts_;  // their currencies
    std::map<std::pair<int32_t, int32_t>, double> rates_;
    std::map<int32_t, std::vector<std::tuple<char, int32_t, int>>> salaryAccounts_;  // by currency
    std::map<std::string, int32_t> settings_;
};

// The ledger invariants of every company's entries, one fault a line, "" when they hold: each
// live entry's department and company amounts net to zero (half a cent, and half a cent more
// for each line by hand in another currency); each line has a known account with a currency
// and, when it moves money, department and company amounts; a run or payment is flagged
// posted exactly when one live entry links it, and never linked by two.
std::string LedgerFaults(data::Connection& c);

}  // namespace testsupport
