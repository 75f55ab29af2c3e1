#include "data/sqlite/SqliteConnection.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <unordered_map>
#include <unordered_set>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "data/Trace.h"
#include "data/sqlite/FileChecks.h"
#include "data/sqlite/Migrations.h"
#include "data/sqlite/ProcedureCatalog.h"
#include "data/sqlite/Resources.h"
#include "data/sqlite/TsqlAdapter.h"

namespace data::sqlite {

namespace {

using common::Value;

[[noreturn]] void fail(const std::string& message) {
    common::raise(common::err::Database, kErrorSource, message);
}

bool declaredDate(const char* decl) { return decl && common::ContainsNoCase(decl, "DATE"); }

// "YYYY-MM-DD" or "YYYY-MM-DD HH:MM:SS": how dates are stored, so an expression column (a
// max(), an isnull()) holding one is read back as a date too.
bool looksIso(std::string_view s) {
    auto d = [&](size_t i) { return i < s.size() && s[i] >= '0' && s[i] <= '9'; };
    if (s.size() != 10 && s.size() != 19) return false;
    if (!(d(0) && d(1) && d(2) && d(3) && s[4] == '-' && d(5) && d(6) && s[7] == '-' && d(8) && d(9)))
        return false;
    if (s.size() == 19 &&
        !(s[10] == ' ' && d(11) && d(12) && s[13] == ':' && d(14) && d(15) && s[16] == ':' && d(17) && d(18)))
        return false;
    return true;
}

// A write spelled with its keys ("update ... set mppPosted=1 where ... mppProcessID=42") as
// the same statement with "?" for each whole-number literal and the numbers as its values, so
// that a save's thousands of flag updates share one prepared statement. Only writes: a select's
// column names follow its text. Empty when there is nothing to take out.
std::string keyedWrite(std::string_view sql, std::vector<Value>& numbers) {
    size_t start = sql.find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos) return {};
    const std::string verb = common::LCase(std::string(sql.substr(start, 6)));
    if (verb != "update" && verb != "delete") return {};
    auto word = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '@' || c == '.';
    };
    std::string out;
    for (size_t i = 0; i < sql.size();) {
        const char c = sql[i];
        if (c == ';' || (c == '-' && i + 1 < sql.size() && sql[i + 1] == '-') || c == '/') return {};
        if (c == '\'' || c == '[' || c == '"') {
            const char close = c == '[' ? ']' : c;
            size_t end = sql.find(close, i + 1);
            while (end != std::string_view::npos && close == '\'' && end + 1 < sql.size() &&
                   sql[end + 1] == '\'')
                end = sql.find(close, end + 2);
            if (end == std::string_view::npos) return {};
            out.append(sql.substr(i, end + 1 - i));
            i = end + 1;
        } else if (std::isdigit(static_cast<unsigned char>(c)) && (i == 0 || !word(sql[i - 1]))) {
            size_t end = i;
            while (end < sql.size() && std::isdigit(static_cast<unsigned char>(sql[end]))) ++end;
            if ((end < sql.size() && word(sql[end])) || end - i > 18) {
                out.append(sql.substr(i, end - i));
            } else {
                numbers.emplace_back(static_cast<int64_t>(std::stoll(std::string(sql.substr(i, end - i)))));
                out += '?';
            }
            i = end;
        } else {
            out += c;
            ++i;
        }
    }
    return numbers.empty() ? std::string() : out;
}

class SqliteConnection;

// Resets a statement whatever happens, so it can be used again and never holds a read lock.
struct ResetGuard {
    sqlite3_stmt* st;
    ~ResetGuard() {
        if (st) {
            sqlite3_reset(st);
            sqlite3_clear_bindings(st);
        }
    }
};

class SqliteConnection : public Connection, public std::enable_shared_from_this<SqliteConnection> {
public:
    SqliteConnection(sqlite3* db, std::string procedureDir)
        : db_(db),
          catalog_(std::move(procedureDir)),
          adapter_([this](const std::string& column) { return dateColumns_.count(column) > 0; }) {}
    ~SqliteConnection() override {
        clearCache();
        sqlite3_close_v2(db_);
    }

