// payacclink: the suite's stand-in host. It builds the session, sets the seven properties of
// qorPayrollAccounts and calls Show, in a window, or headless from a script.
//
// Each mode is one subcommand: a function that declares it with its options, and a function
// that runs it. main() lists them in one table and dispatches in one place.
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "MonthEndCommands.h"
#include "PostCommand.h"
#include "ReportCommands.h"
#include "StartupCheck.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "common/Files.h"
#include "common/Utf8.h"
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

#ifndef PAYACC_VERSION
#define PAYACC_VERSION "0"
#endif

namespace fs = std::filesystem;

namespace {

// A bad invocation or an unusable database: one line on standard error, status 2.
struct UsageError {
    std::string message;
};

struct Options {
    std::string file;  // the script, or the database to create
    bool demo = false;
    std::string demoDay;  // init --as-of, dd/MM/yyyy
    std::optional<std::string> db, odbc, odbcFile, traceSql;
    bool forWriting = true;  // the mode may save: a read-only or locked database is refused at once
    bool asFound = false;    // not brought up to date: the mode reads a database as it is
    int32_t user = 1, company = 1, interface = 60;
    std::string date, title = "Payroll Accounts Linking", key = entry::kProjectKey;
    app::PrintOptions print;
    app::ExportOptions exportLines;
    monthend::Options monthEnd;
};

std::string today() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return common::formatDate(common::DateTime::ymd(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday),
                              "dd/MM/yyyy");
}

std::optional<common::DateTime> readDate(const std::string& text) {
    static const std::regex shape(R"(\d{1,2}/\d{1,2}/\d{4})");
    std::optional<common::DateTime> d;
    if (std::regex_match(text, shape)) d = common::parseDate(text);
    if (!d || !d->valid()) return std::nullopt;
    return d;
}

// A CLI11 check: "" when the text is a date written dd/MM/yyyy, else why not.
std::string dateCheck(const std::string& text) {
    return readDate(text) ? "" : "needs a date written dd/MM/yyyy, not '" + text + "'";
}

// The day the demo data is dated from: --as-of, else PAYACC_DEMO_DATE, else today.
std::optional<common::DateTime> demoDay(const Options& o) {
    std::string text = o.demoDay;
    if (text.empty())
        if (const char* env = std::getenv("PAYACC_DEMO_DATE"); env && *env) text = env;
    if (text.empty()) return std::nullopt;
    auto d = readDate(text);
    if (!d) throw UsageError{"PAYACC_DEMO_DATE needs a date written dd/MM/yyyy, not '" + text + "'"};
    return d;
}

fs::path demoPath() {
    const char* xdg = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    if (xdg && *xdg) return fs::path(xdg) / "payacclink" / "demo.db";
    if (home && *home) return fs::path(home) / ".local" / "share" / "payacclink" / "demo.db";
    throw UsageError{"no HOME or XDG_DATA_HOME for the demo database; give --db FILE"};
}

// ------------------------------------------------------------------ opening a connection

// Opens a file database, makes sure it reads as one and brings a database of an older
// build up to date.
data::ConnectionPtr openFile(const std::string& path, const Options& o) {
    startup::checkDatabaseFile(path);
    data::sqlite::OpenOptions options;
    options.check = true;
    options.forWriting = o.forWriting;
    // A test hook: the tests need not wait the full busy timeout for a lock they hold.
    if (const char* ms = std::getenv("PAYACC_TEST_BUSY_TIMEOUT_MS"); ms && std::atoi(ms) > 0)
        options.busyTimeoutMs = std::atoi(ms);
    data::ConnectionPtr c;
    try {
        c = data::sqlite::open(path, options);
        c->open("select count(*) from sqlite_master")->close();
    } catch (const data::sqlite::Unusable& e) {
        throw UsageError{e.what()};
    } catch (const std::exception& e) {
        throw UsageError{"cannot open database '" + path + "': " + e.what()};
    }
    // The audit reads a database as it finds it, without the mapping an older build lacks.
    if (o.asFound) return c;
    try {
        data::sqlite::upgrade(*c);
    } catch (const data::sqlite::Unusable& e) {
        throw UsageError{"database '" + path + "' " + e.what()};
    } catch (const std::exception& e) {
        throw UsageError{"database '" + path +
                         "' was made by an older payacclink and cannot be brought up to date (" + e.what() +
                         "); make it writable and start again, or make a new one with: payacclink init FILE"};
    }
    return c;
}

