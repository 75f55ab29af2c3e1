#pragma once
// The numbered schema scripts. A new database is made at the newest schema (schema.sql);
// a database of an older build gets, when it is opened, every script it has not had, in
// number order and in one transaction. Each script records its own number in the one-row
// table paPayAccLinkSchema as its last statement. db/sqlserver/migrations/ holds the same
// numbers and names in T-SQL, which the program does not run on a server of its own accord:
// it refuses a server database older than it needs and names the script to run.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace data::sqlite {

struct Migration {
    int number = 0;
    std::string name;  // "0003_free_text_limits", the file's name without ".sql"
    std::string_view text;
};

// The embedded scripts (db/sqlite/migrations/NNNN_name.sql), in number order, numbered from
// 1 without gaps.
const std::vector<Migration>& migrations();
// The number of the last script: the schema version of a new database.
int newestSchemaVersion();

// A server database's version against the program's, as the end of a sentence that names
// the database ("has schema version 2, but ... run ..."); empty when they agree.
std::string serverSchemaProblem(int64_t version);

}  // namespace data::sqlite
