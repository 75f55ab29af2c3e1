#include "support/DemoSession.h"

#include <cstdlib>
#include <map>
#include <stdexcept>

#include "data/sqlite/SqliteConnection.h"

namespace testsupport {

TempDir::TempDir() {
    std::string name = (std::filesystem::temp_directory_path() / "payacc-test-XXXXXX").string();
    if (!::mkdtemp(name.data())) throw std::runtime_error("cannot make a temporary folder in " + name);
    path_ = name;
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

void makeDb(const std::string& path, bool demo, const std::function<void(data::Connection&)>& fill) {
    data::sqlite::OpenOptions o;
    o.create = true;
    auto c = data::sqlite::open(path, o);
    data::sqlite::initialise(*c, demo, kDemoDay);
    if (fill) fill(*c);
}

const std::string& templateDb(const std::string& name, bool demo,
                              const std::function<void(data::Connection&)>& fill) {
    static TempDir dir;  // removed when the process exits
    static std::map<std::string, std::string> made;
    auto it = made.find(name);
    if (it != made.end()) return it->second;
    const std::string path = dir.file(name + ".db");
    makeDb(path, demo, fill);
    return made.emplace(name, path).first->second;
}

std::string copyDb(const std::string& from, const std::string& to) {
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
    return to;
}

DemoSession::DemoSession(ui::Toolkit& toolkit, const std::string& path, bool traced) : dbPath(path) {
    raw = data::sqlite::open(dbPath);
    if (traced) trace = std::make_shared<data::TraceConnection>(raw);
    reopen(toolkit);
}

DemoSession::~DemoSession() { module.reset(); }

void DemoSession::reopen(ui::Toolkit& toolkit) {
    module.reset();
    module = std::make_unique<entry::Module>(toolkit);
    auto& s = module->session;
    s.connection = trace ? data::ConnectionPtr(trace) : raw;
    s.userId = 1;
    s.companyId = 1;
    s.interfaceId = 60;
    s.msgTitle = "Payroll Accounts Linking";
    s.processDate = "15/10/2026";
}

}  // namespace testsupport