// The demo database, made on first use under the user's data folder.
data::ConnectionPtr openDemo(const Options& o) {
    fs::path path = demoPath();
    if (!fs::exists(path)) {
        try {
            common::makePrivateFolder(path.parent_path().string());
            startup::createDatabase(path.string(), true, demoDay(o));
        } catch (const std::exception& e) {
            // Another copy starting at the same moment may have made it first.
            if (!fs::exists(path))
                throw UsageError{"cannot make the demo database '" + path.string() + "': " + e.what()};
        }
    }
    return openFile(path.string(), o);
}

// The connection string of --odbc-file: a file only its owner may read, since it holds a
// password. Blank lines and lines starting with # are skipped; one line must remain.
std::string readOdbcFile(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0)
        throw UsageError{"cannot read --odbc-file '" + path + "': " + std::strerror(errno)};
    if (!S_ISREG(st.st_mode)) throw UsageError{"--odbc-file '" + path + "' is not a file"};
    if (st.st_uid != ::geteuid() || (st.st_mode & 077) != 0) {
        char mode[8];
        std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(st.st_mode & 07777));
        throw UsageError{"--odbc-file '" + path + "' must be readable by its owner only (it is mode " + mode +
                         (st.st_uid != ::geteuid() ? ", of another user" : "") + "): chmod 600 it"};
    }
    std::ifstream in(path);
    if (!in) throw UsageError{"cannot read --odbc-file '" + path + "': " + std::strerror(errno)};
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t'))
            line.pop_back();
        if (!line.empty() && line.front() != '#') lines.push_back(line);
    }
    if (lines.size() != 1)
        throw UsageError{"--odbc-file '" + path + "' must hold one connection string on one line, not " +
                         std::to_string(lines.size())};
    return lines.front();
}

// The connection string: --odbc, --odbc-file, else PAYACC_ODBC when no --db is given.
std::optional<std::string> odbcConnection(const Options& o) {
    if (o.odbc) return o.odbc;
    if (o.odbcFile) return readOdbcFile(*o.odbcFile);
    if (const char* env = std::getenv("PAYACC_ODBC"); env && *env && !o.db) return std::string(env);
    return std::nullopt;
}

data::ConnectionPtr openConnection(const Options& o) {
    if (const std::optional<std::string> odbc = odbcConnection(o)) {
#ifdef PAYACC_HAVE_ODBC
        try {
            return data::odbc::open(*odbc);
        } catch (const std::exception& e) {
            throw UsageError{std::string("cannot connect: ") + e.what()};
        }
#else
        throw UsageError{"this build has no ODBC support"};
#endif
    }
    return o.db ? openFile(*o.db, o) : openDemo(o);
}

// Everything the screens take for granted, checked before the first one opens.
void checkDatabase(data::Connection& connection, const Options& o) {
    const bool odbc =
        o.odbc || o.odbcFile || (!o.db && std::getenv("PAYACC_ODBC") && *std::getenv("PAYACC_ODBC"));
    const std::string about = odbc   ? std::string("the ODBC database")
                              : o.db ? "'" + *o.db + "'"
                                     : std::string("the demo database");
    startup::checkDatabase(connection, o.company, about, !odbc);
}

// The session connection, traced to a file with --trace-sql. Unchecked, for a command that
// reads any database of ours, whatever its companies.
data::ConnectionPtr sessionConnection(const Options& o, bool checked = true) {
    startup::checkLogFolder();
    data::ConnectionPtr connection = openConnection(o);
    if (checked) checkDatabase(*connection, o);
    if (o.traceSql) {
        auto trace = std::make_shared<data::TraceConnection>(connection);
        try {
            trace->setFile(*o.traceSql);
        } catch (const common::FileError& e) {
            throw UsageError{"cannot write the trace file: " + std::string(e.what()) +
                             "; give --trace-sql a file in a writable folder"};
        }
        connection = trace;
    }
    return connection;
}

// ------------------------------------------------------------------ running a mode

int initDatabase(const Options& o) {
    startup::createDatabase(o.file, o.demo, o.demo ? demoDay(o) : std::nullopt);
    std::cout << "created " << o.file << (o.demo ? " with demo data" : "") << "\n";
    return 0;
}

