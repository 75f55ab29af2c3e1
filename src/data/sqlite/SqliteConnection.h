#pragma once
// The embedded database: SQLite with a T-SQL adapter and a procedure catalog, so the
// suite's statements run on it unchanged.
#include <optional>
#include <stdexcept>
#include <string>

#include "common/DateTime.h"
#include "data/Connection.h"

namespace data::sqlite {

struct OpenOptions {
    std::string procedureDir;   // empty: procedureFolder()
    int busyTimeoutMs = 10000;  // wait for another program's write rather than fail at once
    bool create = false;        // create the file when missing
    // A program's start: the file is checked before any work is tried, so that a damaged
    // file (every page read once), and with forWriting a read-only one or one whose write
    // lock another program holds past the busy timeout, ends it at once rather than
    // failing the same way at every step.
    bool check = false;
    bool forWriting = false;
};

// A database file that cannot be used: the message names the file and the problem.
struct Unusable : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Opens (or with create, creates) a database file. Errors carry SQLite's own message; the
// checks of OpenOptions raise Unusable.
ConnectionPtr open(const std::string& path, const OpenOptions& options = {});
// Creates the schema with its table mapping and, with demo, the demo data. The demo's
// payroll, payments and saved entries fall in the month of demoDay (default: today) and
// the two months before it.
void initialise(Connection& c, bool demo, std::optional<common::DateTime> demoDay = std::nullopt);
// Applies the numbered scripts (Migrations.h) that a database made by an older build has
// not had, in one transaction; says whether it did. A database that is not ours, or already
// current, is left alone; one newer than the program raises Unusable.
bool upgrade(Connection& c);
// Runs a script of SQLite statements as written, on the embedded database only.
void runScript(Connection& c, const std::string& sql, const std::string& what);
// Where procedures come from when OpenOptions names no folder: the folder in
// PAYACC_PROCEDURE_DIR (an integrator's own NAME.sql files, used instead of the built-in
// ones), else empty, the procedures built into the program.
std::string procedureFolder();
// Builds a new database (schema and procedures, demo data with demo) in memory and returns
// the bytes of its file, so that a caller can write it out in one piece. The file is in WAL
// mode from the start, so that programs opening it at once need not switch it.
std::string buildImage(bool demo, std::optional<common::DateTime> demoDay = std::nullopt);

}  // namespace data::sqlite
