#pragma once
// The one change the ODBC backend makes to a statement's text before SQL Server sees it: a
// literal that holds text beyond ASCII travels as the database's code page unless written N'...',
// so such a literal gets its N. Plain ASCII literals stay as they are, so that a comparison with
// a varchar column of an older suite database does not make the server convert the column.
// Dates and user text are settled where the statements are built (data/Dialect.h).
#include <string>
#include <string_view>

namespace data::odbc {

std::string unicodeLiterals(std::string_view sql);

}  // namespace data::odbc
