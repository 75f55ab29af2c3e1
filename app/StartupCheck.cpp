#include "StartupCheck.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "common/Error.h"
#include "common/Files.h"
#include "data/ErrorLog.h"
#include "data/TableNames.h"
#include "data/sqlite/SqliteConnection.h"

namespace fs = std::filesystem;

namespace startup {

namespace {

// Closes a descriptor on every way out.
struct Fd {
    int fd = -1;
    ~Fd() {
        if (fd >= 0) ::close(fd);
    }
};

[[noreturn]] void problem(const std::string& message) { throw std::runtime_error(message); }

std::string quoted(const std::string& path) { return "'" + path + "'"; }

// Lets a test stop a real init between writing the file and naming it, the last moment at
// which a half-made database could be left behind.
void testStopBeforeNaming() {
    if (const char* stop = std::getenv("PAYACC_TEST_KILL_INIT");
        stop && std::strcmp(stop, "before-rename") == 0)
        std::raise(SIGKILL);
}

int64_t scalar(data::Connection& c, const std::string& sql) {
    data::RecordsetPtr rs = c.open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    int64_t v = rs->eof() || rs->field(0).isNull() ? 0 : rs->field(0).toInt32();
    rs->close();
    return v;
}

}  // namespace

void createDatabase(const std::string& path, bool demo, std::optional<common::DateTime> demoDay) {
    if (fs::exists(fs::symlink_status(path))) problem(quoted(path) + " exists already");
    try {
        const std::string image = data::sqlite::buildImage(demo, demoDay);
        common::OutputFile file(path, common::OutputFile::Target::Create);
        file.write(image);
        file.flush();
        testStopBeforeNaming();
        file.commit();
    } catch (const common::Error& e) {
        problem("cannot create " + quoted(path) + ": " + e.description());
    } catch (const common::FileError& e) {
        problem(e.what());
    }
}

void checkDatabaseFile(const std::string& path) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) problem("no database file " + quoted(path));
    if (fs::file_size(path, ec) == 0 && !ec)
        problem(
            quoted(path) +
            " is empty (0 bytes), not a database: give another --db or make one with payacclink init FILE");
    Fd file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (file.fd < 0) problem("cannot read database " + quoted(path) + ": " + std::strerror(errno));
    char header[16] = {};
    if (::read(file.fd, header, sizeof header) != sizeof header ||
        std::memcmp(header, "SQLite format 3", 16) != 0)
        problem(
            quoted(path) +
            " is not a database of this program: give another --db or make one with payacclink init FILE");
}

void checkDatabase(data::Connection& c, int32_t company, const std::string& about, bool embedded) {
    const std::string remedy = embedded ? "make one with payacclink init FILE"
                                        : "load db/sqlserver/schema.sql and procedures.sql into it";
    data::TableNames t;
    bool tables = false;
    try {
        data::AssignTableName(c, t);
        if (!t.paPayAccLinkHeader.empty() && !t.pCompanyMaster.empty()) {
            scalar(c, "select count(*) from " + t.paPayAccLinkHeader);
            scalar(c, "select count(*) from psettings");
            tables = true;
        }
    } catch (const common::Error&) {
    }
    if (!tables) problem(about + " has no payroll accounts linking tables: " + remedy);
    const std::string id = std::to_string(company);
    if (scalar(c, "select count(*) from " + t.pCompanyMaster + " where CompanyID=" + id) == 0)
        problem("company " + id + " is not in " + about + ": give --company with one of its companies");
    if (scalar(c, "select count(*) from psettings where companyid=" + id +
                      " and noofpreviousdays is not null") == 0)
        problem("company " + id + " has no settings row in psettings (noofpreviousdays): add one for it");
}

void checkLogFolder() {
    try {
        data::prepareLogFolder();
    } catch (const common::FileError& e) {
        problem("cannot write the error log: " + std::string(e.what()) +
                "; set PAYACC_LOG_DIR to a folder of your own");
    }
}

}  // namespace startup
