// payacclink: the suite's stand-in host. It builds the session, sets the seven properties of
// qorPayrollAccounts and calls Show, in a window, or headless from a script.
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "StartupCheck.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "data/ErrorLog.h"
#include "data/Trace.h"
#include "data/sqlite/SqliteConnection.h"
#include "entry/Module.h"
#include "entry/qorPayrollAccounts.h"
#include "script/ScriptRunner.h"
#include "ui/Headless.h"

#ifdef PAYACC_HAVE_QT
#include "qt/QtFrontEnd.h"
#endif
#ifdef PAYACC_HAVE_ODBC
#include "data/odbc/OdbcConnection.h"
#endif

namespace fs = std::filesystem;

namespace {

const char* const kUsage =
    "usage: payacclink [gui] [options] | payacclink script FILE [options] | payacclink init FILE [--demo]\n"
    "options: --db FILE | --odbc \"CONNECTION STRING\"  --user N --company N --interface N\n"
    "         --date dd/MM/yyyy --title TEXT --key TEXT --trace-sql FILE\n";

// A bad invocation or an unusable database: one line on standard error, status 2.
struct UsageError {
    std::string message;
};

struct Options {
    std::string mode = "gui";
    std::string file;  // the script, or the database to create
    bool demo = false;
    std::optional<std::string> db, odbc, traceSql;
    int32_t user = 1, company = 1, interface = 60;
    std::string date, title = "Payroll Accounts Linking", key = entry::kProjectKey;
};

int32_t parseNumber(const std::string& option, const std::string& text) {
    int32_t v = 0;
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec != std::errc() || p != text.data() + text.size() || text.empty())
        throw UsageError{option + " needs a whole number, not '" + text + "'"};
    return v;
}

std::string today() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return common::formatDate(common::DateTime::ymd(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday),
                              "dd/MM/yyyy");
}

std::string checkedDate(const std::string& text) {
    static const std::regex shape(R"(\d{1,2}/\d{1,2}/\d{4})");
    std::optional<common::DateTime> d;
    if (std::regex_match(text, shape)) d = common::parseDate(text);
    if (!d || !d->valid()) throw UsageError{"--date needs a date written dd/MM/yyyy, not '" + text + "'"};
    return common::formatDate(*d, "dd/MM/yyyy");
}

Options parseArguments(int argc, char** argv) {
    Options o;
    std::vector<std::string> args(argv + 1, argv + argc);
    size_t i = 0;
    if (i < args.size() && (args[i] == "gui" || args[i] == "script" || args[i] == "init")) {
        o.mode = args[i++];
        if (o.mode != "gui") {
            if (i >= args.size() || args[i].rfind("--", 0) == 0) throw UsageError{o.mode + " needs a FILE"};
            o.file = args[i++];
        }
    }
    auto value = [&](const std::string& option) {
        if (i >= args.size()) throw UsageError{option + " needs a value"};
        return args[i++];
    };
    while (i < args.size()) {
        std::string a = args[i++];
        if (o.mode == "init") {
            if (a == "--demo")
                o.demo = true;
            else
                throw UsageError{"init takes only --demo, not '" + a + "'"};
            continue;
        }
        if (a == "--db")
            o.db = value(a);
        else if (a == "--odbc")
            o.odbc = value(a);
        else if (a == "--user")
            o.user = parseNumber(a, value(a));
        else if (a == "--company")
            o.company = parseNumber(a, value(a));
        else if (a == "--interface")
            o.interface = parseNumber(a, value(a));
        else if (a == "--date")
            o.date = checkedDate(value(a));
        else if (a == "--title")
            o.title = value(a);
        else if (a == "--key")
            o.key = value(a);
        else if (a == "--trace-sql")
            o.traceSql = value(a);
        else if (a == "--help" || a == "-h")
            throw UsageError{"help"};
        else
            throw UsageError{"unknown option '" + a + "'"};
    }
    if (o.db && o.odbc) throw UsageError{"--db and --odbc exclude each other"};
    if (o.date.empty()) o.date = today();
    return o;
}

// Opens a file database and makes sure it reads as one.
data::ConnectionPtr openFile(const std::string& path) {
    startup::checkDatabaseFile(path);
    try {
        auto c = data::sqlite::open(path);
        c->open("select count(*) from sqlite_master")->close();
        return c;
    } catch (const std::exception& e) {
        throw UsageError{"cannot open database '" + path + "': " + e.what()};
    }
}

