#include "data/ErrorLog.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "common/Files.h"

namespace data {

namespace {

std::string& folderOverride() {
    static std::string folder;
    return folder;
}

// The folder of the object this code was loaded from: the plug-in's shared object when the
// host loaded us, else the program itself.
std::string loadedObjectFolder() {
    namespace fs = std::filesystem;
    Dl_info info{};
    std::string path;
    if (dladdr(reinterpret_cast<void*>(&loadedObjectFolder), &info) != 0 && info.dli_fname &&
        std::strchr(info.dli_fname, '/') != nullptr)
        path = info.dli_fname;
    if (path.empty()) {
        std::error_code ec;
        path = fs::read_symlink("/proc/self/exe", ec).string();
    }
    if (path.empty()) return ".";
    std::error_code ec;
    fs::path p = fs::weakly_canonical(fs::path(path), ec);
    if (ec) p = fs::path(path);
    return p.parent_path().string();
}

common::DateTime now() {
    std::time_t t = std::time(nullptr);
    std::tm tm{};
    localtime_r(&t, &tm);
    return common::DateTime{tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec};
}

}  // namespace

std::string componentFolder() {
    if (!folderOverride().empty()) return folderOverride();
    if (const char* env = std::getenv("PAYACC_LOG_DIR"); env && *env) return env;
    // Beside the component only in a folder of the user's own: an installed program's folder
    // (/usr/bin, even for root) is no place for a log.
    const std::string folder = loadedObjectFolder();
    struct stat st {};
    if (folder != "/usr" && folder.rfind("/usr/", 0) != 0 && ::stat(folder.c_str(), &st) == 0 &&
        st.st_uid == ::geteuid() && (st.st_mode & S_IWOTH) == 0 && ::access(folder.c_str(), W_OK) == 0)
        return folder;
    return stateFolder();
}

std::string stateFolder() {
    namespace fs = std::filesystem;
    fs::path base;
    if (const char* xdg = std::getenv("XDG_STATE_HOME"); xdg && *xdg && fs::path(xdg).is_absolute())
        base = xdg;
    else if (const char* home = std::getenv("HOME"); home && *home && fs::path(home).is_absolute())
        base = fs::path(home) / ".local" / "state";
    else
        return {};
    return (base / "payacclink").string();
}

void prepareLogFolder() {
    const std::string folder = componentFolder();
    if (folder.empty())
        throw common::FileError("no folder for it (no PAYACC_LOG_DIR, XDG_STATE_HOME or HOME)");
    if (folder == stateFolder())
        common::makePrivateFolder(folder);
    else
        common::checkPrivateFolder(folder);
}

void setComponentFolder(const std::string& folder) { folderOverride() = folder; }

std::string errorLogPath() {
    const std::string folder = componentFolder();
    return folder.empty() ? std::string() : folder + "/" + kComponentName + "Error.log";
}

bool writeErrorLog(Connection& c, const TableNames& names, const LogEntry& e) {
    // The user name lookup travels inside the table name, as the suite's field lookup takes it.
    const std::string table = names.pusers + " where userid=" + std::to_string(e.userId);
    std::string userName;
    {
        RecordsetPtr rs =
            c.open("select username from " + table, CursorType::ForwardOnly, LockType::ReadOnly);
        if (!rs->eof()) userName = rs->field(0).joinText();
        rs->close();
    }

    std::string line;
    line += e.screen + ":";
    line += std::string(kComponentName) + ":";
    line += std::to_string(e.number) + ":";
    line += e.source + ":";
    line += e.description + ":";
    line += common::generalDate(now()) + ":";
    line += userName + ":";
    line += e.procedure + ":";
    line += e.entryMode + "\r\n";

    const std::string path = errorLogPath();
    try {
        prepareLogFolder();
        struct stat st {};
        if (::lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
            // A log left read-only (or hidden) is made writable again before appending.
            mode_t normal = (st.st_mode & 07777) | S_IWUSR | S_IRUSR;
            if (normal != (st.st_mode & 07777) && ::chmod(path.c_str(), normal) != 0)
                throw common::FileError("cannot write '" + path + "': " + std::strerror(errno));
        }
        common::appendPrivate(path, line);
    } catch (const common::FileError& error) {
        // 75: "Path/File access error", the classic runtime's answer to a file it cannot write.
        common::raise(75, kComponentName, std::string("Path/File access error (") + error.what() + ")");
    }
    return e.number != 0;
}

double GetExchangeRate(Connection& c, int32_t companyId, int16_t first, int16_t second) {
    CommandPtr cmd = c.command("spGetExchangeRate", CommandType::StoredProc);
    cmd->refreshParameters();
    cmd->setParameter(1, Value(static_cast<int64_t>(companyId)));
    cmd->setParameter(2, Value(static_cast<int64_t>(first)));
    cmd->setParameter(3, Value(static_cast<int64_t>(second)));
    cmd->execute();
    const Value& rate = cmd->parameter(4);
    // An empty value reads as 0; a Null one raises "Invalid use of Null" into the caller.
    if (const std::string* s = rate.asText(); s && common::Trim(*s).empty()) return 0;
    return rate.toDouble();
}

}  // namespace data
