// The session connection over unixODBC. Everything crosses the driver through the wide
// functions, as UTF-16, so no client character set or locale can garble a name. Every result is
// read to its end before the call returns, so a driver that allows one active statement per
// connection (SQL Server without MARS) never sees two at once.
//
// Inside a transaction, writes without results wait in a queue until the next read, procedure
// or commit, and then go together: the rows of one prepared statement as parameter arrays, other
// statements as batches. A save's round trips so stay nearly the same for 4 lines or 40,000; a
// failure surfaces at the call that sent the queue, still inside the transaction it undoes.
#include "data/odbc/OdbcConnection.h"

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>
#include <bit>
#include <map>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "common/Conv.h"
#include "common/Error.h"
#include "common/Utf8.h"
#include "data/odbc/ServerDialect.h"
#include "data/sqlite/Migrations.h"

namespace data::odbc {
namespace {

using common::DateTime;
static_assert(sizeof(SQLWCHAR) == sizeof(char16_t), "unixODBC's SQLWCHAR is UTF-16");

constexpr const char* kSource = "ODBC";
// Rows per parameter array and statements per batch: a 40,000-line save takes a few dozen round
// trips, and no request grows past a few megabytes.
constexpr size_t kArrayRows = 2000;
constexpr size_t kBatchStatements = 1000;
// A blocked statement waits this long for another user's lock, then fails with error 1222.
constexpr const char* kLockTimeoutSql = "SET LOCK_TIMEOUT 15000";
constexpr const char* kLockTimeoutSentence =
    "Another user has held these entries for more than 15 seconds, so the database stopped waiting "
    "and nothing was changed; try again in a moment.";
constexpr int kLockTimeoutError = 1222;

[[noreturn]] void fail(const std::string& text) { throw common::Error(common::err::Database, kSource, text); }

SQLWCHAR* wide(std::u16string& s) { return reinterpret_cast<SQLWCHAR*>(s.data()); }

struct Diagnostics {
    std::string text;
    bool lockTimeout = false;
    bool linkLost = false;  // SQLSTATE class 08: the connection is gone
};

// Every diagnostic record of the handle on one line: the error log keeps one entry per line, and
// the first record alone often only says "General error".
Diagnostics diagnostics(SQLSMALLINT handleType, SQLHANDLE handle) {
    Diagnostics out;
    std::u16string message(SQL_MAX_MESSAGE_LENGTH + 1, u'\0');
    for (SQLSMALLINT rec = 1;; ++rec) {
        SQLWCHAR state[SQL_SQLSTATE_SIZE + 1] = {};
        SQLINTEGER native = 0;
        SQLSMALLINT length = 0;
        auto get = [&] {
            return SQLGetDiagRecW(handleType, handle, rec, state, &native, wide(message),
                                  static_cast<SQLSMALLINT>(message.size()), &length);
        };
        SQLRETURN r = get();
        if (r == SQL_SUCCESS_WITH_INFO && static_cast<size_t>(length) >= message.size()) {
            message.assign(static_cast<size_t>(length) + 1, u'\0');
            r = get();
        }
        if (!SQL_SUCCEEDED(r)) break;
        std::string text = common::fromUtf16(
            std::u16string_view(message.data(), std::min<size_t>(length, message.size() - 1)));
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        out.lockTimeout = out.lockTimeout || native == kLockTimeoutError;
        out.linkLost = out.linkLost || (state[0] == '0' && state[1] == '8');
        if (text.empty()) continue;
        if (!out.text.empty()) out.text += "; ";
        out.text += text;
    }
    return out;
}

// How a column or parameter travels between the driver and a common::Value.
enum class Kind { Integer, Double, Text, Date, Timestamp, Time };

Kind kindOf(SQLSMALLINT sqlType) {
    switch (sqlType) {
        case SQL_BIT:
        case SQL_TINYINT:
        case SQL_SMALLINT:
        case SQL_INTEGER:
        case SQL_BIGINT:
            return Kind::Integer;
        case SQL_REAL:
        case SQL_FLOAT:
        case SQL_DOUBLE:
        case SQL_DECIMAL:
        case SQL_NUMERIC:
            return Kind::Double;
        case SQL_TYPE_DATE:
        case SQL_DATE:
            return Kind::Date;
        case SQL_TYPE_TIMESTAMP:
        case SQL_TIMESTAMP:
            return Kind::Timestamp;
        case SQL_TYPE_TIME:
        case SQL_TIME:
            return Kind::Time;
        default:
            return Kind::Text;  // characters, and whatever else the driver can render as text
    }
}

Value::Type valueTypeOf(Kind k) {
    switch (k) {
        case Kind::Integer:
            return Value::Type::Integer;
        case Kind::Double:
            return Value::Type::Double;
        case Kind::Date:
        case Kind::Timestamp:
        case Kind::Time:
            return Value::Type::Date;
        case Kind::Text:
            break;
    }
    return Value::Type::Text;
}

DateTime fromStruct(const SQL_DATE_STRUCT& d) { return DateTime::ymd(d.year, d.month, d.day); }
DateTime fromStruct(const SQL_TIMESTAMP_STRUCT& t) {
    return DateTime{t.year, t.month, t.day, t.hour, t.minute, t.second};
}
// A time of day alone is the classic Date on day 0.
DateTime fromStruct(const SQL_TIME_STRUCT& t) { return DateTime{1899, 12, 30, t.hour, t.minute, t.second}; }

SQL_TIMESTAMP_STRUCT toStruct(const DateTime& d) {
    return SQL_TIMESTAMP_STRUCT{static_cast<SQLSMALLINT>(d.year),
                                static_cast<SQLUSMALLINT>(d.month),
                                static_cast<SQLUSMALLINT>(d.day),
                                static_cast<SQLUSMALLINT>(d.hour),
                                static_cast<SQLUSMALLINT>(d.minute),
                                static_cast<SQLUSMALLINT>(d.second),
                                0};
}

// A date that must travel as text: SQL Server reads "yyyymmdd" alike under every language and
// date format.
std::string dateText(const DateTime& d) {
    std::string out = common::formatDate(d, "yyyymmdd");
    if (d.hasTime()) out += common::isoDate(d).substr(10);
    return out;
}

struct Prepared;
struct Outcome {
    RecordsetPtr records;  // the first result that has columns, if any
    long affected = -1;    // rows touched by the results without columns, -1 when none said
};

// The environment and connection handles, shared by the connection and its commands, with the
// statements prepared on it and the queue of writes not yet sent.
struct Link {
    std::string connectionString;
    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    bool connected = false;
    bool lost = false;  // the driver said the connection is gone: the next call opens it again
    bool inTransaction = false;
    unsigned generation = 0;  // statements of an earlier connection died with it
    Dialect dialect;
    std::map<std::string, std::shared_ptr<Prepared>> prepared;  // by statement text
    std::map<std::string, std::vector<Parameter>> procedures;   // by lower-case name
    struct Pending {
        std::shared_ptr<Prepared> statement;  // rows of one prepared statement, or
        std::vector<std::vector<Value>> rows;
        std::vector<std::string> texts;  // statements of their own
    };
    std::vector<Pending> pending;  // sent once a full array or batch is waiting