    bool isOpen() const override { return true; }

    long execute(const std::string& sql) override {
        long changes = -1;
        std::vector<Value> numbers;
        if (std::string keyed = keyedWrite(sql, numbers); !keyed.empty())
            runText(keyed, numbers, &changes);
        else
            runText(sql, {}, &changes);
        return changes;
    }

    RecordsetPtr open(const std::string& sql, CursorType, LockType) override {
        return runText(sql, {}, nullptr);
    }

    CommandPtr command(const std::string& text, CommandType type) override;

    void beginTrans() override {
        if (!sqlite3_get_autocommit(db_)) fail("A transaction is already open on this connection.");
        // A writer takes the write lock at once, so it waits (busy timeout) rather than failing
        // half-way when another program writes at the same time.
        exec("BEGIN IMMEDIATE");
    }
    void commitTrans() override { exec("COMMIT"); }
    void rollbackTrans() override {
        // SQLite may already have rolled back on a failed statement (a full disk, an I/O error).
        if (!sqlite3_get_autocommit(db_)) exec("ROLLBACK");
    }
    bool inTransaction() const override { return !sqlite3_get_autocommit(db_); }

    // Runs a script of SQLite statements as written (schema and demo data).
    void runScript(const std::string& sql, const std::string& what) {
        char* err = nullptr;
        if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
            std::string msg = err ? err : sqlite3_errmsg(db_);
            sqlite3_free(err);
            if (!sqlite3_get_autocommit(db_)) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
            fail(what + ": " + msg);
        }
        schemaChanged();
    }

    // The whole database as the bytes of its file.
    std::string image() const {
        sqlite3_int64 size = 0;
        unsigned char* bytes = sqlite3_serialize(db_, "main", &size, 0);
        if (bytes == nullptr) fail("The database could not be copied out of memory.");
        std::string out(reinterpret_cast<const char*>(bytes), static_cast<size_t>(size));
        sqlite3_free(bytes);
        return out;
    }

    // A text statement (or an exec of a procedure) with positional values for its "?".
    RecordsetPtr runText(const std::string& sql, const std::vector<Value>& args, long* changes);
    // A procedure called through a command: parameters as refreshed, outputs set after.
    RecordsetPtr runProcedure(const std::string& name, std::vector<Parameter>& params);
    std::vector<Parameter> describeProcedure(const std::string& name);
    std::vector<Parameter> describeText(const std::string& sql);

private:
    struct Cached {
        AdaptedStatement adapted;
        sqlite3_stmt* stmt = nullptr;  // null for exec and for texts of several statements
        bool multiple = false;
    };

    [[noreturn]] void failDb() const { fail(sqlite3_errmsg(db_)); }

    void exec(const char* sql) {
        if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) failDb();
    }

    void clearCache() {
        for (auto& [text, c] : cache_) sqlite3_finalize(c->stmt);
        cache_.clear();
        for (auto& [name, st] : procStatements_) sqlite3_finalize(st);
        procStatements_.clear();
    }

public:
    void schemaChanged() {
        clearCache();
        loadDateColumns();
    }

