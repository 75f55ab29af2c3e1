#pragma once
// The session connection over unixODBC. Everything crosses the driver through the wide
// functions, as UTF-16, so no client character set or locale can garble a name. Every result is
// read to its end before the call returns, so a driver that allows one active statement per
// connection (SQL Server without MARS) never sees two at once.
//
// Inside a transaction, writes without results wait in a queue until the next read, procedure
// or commit, and then go together: the rows of one prepared statement as parameter arrays, other
// statements as batches. A save's round trips so stay nearly the same for 4 lines or 40,000; a
// failure surfaces at the call that sent the queue, still inside the transaction it undoes.
//
// The pieces below are shared by the backend's sources only: the link (environment, connection,
// the queue and the errors: OdbcLink.cpp), result sets (OdbcResults.cpp), prepared statements,
// parameters and procedures (OdbcStatements.cpp), and the Connection itself (OdbcConnection.cpp).
#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/DateTime.h"
#include "data/Connection.h"

namespace data::odbc::detail {

using common::DateTime;
static_assert(sizeof(SQLWCHAR) == sizeof(char16_t), "unixODBC's SQLWCHAR is UTF-16");

inline constexpr const char* kSource = "ODBC";
// Rows per parameter array and statements per batch: a 40,000-line save takes a few dozen round
// trips, and no request grows past a few megabytes.
inline constexpr size_t kArrayRows = 2000;
inline constexpr size_t kBatchStatements = 1000;
// A blocked statement waits this long for another user's lock, then fails with error 1222.
inline constexpr const char* kLockTimeoutSql = "SET LOCK_TIMEOUT 15000";
inline constexpr const char* kLockTimeoutSentence =
    "Another user has held these entries for more than 15 seconds, so the database stopped waiting "
    "and nothing was changed; try again in a moment.";
inline constexpr int kLockTimeoutError = 1222;

[[noreturn]] void fail(const std::string& text);

inline SQLWCHAR* wide(std::u16string& s) { return reinterpret_cast<SQLWCHAR*>(s.data()); }

struct Diagnostics {
    std::string text;
    bool lockTimeout = false;
    bool linkLost = false;  // SQLSTATE class 08: the connection is gone
};

// Every diagnostic record of the handle on one line: the error log keeps one entry per line, and
// the first record alone often only says "General error".
Diagnostics diagnostics(SQLSMALLINT handleType, SQLHANDLE handle);

// How a column or parameter travels between the driver and a common::Value.
enum class Kind { Integer, Double, Text, Date, Timestamp, Time };

Kind kindOf(SQLSMALLINT sqlType);
Value::Type valueTypeOf(Kind k);
DateTime fromStruct(const SQL_DATE_STRUCT& d);
DateTime fromStruct(const SQL_TIMESTAMP_STRUCT& t);
// A time of day alone is the classic Date on day 0.
DateTime fromStruct(const SQL_TIME_STRUCT& t);
SQL_TIMESTAMP_STRUCT toStruct(const DateTime& d);
// A date that must travel as text: SQL Server reads "yyyymmdd" alike under every language and
// date format.
std::string dateText(const DateTime& d);

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
    ~Link();

    // Raises the handle's diagnostics when the call failed; SQL_NO_DATA and warnings pass.
    void check(SQLRETURN r, SQLSMALLINT handleType, SQLHANDLE handle) {
        if (SQL_SUCCEEDED(r) || r == SQL_NO_DATA) return;
        raise(handle ? diagnostics(handleType, handle) : Diagnostics{}, r);
    }
    [[noreturn]] void raise(Diagnostics d, SQLRETURN r);
    void checkDbc(SQLRETURN r) { check(r, SQL_HANDLE_DBC, dbc); }

    void connect();
    void disconnect();
    // The first call after the connection was lost connects again, with a fresh session.
    void reopenIfLost();

    Outcome direct(const std::string& sql);
    std::shared_ptr<Prepared> statement(const std::string& text);
    void queueText(std::string sql);
    void queueRow(const std::shared_ptr<Prepared>& statement, std::vector<Value> row);
    void flush();
    void discard() { pending.clear(); }

    void setAutocommit(bool on);
    // Ends the transaction either way and always goes back to autocommit, even when ending it
    // failed: left in manual mode, the next beginTrans would change nothing and the driver would
    // then send no begin, so the next save would run without a transaction.
    void endTransaction(SQLSMALLINT completion);
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

// Walks every result of an executed statement. Later results must be consumed too: a batch or
// procedure reports an error in a later result only when it is reached, and SQL Server sends
// output parameters after the last one. `info` keeps the warnings of the execution itself, which
// for a parameter array name the rows that failed.
Outcome collect(Handle& s, SQLRETURN executed, Diagnostics* info = nullptr);
// The rows of the outcome; a closed recordset when it had none.
RecordsetPtr recordsOf(Outcome& out);

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

    static std::u16string textOf(const Value& v);
    // The units a text column needs for these values (and what an output may bring back).
    static size_t widthFor(std::span<const Value* const> values, size_t outputRoom = 0);
    bool fits(Kind k, size_t n, size_t units) const { return k == kind && n <= rows && units <= width; }
    void layout(Kind k, size_t n, size_t units);
    void fill(std::span<const Value* const> values);
    // Declared by kind, not by value: one statement text keeps one declaration (nvarchar(4000),
    // or nvarchar(max) for a longer text), so the server compiles it once.
    void bind(Handle& s, SQLUSMALLINT position, SQLSMALLINT io);
    Value read(size_t row) const;
};

// A statement text prepared once per connection; preparing is local to the driver, the server
// sees it with the first execution.
struct Prepared {
    Handle handle;
    SQLSMALLINT count = 0;
    std::vector<std::optional<Kind>> kinds;  // of each "?", kept so that the declaration stays
    std::vector<ParamColumn> columns;        // bound once, refilled for every execution

    Prepared(Link& link, const std::string& sql);
    // One execution for all the rows: a parameter array when there are several.
    Outcome run(std::span<const std::vector<Value>> rows);
};

// A procedure's parameters as the server's catalog lists them; the return value comes first.
std::vector<Parameter> describeProcedure(Link& link, const std::string& qualified);
// A procedure through the call escape, its output parameters read back after its results.
RecordsetPtr callProcedure(Link& link, const std::string& name, std::vector<Parameter>& params);

}  // namespace data::odbc::detail