    Link() = default;
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;
    ~Link() {
        pending.clear();
        prepared.clear();
        disconnect();
        if (env) SQLFreeHandle(SQL_HANDLE_ENV, env);
    }

    // Raises the handle's diagnostics when the call failed; SQL_NO_DATA and warnings pass.
    void check(SQLRETURN r, SQLSMALLINT handleType, SQLHANDLE handle) {
        if (SQL_SUCCEEDED(r) || r == SQL_NO_DATA) return;
        raise(handle ? diagnostics(handleType, handle) : Diagnostics{}, r);
    }
    [[noreturn]] void raise(Diagnostics d, SQLRETURN r) {
        // Not every driver says 08S01 when the server goes away; it can be asked.
        SQLUINTEGER dead = SQL_CD_FALSE;
        if (connected && SQL_SUCCEEDED(SQLGetConnectAttr(dbc, SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr)))
            d.linkLost = d.linkLost || dead == SQL_CD_TRUE;
        if (d.linkLost) {
            // The server ends the transaction of a connection that is gone.
            lost = true;
            inTransaction = false;
            discard();
        }
        if (d.lockTimeout) fail(kLockTimeoutSentence);
        std::string text = d.text.empty() ? "The ODBC driver failed without a message (return code " +
                                                std::to_string(r) + ")"
                                          : d.text;
        if (d.linkLost) text += " (the connection to the database was lost; the next action connects again)";
        fail(text);
    }
    void checkDbc(SQLRETURN r) { check(r, SQL_HANDLE_DBC, dbc); }

    void connect();
    void disconnect() {
        if (connected) {
            if (inTransaction) SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_ROLLBACK);
            SQLDisconnect(dbc);
        }
        if (dbc) SQLFreeHandle(SQL_HANDLE_DBC, dbc);
        dbc = SQL_NULL_HDBC;
        connected = false;
        inTransaction = false;
    }
    // The first call after the connection was lost connects again, with a fresh session.
    void reopenIfLost() {
        if (!lost) return;
        discard();
        prepared.clear();
        ++generation;  // SQLDisconnect frees the old statements
        disconnect();
        connect();
    }

    Outcome direct(const std::string& sql);
    std::shared_ptr<Prepared> statement(const std::string& text);
    void queueText(std::string sql);
    void queueRow(const std::shared_ptr<Prepared>& statement, std::vector<Value> row);
    void flush();
    void discard() { pending.clear(); }

    void setAutocommit(bool on) {
        auto value = on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF;
        checkDbc(SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(value),
                                   SQL_IS_UINTEGER));
    }
    // Ends the transaction either way and always goes back to autocommit, even when ending it
    // failed: left in manual mode, the next beginTrans would change nothing and the driver would
    // then send no begin, so the next save would run without a transaction.
    void endTransaction(SQLSMALLINT completion) {
        discard();
        SQLRETURN r = SQLEndTran(SQL_HANDLE_DBC, dbc, completion);
        std::optional<Diagnostics> failure;
        if (!SQL_SUCCEEDED(r)) {
            failure = diagnostics(SQL_HANDLE_DBC, dbc);
            // A commit that failed leaves the work open on the server: undo it here.
            if (completion == SQL_COMMIT) SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_ROLLBACK);
        }
        inTransaction = false;
        SQLRETURN a = SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT,
                                        reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON), SQL_IS_UINTEGER);
        if (failure) {
            if (failure->text.empty()) failure->text = "The ODBC driver could not end the transaction";
            raise(*failure, r);
        }
        checkDbc(a);
    }
};
using LinkPtr = std::shared_ptr<Link>;

