#include "StartupCheck.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "common/Error.h"
#include "data/TableNames.h"
#include "data/sqlite/SqliteConnection.h"

namespace fs = std::filesystem;

namespace startup {

namespace {

[[noreturn]] void problem(const std::string& message) { throw std::runtime_error(message); }

std::string quoted(const std::string& path) { return "'" + path + "'"; }

// Closes a descriptor on every way out.
struct Fd {
    int fd = -1;
    ~Fd() {
        if (fd >= 0) ::close(fd);
    }
};

void writeAll(int fd, const std::string& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) throw std::system_error(errno, std::generic_category(), "write");
        done += static_cast<size_t>(n);
    }
    if (::fsync(fd) != 0) throw std::system_error(errno, std::generic_category(), "fsync");
}

// Lets a test stop a real init between writing the file and naming it, the last moment at
// which a half-made database could be left behind.
void testStopBeforeNaming() {
    if (const char* stop = std::getenv("PAYACC_TEST_KILL_INIT");
        stop && std::strcmp(stop, "before-rename") == 0)
        std::raise(SIGKILL);
}

void syncFolder(const fs::path& folder) {
    Fd dir{::open(folder.c_str(), O_RDONLY | O_DIRECTORY)};
    if (dir.fd >= 0) ::fsync(dir.fd);
}

int64_t scalar(data::Connection& c, const std::string& sql) {
    data::RecordsetPtr rs = c.open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    int64_t v = rs->eof() || rs->field(0).isNull() ? 0 : rs->field(0).toInt32();
    rs->close();
    return v;
}

}  // namespace

void createDatabase(const std::string& path, bool demo, std::optional<common::DateTime> demoDay) {
    if (fs::exists(path)) problem(quoted(path) + " exists already");
    const fs::path target = fs::absolute(path);
    const fs::path folder = target.parent_path();
    try {
        const std::string image = data::sqlite::buildImage(demo, demoDay);
        // An unnamed file vanishes with the process; it is given its name only when complete.
        Fd file{::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666)};
        if (file.fd >= 0) {
            writeAll(file.fd, image);
            testStopBeforeNaming();
            const std::string self = "/proc/self/fd/" + std::to_string(file.fd);
            if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, target.c_str(), AT_SYMLINK_FOLLOW) != 0)
                throw std::system_error(errno, std::generic_category(), "link");
        } else if (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL) {
            // A file system without unnamed files: a named one, renamed without replacing.
            fs::path partial = target;
            partial += ".partial-" + std::to_string(::getpid());
            file.fd = ::open(partial.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
            if (file.fd < 0) throw std::system_error(errno, std::generic_category(), partial.string());
            try {
                writeAll(file.fd, image);
                testStopBeforeNaming();
                if (::renameat2(AT_FDCWD, partial.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) != 0)
                    throw std::system_error(errno, std::generic_category(), "rename");
            } catch (...) {
                ::unlink(partial.c_str());
                throw;
            }
        } else {
            throw std::system_error(errno, std::generic_category(), folder.string());
        }
        syncFolder(folder);
    } catch (const common::Error& e) {
        problem("cannot create " + quoted(path) + ": " + e.description());
    } catch (const std::system_error& e) {
        if (e.code() == std::errc::file_exists) problem(quoted(path) + " exists already");
        problem("cannot create " + quoted(path) + ": " + e.code().message());
    }
}

void checkDatabaseFile(const std::string& path) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) problem("no database file " + quoted(path));
    if (fs::file_size(path, ec) == 0 && !ec)
        problem(
            quoted(path) +
            " is empty (0 bytes), not a database: give another --db or make one with payacclink init FILE");
    std::ifstream in(path, std::ios::binary);
    char header[16] = {};
    in.read(header, sizeof header);
    if (!in || std::memcmp(header, "SQLite format 3", 16) != 0)
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

void checkWritable(const std::optional<std::string>& traceFile, const std::string& logFolder) {
    if (traceFile) {
        // Opened as the trace opens it: for appending, created when missing.
        Fd f{::open(traceFile->c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666)};
        if (f.fd < 0)
            problem("cannot write the trace file " + quoted(*traceFile) + " (" + std::strerror(errno) +
                    "): give --trace-sql a file in a writable folder");
    }
    std::error_code ec;
    std::string why;
    if (!fs::is_directory(logFolder, ec))
        why = "no such folder";
    else if (::access(logFolder.c_str(), W_OK | X_OK) != 0)
        why = std::strerror(errno);
    if (!why.empty())
        problem("cannot write the error log in " + quoted(logFolder) + " (" + why +
                "): set PAYACC_LOG_DIR to a writable folder");
}

}  // namespace startup