private:
    // Columns declared with a date type anywhere in the schema, by name: the adapter turns
    // the suite's date texts into ISO text where they meet one of them.
    void loadDateColumns() {
        dateColumns_.clear();
        sqlite3_stmt* tables = nullptr;
        if (sqlite3_prepare_v2(db_, "select name from sqlite_schema where type in ('table','view')", -1,
                               &tables, nullptr) != SQLITE_OK)
            failDb();
        std::vector<std::string> names;
        while (sqlite3_step(tables) == SQLITE_ROW)
            names.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(tables, 0)));
        sqlite3_finalize(tables);
        for (const std::string& t : names) {
            sqlite3_stmt* info = nullptr;
            std::string q = "select name, type from pragma_table_info(?)";
            if (sqlite3_prepare_v2(db_, q.c_str(), -1, &info, nullptr) != SQLITE_OK) failDb();
            sqlite3_bind_text(info, 1, t.c_str(), -1, SQLITE_TRANSIENT);
            while (sqlite3_step(info) == SQLITE_ROW) {
                auto type = reinterpret_cast<const char*>(sqlite3_column_text(info, 1));
                if (declaredDate(type))
                    dateColumns_.insert(
                        common::LCase(reinterpret_cast<const char*>(sqlite3_column_text(info, 0))));
            }
            sqlite3_finalize(info);
        }
    }

    Cached& prepare(const std::string& sql) {
        if (auto it = cache_.find(sql); it != cache_.end()) return *it->second;
        // Statements built by concatenation differ in every value; keep the cache bounded.
        if (cache_.size() >= 512) clearCache();
        auto c = std::make_unique<Cached>();
        c->adapted = adapter_.adapt(sql);
        if (!c->adapted.isExec) {
            const char* tail = nullptr;
            if (sqlite3_prepare_v3(db_, c->adapted.sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &c->stmt,
                                   &tail) != SQLITE_OK)
                failDb();
            if (!c->stmt) fail("The statement is empty.");
            std::string_view rest = tail ? tail : "";
            if (rest.find_first_not_of(" \t\r\n;") != std::string_view::npos) {
                sqlite3_finalize(c->stmt);
                c->stmt = nullptr;
                c->multiple = true;
            }
        }
        return *cache_.emplace(sql, std::move(c)).first->second;
    }

    void bind(sqlite3_stmt* st, int index, const Value& v, bool dateColumn) {
        int rc = SQLITE_OK;
        switch (v.type()) {
            case Value::Type::Null:
                rc = sqlite3_bind_null(st, index);
                break;
            case Value::Type::Integer:
                rc = sqlite3_bind_int64(st, index, *v.asInteger());
                break;
            case Value::Type::Double:
                rc = sqlite3_bind_double(st, index, *v.asDouble());
                break;
            case Value::Type::Text: {
                const std::string& s = *v.asText();
                if (dateColumn) {
                    if (auto d = common::parseDate(s)) {
                        std::string iso = common::isoDate(*d);
                        rc = sqlite3_bind_text(st, index, iso.c_str(), static_cast<int>(iso.size()),
                                               SQLITE_TRANSIENT);
                        break;
                    }
                }
                rc = sqlite3_bind_text(st, index, s.c_str(), static_cast<int>(s.size()), SQLITE_TRANSIENT);
                break;
            }
            case Value::Type::Date: {
                std::string iso = common::isoDate(*v.asDate());
                rc =
                    sqlite3_bind_text(st, index, iso.c_str(), static_cast<int>(iso.size()), SQLITE_TRANSIENT);
                break;
            }
        }
        if (rc != SQLITE_OK) failDb();
    }

    Value columnValue(sqlite3_stmt* st, int i, bool dateDecl, bool noDecl) {
        switch (sqlite3_column_type(st, i)) {
            case SQLITE_INTEGER:
                return Value(static_cast<int64_t>(sqlite3_column_int64(st, i)));
            case SQLITE_FLOAT:
                return Value(sqlite3_column_double(st, i));
            case SQLITE_NULL:
                return Value();
            default: {
                const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(st, i));
                std::string s = text ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(st, i)))
                                     : std::string();
                if (dateDecl || (noDecl && looksIso(s))) {
                    if (auto d = common::parseDate(s)) return Value(*d);
                }
                return Value(std::move(s));
            }
        }
    }

    // Steps a bound statement to its end, collecting its rows.
    RecordsetPtr collect(sqlite3_stmt* st, long* changes) {
        ResetGuard guard{st};
        int n = sqlite3_column_count(st);
        std::vector<std::string> names;
        std::vector<bool> dateDecl, noDecl;
        for (int i = 0; i < n; ++i) {
            names.emplace_back(sqlite3_column_name(st, i));
            const char* decl = sqlite3_column_decltype(st, i);
            dateDecl.push_back(declaredDate(decl));
            noDecl.push_back(decl == nullptr);
        }
        std::vector<std::vector<Value>> rows;
        for (;;) {
            int rc = sqlite3_step(st);
            if (rc == SQLITE_DONE) break;
            if (rc != SQLITE_ROW) failDb();
            std::vector<Value> row;
            row.reserve(static_cast<size_t>(n));
            for (int i = 0; i < n; ++i)
                row.push_back(
                    columnValue(st, i, dateDecl[static_cast<size_t>(i)], noDecl[static_cast<size_t>(i)]));
            rows.push_back(std::move(row));
        }
        if (changes)
            *changes = n == 0 && !sqlite3_stmt_readonly(st) ? static_cast<long>(sqlite3_changes64(db_)) : -1;
        auto rs = std::make_unique<Recordset>(std::move(names), std::move(rows));
        if (n == 0) rs->close();  // a statement without columns gives a closed recordset
        return rs;
    }

    RecordsetPtr runMultiple(const std::string& sql, long* changes) {
        RecordsetPtr first;
        const char* rest = sql.c_str();
        while (rest && *rest) {
            sqlite3_stmt* st = nullptr;
            const char* tail = nullptr;
            if (sqlite3_prepare_v2(db_, rest, -1, &st, &tail) != SQLITE_OK) failDb();
            rest = tail;
            if (!st) continue;
            std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> owner(st, sqlite3_finalize);
            RecordsetPtr rs = collect(st, changes);
            if (!first && rs->fieldCount() > 0) first = std::move(rs);
        }
        if (!first) {
            first = std::make_unique<Recordset>();
            first->close();
        }
        return first;
    }

    RecordsetPtr callProcedure(const Procedure& proc, const std::vector<Value>& values,
                               std::vector<Value>* outputs);

    sqlite3* db_;
    ProcedureCatalog catalog_;
    std::unordered_set<std::string> dateColumns_;
    TsqlAdapter adapter_;
    std::unordered_map<std::string, std::unique_ptr<Cached>> cache_;
    std::unordered_map<std::string, sqlite3_stmt*> procStatements_;
};