// A statement handle; one of an earlier connection was freed with it.
struct Handle {
    Link& link;
    SQLHSTMT h = SQL_NULL_HSTMT;
    unsigned generation;
    explicit Handle(Link& l) : link(l), generation(l.generation) {
        l.checkDbc(SQLAllocHandle(SQL_HANDLE_STMT, l.dbc, &h));
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() {
        if (generation == link.generation && link.connected) SQLFreeHandle(SQL_HANDLE_STMT, h);
    }
    void check(SQLRETURN r) { link.check(r, SQL_HANDLE_STMT, h); }
};

std::string readText(Handle& s, SQLUSMALLINT col, bool& isNull) {
    std::u16string out;
    char16_t buf[2048];
    constexpr size_t room = std::size(buf) - 1;
    for (;;) {
        SQLLEN ind = 0;
        SQLRETURN r = SQLGetData(s.h, col, SQL_C_WCHAR, buf, sizeof buf, &ind);
        if (r == SQL_NO_DATA) break;
        s.check(r);
        if (ind == SQL_NULL_DATA) {
            isNull = true;
            return {};
        }
        // A full buffer (with its terminator) means more is to come.
        const bool more = r == SQL_SUCCESS_WITH_INFO &&
                          (ind == SQL_NO_TOTAL || static_cast<size_t>(ind) / sizeof(char16_t) > room);
        out.append(buf, more ? room : std::min(room, static_cast<size_t>(ind) / sizeof(char16_t)));
        if (!more) break;
    }
    return common::fromUtf16(out);
}

template <class T>
bool getFixed(Handle& s, SQLUSMALLINT col, SQLSMALLINT cType, T& v) {
    SQLLEN ind = 0;
    s.check(SQLGetData(s.h, col, cType, &v, sizeof v, &ind));
    return ind != SQL_NULL_DATA;
}

Value readColumn(Handle& s, SQLUSMALLINT col, Kind kind) {
    switch (kind) {
        case Kind::Integer: {
            SQLBIGINT v = 0;
            return getFixed(s, col, SQL_C_SBIGINT, v) ? Value(static_cast<int64_t>(v)) : Value();
        }
        case Kind::Double: {
            SQLDOUBLE v = 0;
            return getFixed(s, col, SQL_C_DOUBLE, v) ? Value(static_cast<double>(v)) : Value();
        }
        case Kind::Date: {
            SQL_DATE_STRUCT v{};
            return getFixed(s, col, SQL_C_TYPE_DATE, v) ? Value(fromStruct(v)) : Value();
        }
        case Kind::Timestamp: {
            SQL_TIMESTAMP_STRUCT v{};
            return getFixed(s, col, SQL_C_TYPE_TIMESTAMP, v) ? Value(fromStruct(v)) : Value();
        }
        case Kind::Time: {
            SQL_TIME_STRUCT v{};
            return getFixed(s, col, SQL_C_TYPE_TIME, v) ? Value(fromStruct(v)) : Value();
        }
        case Kind::Text:
            break;
    }
    bool isNull = false;
    std::string text = readText(s, col, isNull);
    return isNull ? Value() : Value(std::move(text));
}

// Reads the current result set to its end.
RecordsetPtr fetchAll(Handle& s, SQLSMALLINT columns) {
    std::vector<std::string> names;
    std::vector<Kind> kinds;
    for (SQLUSMALLINT c = 1; c <= static_cast<SQLUSMALLINT>(columns); ++c) {
        std::u16string name(256, u'\0');
        SQLSMALLINT nameLength = 0, sqlType = 0, digits = 0, nullable = 0;
        SQLULEN size = 0;
        auto describe = [&] {
            s.check(SQLDescribeColW(s.h, c, wide(name), static_cast<SQLSMALLINT>(name.size()), &nameLength,
                                    &sqlType, &size, &digits, &nullable));
        };
        describe();
        if (static_cast<size_t>(nameLength) >= name.size()) {
            name.assign(static_cast<size_t>(nameLength) + 1, u'\0');
            describe();
        }
        names.push_back(common::fromUtf16(std::u16string_view(name.data(), static_cast<size_t>(nameLength))));
        kinds.push_back(kindOf(sqlType));
    }
    std::vector<std::vector<Value>> rows;
    for (;;) {
        SQLRETURN r = SQLFetch(s.h);
        if (r == SQL_NO_DATA) break;
        s.check(r);
        std::vector<Value> row;
        row.reserve(kinds.size());
        for (size_t c = 0; c < kinds.size(); ++c)
            row.push_back(readColumn(s, static_cast<SQLUSMALLINT>(c + 1), kinds[c]));
        rows.push_back(std::move(row));
    }
    return std::make_unique<Recordset>(std::move(names), std::move(rows));
}

// Walks every result of an executed statement. Later results must be consumed too: a batch or
// procedure reports an error in a later result only when it is reached, and SQL Server sends
// output parameters after the last one. `info` keeps the warnings of the execution itself, which
// for a parameter array name the rows that failed.
Outcome collect(Handle& s, SQLRETURN executed, Diagnostics* info = nullptr) {
    if (executed == SQL_SUCCESS_WITH_INFO && info) *info = diagnostics(SQL_HANDLE_STMT, s.h);
    s.check(executed);
    Outcome out;
    if (executed == SQL_NO_DATA) out.affected = 0;  // a searched update or delete that touched nothing
    for (;;) {
        SQLSMALLINT columns = 0;
        s.check(SQLNumResultCols(s.h, &columns));
        if (columns > 0) {
            if (!out.records) out.records = fetchAll(s, columns);
        } else if (executed != SQL_NO_DATA) {
            SQLLEN count = -1;
            if (SQL_SUCCEEDED(SQLRowCount(s.h, &count)) && count >= 0)
                out.affected = (out.affected < 0 ? 0 : out.affected) + static_cast<long>(count);
        }
        SQLRETURN r = SQLMoreResults(s.h);
        if (r == SQL_NO_DATA) break;
        s.check(r);
        executed = r;
    }
    return out;
}

RecordsetPtr recordsOf(Outcome& out) {
    if (!out.records) {
        // A statement without rows yields a closed recordset, as the classic provider's did.
        out.records = std::make_unique<Recordset>();
        out.records->close();
    }
    return std::move(out.records);
}

// One parameter's values for the rows of one execution, bound column-wise. The buffers are laid
// out once and filled in place: binding again makes the driver prepare the statement again.
struct ParamColumn {
    Kind kind = Kind::Text;
    size_t rows = 0, width = 1;  // rows it holds, and UTF-16 units per text with its terminator
    std::vector<SQLBIGINT> integers;
    std::vector<SQLDOUBLE> reals;
    std::vector<SQL_TIMESTAMP_STRUCT> stamps;
    std::vector<char16_t> text;
    std::vector<SQLLEN> indicators;

