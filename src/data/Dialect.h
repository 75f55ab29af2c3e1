#pragma once
// What a statement builder asks of the database it writes for. The classic statements are the
// embedded database's and keep their texts there; on SQL Server the few forms that the session's
// language or code page would read differently are chosen where the statements are built.
#include <string>
#include <string_view>

#include "common/DateTime.h"
#include "common/Value.h"

namespace data {

struct Dialect {
    bool sqlServer = false;
    int compatibilityLevel = 0;  // SQL Server's, for the database; 0 on the embedded database

    // A date compared in a statement, quoted: the classic pattern ("yyyy/mm/dd", "dd/MMM/yyyy")
    // on the embedded database; 'yyyymmdd' on SQL Server, which every language reads alike.
    std::string dateLiteral(const common::DateTime& d, std::string_view classicPattern) const;
    // A date bound to a parameter: the classic text on the embedded database, a date on SQL Server.
    common::Value dateValue(const common::DateTime& d, std::string_view classicPattern) const;
    // TRY_CONVERT is a keyword from compatibility level 110 (SQL Server 2012) on; the embedded
    // adapter has its own.
    bool hasTryConvert() const { return !sqlServer || compatibilityLevel >= 110; }
    // Whether the user's free text is bound as a parameter rather than spliced into a literal.
    bool bindsUserText() const { return sqlServer; }
    // Whether a column's length counts UTF-16 units (nvarchar) rather than characters.
    bool countsUtf16() const { return sqlServer; }
};

}  // namespace data
