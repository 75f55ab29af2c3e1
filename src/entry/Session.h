#pragma once
// The session context of one loaded component and the transaction type look-ups.
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "common/TransactionTypes.h"
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

using common::TransactionType;
using common::TransactionTypes;

// "" when unknown.
std::string TypeCodeOfName(std::string_view name);

}  // namespace entry
