#pragma once
// What the host checks before any screen opens, and how it makes a new database. Each check
// throws std::runtime_error with one line that names the problem and what to do about it.
#include <cstdint>
#include <optional>
#include <string>

#include "common/DateTime.h"
#include "data/Connection.h"

namespace startup {

// Writes a new embedded database at path, complete or not at all: it is built in memory,
// written as every output is (common::OutputFile) and only then given its name, so a build
// that fails or is killed leaves nothing behind. The file is 0600; an existing file (or link)
// is never replaced.
// With demo, the demo data is dated from demoDay (default: today).
void createDatabase(const std::string& path, bool demo,
                    std::optional<common::DateTime> demoDay = std::nullopt);

// A --db file that SQLite would open but that is not ours: missing, unreadable, empty
// (SQLite would silently turn it into a new database) or not an SQLite file at all.
void checkDatabaseFile(const std::string& path);

// The opened database holds the component's tables, the company and its settings row.
// about names the database in the messages ("'demo.db'", "the ODBC database").
void checkDatabase(data::Connection& c, int32_t company, const std::string& about, bool embedded);

// The error log's folder is the user's own and can be written, so that a failure is not
// first seen in the middle of the user's work.
void checkLogFolder();

}  // namespace startup
