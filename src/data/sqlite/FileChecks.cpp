#include "data/sqlite/FileChecks.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <unordered_set>
#include <vector>

#include "common/Conv.h"
#include "data/sqlite/Resources.h"

namespace data::sqlite {

bool busy(int rc) { return (rc & 0xFF) == SQLITE_BUSY || (rc & 0xFF) == SQLITE_LOCKED; }
bool damaged(int rc) { return (rc & 0xFF) == SQLITE_CORRUPT || (rc & 0xFF) == SQLITE_NOTADB; }

std::string lockedProblem(const OpenOptions& options) {
    return "is locked: another program has held its write lock for " +
           std::to_string((options.busyTimeoutMs + 999) / 1000) + " s; try again when it has finished";
}

// Switching a database to WAL upgrades a read lock to the write lock, a step on which SQLite
// does not wait (waiting could deadlock), so programs opening a database of an older build at
// the same moment would fail at once. The switch is retried until the busy timeout.
int switchToWal(sqlite3* db, int timeoutMs) {
    std::string mode;
    auto read = [](void* out, int, char** values, char**) {
        *static_cast<std::string*>(out) = values[0] ? values[0] : "";
        return 0;
    };
    int rc = sqlite3_exec(db, "PRAGMA journal_mode", read, &mode, nullptr);
    if (rc != SQLITE_OK || mode == "wal" || mode == "memory" || sqlite3_db_readonly(db, "main") == 1)
        return rc;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (busy(rc = sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr)) &&
           std::chrono::steady_clock::now() < deadline)
        sqlite3_sleep(20);
    return rc;
}

namespace {

std::string folderOf(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

// OpenOptions::check, before the first statement: a file or folder this user cannot write.
// SQLite would open either read-only and fail at the first write (or, for a database in WAL
// mode, at the first read). The end of a sentence that names the file, or empty.
std::string accessProblem(sqlite3* db, const std::string& path) {
    if (sqlite3_db_readonly(db, "main") == 1) {
        const int why = ::access(path.c_str(), W_OK) == 0 ? EACCES : errno;
        return "is read-only for this user (" + std::string(std::strerror(why)) +
               "): make it writable, or give --db a copy";
    }
    if (::access(folderOf(path).c_str(), W_OK) != 0)
        return "is in a folder this user cannot write to (" + std::string(std::strerror(errno)) +
               "), and its journal goes beside it: make the folder writable";
    return {};
}

// OpenOptions::check, once the database is open: the first problem found, as above.
std::string fileProblem(sqlite3* db, const OpenOptions& options) {
    // Every page read once: a damaged file is found here, not half-way through a save.
    std::string answer;
    auto first = [](void* out, int, char** values, char**) {
        auto& text = *static_cast<std::string*>(out);
        // The first finding; SQLite puts the name of the schema on a line before it.
        if (text.empty() && values[0]) text = values[0];
        if (const size_t line = text.find_last_of('\n'); line != std::string::npos) text.erase(0, line + 1);
        return 0;
    };
    int rc = sqlite3_exec(db, "PRAGMA quick_check(1)", first, &answer, nullptr);
    if (busy(rc)) return lockedProblem(options);
    if (damaged(rc) || (rc == SQLITE_OK && answer != "ok"))
        return "is damaged (" + (rc == SQLITE_OK ? answer : std::string(sqlite3_errmsg(db))) +
               "): restore it from a backup";
    if (rc != SQLITE_OK) return "cannot be read (" + std::string(sqlite3_errmsg(db)) + ")";
    if (options.forWriting) {
        // The write lock, taken and given back: every save needs it.
        rc = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
        if (busy(rc)) return lockedProblem(options);
        if (rc != SQLITE_OK) return "cannot be written (" + std::string(sqlite3_errmsg(db)) + ")";
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    return {};
}

// OpenOptions::check: an integrator's procedure folder replaces the built-in procedures, so
// it must hold each of them; the first missing one would otherwise fail every save.
std::string procedureProblem(const std::string& folder) {
    namespace fs = std::filesystem;
    std::error_code ec;
    if (!fs::is_directory(folder, ec))
        return "the procedure folder '" + folder + "' (PAYACC_PROCEDURE_DIR) is no folder" +
               (ec ? " (" + ec.message() + ")" : std::string());
    // Names match without regard to case, as the catalog finds them.
    std::unordered_set<std::string> present;
    for (const auto& entry : fs::directory_iterator(folder, ec))
        present.insert(common::LCase(entry.path().filename().string()));
    std::vector<std::string> missing;
    constexpr std::string_view prefix = "procedures/";
    for (const EmbeddedFile& f : embeddedFiles()) {
        if (!f.path.starts_with(prefix)) continue;
        const std::string name(f.path.substr(prefix.size()));
        if (present.count(common::LCase(name)) == 0) missing.push_back(name);
    }
    if (missing.empty()) return {};
    return "the procedure folder '" + folder + "' (PAYACC_PROCEDURE_DIR) lacks " +
           std::to_string(missing.size()) + " of the procedures the program calls, " + missing.front() +
           " the first: copy them from /usr/share/payacclink/sqlite/procedures/";
}

}  // namespace data::sqlite