void setProperties(entry::qorPayrollAccounts& component, const Options& o, data::ConnectionPtr connection) {
    component.setAdocon(std::move(connection));
    component.strProjectKey = o.key;
    component.MsgboxTitle = o.title;
    component.ProcessDate = o.date.empty() ? today() : common::formatDate(*readDate(o.date), "dd/MM/yyyy");
    component.intUserID = o.user;
    component.intCompanyID = o.company;
    component.intInterfaceID = o.interface;
}

// The transcript as it may go to a terminal: each line with its control characters escaped
// (tabs, which separate a dump's columns, kept).
class TerminalLines : public std::streambuf {
public:
    explicit TerminalLines(std::ostream& out) : out_(out) {}
    ~TerminalLines() override { sync(); }

protected:
    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        line_ += traits_type::to_char_type(c);
        if (line_.back() == '\n') sync();
        return c;
    }
    int sync() override {
        if (!line_.empty()) {
            const bool newline = line_.back() == '\n';
            if (newline) line_.pop_back();
            out_ << common::terminalText(line_, "\t") << (newline ? "\n" : "");
            line_.clear();
        }
        out_.flush();
        return out_ ? 0 : -1;
    }

private:
    std::ostream& out_;
    std::string line_;
};

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
        TerminalLines lines(std::cout);
        std::ostream transcript(&lines);
        script::ScriptRunner runner(toolkit, transcript);
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
            std::cerr << "payacclink: error " << e.number() << ": " << common::terminalText(e.description())
                      << "\n";
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

// ------------------------------------------------------------------ the command line

// The session's options, shared by every mode that shows the component.
void addSessionOptions(CLI::App& cmd, Options& o) {
    auto* db = cmd.add_option("--db", o.db, "an embedded database file (default: the demo database)")
                   ->type_name("FILE");
    auto* odbc =
        cmd.add_option("--odbc", o.odbc,
                       "an ODBC connection string instead of --db; every user sees it in the process "
                       "list: keep a password in --odbc-file, PAYACC_ODBC or odbc.ini")
            ->type_name("\"CONNECTION STRING\"");
    auto* odbcFile =
        cmd.add_option("--odbc-file", o.odbcFile,
                       "read the ODBC connection string from FILE, which only its owner may read (chmod 600)")
            ->type_name("FILE");
    db->excludes(odbc);
    db->excludes(odbcFile);
    odbc->excludes(odbcFile);
    cmd.add_option("--user", o.user, "the user id (default 1)")->type_name("N");
    cmd.add_option("--company", o.company, "the company id (default 1)")->type_name("N");
    cmd.add_option("--interface", o.interface, "the interface id (default 60)")->type_name("N");
    cmd.add_option("--date", o.date, "the process date (default today)")
        ->type_name("dd/MM/yyyy")
        ->check(CLI::Validator(dateCheck, "", "date"));
    cmd.add_option("--title", o.title, "the message boxes' title")->type_name("TEXT");
    cmd.add_option("--key", o.key, "the project key (default: the component's own)")->type_name("TEXT");
    cmd.add_option("--trace-sql", o.traceSql, "write every statement and bound value to FILE")
        ->type_name("FILE");
}

CLI::App* addGui(CLI::App& app, Options& o) {
    auto* cmd = app.add_subcommand("gui", "the entry browser in a Qt window (the default mode)");
    addSessionOptions(*cmd, o);
    return cmd;
}

CLI::App* addScript(CLI::App& app, Options& o) {
    auto* cmd = app.add_subcommand("script", "run a script headless, transcript on standard output");
    cmd->add_option("FILE", o.file, "the script (examples: /usr/share/doc/payacclink/examples/)")
        ->type_name("")
        ->required();
    cmd->footer("Exit status: 0 when every expectation held, 1 when one failed, 2 for a bad invocation.");
    addSessionOptions(*cmd, o);
    return cmd;
}

CLI::App* addInit(CLI::App& app, Options& o) {
    auto* cmd = app.add_subcommand(
        "init", "create an embedded database: schema and procedures, demo data with --demo");
    cmd->add_option("FILE", o.file, "the database to create; it must not exist")->type_name("")->required();
    auto* demo = cmd->add_flag("--demo", o.demo, "add the demo companies, payroll, payments and entries");
    cmd->add_option("--as-of", o.demoDay,
                    "date the demo from this day instead of today (also PAYACC_DEMO_DATE): its payroll "
                    "and payments fall in that month and the two before")
        ->type_name("dd/MM/yyyy")
        ->check(CLI::Validator(dateCheck, "", "date"))
        ->needs(demo);
    return cmd;
}