RecordsetPtr SqliteConnection::runText(const std::string& sql, const std::vector<Value>& args,
                                       long* changes) {
    Cached& c = prepare(sql);
    if (c.adapted.isExec) {
        const Procedure& proc = catalog_.find(c.adapted.procedure);
        // Arguments by position, then by name, as the server matches them.
        std::vector<Value> values(proc.parameters.size());
        std::vector<bool> given(proc.parameters.size(), false);
        size_t nextArg = 0, position = 0;
        for (const ExecArgument& a : c.adapted.arguments) {
            Value v = a.value;
            if (a.placeholder) {
                if (nextArg >= args.size()) fail("No value given for one or more required parameters.");
                v = args[nextArg++];
            }
            size_t slot = position;
            if (!a.name.empty()) {
                slot = proc.parameters.size();
                for (size_t i = 0; i < proc.parameters.size(); ++i)
                    if (common::EqualsNoCase(proc.parameters[i].name, a.name)) slot = i;
                if (slot == proc.parameters.size())
                    fail(a.name + " is not a parameter for procedure " + proc.name + ".");
            } else {
                ++position;
            }
            if (slot >= proc.parameters.size())
                fail("Procedure or function " + proc.name + " has too many arguments specified.");
            values[slot] = v;
            given[slot] = true;
        }
        for (size_t i = 0; i < proc.parameters.size(); ++i)
            if (!given[i] && !proc.parameters[i].output)
                fail("Procedure or function '" + proc.name + "' expects parameter '" +
                     proc.parameters[i].name + "', which was not supplied.");
        if (changes) *changes = -1;
        return callProcedure(proc, values, nullptr);
    }
    if (c.multiple) {
        if (!args.empty()) fail("Parameters are not supported in a text of several statements.");
        bool ddl = c.adapted.changesSchema;
        std::string adapted = c.adapted.sql;
        RecordsetPtr rs = runMultiple(adapted, changes);
        if (ddl) schemaChanged();
        return rs;
    }
    sqlite3_stmt* st = c.stmt;
    int expected = sqlite3_bind_parameter_count(st);
    if (static_cast<int>(args.size()) < expected) fail("No value given for one or more required parameters.");
    if (static_cast<int>(args.size()) > expected)
        fail("Too many values given for the statement's parameters.");
    {
        ResetGuard guard{st};
        for (int i = 0; i < expected; ++i) {
            size_t k = static_cast<size_t>(i);
            bind(st, i + 1, args[k], k < c.adapted.dateParams.size() && c.adapted.dateParams[k]);
        }
        guard.st = nullptr;  // collect() resets it
    }
    bool ddl = c.adapted.changesSchema;
    RecordsetPtr rs = collect(st, changes);
    if (ddl) schemaChanged();
    return rs;
}

