#pragma once
// Takes the suite's SQL Server statements as they are and gives SQLite what it needs: the
// T-SQL functions it lacks are renamed to functions registered on the connection, the suite's
// date texts become ISO text where they meet a date column, and "exec NAME args" is parsed
// for the procedure catalog. Everything inside string literals and comments is left alone.
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "common/Value.h"

struct sqlite3;

namespace data::sqlite {

// One argument of "exec NAME arg, @Name = arg, ?".
struct ExecArgument {
    std::string name;          // "@Name" when passed by name, else empty
    bool placeholder = false;  // a "?" bound from the command's values
    common::Value value;       // the literal (Null for NULL and DEFAULT)
};

struct AdaptedStatement {
    std::string sql;               // the SQLite text (empty for exec)
    std::vector<bool> dateParams;  // one per "?", true when it is bound to a date column
    bool isExec = false;
    std::string procedure;  // exec: the procedure's name
    std::vector<ExecArgument> arguments;
    bool changesSchema = false;  // CREATE, DROP or ALTER: the connection re-reads its date columns
};

class TsqlAdapter {
public:
    // isDateColumn gets a column name in lower case and answers whether any table declares
    // a column of that name with a date type.
    explicit TsqlAdapter(std::function<bool(const std::string&)> isDateColumn)
        : isDateColumn_(std::move(isDateColumn)) {}
    // Raises common::Error (the database error number) naming a construct it cannot carry over,
    // such as the old outer join "*=".
    AdaptedStatement adapt(std::string_view tsql) const;

private:
    std::function<bool(const std::string&)> isDateColumn_;
};

// Registers the functions the adapted statements call (tsql_len, tsql_right, tsql_left,
// tsql_isnumeric, tsql_month, tsql_year, tsql_day, tsql_int, tsql_try_int, tsql_getdate), and, for the
// procedure catalog's own statements, len, isnumeric, month, year and day under those names.
void registerFunctions(sqlite3* db);

// SQL Server's answers, used by the registered functions and exposed for tests.
bool tsqlIsNumeric(std::string_view text);
// LEN: characters without the trailing blanks.
long tsqlLen(std::string_view text);

// The source that the embedded database's errors carry.
inline constexpr const char* kErrorSource = "QORPayAccLinking.sqlite";

}  // namespace data::sqlite
