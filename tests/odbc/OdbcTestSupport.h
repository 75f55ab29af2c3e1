#pragma once
// The SQLite ODBC driver registered under a name of the tests' own, in an odbcinst.ini the
// tests write themselves: no system configuration is needed.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "../TestSupport.h"

namespace odbctest {

// A driver library in the system's ODBC folder (/usr/lib/<triplet>/odbc), "" when absent.
inline std::string driverPath(const std::string& library) {
    std::error_code ec;
    for (const auto& dir : std::filesystem::directory_iterator("/usr/lib", ec)) {
        auto candidate = dir.path() / "odbc" / library;
        if (std::filesystem::exists(candidate)) return candidate.string();
    }
    return {};
}

inline std::string sqliteDriverPath() {
    if (const char* p = std::getenv("PAYACC_SQLITE_ODBC_DRIVER")) return p;
    std::string found = driverPath("libsqlite3odbc.so");
    return found.empty() ? "/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so" : found;
}

// ODBCSYSINI points the driver manager at the registry. The driver manager reads it, and its
// trace setting, once per process, so it is written before any test runs and the trace (which
// tests read to see what reached the driver) is on throughout.
class Registry {
public:
    static Registry& get() {
        static Registry r;
        return r;
    }
    std::string traceFile() const { return dir_.file("trace.log"); }
    // A connection string for a database file through the registered driver.
    static std::string connectionString(const std::string& database) {
        get();
        return "DRIVER={PayaccSQLite};Database=" + database;
    }

private:
    Registry() {
        std::ofstream ini(dir_.file("odbcinst.ini"));
        ini << "[ODBC]\nTrace=Yes\nTraceFile=" << traceFile() << "\n\n"
            << "[PayaccSQLite]\nDescription=SQLite for the tests\nDriver=" << sqliteDriverPath() << "\n";
        ::setenv("ODBCSYSINI", dir_.path().c_str(), 1);
    }
    testsupport::TempDir dir_;
};

inline const bool registryWritten = (Registry::get(), true);

}  // namespace odbctest