RecordsetPtr SqliteConnection::callProcedure(const Procedure& proc, const std::vector<Value>& values,
                                             std::vector<Value>* outputs) {
    const std::string key = common::LCase(proc.name);
    sqlite3_stmt* st = nullptr;
    if (auto it = procStatements_.find(key); it != procStatements_.end()) {
        st = it->second;
    } else {
        if (sqlite3_prepare_v3(db_, proc.body.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &st, nullptr) !=
            SQLITE_OK)
            fail("Procedure " + proc.name + ": " + sqlite3_errmsg(db_));
        procStatements_.emplace(key, st);
    }
    {
        ResetGuard guard{st};
        for (int i = 1; i <= sqlite3_bind_parameter_count(st); ++i) {
            const char* pname = sqlite3_bind_parameter_name(st, i);
            size_t slot = proc.parameters.size();
            for (size_t j = 0; pname && j < proc.parameters.size(); ++j)
                if (common::EqualsNoCase(proc.parameters[j].name, pname)) slot = j;
            if (slot == proc.parameters.size())
                fail("Procedure " + proc.name + " uses " + (pname ? pname : "?") +
                     ", which it does not declare.");
            bind(st, i, convertArgument(proc.parameters[slot], values[slot]), false);
        }
        guard.st = nullptr;
    }
    RecordsetPtr rs = collect(st, nullptr);
    if (outputs) {
        outputs->assign(proc.parameters.size(), Value());
        for (size_t j = 0; j < proc.parameters.size(); ++j) {
            const ProcedureParameter& p = proc.parameters[j];
            if (!p.output || rs->rows().empty()) continue;
            int col = rs->fieldIndex(p.name.substr(1));
            if (col < 0)
                fail("Procedure " + proc.name + " returns no column for its output parameter " + p.name +
                     ".");
            Value v = rs->rows().front()[static_cast<size_t>(col)];
            if (p.type == ProcedureParameter::Type::Double && v.isNumeric()) v = Value(v.toDouble());
            (*outputs)[j] = v;
        }
    }
    return rs;
}

std::vector<Parameter> SqliteConnection::describeProcedure(const std::string& name) {
    const Procedure& proc = catalog_.find(name);
    std::vector<Parameter> params;
    params.push_back({"@RETURN_VALUE", ParamDirection::ReturnValue, Value::Type::Integer, Value()});
    for (const ProcedureParameter& p : proc.parameters) {
        Parameter d;
        d.name = p.name;
        // The provider reports an OUTPUT parameter as input and output, as the server's does.
        d.direction = p.output ? ParamDirection::InputOutput : ParamDirection::Input;
        switch (p.type) {
            case ProcedureParameter::Type::Int:
            case ProcedureParameter::Type::SmallInt:
                d.type = Value::Type::Integer;
                break;
            case ProcedureParameter::Type::Double:
                d.type = Value::Type::Double;
                break;
            case ProcedureParameter::Type::Text:
                d.type = Value::Type::Text;
                break;
            case ProcedureParameter::Type::Date:
                d.type = Value::Type::Date;
                break;
        }
        params.push_back(std::move(d));
    }
    return params;
}

RecordsetPtr SqliteConnection::runProcedure(const std::string& name, std::vector<Parameter>& params) {
    const Procedure& proc = catalog_.find(name);
    if (params.size() != proc.parameters.size() + 1)
        fail("Procedure or function " + proc.name + " has too many arguments specified.");
    std::vector<Value> values;
    for (size_t i = 1; i < params.size(); ++i) values.push_back(params[i].value);
    std::vector<Value> outputs;
    RecordsetPtr rs = callProcedure(proc, values, &outputs);
    params[0].value = Value(0);
    for (size_t j = 0; j < proc.parameters.size(); ++j)
        if (proc.parameters[j].output) params[j + 1].value = outputs[j];
    return rs;
}

