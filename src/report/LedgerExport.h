#pragma once
// The posting lines of the entries dated in a range, as a CSV file for the ledger team:
// RFC 4180 (fields quoted where they hold a comma, a quote or a line break, quotes doubled,
// lines ended by CRLF), UTF-8, one header row.
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "common/DateTime.h"
#include "report/VoucherQuery.h"

namespace report {

struct LedgerRow {
    std::string entryNo, date, type, department;
    int32_t line = 0;
    int32_t accountId = 0;
    std::string accountName, description;
    std::string currency;  // the account's currency, in which debit and credit are held
    double debit = 0, credit = 0, departmentAmount = 0, companyAmount = 0;
    std::string status;  // "Open", "Posted" or "Cancelled"
};

// Every posting line of the company's entries dated from..to (both days included), by date,
// entry and line. Cancelled entries only when asked for.
std::vector<LedgerRow> LoadLedgerRows(const Session& session, const common::DateTime& from,
                                      const common::DateTime& to, bool includeCancelled);

// One field as RFC 4180 writes it.
std::string CsvField(std::string_view text);
// A text field as a spreadsheet may safely open it: one that begins with = + - @, a tab or a
// carriage return would be read as a formula, so it gets a leading apostrophe, which the
// spreadsheet shows as text. The amounts are numbers and written as they are.
std::string CsvTextField(std::string_view text);
// raw: texts exactly as stored, for programs that read the file (no apostrophes).
void WriteLedgerCsv(std::ostream& out, const std::vector<LedgerRow>& rows, bool raw = false);

}  // namespace report