    static std::u16string textOf(const Value& v) {
        return common::toUtf16(v.asDate() ? dateText(*v.asDate()) : v.toText());
    }
    // The units a text column needs for these values (and what an output may bring back).
    static size_t widthFor(std::span<const Value* const> values, size_t outputRoom = 0) {
        size_t longest = outputRoom;
        for (const Value* v : values)
            if (!v->isNull()) longest = std::max(longest, textOf(*v).size());
        return longest + 1;
    }
    bool fits(Kind k, size_t n, size_t units) const { return k == kind && n <= rows && units <= width; }
    void layout(Kind k, size_t n, size_t units) {
        kind = k, rows = n;
        // Room to grow, so that a slightly longer text later does not mean a new layout.
        width = kind == Kind::Text ? std::max<size_t>(units <= 4001 ? std::bit_ceil(units) : units, 64) : 1;
        if (kind == Kind::Text && units <= 4001) width = std::min<size_t>(width, 4001);
        integers.assign(kind == Kind::Integer ? n : 0, 0);
        reals.assign(kind == Kind::Double ? n : 0, 0);
        stamps.assign(kind == Kind::Timestamp ? n : 0, SQL_TIMESTAMP_STRUCT{});
        text.assign(kind == Kind::Text ? n * width : 0, u'\0');
        indicators.assign(n, 0);
    }
    void fill(std::span<const Value* const> values) {
        for (size_t i = 0; i < values.size(); ++i) {
            const Value& v = *values[i];
            indicators[i] = v.isNull() ? SQL_NULL_DATA : 0;
            if (v.isNull()) continue;
            if (kind == Kind::Integer) integers[i] = v.toInt64();
            if (kind == Kind::Double) reals[i] = v.toDouble();
            if (kind == Kind::Timestamp) stamps[i] = toStruct(v.toDate());
            if (kind != Kind::Text) continue;
            const std::u16string t = textOf(v);
            std::fill(std::copy(t.begin(), t.end(), text.begin() + static_cast<std::ptrdiff_t>(i * width)),
                      text.begin() + static_cast<std::ptrdiff_t>((i + 1) * width), u'\0');
            indicators[i] = static_cast<SQLLEN>(t.size() * sizeof(char16_t));
        }
    }

    // Declared by kind, not by value: one statement text keeps one declaration (nvarchar(4000),
    // or nvarchar(max) for a longer text), so the server compiles it once.
    void bind(Handle& s, SQLUSMALLINT position, SQLSMALLINT io) {
        SQLSMALLINT cType = SQL_C_WCHAR, sqlType = SQL_WVARCHAR, digits = 0;
        SQLULEN size = 4000;
        SQLPOINTER data = text.data();
        SQLLEN length = static_cast<SQLLEN>(width * sizeof(char16_t));
        switch (kind) {
            case Kind::Integer:
                cType = SQL_C_SBIGINT, sqlType = SQL_BIGINT, size = 19, data = integers.data(),
                length = sizeof(SQLBIGINT);
                break;
            case Kind::Double:
                cType = SQL_C_DOUBLE, sqlType = SQL_DOUBLE, size = 15, data = reals.data(),
                length = sizeof(SQLDOUBLE);
                break;
            case Kind::Timestamp:
                cType = SQL_C_TYPE_TIMESTAMP, sqlType = SQL_TYPE_TIMESTAMP, size = 23, digits = 3,
                data = stamps.data(), length = sizeof(SQL_TIMESTAMP_STRUCT);
                break;
            default:
                if (width - 1 > 4000) sqlType = SQL_WLONGVARCHAR, size = width - 1;
                break;
        }
        s.check(SQLBindParameter(s.h, position, io, cType, sqlType, size, digits, data, length,
                                 indicators.data()));
    }

