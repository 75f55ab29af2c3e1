#pragma once
// A user's session shared by the tests and the benchmarks: template databases made once per
// process, a copy per session, a traced connection and a module with the host's session (user 1
// with every right, company 1, the linking interface, process date 15/10/2026).
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "common/DateTime.h"
#include "data/Connection.h"
#include "data/Trace.h"
#include "entry/Module.h"
#include "ui/Toolkit.h"

namespace testsupport {

// The day the tests' demo data is made on: its payroll falls on 28 August, September and
// October 2026, which the tests' expectations are written against.
inline const common::DateTime kDemoDay = common::DateTime::ymd(2026, 10, 28);
inline constexpr const char* kDemoDayText = "28/10/2026";

// A unique empty folder under the system's temporary folder, removed with the object.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

// Makes a database at `path`: schema, procedures, the demo data (from kDemoDay) if `demo`, `fill`.
void makeDb(const std::string& path, bool demo, const std::function<void(data::Connection&)>& fill = {});

// makeDb's database, made once per process under `name`; sessions that write take a copy.
const std::string& templateDb(const std::string& name, bool demo,
                              const std::function<void(data::Connection&)>& fill = {});
inline const std::string& demoTemplate() { return templateDb("demo", true); }

// Copies a database file (a template) to `to` and returns `to`.
std::string copyDb(const std::string& from, const std::string& to);

// One user's session on a database: the connection, its trace (benchmarks go without, so that
// it does not weigh in the timings) and the module.
struct DemoSession {
    DemoSession(ui::Toolkit& toolkit, const std::string& dbPath, bool traced = true);
    ~DemoSession();
    // A new module on the same connection: the screens load afresh.
    void reopen(ui::Toolkit& toolkit);

    std::string dbPath;
    data::ConnectionPtr raw;
    std::shared_ptr<data::TraceConnection> trace;
    std::unique_ptr<entry::Module> module;
};

}  // namespace testsupport
