#pragma once
// The transaction types of a link entry, each described once. Everything that differs from
// one type to another is here: the code kept in the header's TransType, the name the screens
// show, the retrieval procedure and the label of its listed lines, the setting whose account
// it posts to, and the table of sources it links and flags as posted. The screens, the
// month-end commands and the reports read this table; none of them names a type itself.
//
// A new kind of payment is one more row below, plus its setting in both settings views and
// its retrieval procedure on both backends (the contract test compares the three).
#include <string>
#include <string_view>
#include <vector>

namespace common {

// A table of sources that entries link (the details' RefTransID is its key) and flag as
// posted, with the columns the statements name.
struct SourceTable {
    const char* table;
    const char* company;
    const char* key;
    const char* number;  // what the user knows the source by
    const char* date;
    const char* department;
    const char* employee;
    const char* currency;  // the currency its amounts are in; a run's is its employee's
    const char* posted;    // the flag: 1 once a live entry links it
    const char* type;      // the column of its type's code; none where all its sources are of one type
    const char* soleCode;  // that one type's code, where there is no such column
    const char* noun;      // "payroll run", "payment"
    bool payroll;          // runs, whose detail rows follow the run's tick
};

inline constexpr SourceTable kPayrollRuns{.table = "pMonthlyPayRollProcessing",
                                          .company = "mppCompanyID",
                                          .key = "mppProcessID",
                                          .number = "mppProcessNo",
                                          .date = "mppProcessedDate",
                                          .department = "mppDepartmentID",
                                          .employee = "mppEmpID",
                                          .currency = "ecurrencyid",
                                          .posted = "mppPosted",
                                          .type = nullptr,
                                          .soleCode = "P",
                                          .noun = "payroll run",
                                          .payroll = true};
inline constexpr SourceTable kPayments{.table = "pPaymentHeader",
                                       .company = "phCompanyID",
                                       .key = "phPaymentID",
                                       .number = "phPaymentNo",
                                       .date = "phDate",
                                       .department = "phDepartmentID",
                                       .employee = "phEmployeeID",
                                       .currency = "phcurrencyid",
                                       .posted = "phPosted",
                                       .type = "phType",
                                       .soleCode = nullptr,
                                       .noun = "payment",
                                       .payroll = false};

// Every payment credits the account of this setting; its debit goes to the type's own.
inline constexpr const char* kCashSetting = "CASH";

struct TransactionType {
    const char* code;       // the header's TransType; a payment's phType
    const char* name;       // as the screens list it
    const char* procedure;  // lists the sources not yet linked
    const char* lineLabel;  // the Type cell of a payment's listed lines (a run's lines name their part)
    const char* setting;    // the setting whose account a payment debits; none for runs
    const SourceTable* source;
    int comboPosition;  // its place in the linking screen's type list
};

// Every type in the entry list's order, which the browser's type column, the month status
// and the commands' type lists follow.
const std::vector<TransactionType>& TransactionTypes();
// The type of that code or name, exactly as stored or shown; nullptr when there is none.
const TransactionType* TypeOfCode(std::string_view code);
const TransactionType* TypeOfName(std::string_view name);
// Whether a type code is one of runs (the only table whose sources carry no type column).
bool IsPayrollCode(std::string_view code);
// A source's type code in a statement over its table under alias a: the column, or the literal.
std::string TypeCodeOf(const SourceTable& table, const std::string& a);
// In the order of the linking screen's type list.
std::vector<const TransactionType*> TypesInComboOrder();

// For tests: a further type, known while the object lives, so that a test can show a new
// kind working with nothing but its row and its SQL.
class ExtraTransactionType {
public:
    explicit ExtraTransactionType(const TransactionType& type);
    ~ExtraTransactionType();
    ExtraTransactionType(const ExtraTransactionType&) = delete;
    ExtraTransactionType& operator=(const ExtraTransactionType&) = delete;
};

}  // namespace common
