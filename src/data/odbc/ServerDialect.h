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
#include <string>
#include <string_view>

namespace data::odbc {

std::string sqlServerText(std::string_view sql);

}  // namespace data::odbc