// The demo database, made on first use under the user's data folder.
data::ConnectionPtr openDemo() {
    const char* xdg = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    fs::path base;
    if (xdg && *xdg)
        base = xdg;
    else if (home && *home)
        base = fs::path(home) / ".local" / "share";
    else
        throw UsageError{"no HOME or XDG_DATA_HOME for the demo database; give --db FILE"};
    fs::path path = base / "payacclink" / "demo.db";
    if (!fs::exists(path)) {
        try {
            fs::create_directories(path.parent_path());
            startup::createDatabase(path.string(), true);
        } catch (const std::exception& e) {
            // Another copy starting at the same moment may have made it first.
            if (!fs::exists(path))
                throw UsageError{"cannot make the demo database '" + path.string() + "': " + e.what()};
        }
    }
    return openFile(path.string());
}

data::ConnectionPtr openConnection(const Options& o) {
    if (o.odbc) {
#ifdef PAYACC_HAVE_ODBC
        try {
            return data::odbc::open(*o.odbc);
        } catch (const std::exception& e) {
            throw UsageError{std::string("cannot connect: ") + e.what()};
        }
#else
        throw UsageError{"this build has no ODBC support"};
#endif
    }
    return o.db ? openFile(*o.db) : openDemo();
}

int initDatabase(const Options& o) {
    startup::createDatabase(o.file, o.demo);
    std::cout << "created " << o.file << (o.demo ? " with demo data" : "") << "\n";
    return 0;
}

// Everything the screens take for granted, checked before the first one opens.
void checkDatabase(data::Connection& connection, const Options& o) {
    const std::string about = o.odbc ? std::string("the ODBC database")
                              : o.db ? "'" + *o.db + "'"
                                     : std::string("the demo database");
    startup::checkDatabase(connection, o.company, about, !o.odbc);
    startup::checkWritable(o.traceSql, data::componentFolder());
}

void setProperties(entry::qorPayrollAccounts& component, const Options& o, data::ConnectionPtr connection) {
    component.setAdocon(std::move(connection));
    component.strProjectKey = o.key;
    component.MsgboxTitle = o.title;
    component.ProcessDate = o.date;
    component.intUserID = o.user;
    component.intCompanyID = o.company;
    component.intInterfaceID = o.interface;
}

int runScript(const Options& o, data::ConnectionPtr connection) {
    std::ifstream file(o.file);
    if (!file) throw UsageError{"cannot read script '" + o.file + "'"};
    // expect-sql reads the statements, so a script always runs on a traced connection.
    auto trace = std::dynamic_pointer_cast<data::TraceConnection>(connection);
    if (!trace) {
        trace = std::make_shared<data::TraceConnection>(connection);
        connection = trace;
    }
    ui::HeadlessToolkit toolkit;
    int status;
    {
        entry::Module module(toolkit);
        entry::qorPayrollAccounts component(module);
        setProperties(component, o, connection);
        script::ScriptRunner runner(toolkit, std::cout);
        runner.setTrace(trace.get());
        status = runner.run(file, [&] { component.Show(); });
    }
    return status;
}

int runGui(int argc, char** argv, const Options& o, data::ConnectionPtr connection) {
#ifdef PAYACC_HAVE_QT
    if (!qtui::displayAvailable())
        throw UsageError{"no display to open a window on; run it under a virtual one: xvfb-run payacclink"};
    bool failed = false;
    int status = qtui::runApplication(argc, argv, [&](ui::Toolkit& toolkit) {
        entry::Module module(toolkit);
        entry::qorPayrollAccounts component(module);
        setProperties(component, o, connection);
        // Show has no handler of its own: a failure reaches the host, which reports it.
        try {
            component.Show();
        } catch (const common::Error& e) {
            std::cerr << "payacclink: error " << e.number() << ": " << e.description() << "\n";
            failed = true;
        }
        module.collect();
    });
    return failed ? 1 : status;
#else
    (void)argc;
    (void)argv;
    (void)o;
    (void)connection;
    throw UsageError{"this build has no window front end; run a script: payacclink script FILE"};
#endif
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Options o = parseArguments(argc, argv);
        if (o.mode == "init") return initDatabase(o);
        if (o.mode == "script" && !fs::is_regular_file(o.file))
            throw UsageError{"no script file '" + o.file + "'"};
        data::ConnectionPtr connection = openConnection(o);
        checkDatabase(*connection, o);
        if (o.traceSql) {
            auto trace = std::make_shared<data::TraceConnection>(connection);
            trace->setFile(*o.traceSql);
            connection = trace;
        }
        if (o.mode == "script") return runScript(o, connection);
        return runGui(argc, argv, o, connection);
    } catch (const UsageError& e) {
        if (e.message == "help") {
            std::cout << kUsage;
            return 0;
        }
        std::cerr << "payacclink: " << e.message << "\n";
        return 2;
    } catch (const common::Error& e) {
        std::cerr << "payacclink: error " << e.number() << ": " << e.description() << "\n";
        return 2;
    } catch (const std::exception& e) {
        std::cerr << "payacclink: " << e.what() << "\n";
        return 2;
    }
}
