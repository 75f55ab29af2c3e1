#pragma once
// Reading vouchers and posting lines out of the link tables, for the browser's Print and for
// the host's print and export commands. Every statement restricts to the session company
// and names the tables through the session's table-name mapping.
#include <cstdint>
#include <optional>
#include <string>

#include "data/Connection.h"
#include "data/TableNames.h"
#include "report/Voucher.h"

namespace report {

// What the statements need of the session.
struct Session {
    data::Connection& connection;
    const data::TableNames& tables;
    int32_t companyId = 0;
    int32_t userId = 0;
};

// The voucher of entry transId, read in full. An entry that is not there raises error 3021
// with a description that names it.
Voucher LoadVoucher(const Session& session, int32_t transId, const std::string& printedAt);

// The TransID of the company's entry numbered transNo (letter case ignored, as the suite's
// server compares), or nothing.
std::optional<int32_t> FindEntry(const Session& session, const std::string& transNo);

// Whether the session user may print: the "P" right of the user's rights row for the
// interface, or, without a row, only the suite's administrator (user 1), as the browser
// grants its buttons.
bool HasPrintRight(const Session& session, int32_t interfaceId);

// The local time as a voucher's print date, dd/MM/yyyy HH:mm.
std::string NowText();

}  // namespace report
