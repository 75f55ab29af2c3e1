#pragma once
// Shared test fixture: a fresh embedded database (schema, procedures, demo data) in a
// temporary folder, a traced session connection, the headless toolkit and one module.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "data/ErrorLog.h"
#include "data/Trace.h"
#include "data/sqlite/SqliteConnection.h"
#include "entry/Module.h"
#include "ui/Headless.h"

namespace testsupport {

// A unique empty folder under the system's temporary folder, removed with the object.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::filesystem::path& path() const { return path_; }
    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

inline TempDir::TempDir() {
    auto base = std::filesystem::temp_directory_path();
    static int counter = 0;
    for (;;) {
        auto p = base / ("payacc-test-" + std::to_string(::getpid()) + "-" + std::to_string(++counter));
        if (std::filesystem::create_directory(p)) {
            path_ = p;
            break;
        }
    }
}
inline TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

// The day the tests' demo data is made on: its payroll falls on 28 August, September and
// October 2026, which the tests' expectations are written against.
inline const common::DateTime kDemoDay = common::DateTime::ymd(2026, 10, 28);
inline constexpr const char* kDemoDayText = "28/10/2026";

// A database made once per test binary (schema + demo) and copied for each test, so each
// test starts from the same data quickly.
inline std::string demoTemplate() {
    static TempDir dir;  // removed when the test binary exits
    static std::string path;
    if (path.empty()) {
        path = dir.file("demo-template.db");
        data::sqlite::OpenOptions o;
        o.create = true;
        auto c = data::sqlite::open(path, o);
        data::sqlite::initialise(*c, true, kDemoDay);
    }
    return path;
}

class ModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        dbPath = tmp.file("test.db");
        std::filesystem::copy_file(demoTemplate(), dbPath);
        raw = data::sqlite::open(dbPath);
        trace = std::make_shared<data::TraceConnection>(raw);
        data::setComponentFolder(tmp.path().string());
        module = std::make_unique<entry::Module>(toolkit);
        module->session.connection = trace;
        module->session.userId = 1;
        module->session.companyId = 1;
        module->session.interfaceId = 60;
        module->session.msgTitle = "Payroll Accounts Linking";
        module->session.processDate = "15/10/2026";
    }
    void TearDown() override { module.reset(); }

    // Runs a query on the raw connection and returns the first column of the first row.
    common::Value scalar(const std::string& sql) {
        auto rs = raw->open(sql);
        return rs->eof() ? common::Value() : rs->field(0);
    }

    TempDir tmp;
    std::string dbPath;
    data::ConnectionPtr raw;
    std::shared_ptr<data::TraceConnection> trace;
    ui::HeadlessToolkit toolkit;
    std::unique_ptr<entry::Module> module;
};

}  // namespace testsupport