    Value read(size_t row) const {
        if (indicators[row] == SQL_NULL_DATA) return Value();
        switch (kind) {
            case Kind::Integer:
                return Value(static_cast<int64_t>(integers[row]));
            case Kind::Double:
                return Value(static_cast<double>(reals[row]));
            case Kind::Timestamp:
                return Value(fromStruct(stamps[row]));
            default:
                break;
        }
        const size_t n = indicators[row] == SQL_NO_TOTAL
                             ? width - 1
                             : std::min(static_cast<size_t>(indicators[row]) / sizeof(char16_t), width - 1);
        return Value(common::fromUtf16(std::u16string_view(text.data() + row * width, n)));
    }
};

// The kind a value asks for; dates go as timestamps.
std::optional<Kind> kindOfValue(const Value& v) {
    switch (v.type()) {
        case Value::Type::Integer:
            return Kind::Integer;
        case Value::Type::Double:
            return Kind::Double;
        case Value::Type::Date:
            return Kind::Timestamp;
        case Value::Type::Text:
            return Kind::Text;
        case Value::Type::Null:
            break;
    }
    return std::nullopt;
}

// The kind that carries every value, once a position has one it keeps it where it can: numbers
// widen to double, anything mixed goes as text.
Kind commonKind(std::optional<Kind> a, Kind b) {
    if (!a || *a == b) return b;
    if ((*a == Kind::Integer && b == Kind::Double) || (*a == Kind::Double && b == Kind::Integer))
        return Kind::Double;
    return Kind::Text;
}

// A statement text prepared once per connection; preparing is local to the driver, the server
// sees it with the first execution.
struct Prepared {
    Handle handle;
    SQLSMALLINT count = 0;
    std::vector<std::optional<Kind>> kinds;  // of each "?", kept so that the declaration stays
    std::vector<ParamColumn> columns;        // bound once, refilled for every execution

    Prepared(Link& link, const std::string& sql) : handle(link) {
        std::u16string text = common::toUtf16(sql);
        handle.check(SQLPrepareW(handle.h, wide(text), SQL_NTS));
        handle.check(SQLNumParams(handle.h, &count));
        kinds.resize(static_cast<size_t>(count));
        columns.resize(static_cast<size_t>(count));
    }