CLI::App* addPrint(CLI::App& app, Options& o) {
    auto* cmd = app.add_subcommand("print", "write an entry's journal voucher as PDF, no display needed");
    cmd->add_option("--entry", o.print.entry, "the entry number, e.g. PAL/12")
        ->type_name("TRANSNO")
        ->required();
    cmd->add_option("--pdf", o.print.pdf, "the PDF to write (default: the entry number, e.g. PAL-12.pdf)")
        ->type_name("FILE");
    cmd->footer(
        "Needs the Print (\"P\") right of the session user. Exit status 2 for an unknown entry or a file "
        "that cannot be written.");
    addSessionOptions(*cmd, o);
    return cmd;
}

CLI::App* addPost(CLI::App& app, Options& o, post::PostOptions& p) {
    auto* cmd = app.add_subcommand(
        "post", "post every department's entry of a type and date range, headless, as a user would");
    post::addPostOptions(*cmd, p);
    addSessionOptions(*cmd, o);
    return cmd;
}

CLI::App* addExport(CLI::App& app, Options& o) {
    auto* cmd =
        app.add_subcommand("export", "write the posting lines of the entries dated in a range as CSV");
    cmd->add_option("--from", o.exportLines.from, "the first entry date")
        ->type_name("dd/MM/yyyy")
        ->required();
    cmd->add_option("--to", o.exportLines.to, "the last entry date")->type_name("dd/MM/yyyy")->required();
    cmd->add_option("--csv", o.exportLines.csv, "the CSV file to write (default: standard output)")
        ->type_name("FILE");
    cmd->add_flag("--include-cancelled", o.exportLines.includeCancelled,
                  "also the lines of cancelled entries");
    cmd->add_flag("--raw", o.exportLines.raw,
                  "texts exactly as stored: without it a text that begins with = + - @, a tab or a carriage "
                  "return gets a leading ' so that a spreadsheet does not run it as a formula");
    cmd->footer(
        "Needs the Print (\"P\") right of the session user. Exit status 2 for an empty range or a file "
        "that cannot be written.");
    addSessionOptions(*cmd, o);
    return cmd;
}

CLI::App* withSession(CLI::App* cmd, Options& o) {
    addSessionOptions(*cmd, o);
    return cmd;
}

int runPost(const Options& o, const post::PostOptions& p) {
    browser::PostSession s;
    s.connection = sessionConnection(o);
    s.userId = o.user;
    s.companyId = o.company;
    s.interfaceId = o.interface;
    s.msgTitle = o.title;
    s.projectKey = o.key;
    s.processDate = o.date.empty() ? today() : common::formatDate(*readDate(o.date), "dd/MM/yyyy");
    return post::runPost(p, std::move(s));
}

std::string mainFooter() {
    std::string log;
    try {
        log = data::errorLogPath();
    } catch (...) {
    }
    return "Without a mode the program starts in gui mode; `payacclink MODE --help` shows a mode's options.\n"
           "\n"
           "Files:\n"
           "  demo database   $XDG_DATA_HOME/payacclink/demo.db (default "
           "~/.local/share/payacclink/demo.db),\n"
           "                  made on first use when neither --db nor --odbc is given\n"
           "  error log       QORPayAccLinkingError.log in $PAYACC_LOG_DIR, else beside the program when\n"
           "                  its folder is the user's own (never under /usr), else in\n"
           "                  $XDG_STATE_HOME/payacclink/ (default ~/.local/state/payacclink/);\n"
           "                  here: " +
           (log.empty() ? std::string("none (no HOME)") : log) +
           "\n"
           "\n"
           "Environment:\n"
           "  PAYACC_PROCEDURE_DIR  a folder of NAME.sql procedures used instead of the built-in ones\n"
           "  PAYACC_DEMO_DATE      dd/MM/yyyy: the day new demo data is dated from (default today)\n"
           "  PAYACC_LOG_DIR        the folder of the error log (a folder of your own)\n"
           "  PAYACC_ODBC           the ODBC connection string when neither --db, --odbc nor --odbc-file is "
           "given\n"
           "\n"
           "The files the program makes (databases, PDFs, CSVs, traces, the log) are readable by\n"
           "their owner only; a file it replaces keeps its mode.\n";
}

