#pragma once
// The journal voucher of one saved link entry: the paper that accountants sign and file and
// auditors ask for. It is built from what the database holds for the entry (header, posting
// details, details), never from a screen, so a voucher printed later reads as the entry was
// saved. Plain values only: the front ends lay it out, on paper, in a preview or as PDF.
#include <cstdint>
#include <string>
#include <vector>

namespace report {

// One journal line, as saved in the posting details.
struct VoucherLine {
    int32_t line = 0;  // the line's number within the entry
    int32_t accountId = 0;
    std::string accountName;
    std::string description;
    std::string currency;         // the transaction currency
    std::string accountCurrency;  // the debit and credit are amounts in the account's currency
    double debit = 0, credit = 0;
    // Signed as the posting list keeps them: a debit adds, a credit subtracts.
    double departmentAmount = 0, companyAmount = 0;
    bool byHand = false;  // typed in the line editor rather than gathered
};

// The sums of the lines held in one account currency: information, since an entry whose lines
// are in several currencies balances in the department's and the company's currency, not in
// each of its own.
struct CurrencyTotal {
    std::string currency;
    double debit = 0, credit = 0;
    double departmentAmount = 0, companyAmount = 0;
};

// The payroll runs or payments that the entry links.
struct SourceSummary {
    bool payroll = true;   // payroll runs; payments otherwise
    int count = 0;         // distinct source transactions
    int employees = 0;     // distinct employees
    std::string from, to;  // first and last source date, dd/MM/yyyy; empty without sources
};

// One payroll run or payment the entry links, as its details hold it: the amount is what the
// entry debits for it, in the source's own currency.
struct LinkedSource {
    std::string number;    // the run's or payment's number
    std::string employee;  // name and employee number
    std::string date;      // dd/MM/yyyy
    std::string currency;
    double amount = 0;
};

struct Voucher {
    int32_t transId = 0;
    std::string companyName, companyCurrency;
    std::string entryNo;
    std::string date;  // dd/MM/yyyy
    std::string typeCode, typeName;
    std::string department, departmentCurrency;
    std::string remarks;
    bool cancelled = false;
    std::string cancelReason;
    bool posted = false;
    std::vector<VoucherLine> lines;
    std::vector<CurrencyTotal> totals;  // one per account currency, in the order of first use
    SourceSummary sources;
    std::vector<LinkedSource> linked;  // after the lines, in the order the entry lists them
    std::string preparedBy;            // the name of the user who prints it
    std::string printedAt;             // dd/MM/yyyy HH:mm

    // "Cancelled", "Posted" or "Open": a cancelled entry may have been posted before, and
    // the cancellation is what matters on paper.
    std::string status() const { return cancelled ? "Cancelled" : posted ? "Posted" : "Open"; }
};

// Amounts as they stand on paper: thousand separators and two decimals ("1,234,567.80").
std::string Amount(double value);

// The file name a voucher's PDF gets by default: the entry number with '/' as '-' ("PAL/6" ->
// "PAL-6.pdf") and every other character that is not a letter, a digit, '.' or '_' as '%' and
// its bytes in hexadecimal ("PAL-6" -> "PAL%2D6.pdf"), so that two entry numbers never share a
// file and one PDF never replaces another's.
std::string VoucherFileName(const std::string& entryNo);

// What the department amounts and the company amounts of the lines net to.
struct Imbalance {
    double department = 0, company = 0;
};
Imbalance NetAmounts(const Voucher& voucher);
// True when the department amounts and the company amounts each net to zero: to the cent, and
// half a cent more for every line typed by hand in a currency that was converted.
bool Balanced(const Voucher& voucher);

}  // namespace report