    // One execution for all the rows: a parameter array when there are several.
    Outcome run(std::span<const std::vector<Value>> rows) {
        SQLFreeStmt(handle.h, SQL_CLOSE);
        const size_t n = std::max<size_t>(rows.size(), 1);
        const Value null;
        std::vector<std::vector<const Value*>> values(columns.size(), std::vector<const Value*>(n, &null));
        bool rebind = false;
        for (size_t p = 0; p < columns.size(); ++p) {
            for (size_t r = 0; r < rows.size(); ++r)
                if (p < rows[r].size()) values[p][r] = &rows[r][p];
            for (const Value* v : values[p])
                if (auto k = kindOfValue(*v)) kinds[p] = commonKind(kinds[p], *k);
            const Kind kind = kinds[p].value_or(Kind::Text);
            const size_t units = kind == Kind::Text ? ParamColumn::widthFor(values[p]) : 1;
            if (!columns[p].fits(kind, n, units)) rebind = true;
        }
        for (size_t p = 0; rebind && p < columns.size(); ++p) {
            const Kind kind = kinds[p].value_or(Kind::Text);
            const size_t units = kind == Kind::Text ? ParamColumn::widthFor(values[p]) : 1;
            // An array is laid out for a full one at once, so that a longer list does not rebind.
            const size_t rowsRoom = std::max({n, columns[p].rows, n > 1 ? kArrayRows : 1});
            columns[p].layout(kind, rowsRoom,
                              std::max(units, kind == columns[p].kind ? columns[p].width : 1));
            columns[p].bind(handle, static_cast<SQLUSMALLINT>(p + 1), SQL_PARAM_INPUT);
        }
        for (size_t p = 0; p < columns.size(); ++p) columns[p].fill(values[p]);
        std::vector<SQLUSMALLINT> status(n, SQL_PARAM_SUCCESS);
        SQLULEN processed = 0;
        handle.check(SQLSetStmtAttr(handle.h, SQL_ATTR_PARAMSET_SIZE, reinterpret_cast<SQLPOINTER>(n), 0));
        handle.check(SQLSetStmtAttr(handle.h, SQL_ATTR_PARAM_STATUS_PTR, status.data(), 0));
        handle.check(SQLSetStmtAttr(handle.h, SQL_ATTR_PARAMS_PROCESSED_PTR, &processed, 0));
        Diagnostics info;
        Outcome out = collect(handle, SQLExecute(handle.h), &info);
        // A row of an array that failed makes the execution succeed with a warning only.
        if (n > 1 && std::find(status.begin(), status.end(), SQL_PARAM_ERROR) != status.end())
            handle.link.raise(info, SQL_ERROR);
        return out;
    }
};

Outcome Link::direct(const std::string& sql) {
    Handle s(*this);
    std::u16string text = common::toUtf16(sql);
    return collect(s, SQLExecDirectW(s.h, wide(text), SQL_NTS));
}

std::shared_ptr<Prepared> Link::statement(const std::string& text) {
    if (auto it = prepared.find(text); it != prepared.end()) return it->second;
    // Texts built with their values differ every time; keep the set bounded.
    if (prepared.size() >= 64) prepared.clear();
    return prepared[text] = std::make_shared<Prepared>(*this, text);
}

void Link::queueText(std::string sql) {
    if (pending.empty() || pending.back().statement) pending.emplace_back();
    pending.back().texts.push_back(std::move(sql));
    if (pending.back().texts.size() == kBatchStatements) flush();
}

void Link::queueRow(const std::shared_ptr<Prepared>& s, std::vector<Value> row) {
    if (pending.empty() || pending.back().statement != s) pending.push_back({s, {}, {}});
    pending.back().rows.push_back(std::move(row));
    if (pending.back().rows.size() == kArrayRows) flush();
}

void Link::flush() {
    std::vector<Pending> items;
    items.swap(pending);
    for (Pending& item : items) {
        const auto& rows = item.rows;
        for (size_t at = 0; at < rows.size(); at += kArrayRows)
            item.statement->run(std::span(rows).subspan(at, std::min(kArrayRows, rows.size() - at)));
        for (size_t at = 0; at < item.texts.size(); at += kBatchStatements) {
            std::string batch;
            for (size_t i = at; i < item.texts.size() && i < at + kBatchStatements; ++i)
                batch += item.texts[i] + ";\n";
            direct(batch);
        }
    }
}

// A write without results may wait in the queue.
bool isWrite(std::string_view sql) {
    size_t at = sql.find_first_not_of(" \t\r\n(");
    if (at == std::string_view::npos) return false;
    std::string word;
    for (; at < sql.size() && std::isalpha(static_cast<unsigned char>(sql[at])); ++at)
        word += static_cast<char>(std::tolower(static_cast<unsigned char>(sql[at])));
    return word == "insert" || word == "update" || word == "delete";
}

void Link::connect() {
    if (!env) {
        if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env)))
            fail("The ODBC driver manager could not be loaded");
        check(SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
              SQL_HANDLE_ENV, env);
    }
    check(SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc), SQL_HANDLE_ENV, env);
    std::u16string text = common::toUtf16(connectionString);
    SQLWCHAR completed[1024];
    SQLSMALLINT completedLength = 0;
    checkDbc(SQLDriverConnectW(dbc, nullptr, wide(text), SQL_NTS, completed, 1024, &completedLength,
                               SQL_DRIVER_NOPROMPT));
    connected = true;
    lost = false;

    auto info = [&](SQLUSMALLINT what) {
        std::u16string value(128, u'\0');
        SQLSMALLINT bytes = 0;
        if (!SQL_SUCCEEDED(
                SQLGetInfoW(dbc, what, value.data(), static_cast<SQLSMALLINT>(value.size() * 2), &bytes)))
            return std::string();
        value.resize(std::min(value.size() - 1, static_cast<size_t>(bytes) / 2));
        return common::fromUtf16(value);
    };
    const std::string dbms = info(SQL_DBMS_NAME);
    if (dbms.find("SQL Server") == std::string::npos) {
        const std::string version = info(SQL_DBMS_VER);
        disconnect();
        fail("the ODBC data source is " + (dbms.empty() ? std::string("unnamed") : dbms) +
             (version.empty() ? "" : " " + version) +
             ", not SQL Server: payacclink speaks SQL Server's T-SQL; give --db FILE for the embedded "
             "database");
    }
    dialect.sqlServer = true;
    direct(kLockTimeoutSql);
    // Before level 110 TRY_CONVERT is no keyword; a level that cannot be read counts as the oldest.
    try {
        Outcome out = direct("select compatibility_level from sys.databases where name = db_name()");
        dialect.compatibilityLevel =
            out.records && !out.records->eof() ? static_cast<int>(out.records->field(0).toInt64()) : 100;
    } catch (const common::Error&) {
        dialect.compatibilityLevel = 100;
    }
}

[[noreturn]] void raiseItemNotFound() {
    common::raise(common::err::ItemNotFound, kSource,
                  "Item cannot be found in the collection corresponding to the requested name or ordinal.");
}

std::string lowerCase(std::string v) { return common::LCase(std::move(v)); }

