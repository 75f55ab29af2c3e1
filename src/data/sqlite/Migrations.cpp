#include "data/sqlite/Migrations.h"

#include <cstdlib>

#include "common/Error.h"
#include "data/sqlite/Resources.h"
#include "data/sqlite/SqliteConnection.h"
#include "data/sqlite/TsqlAdapter.h"

namespace data::sqlite {

namespace {

[[noreturn]] void fail(const std::string& message) {
    common::raise(common::err::Database, kErrorSource, message);
}

std::vector<Migration> readMigrations() {
    constexpr std::string_view folder = "migrations/";
    std::vector<Migration> list;
    // embeddedFiles() is sorted by path, so the four-digit numbers come in order.
    for (const EmbeddedFile& f : embeddedFiles()) {
        if (!f.path.starts_with(folder) || !f.path.ends_with(".sql")) continue;
        Migration m;
        m.name = std::string(f.path.substr(folder.size(), f.path.size() - folder.size() - 4));
        m.number = std::atoi(m.name.c_str());
        m.text = f.text;
        // A gap or a repeated number would leave a database between two versions.
        if (m.number != static_cast<int>(list.size()) + 1)
            fail("The program was built with a misnumbered schema script: " + std::string(f.path) + ".");
        list.push_back(std::move(m));
    }
    return list;
}

bool hasTable(Connection& c, const std::string& name) {
    RecordsetPtr rs = c.open("select count(*) from sqlite_master where type='table' and name='" + name + "'",
                             CursorType::ForwardOnly, LockType::ReadOnly);
    const bool found = rs->field(0).toInt64() > 0;
    rs->close();
    return found;
}

// Databases of the builds before the numbered scripts have no version table: they count as
// version 0 and get every script, each of the first ones written to leave alone what such a
// database already has.
int64_t schemaVersion(Connection& c) {
    if (!hasTable(c, "paPayAccLinkSchema")) return 0;
    RecordsetPtr rs =
        c.open("select max(Version) from paPayAccLinkSchema", CursorType::ForwardOnly, LockType::ReadOnly);
    const int64_t version = rs->eof() || rs->field(0).isNull() ? 0 : rs->field(0).toInt64();
    rs->close();
    return version;
}

}  // namespace

const std::vector<Migration>& migrations() {
    static const std::vector<Migration> list = readMigrations();
    return list;
}

int newestSchemaVersion() { return static_cast<int>(migrations().size()); }

std::string serverSchemaProblem(int64_t version) {
    const int newest = newestSchemaVersion();
    if (version == newest) return {};
    if (version > newest)
        return "has schema version " + std::to_string(version) + ", newer than this payacclink knows (" +
               std::to_string(newest) + "): use the payacclink that made it, or a newer one";
    const Migration& next = migrations()[static_cast<size_t>(version < 0 ? 0 : version)];
    return "has schema version " + std::to_string(version) + " and this payacclink needs " +
           std::to_string(newest) + ": run db/sqlserver/migrations/" + next.name +
           ".sql (installed under /usr/share/payacclink/sqlserver/) and each later one in number order";
}

bool upgrade(Connection& c) {
    // Only our own schema is brought up to date; anything else is left as it is.
    if (!hasTable(c, "linktable")) return false;
    const int newest = newestSchemaVersion();
    int64_t version = schemaVersion(c);
    if (version > newest)
        throw Unusable("has schema version " + std::to_string(version) +
                       ", newer than this payacclink knows (" + std::to_string(newest) +
                       "): open it with the payacclink that made it, or a newer one");
    if (version == newest) return false;
    runScript(c, "BEGIN IMMEDIATE", "schema upgrade");
    try {
        // Read again under the write lock: another program may have brought it up meanwhile.
        version = schemaVersion(c);
        for (const Migration& m : migrations()) {
            if (m.number <= version) continue;
            runScript(c, std::string(m.text), m.name + ".sql");
            if (schemaVersion(c) != m.number) fail(m.name + ".sql did not record its number.");
        }
        // Builds before the numbered scripts read this, and leave a newer database alone.
        runScript(c, "PRAGMA user_version = " + std::to_string(newest) + ";\nCOMMIT", "schema upgrade");
    } catch (...) {
        if (c.inTransaction()) c.rollbackTrans();
        throw;
    }
    return true;
}

}  // namespace data::sqlite
