#pragma once
// The seven transaction types of a link entry: the one-letter code kept in the header's
// TransType and the name the screens show.
#include <array>

namespace common {

struct TransactionType {
    const char* code;
    const char* name;
};

// Code order is the order of the entry list statement's CASE.
inline constexpr std::array<TransactionType, 7> kTransactionTypes{{
    {"P", "Payroll"},
    {"A", "Salary Advances"},
    {"R", "Reimbursements"},
    {"S", "Savings"},
    {"E", "Leave Encashments"},
    {"H", "Holded Salaries"},  // the suite's own spelling
    {"O", "Others"},
}};

}  // namespace common