// CLI11's messages can run over several lines; the host's errors are always one.
std::string oneLine(std::string text) {
    for (char& c : text)
        if (c == '\n') c = ' ';
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

// Overwrites the value of --odbc in the program's own arguments once read, so that the
// password it may hold stays in the process list for the moment of the start only.
void hideConnectionString(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        char* value = nullptr;
        if (std::strcmp(argv[i], "--odbc") == 0 && i + 1 < argc)
            value = argv[i + 1];
        else if (std::strncmp(argv[i], "--odbc=", 7) == 0)
            value = argv[i] + 7;
        if (value != nullptr) std::memset(value, 'x', std::strlen(value));
    }
}

// The exit status once what was printed has arrived: a full disk or a closed pipe on
// standard output is a failure too.
int checkedExit(int status) {
    std::cout.flush();
    const bool unflushed = std::fflush(stdout) != 0;
    const int error = errno;
    if (unflushed || std::ferror(stdout) || !std::cout) {
        std::cerr << "payacclink: cannot write to standard output"
                  << (unflushed ? std::string(": ") + std::strerror(error) : std::string()) << "\n";
        return 2;
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    post::PostOptions postOptions;
    CLI::App app{"payacclink: links processed payroll and payments to accounting entries", "payacclink"};
    app.set_version_flag("--version", "payacclink " PAYACC_VERSION);
    app.footer(mainFooter);
    app.require_subcommand(0, 1);
    // Without a mode the session options belong to gui.
    addSessionOptions(app, o);

    // One row per mode: its subcommand and what it runs. A new mode adds an add* function
    // above and a row here.
    struct Mode {
        CLI::App* command;
        std::function<int()> run;
    };
    const std::vector<Mode> modes = {
        {addGui(app, o), [&] { return runGui(argc, argv, o, sessionConnection(o)); }},
        {addScript(app, o),
         [&] {
             if (!fs::is_regular_file(o.file)) throw UsageError{"no script file '" + o.file + "'"};
             return runScript(o, sessionConnection(o));
         }},
        {addInit(app, o), [&] { return initDatabase(o); }},
        {addPrint(app, o),
         [&] {
             return app::runPrint(o.print, {sessionConnection(o), o.user, o.company, o.interface});
         }},
        {addExport(app, o),
         [&] {
             return app::runExport(o.exportLines, {sessionConnection(o), o.user, o.company, o.interface});
         }},
        {addPost(app, o, postOptions), [&] { return runPost(o, postOptions); }},
        {withSession(monthend::addStatus(app, o.monthEnd), o),
         [&] {
             return monthend::runStatus(o.monthEnd, *sessionConnection(o), o.company, o.user, o.interface);
         }},
        {withSession(monthend::addAudit(app, o.monthEnd), o),
         [&] {
             o.asFound = true;
             return monthend::runAudit(o.monthEnd, *sessionConnection(o, false), o.interface);
         }},
        {withSession(monthend::addTrace(app, o.monthEnd), o),
         [&] {
             return monthend::runTrace(o.monthEnd, *sessionConnection(o), o.company, o.user, o.interface);
         }},
    };

    int status = 2;
    try {
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& e) {
            // --help (the chosen mode's help) and --version: printed by CLI11, status 0.
            if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
                return checkedExit(app.exit(e));
            throw UsageError{oneLine(e.what())};
        }
        hideConnectionString(argc, argv);
        const Mode* chosen = &modes.front();
        for (const Mode& mode : modes)
            if (mode.command->parsed()) chosen = &mode;
        // Reports only read; every other mode may save, and must be able to.
        const std::string name = chosen->command->get_name();
        o.forWriting =
            name != "print" && name != "export" && name != "status" && name != "audit" && name != "trace";
        status = chosen->run();
    } catch (const UsageError& e) {
        std::cerr << "payacclink: " << common::terminalText(e.message) << "\n";
    } catch (const common::Error& e) {
        std::cerr << "payacclink: error " << e.number() << ": " << common::terminalText(e.description())
                  << "\n";
    } catch (const std::exception& e) {
        std::cerr << "payacclink: " << common::terminalText(e.what()) << "\n";
    }
    return checkedExit(status);
}