std::vector<Parameter> SqliteConnection::describeText(const std::string& sql) {
    Cached& c = prepare(sql);
    std::vector<Parameter> params;
    size_t count = 0;
    if (c.adapted.isExec) {
        for (const ExecArgument& a : c.adapted.arguments) count += a.placeholder ? 1 : 0;
    } else if (c.stmt) {
        count = static_cast<size_t>(sqlite3_bind_parameter_count(c.stmt));
    }
    for (size_t i = 0; i < count; ++i) {
        Parameter p;
        p.name = "Param" + std::to_string(i + 1);
        bool date = i < c.adapted.dateParams.size() && c.adapted.dateParams[i];
        p.type = date ? Value::Type::Date : Value::Type::Null;
        params.push_back(std::move(p));
    }
    return params;
}

class SqliteCommand : public Command {
public:
    SqliteCommand(std::shared_ptr<SqliteConnection> conn, std::string text, CommandType type)
        : conn_(std::move(conn)), text_(std::move(text)), type_(type) {}

    void refreshParameters() override {
        params_ =
            type_ == CommandType::StoredProc ? conn_->describeProcedure(text_) : conn_->describeText(text_);
        refreshed_ = true;
    }
    std::vector<Parameter>& parameters() override {
        if (!refreshed_) refreshParameters();
        return params_;
    }
    void setParameter(size_t pos, Value v) override { at(pos).value = std::move(v); }
    const Value& parameter(size_t pos) override { return at(pos).value; }

    RecordsetPtr execute() override {
        if (type_ == CommandType::StoredProc) return conn_->runProcedure(text_, parameters());
        std::vector<Value> values;
        for (const Parameter& p : parameters()) values.push_back(p.value);
        return conn_->runText(text_, values, nullptr);
    }

    RecordsetPtr execute(const std::vector<Value>& args) override {
        if (type_ == CommandType::StoredProc) {
            std::vector<Parameter>& ps = parameters();
            size_t k = 0;
            for (size_t i = 1; i < ps.size() && k < args.size(); ++i) ps[i].value = args[k++];
            if (k < args.size())
                fail("Procedure or function " + text_ + " has too many arguments specified.");
            return conn_->runProcedure(text_, ps);
        }
        return conn_->runText(text_, args, nullptr);
    }

    const std::string& text() const override { return text_; }

private:
    Parameter& at(size_t pos) {
        std::vector<Parameter>& ps = parameters();
        if (pos >= ps.size())
            common::raise(
                common::err::ItemNotFound, "ADODB.Parameters",
                "Item cannot be found in the collection corresponding to the requested name or ordinal.");
        return ps[pos];
    }

    std::shared_ptr<SqliteConnection> conn_;
    std::string text_;
    CommandType type_;
    std::vector<Parameter> params_;
    bool refreshed_ = false;
};

CommandPtr SqliteConnection::command(const std::string& text, CommandType type) {
    return std::make_unique<SqliteCommand>(shared_from_this(), text, type);
}

SqliteConnection* findSqlite(Connection& c) {
    if (auto* s = dynamic_cast<SqliteConnection*>(&c)) return s;
    if (auto* t = dynamic_cast<TraceConnection*>(&c)) return findSqlite(*t->inner());
    return nullptr;
}

}  // namespace

std::string procedureFolder() {
    if (const char* env = std::getenv("PAYACC_PROCEDURE_DIR"); env && *env) return env;
    return {};
}