// A procedure's parameters as the server's catalog lists them; the return value comes first.
std::vector<Parameter> describeProcedure(Link& link, const std::string& qualified) {
    // "[db].[schema].[name]": the catalog wants the schema and the name apart, unquoted.
    auto unbracket = [](std::string part) {
        return part.size() >= 2 && part.front() == '[' && part.back() == ']' ? part.substr(1, part.size() - 2)
                                                                             : part;
    };
    auto pattern = [&](const std::string& name) {  // "_" and "%" match only themselves
        std::u16string escape(8, u'\0');
        SQLSMALLINT bytes = 0;
        std::string esc;
        if (SQL_SUCCEEDED(SQLGetInfoW(link.dbc, SQL_SEARCH_PATTERN_ESCAPE, escape.data(), 16, &bytes)))
            esc = common::fromUtf16(std::u16string_view(escape.data(), static_cast<size_t>(bytes) / 2));
        std::string out;
        for (char c : name) out += (c == '_' || c == '%' ? esc : "") + std::string(1, c);
        return out;
    };
    std::string schema, name = qualified;
    if (auto dot = name.rfind('.'); dot != std::string::npos) {
        schema = name.substr(0, dot);
        name = name.substr(dot + 1);
        if (auto inner = schema.rfind('.'); inner != std::string::npos) schema = schema.substr(inner + 1);
    }
    std::u16string schemaText = common::toUtf16(pattern(unbracket(schema)));
    std::u16string nameText = common::toUtf16(pattern(unbracket(name)));
    Handle s(link);
    Outcome out =
        collect(s, SQLProcedureColumnsW(s.h, nullptr, 0, schema.empty() ? nullptr : wide(schemaText),
                                        schema.empty() ? 0 : SQL_NTS, wide(nameText), SQL_NTS, nullptr, 0));
    RecordsetPtr rs = recordsOf(out);
    std::vector<Parameter> params;
    std::string owner;  // the first procedure answered; a namesake in another schema is not ours
    for (const auto& row : rs->rows()) {
        // Columns of the catalog result: 2 schema, 3 name, 4 column, 5 kind, 6 SQL type.
        const std::string procedure = row[1].joinText() + "." + row[2].joinText();
        if (owner.empty()) owner = procedure;
        const int64_t kind = row[4].isNull() ? SQL_PARAM_TYPE_UNKNOWN : row[4].toInt64();
        if (procedure != owner || kind == SQL_RESULT_COL) continue;
        Parameter p;
        p.name = row[3].joinText();
        p.type =
            valueTypeOf(kindOf(static_cast<SQLSMALLINT>(row[5].isNull() ? SQL_VARCHAR : row[5].toInt64())));
        p.direction = kind == SQL_RETURN_VALUE         ? ParamDirection::ReturnValue
                      : kind == SQL_PARAM_OUTPUT       ? ParamDirection::Output
                      : kind == SQL_PARAM_INPUT_OUTPUT ? ParamDirection::InputOutput
                                                       : ParamDirection::Input;
        if (p.direction == ParamDirection::ReturnValue)
            params.insert(params.begin(), std::move(p));
        else
            params.push_back(std::move(p));
    }
    return params;
}

Kind kindOfType(Value::Type t) {
    switch (t) {
        case Value::Type::Integer:
            return Kind::Integer;
        case Value::Type::Double:
            return Kind::Double;
        case Value::Type::Date:
            return Kind::Timestamp;
        default:
            return Kind::Text;
    }
}

// A procedure through the call escape, its output parameters read back after its results.
RecordsetPtr callProcedure(Link& link, const std::string& name, std::vector<Parameter>& params) {
    const bool hasReturn = !params.empty() && params[0].direction == ParamDirection::ReturnValue;
    std::string sql = hasReturn ? "{? = call " : "{call ";
    sql += name;
    for (size_t i = hasReturn ? 1 : 0; i < params.size(); ++i)
        sql += i == (hasReturn ? 1u : 0u) ? "(?" : ", ?";
    sql += params.size() > (hasReturn ? 1u : 0u) ? ")}" : "}";
    Handle s(link);
    std::vector<ParamColumn> columns(params.size());
    const Value null;
    for (size_t i = 0; i < params.size(); ++i) {
        const Parameter& p = params[i];
        const bool output = p.direction != ParamDirection::Input;
        const bool input = p.direction == ParamDirection::Input || p.direction == ParamDirection::InputOutput;
        const Value* v = input ? &p.value : &null;
        const Kind kind =
            p.type != Value::Type::Null ? kindOfType(p.type) : kindOfValue(*v).value_or(Kind::Text);
        columns[i].layout(
            kind, 1, kind == Kind::Text ? ParamColumn::widthFor(std::span(&v, 1), output ? 4000 : 0) : 1);
        columns[i].fill(std::span(&v, 1));
        columns[i].bind(s, static_cast<SQLUSMALLINT>(i + 1),
                        !output ? SQL_PARAM_INPUT
                        : input ? SQL_PARAM_INPUT_OUTPUT
                                : SQL_PARAM_OUTPUT);
    }
    std::u16string text = common::toUtf16(sql);
    Outcome out = collect(s, SQLExecDirectW(s.h, wide(text), SQL_NTS));
    for (size_t i = 0; i < params.size(); ++i)
        if (params[i].direction != ParamDirection::Input) params[i].value = columns[i].read(0);
    return recordsOf(out);
}

class OdbcCommand : public Command {
public:
    OdbcCommand(LinkPtr link, std::string text, CommandType type)
        : link_(std::move(link)), text_(std::move(text)), type_(type) {}

    void refreshParameters() override {
        link_->reopenIfLost();
        if (type_ == CommandType::StoredProc) {
            const std::string key = lowerCase(text_);
            auto it = link_->procedures.find(key);
            if (it == link_->procedures.end()) {
                link_->flush();
                it = link_->procedures.emplace(key, describeProcedure(*link_, text_)).first;
            }
            params_ = it->second;
        } else {
            params_.assign(static_cast<size_t>(link_->statement(sqlText())->count), Parameter{});
        }
        refreshed_ = true;
    }

    std::vector<Parameter>& parameters() override {
        ensureRefreshed();
        return params_;
    }

    void setParameter(size_t pos, Value v) override {
        ensureRefreshed();
        if (pos >= params_.size()) raiseItemNotFound();
        params_[pos].value = std::move(v);
    }

    const Value& parameter(size_t pos) override {
        ensureRefreshed();
        if (pos >= params_.size()) raiseItemNotFound();
        return params_[pos].value;
    }

    RecordsetPtr execute() override {
        ensureRefreshed();
        return run();
    }

