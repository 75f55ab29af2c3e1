#pragma once
// The session context of one loaded component and the transaction type table.
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "data/Connection.h"
#include "data/TableNames.h"

namespace entry {

struct SessionContext {
    data::ConnectionPtr connection;  // the session connection (host's reference shared)
    int32_t userId = 0;
    int32_t companyId = 0;
    int32_t interfaceId = 0;
    std::string msgTitle;
    std::string processDate;    // as the host formats it
    std::string listBaseQuery;  // the browser's list statement without its date condition
    data::TableNames tables;
};

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

// "" when unknown.
std::string TypeNameOfCode(std::string_view code);
std::string TypeCodeOfName(std::string_view name);

}  // namespace entry