ConnectionPtr open(const std::string& path, const OpenOptions& options) {
    sqlite3* db = nullptr;
    int flags = SQLITE_OPEN_READWRITE | (options.create ? SQLITE_OPEN_CREATE : 0) | SQLITE_OPEN_NOMUTEX;
    int rc = sqlite3_open_v2(path.c_str(), &db, flags, nullptr);
    if (rc != SQLITE_OK) {
        std::string msg = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
        sqlite3_close_v2(db);
        fail(msg + ": " + path);
    }
    auto closeOnError = [&](const std::string& msg) {
        sqlite3_close_v2(db);
        fail(msg);
    };
    sqlite3_extended_result_codes(db, 1);
    // Before the first statement: opening waits for another program's lock as every statement does.
    sqlite3_busy_timeout(db, options.busyTimeoutMs);
    if (options.check) {
        if (const std::string problem = accessProblem(db, path); !problem.empty()) {
            sqlite3_close_v2(db);
            throw Unusable("database '" + path + "' " + problem);
        }
    }
    // WAL lets the browser read while another copy of the component saves; NORMAL is safe with WAL.
    rc = switchToWal(db, options.busyTimeoutMs);
    if (rc == SQLITE_OK) rc = sqlite3_exec(db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
    if (options.check) {
        const std::string problem = busy(rc)                         ? lockedProblem(options)
                                    : rc == SQLITE_OK || damaged(rc) ? fileProblem(db, options)
                                                                     : std::string();
        if (!problem.empty()) {
            sqlite3_close_v2(db);
            throw Unusable("database '" + path + "' " + problem);
        }
    }
    if (rc != SQLITE_OK) closeOnError(sqlite3_errmsg(db));
    try {
        registerFunctions(db);
    } catch (const common::Error& e) {
        closeOnError(e.description());
    }
    std::string procedures = options.procedureDir.empty() ? procedureFolder() : options.procedureDir;
    if (options.check && !procedures.empty()) {
        if (const std::string problem = procedureProblem(procedures); !problem.empty()) {
            sqlite3_close_v2(db);
            throw Unusable(problem);
        }
    }
    // From here the connection object owns the handle and closes it, also on failure.
    auto c = std::make_shared<SqliteConnection>(db, procedures);
    c->schemaChanged();
    return c;
}

namespace {

std::string embedded(std::string_view path) {
    const EmbeddedFile* f = findEmbedded(path);
    if (!f) fail("The program was built without db/sqlite/" + std::string(path) + ".");
    return std::string(f->text);
}

SqliteConnection& embeddedOnly(Connection& c) {
    SqliteConnection* s = findSqlite(c);
    if (!s) fail("The schema scripts can only be run on the embedded database.");
    return *s;
}

common::DateTime today() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return common::DateTime::ymd(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
}

}  // namespace

void initialise(Connection& c, bool demo, std::optional<common::DateTime> demoDay) {
    SqliteConnection& s = embeddedOnly(c);
    s.runScript(embedded("schema.sql"), "schema.sql");
    s.runScript(embedded("mapping.sql"), "mapping.sql");
    const std::string newest = std::to_string(newestSchemaVersion());
    s.runScript(
        "INSERT INTO paPayAccLinkSchema (Version) VALUES (" + newest + ");\nPRAGMA user_version = " + newest,
        "schema version");
    if (!demo) return;
    // The demo's dates follow from one reference day, kept in a temporary table for the
    // script's length: its payroll, payments and entries fall in that day's month and the
    // two before, so a demo made today has work to post today.
    common::DateTime day = demoDay ? demoDay->dateOnly() : today();
    s.runScript("CREATE TEMP TABLE demo_reference AS SELECT '" + common::isoDate(day) + "' AS day",
                "demo reference day");
    try {
        s.runScript(embedded("demo.sql"), "demo.sql");
    } catch (...) {
        s.runScript("DROP TABLE IF EXISTS temp.demo_reference", "demo reference day");
        throw;
    }
    s.runScript("DROP TABLE temp.demo_reference", "demo reference day");
}

void runScript(Connection& c, const std::string& sql, const std::string& what) {
    embeddedOnly(c).runScript(sql, what);
}

std::string buildImage(bool demo, std::optional<common::DateTime> demoDay) {
    OpenOptions options;
    options.create = true;
    ConnectionPtr c = open(":memory:", options);
    initialise(*c, demo, demoDay);
    std::string image = findSqlite(*c)->image();
    // The header's file format versions (bytes 18 and 19): 2 is WAL. A database in memory
    // cannot be switched itself.
    if (image.size() > 19) image[18] = image[19] = 2;
    return image;
}

}  // namespace data::sqlite
