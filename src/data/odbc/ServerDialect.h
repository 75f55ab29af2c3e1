#pragma once
// What the ODBC backend changes in the suite's statements before SQL Server sees them. The
// screens write their statements once, for every backend; on SQL Server two of their habits
// lose data or depend on the session's language, and are put right here:
// - text literals travel as the database's code page unless written N'...': every literal
//   that is not already one gets the N, so Arabic or Hindi in a reason or an account name is
//   stored and found as typed;
// - a date text compared with <, >, <=, >= or <> ('2026/10/15', '15/Oct/2026') is read by
//   the session's language and date format; it is sent as 'yyyymmdd', which every session
//   reads alike.
// Everything else, comments and bracketed names included, goes through byte for byte.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/DateTime.h"

namespace data::odbc {

std::string sqlServerText(std::string_view sql);

// The suite's date texts, "yyyy/mm/dd" and "dd/MMM/yyyy" (English month names), as dates.
std::optional<common::DateTime> suiteDate(std::string_view text);

// The table an insert or update writes and, for each "?" in order, the column it is
// bound to ("insert into T (a, b) values (?, ?)", "set a=?", "where T.b = ?"); "" where the
// statement does not say.
struct MarkerColumns {
    std::string table;
    std::vector<std::string> columns;
};
MarkerColumns markerColumns(std::string_view sql);

}  // namespace data::odbc
