#pragma once
// The embedded database: SQLite with a T-SQL adapter and a procedure catalog, so the
// suite's statements run on it unchanged.
#include <string>

#include "data/Connection.h"

namespace data::sqlite {

struct OpenOptions {
    std::string procedureDir;  // db/sqlite/procedures by default
    int busyTimeoutMs = 10000; // wait for another program's write rather than fail at once
    bool create = false;       // create the file when missing
};

// Opens (or with create, creates) a database file. Errors carry SQLite's own message.
ConnectionPtr open(const std::string& path, const OpenOptions& options = {});
// Creates the schema and procedures (db/sqlite/schema.sql) and, with demo, the demo data.
void initialise(Connection& c, bool demo);
// Builds a new database (schema and procedures, demo data with demo) in memory and returns
// the bytes of its file, so that a caller can write it out in one piece.
std::string buildImage(bool demo);
// The db folder of the source tree (schema, procedures, demo data).
std::string defaultDbDir();

}  // namespace data::sqlite