    RecordsetPtr execute(const std::vector<Value>& args) override {
        ensureRefreshed();
        const size_t first = hasReturnValue() ? 1 : 0;
        if (first + args.size() > params_.size()) raiseItemNotFound();
        for (size_t i = 0; i < args.size(); ++i) params_[first + i].value = args[i];
        return run();
    }

    const std::string& text() const override { return text_; }

private:
    void ensureRefreshed() {
        if (!refreshed_) refreshParameters();
    }
    bool hasReturnValue() const {
        return type_ == CommandType::StoredProc && !params_.empty() &&
               params_[0].direction == ParamDirection::ReturnValue;
    }
    std::string sqlText() const { return unicodeLiterals(text_); }

    RecordsetPtr run() {
        Link& link = *link_;
        link.reopenIfLost();
        if (type_ == CommandType::StoredProc) {
            link.flush();
            return callProcedure(link, text_, params_);
        }
        std::vector<Value> row;
        for (const Parameter& p : params_) row.push_back(p.value);
        auto statement = link.statement(sqlText());
        if (link.inTransaction && isWrite(text_)) {
            link.queueRow(statement, std::move(row));
            Outcome none;
            return recordsOf(none);
        }
        link.flush();
        Outcome out = statement->run(std::span(&row, 1));
        return recordsOf(out);
    }

    LinkPtr link_;
    std::string text_;
    CommandType type_;
    std::vector<Parameter> params_;
    bool refreshed_ = false;
};

class OdbcConnection : public Connection {
public:
    explicit OdbcConnection(LinkPtr link) : link_(std::move(link)) {}

    bool isOpen() const override { return link_->connected || link_->lost; }

    long execute(const std::string& sql) override {
        link_->reopenIfLost();
        if (link_->inTransaction && isWrite(sql)) {
            link_->queueText(unicodeLiterals(sql));
            return -1;
        }
        link_->flush();
        return link_->direct(unicodeLiterals(sql)).affected;
    }

    RecordsetPtr open(const std::string& sql, CursorType, LockType) override {
        // Every cursor type reads the same: the whole result is materialised.
        link_->reopenIfLost();
        link_->flush();
        Outcome out = link_->direct(unicodeLiterals(sql));
        return recordsOf(out);
    }

    CommandPtr command(const std::string& text, CommandType type) override {
        return std::make_unique<OdbcCommand>(link_, text, type);
    }

    void beginTrans() override {
        link_->reopenIfLost();
        if (link_->inTransaction) fail("Cannot start more transactions on this session.");
        link_->flush();
        link_->setAutocommit(false);
        link_->inTransaction = true;
    }

    void commitTrans() override {
        if (!link_->inTransaction) fail("No transaction is active.");
        try {
            link_->flush();
        } catch (const common::Error&) {
            if (link_->inTransaction) {
                try {
                    link_->endTransaction(SQL_ROLLBACK);
                } catch (const common::Error&) {
                }
            }
            throw;
        }
        // A failed commit is rolled back here, so the caller's own rollback finds nothing open.
        link_->endTransaction(SQL_COMMIT);
    }

    // With nothing open there is nothing to undo: a save's error handler may roll back after a
    // failed commit has already done so, or after the connection was lost, which the server
    // ends the transaction of.
    void rollbackTrans() override {
        link_->discard();
        if (!link_->inTransaction) return;
        try {
            link_->endTransaction(SQL_ROLLBACK);
        } catch (const common::Error&) {
            if (!link_->lost) throw;
        }
    }

    bool inTransaction() const override { return link_->inTransaction; }

    // An exclusive application lock owned by the transaction; sp_getapplock answers below zero
    // when it is not granted within the wait.
    void lockForTransaction(const std::string& resource) override {
        if (!link_->inTransaction) fail("No transaction is active.");
        link_->flush();
        std::string name;
        for (char c : resource) name += c == '\'' ? std::string("''") : std::string(1, c);
        Outcome out =
            link_->direct("declare @r int; exec @r = sp_getapplock @Resource = N'" + name +
                          "', @LockMode = 'Exclusive', @LockOwner = 'Transaction', @LockTimeout = 15000; "
                          "select @r as granted");
        if (!out.records || out.records->eof() || out.records->field(0).toInt64() < 0)
            fail(kLockTimeoutSentence);
    }

    Dialect dialect() const override { return link_->dialect; }

private:
    LinkPtr link_;
};

// The number of the last numbered script the database has had; 0 for one made before them,
// which has no version table.
int64_t serverSchemaVersion(Connection& c) {
    try {
        RecordsetPtr rs = c.open("select max(Version) from paPayAccLinkSchema");
        return rs->eof() || rs->field(0).isNull() ? 0 : rs->field(0).toInt64();
    } catch (const common::Error&) {
        return 0;
    }
}

}  // namespace

ConnectionPtr open(const std::string& connectionString) {
    auto link = std::make_shared<Link>();
    link->connectionString = connectionString;
    link->connect();
    auto c = std::make_shared<OdbcConnection>(std::move(link));
    // The program changes no server schema of its own accord: a database older than it needs
    // is refused with the script to run, before a statement fails on what it lacks.
    if (const std::string problem = sqlite::serverSchemaProblem(serverSchemaVersion(*c)); !problem.empty())
        fail("the SQL Server database " + problem);
    return c;
}

}  // namespace data::odbc
