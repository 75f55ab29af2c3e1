// The session connection over unixODBC. Statements go to the driver as the screens wrote
// them, on SQL Server with its Unicode literals and language-free dates (ServerDialect.h);
// every result is read to the end and closed before the call returns, so a
// driver that allows one active statement per connection (SQL Server without MARS) never
// sees two at once.
#include "data/odbc/OdbcConnection.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <vector>

#include "common/Error.h"
#include "common/Utf8.h"
#include "data/odbc/ServerDialect.h"

namespace data::odbc {
namespace {

using common::DateTime;

constexpr const char* kSource = "ODBC";

[[noreturn]] void fail(const std::string& text) { throw common::Error(common::err::Database, kSource, text); }

// Every diagnostic record of the handle, in order, on one line: the error log keeps one
// entry per line, and the first record alone often only says "General error".
std::string diagnostics(SQLSMALLINT handleType, SQLHANDLE handle) {
    std::string out;
    std::vector<SQLCHAR> message(SQL_MAX_MESSAGE_LENGTH + 1);
    for (SQLSMALLINT rec = 1;; ++rec) {
        SQLCHAR state[SQL_SQLSTATE_SIZE + 1] = {};
        SQLINTEGER native = 0;
        SQLSMALLINT length = 0;
        SQLRETURN r = SQLGetDiagRec(handleType, handle, rec, state, &native, message.data(),
                                    static_cast<SQLSMALLINT>(message.size()), &length);
        if (r == SQL_SUCCESS_WITH_INFO && static_cast<size_t>(length) >= message.size()) {
            message.resize(static_cast<size_t>(length) + 1);
            r = SQLGetDiagRec(handleType, handle, rec, state, &native, message.data(),
                              static_cast<SQLSMALLINT>(message.size()), &length);
        }
        if (!SQL_SUCCEEDED(r)) break;
        std::string text(reinterpret_cast<const char*>(message.data()));
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        if (text.empty()) continue;
        if (!out.empty()) out += "; ";
        out += text;
    }
    return out;
}

// Raises the handle's diagnostics when the call failed; SQL_NO_DATA and warnings pass.
void check(SQLRETURN r, SQLSMALLINT handleType, SQLHANDLE handle) {
    if (SQL_SUCCEEDED(r) || r == SQL_NO_DATA) return;
    std::string text = handle ? diagnostics(handleType, handle) : std::string();
    if (text.empty())
        text = "The ODBC driver failed without a message (return code " + std::to_string(r) + ")";
    fail(text);
}

// The environment and connection handles, shared by the connection and the commands made
// on it, so a command outliving its connection object still has a live handle.
struct Link {
    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    bool connected = false;
    bool inTransaction = false;
    // Whether the driver exports SQLDescribeParam (Debian's FreeTDS does not).
    bool canDescribe = true;
    // SQL Server (any driver): statements are sent in its language-free forms.
    bool sqlServer = false;
    // Per table (lower case), its columns (lower case) of a date or time type, from the catalog.
    std::map<std::string, std::set<std::string>> dateColumns;

    Link() = default;
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;
    ~Link() {
        if (connected) {
            if (inTransaction) SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_ROLLBACK);
            SQLDisconnect(dbc);
        }
        if (dbc) SQLFreeHandle(SQL_HANDLE_DBC, dbc);
        if (env) SQLFreeHandle(SQL_HANDLE_ENV, env);
    }
    void check(SQLRETURN r) const { odbc::check(r, SQL_HANDLE_DBC, dbc); }
    void setAutocommit(bool on) const {
        auto value = on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF;
        check(SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(value),
                                SQL_IS_UINTEGER));
    }
    // Ends the transaction either way and always goes back to autocommit, even when ending
    // it failed: left in manual mode, the next beginTrans would change nothing and some
    // drivers (FreeTDS) then send no BEGIN, so the next save would run without a transaction.
    void endTransaction(SQLSMALLINT completion) {
        SQLRETURN r = SQLEndTran(SQL_HANDLE_DBC, dbc, completion);
        std::string failure;
        if (!SQL_SUCCEEDED(r)) {
            failure = diagnostics(SQL_HANDLE_DBC, dbc);
            if (failure.empty()) failure = "The ODBC driver could not end the transaction";
            // A commit that failed leaves the work open on the server: undo it here.
            if (completion == SQL_COMMIT) SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_ROLLBACK);
        }
        inTransaction = false;
        SQLRETURN a = SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT,
                                        reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON), SQL_IS_UINTEGER);
        if (!failure.empty()) fail(failure);
        check(a);
    }
};
using LinkPtr = std::shared_ptr<Link>;

// One statement handle for the length of one call.
class Statement {
public:
    explicit Statement(const Link& link) { link.check(SQLAllocHandle(SQL_HANDLE_STMT, link.dbc, &h_)); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() { SQLFreeHandle(SQL_HANDLE_STMT, h_); }
    SQLHSTMT handle() const { return h_; }
    void check(SQLRETURN r) const { odbc::check(r, SQL_HANDLE_STMT, h_); }

private:
    SQLHSTMT h_ = SQL_NULL_HSTMT;
};

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

std::string readText(const Statement& s, SQLUSMALLINT col, bool& isNull) {
    std::string out;
    char buf[4096];
    for (;;) {
        SQLLEN ind = 0;
        SQLRETURN r = SQLGetData(s.handle(), col, SQL_C_CHAR, buf, sizeof buf, &ind);
        if (r == SQL_NO_DATA) break;
        s.check(r);
        if (ind == SQL_NULL_DATA) {
            isNull = true;
            return {};
        }
        // A full buffer (with its terminator) means more is to come.
        bool more =
            r == SQL_SUCCESS_WITH_INFO && (ind == SQL_NO_TOTAL || ind >= static_cast<SQLLEN>(sizeof buf));
        size_t got = more ? sizeof buf - 1 : static_cast<size_t>(ind);
        out.append(buf, std::min(got, sizeof buf - 1));
        if (!more) break;
    }
    return out;
}

template <class T>
bool getFixed(const Statement& s, SQLUSMALLINT col, SQLSMALLINT cType, T& v) {
    SQLLEN ind = 0;
    s.check(SQLGetData(s.handle(), col, cType, &v, sizeof v, &ind));
    return ind != SQL_NULL_DATA;
}

Value readColumn(const Statement& s, SQLUSMALLINT col, Kind kind) {
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
RecordsetPtr fetchAll(const Statement& s, SQLSMALLINT columns) {
    std::vector<std::string> names;
    std::vector<Kind> kinds;
    std::vector<SQLCHAR> name(256);
    for (SQLUSMALLINT c = 1; c <= static_cast<SQLUSMALLINT>(columns); ++c) {
        SQLSMALLINT nameLength = 0, sqlType = 0, digits = 0, nullable = 0;
        SQLULEN size = 0;
        s.check(SQLDescribeCol(s.handle(), c, name.data(), static_cast<SQLSMALLINT>(name.size()), &nameLength,
                               &sqlType, &size, &digits, &nullable));
        if (static_cast<size_t>(nameLength) >= name.size()) {
            name.resize(static_cast<size_t>(nameLength) + 1);
            s.check(SQLDescribeCol(s.handle(), c, name.data(), static_cast<SQLSMALLINT>(name.size()),
                                   &nameLength, &sqlType, &size, &digits, &nullable));
        }
        names.emplace_back(reinterpret_cast<const char*>(name.data()));
        kinds.push_back(kindOf(sqlType));
    }
    std::vector<std::vector<Value>> rows;
    for (;;) {
        SQLRETURN r = SQLFetch(s.handle());
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

struct Outcome {
    RecordsetPtr records;  // the first result that has columns, if any
    long affected = -1;    // rows touched by the results without columns, -1 when none said
};

// Walks every result of an executed statement. Later results must be consumed too: a
// batch or procedure reports an error in a later result only when it is reached, and SQL
// Server sends output parameters after the last one.
Outcome collect(const Statement& s, SQLRETURN executed) {
    s.check(executed);
    Outcome out;
    if (executed == SQL_NO_DATA) {
        // A searched update or delete that touched nothing.
        out.affected = 0;
    }
    for (;;) {
        SQLSMALLINT columns = 0;
        s.check(SQLNumResultCols(s.handle(), &columns));
        if (columns > 0) {
            if (!out.records) out.records = fetchAll(s, columns);
        } else if (executed != SQL_NO_DATA) {
            SQLLEN count = -1;
            if (SQL_SUCCEEDED(SQLRowCount(s.handle(), &count)) && count >= 0)
                out.affected = (out.affected < 0 ? 0 : out.affected) + static_cast<long>(count);
        }
        SQLRETURN r = SQLMoreResults(s.handle());
        if (r == SQL_NO_DATA) break;
        s.check(r);
        executed = r;
    }
    return out;
}

// What the driver said of a parameter (or what the binding falls back on without it).
struct Description {
    bool known = false;
    bool dateColumn = false;  // undescribed, but bound to a column of a date type
    SQLSMALLINT sqlType = SQL_VARCHAR;
    SQLULEN size = 0;
    SQLSMALLINT digits = 0;
};

// UTF-8 to UTF-16 and back, for wide character parameters. A byte that does not start a
// valid sequence becomes U+FFFD rather than being dropped.
std::u16string toUtf16(std::string_view s) {
    std::u16string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size();) {
        auto b = static_cast<unsigned char>(s[i]);
        size_t n = b < 0x80 ? 1 : (b >> 5) == 0x6 ? 2 : (b >> 4) == 0xE ? 3 : (b >> 3) == 0x1E ? 4 : 0;
        char32_t c = n == 1 ? b : n == 2 ? b & 0x1F : n == 3 ? b & 0x0F : b & 0x07;
        bool ok = n > 0 && i + n <= s.size();
        for (size_t k = 1; ok && k < n; ++k) {
            auto cont = static_cast<unsigned char>(s[i + k]);
            ok = (cont & 0xC0) == 0x80;
            c = (c << 6) | (cont & 0x3F);
        }
        if (!ok || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            out += u'\uFFFD';
            ++i;
            continue;
        }
        if (c >= 0x10000) {
            c -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (c >> 10));
            out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
        } else {
            out += static_cast<char16_t>(c);
        }
        i += n;
    }
    return out;
}

std::string toUtf8(std::u16string_view s) {
    std::string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size(); ++i) {
        char32_t c = s[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] <= 0xDFFF)
            c = 0x10000 + ((c - 0xD800) << 10) + (s[++i] - 0xDC00);
        else if (c >= 0xD800 && c <= 0xDFFF)
            c = 0xFFFD;
        out += common::utf8Encode(c);
    }
    return out;
}

// The storage one bound parameter points at while its statement runs.
struct Binding {
    Kind kind = Kind::Text;
    SQLBIGINT integer = 0;
    SQLDOUBLE real = 0;
    SQL_DATE_STRUCT date{};
    SQL_TIMESTAMP_STRUCT timestamp{};
    SQL_TIME_STRUCT time{};
    std::vector<char> text;
    std::vector<char16_t> wide;  // text as UTF-16 and its terminator, for wide parameters
    bool isWide = false;
    SQLLEN indicator = 0;

    SQLSMALLINT cType() const {
        switch (kind) {
            case Kind::Integer:
                return SQL_C_SBIGINT;
            case Kind::Double:
                return SQL_C_DOUBLE;
            case Kind::Date:
                return SQL_C_TYPE_DATE;
            case Kind::Timestamp:
                return SQL_C_TYPE_TIMESTAMP;
            case Kind::Time:
                return SQL_C_TYPE_TIME;
            case Kind::Text:
                break;
        }
        return isWide ? SQL_C_WCHAR : SQL_C_CHAR;
    }
    SQLPOINTER data() {
        switch (kind) {
            case Kind::Integer:
                return &integer;
            case Kind::Double:
                return &real;
            case Kind::Date:
                return &date;
            case Kind::Timestamp:
                return &timestamp;
            case Kind::Time:
                return &time;
            case Kind::Text:
                break;
        }
        return isWide ? static_cast<SQLPOINTER>(wide.data()) : static_cast<SQLPOINTER>(text.data());
    }
    SQLLEN capacity() const {
        switch (kind) {
            case Kind::Integer:
                return sizeof integer;
            case Kind::Double:
                return sizeof real;
            case Kind::Date:
                return sizeof date;
            case Kind::Timestamp:
                return sizeof timestamp;
            case Kind::Time:
                return sizeof time;
            case Kind::Text:
                break;
        }
        return static_cast<SQLLEN>(isWide ? wide.size() * sizeof(char16_t) : text.size());
    }
    Value read() const {
        if (indicator == SQL_NULL_DATA) return Value();
        switch (kind) {
            case Kind::Integer:
                return Value(static_cast<int64_t>(integer));
            case Kind::Double:
                return Value(static_cast<double>(real));
            case Kind::Date:
                return Value(fromStruct(date));
            case Kind::Timestamp:
                return Value(fromStruct(timestamp));
            case Kind::Time:
                return Value(fromStruct(time));
            case Kind::Text:
                break;
        }
        if (isWide) {
            size_t n = indicator == SQL_NO_TOTAL
                           ? wide.size() - 1
                           : std::min(static_cast<size_t>(indicator) / sizeof(char16_t), wide.size() - 1);
            return Value(toUtf8(std::u16string_view(wide.data(), n)));
        }
        size_t n = indicator == SQL_NO_TOTAL ? text.size() - 1
                                             : std::min(static_cast<size_t>(indicator), text.size() - 1);
        return Value(std::string(text.data(), n));
    }
};

// The SQL type a value travels as when the driver could not describe its parameter.
Description describeByValue(Value::Type type) {
    Description d;
    switch (type) {
        case Value::Type::Integer:
            d.sqlType = SQL_BIGINT;
            d.size = 19;
            break;
        case Value::Type::Double:
            d.sqlType = SQL_DOUBLE;
            d.size = 15;
            break;
        case Value::Type::Date:
            d.sqlType = SQL_TYPE_TIMESTAMP;
            d.size = 19;
            break;
        case Value::Type::Text:
        case Value::Type::Null:
            // Wide, so the driver passes the characters on unchanged instead of converting
            // them to the database's code page (which blanks Arabic or Hindi); its size,
            // in UTF-16 units, is counted when the value is loaded.
            d.sqlType = SQL_WVARCHAR;
            d.size = 0;
            break;
    }
    return d;
}

bool isWideType(SQLSMALLINT sqlType) {
    return sqlType == SQL_WCHAR || sqlType == SQL_WVARCHAR || sqlType == SQL_WLONGVARCHAR;
}

// A date sent as text: SQL Server reads "yyyymmdd" alike under every language and date
// format, while it reads "yyyy-mm-dd" as year-day-month for a datetime under DATEFORMAT dmy.
// Other databases (SQLite) keep the ISO form they store.
std::string dateText(const DateTime& d, bool sqlServer) {
    if (!sqlServer) return common::isoDate(d);
    std::string out = common::formatDate(d, "yyyymmdd");
    if (d.hour || d.minute || d.second) out += common::isoDate(d).substr(10);
    return out;
}

SQLSMALLINT ioTypeOf(ParamDirection d) {
    switch (d) {
        case ParamDirection::Input:
            return SQL_PARAM_INPUT;
        case ParamDirection::InputOutput:
            return SQL_PARAM_INPUT_OUTPUT;
        case ParamDirection::Output:
        case ParamDirection::ReturnValue:
            break;
    }
    return SQL_PARAM_OUTPUT;
}

bool returnsValue(ParamDirection d) { return d != ParamDirection::Input; }

// Fills the binding with the value converted to the parameter's type, as the classic
// conversions do it (16-bit and 32-bit parameters travel as 64-bit integers; the driver
// narrows them and reports an overflow itself).
void load(Binding& b, const Value& v, bool output, SQLULEN size, bool sqlServer) {
    if (b.kind == Kind::Text) {
        std::string text;
        if (!v.isNull()) text = v.asDate() ? dateText(*v.asDate(), sqlServer) : v.toText();
        const size_t outputRoom = size > 0 && size <= 8000 ? size : 8000;
        if (b.isWide) {
            std::u16string wide = toUtf16(text);
            size_t room = output ? std::max(wide.size(), outputRoom) : wide.size();
            b.wide.assign(room + 1, u'\0');
            std::copy(wide.begin(), wide.end(), b.wide.begin());
            b.indicator = v.isNull() ? SQL_NULL_DATA : static_cast<SQLLEN>(wide.size() * sizeof(char16_t));
            return;
        }
        size_t room = output ? std::max(text.size(), outputRoom) : text.size();
        b.text.assign(room + 1, '\0');
        std::copy(text.begin(), text.end(), b.text.begin());
        b.indicator = v.isNull() ? SQL_NULL_DATA : static_cast<SQLLEN>(text.size());
        return;
    }
    if (v.isNull()) {
        b.indicator = SQL_NULL_DATA;
        return;
    }
    b.indicator = 0;
    switch (b.kind) {
        case Kind::Integer:
            b.integer = v.toInt64();
            break;
        case Kind::Double:
            b.real = v.toDouble();
            break;
        case Kind::Date: {
            DateTime d = v.toDate();
            b.date = SQL_DATE_STRUCT{static_cast<SQLSMALLINT>(d.year), static_cast<SQLUSMALLINT>(d.month),
                                     static_cast<SQLUSMALLINT>(d.day)};
            break;
        }
        case Kind::Timestamp: {
            DateTime d = v.toDate();
            b.timestamp = SQL_TIMESTAMP_STRUCT{static_cast<SQLSMALLINT>(d.year),
                                               static_cast<SQLUSMALLINT>(d.month),
                                               static_cast<SQLUSMALLINT>(d.day),
                                               static_cast<SQLUSMALLINT>(d.hour),
                                               static_cast<SQLUSMALLINT>(d.minute),
                                               static_cast<SQLUSMALLINT>(d.second),
                                               0};
            break;
        }
        case Kind::Time: {
            DateTime d = v.toDate();
            b.time = SQL_TIME_STRUCT{static_cast<SQLUSMALLINT>(d.hour), static_cast<SQLUSMALLINT>(d.minute),
                                     static_cast<SQLUSMALLINT>(d.second)};
            break;
        }
        case Kind::Text:
            break;
    }
}

[[noreturn]] void raiseItemNotFound() {
    common::raise(common::err::ItemNotFound, kSource,
                  "Item cannot be found in the collection corresponding to the requested name or ordinal.");
}

std::string textOf(const Statement& s, SQLUSMALLINT col) {
    bool isNull = false;
    return readText(s, col, isNull);
}

int64_t integerOf(const Statement& s, SQLUSMALLINT col, int64_t fallback) {
    SQLBIGINT v = 0;
    return getFixed(s, col, SQL_C_SBIGINT, v) ? static_cast<int64_t>(v) : fallback;
}

class OdbcCommand : public Command {
public:
    OdbcCommand(LinkPtr link, std::string text, CommandType type)
        : link_(std::move(link)), text_(std::move(text)), type_(type) {}

    void refreshParameters() override {
        std::vector<Parameter> params;
        std::vector<Description> described;
        if (type_ == CommandType::StoredProc)
            describeProcedure(params, described);
        else
            describeText(params, described);
        params_ = std::move(params);
        described_ = std::move(described);
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
        // A procedure needs its parameter list to build the call; a text without "?" does not.
        if (type_ == CommandType::StoredProc) ensureRefreshed();
        return run();
    }

    RecordsetPtr execute(const std::vector<Value>& args) override {
        ensureRefreshed();
        size_t first = hasReturnValue() ? 1 : 0;
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

    // One parameter per "?", as the driver counts them, typed by SQLDescribeParam where the
    // driver can; where it cannot, the bound value's own type decides at execution.
    void describeText(std::vector<Parameter>& params, std::vector<Description>& described) {
        Statement s(*link_);
        const std::string sql = statementText();
        s.check(SQLPrepare(s.handle(), sqlChars(sql), SQL_NTS));
        SQLSMALLINT count = 0;
        s.check(SQLNumParams(s.handle(), &count));
        for (SQLUSMALLINT i = 1; i <= static_cast<SQLUSMALLINT>(count); ++i) {
            Description d;
            SQLSMALLINT nullable = 0;
            d.known = link_->canDescribe && SQL_SUCCEEDED(SQLDescribeParam(s.handle(), i, &d.sqlType, &d.size,
                                                                           &d.digits, &nullable));
            Parameter p;
            p.type = d.known ? valueTypeOf(kindOf(d.sqlType)) : Value::Type::Null;
            if (!d.known) d = Description{};
            params.push_back(std::move(p));
            described.push_back(d);
        }
        if (link_->sqlServer) markDateColumns(described);
    }

    // The screens bind some dates as "dd/MMM/yyyy" text, which SQL Server reads by the
    // session's language. Where the driver could not say that a marker stands for a date,
    // the catalog says whether its column is one, and such a text is then bound as a date.
    void markDateColumns(std::vector<Description>& described) {
        MarkerColumns markers = markerColumns(text_);
        if (markers.table.empty()) return;
        const std::set<std::string>& dates = dateColumnsOf(markers.table);
        for (size_t i = 0; i < described.size() && i < markers.columns.size(); ++i)
            if (!described[i].known) described[i].dateColumn = dates.count(lowerCase(markers.columns[i])) > 0;
    }

    const std::set<std::string>& dateColumnsOf(const std::string& table) {
        const std::string key = lowerCase(table);
        if (auto it = link_->dateColumns.find(key); it != link_->dateColumns.end()) return it->second;
        std::set<std::string> dates;
        Statement s(*link_);
        std::string name = catalogPattern(table);
        if (SQL_SUCCEEDED(
                SQLColumns(s.handle(), nullptr, 0, nullptr, 0, sqlChars(name), SQL_NTS, nullptr, 0))) {
            // Columns of the catalog result: 4 name, 5 SQL type.
            while (SQL_SUCCEEDED(SQLFetch(s.handle()))) {
                Kind kind = kindOf(static_cast<SQLSMALLINT>(integerOf(s, 5, SQL_VARCHAR)));
                if (kind == Kind::Date || kind == Kind::Timestamp) dates.insert(lowerCase(textOf(s, 4)));
            }
        }
        return link_->dateColumns[key] = std::move(dates);
    }

    static std::string lowerCase(std::string v) {
        for (char& c : v) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return v;
    }

    // The procedure's own parameter list from the catalog; the return value comes first.
    void describeProcedure(std::vector<Parameter>& params, std::vector<Description>& described) {
        // "[db].[schema].[name]": the catalog wants the schema and the name apart, unquoted.
        std::string schema, name = text_;
        if (auto dot = name.rfind('.'); dot != std::string::npos) {
            schema = name.substr(0, dot);
            name = name.substr(dot + 1);
            if (auto inner = schema.rfind('.'); inner != std::string::npos) schema = schema.substr(inner + 1);
        }
        schema = catalogPattern(unbracket(schema));
        name = catalogPattern(unbracket(name));
        Statement s(*link_);
        s.check(SQLProcedureColumns(s.handle(), nullptr, 0, schema.empty() ? nullptr : sqlChars(schema),
                                    schema.empty() ? 0 : SQL_NTS, sqlChars(name), SQL_NTS, nullptr, 0));
        std::string owner;  // the first procedure answered; a namesake in another schema is not ours
        for (;;) {
            SQLRETURN r = SQLFetch(s.handle());
            if (r == SQL_NO_DATA) break;
            s.check(r);
            std::string procedure = textOf(s, 2) + "." + textOf(s, 3);
            if (owner.empty()) owner = procedure;
            if (procedure != owner) continue;
            // Columns of the catalog result: 4 name, 5 kind, 6 SQL type, 8 size, 10 digits.
            std::string columnName = textOf(s, 4);
            int64_t kind = integerOf(s, 5, SQL_PARAM_TYPE_UNKNOWN);
            if (kind == SQL_RESULT_COL) continue;
            Description d;
            d.known = true;
            d.sqlType = static_cast<SQLSMALLINT>(integerOf(s, 6, SQL_VARCHAR));
            d.size = static_cast<SQLULEN>(std::max<int64_t>(integerOf(s, 8, 0), 0));
            d.digits = static_cast<SQLSMALLINT>(integerOf(s, 10, 0));
            Parameter p;
            p.name = columnName;
            p.type = valueTypeOf(kindOf(d.sqlType));
            p.direction = kind == SQL_RETURN_VALUE         ? ParamDirection::ReturnValue
                          : kind == SQL_PARAM_OUTPUT       ? ParamDirection::Output
                          : kind == SQL_PARAM_INPUT_OUTPUT ? ParamDirection::InputOutput
                                                           : ParamDirection::Input;
            if (p.direction == ParamDirection::ReturnValue) {
                params.insert(params.begin(), std::move(p));
                described.insert(described.begin(), d);
            } else {
                params.push_back(std::move(p));
                described.push_back(d);
            }
        }
    }

    static std::string unbracket(const std::string& part) {
        if (part.size() >= 2 && part.front() == '[' && part.back() == ']')
            return part.substr(1, part.size() - 2);
        return part;
    }

    // The catalog functions take search patterns: "_" and "%" in a name are escaped so they
    // match only themselves.
    std::string catalogPattern(const std::string& name) const {
        SQLCHAR escape[8] = {};
        SQLSMALLINT length = 0;
        if (!SQL_SUCCEEDED(
                SQLGetInfo(link_->dbc, SQL_SEARCH_PATTERN_ESCAPE, escape, sizeof escape, &length)) ||
            length == 0)
            return name;
        std::string out;
        for (char ch : name) {
            if (ch == '_' || ch == '%') out += reinterpret_cast<const char*>(escape);
            out += ch;
        }
        return out;
    }

    // The statement the driver runs: the text itself, or the call escape of the procedure
    // with one marker per parameter.
    std::string statementText() const {
        if (type_ != CommandType::StoredProc) return link_->sqlServer ? sqlServerText(text_) : text_;
        size_t first = hasReturnValue() ? 1 : 0;
        std::string sql = first ? "{? = call " : "{call ";
        sql += text_;
        if (params_.size() > first) {
            sql += "(";
            for (size_t i = first; i < params_.size(); ++i) sql += i == first ? "?" : ", ?";
            sql += ")";
        }
        return sql + "}";
    }

    RecordsetPtr run() {
        Statement s(*link_);
        // Bindings point into this vector: it is sized once and never grows while bound.
        std::vector<Binding> bindings(params_.size());
        for (size_t i = 0; i < params_.size(); ++i) bind(s, i, bindings[i]);
        std::string sql = statementText();
        Outcome out = collect(s, SQLExecDirect(s.handle(), sqlChars(sql), SQL_NTS));
        for (size_t i = 0; i < params_.size(); ++i)
            if (returnsValue(params_[i].direction)) params_[i].value = bindings[i].read();
        if (!out.records) {
            out.records = std::make_unique<Recordset>();
            out.records->close();
        }
        return std::move(out.records);
    }

    void bind(const Statement& s, size_t i, Binding& b) {
        const Parameter& p = params_[i];
        Description d = i < described_.size() ? described_[i] : Description{};
        Value value = p.value;
        if (d.dateColumn && value.asText())
            if (auto date = suiteDate(*value.asText())) value = Value(*date);
        Value::Type type = p.type != Value::Type::Null ? p.type : value.type();
        if (!d.known) d = describeByValue(type);
        b.kind = kindOf(d.sqlType);
        b.isWide = b.kind == Kind::Text && isWideType(d.sqlType);
        bool output = returnsValue(p.direction);
        Value in = p.direction == ParamDirection::Output || p.direction == ParamDirection::ReturnValue
                       ? Value()
                       : value;
        load(b, in, output, d.size, link_->sqlServer);
        SQLULEN size = d.size;
        if (b.kind == Kind::Text && size == 0) {
            size = std::max<SQLULEN>((b.isWide ? b.wide.size() : b.text.size()) - 1, 1);
            // Beyond nvarchar(4000) a server wants the long type (nvarchar(max)).
            if (b.isWide && size > 4000) d.sqlType = SQL_WLONGVARCHAR;
        }
        s.check(SQLBindParameter(s.handle(), static_cast<SQLUSMALLINT>(i + 1), ioTypeOf(p.direction),
                                 b.cType(), d.sqlType, size, d.digits, b.data(), b.capacity(), &b.indicator));
    }

    static SQLCHAR* sqlChars(const std::string& s) {
        return reinterpret_cast<SQLCHAR*>(const_cast<char*>(s.c_str()));
    }

    LinkPtr link_;
    std::string text_;
    CommandType type_;
    std::vector<Parameter> params_;
    std::vector<Description> described_;
    bool refreshed_ = false;
};

class OdbcConnection : public Connection {
public:
    explicit OdbcConnection(LinkPtr link) : link_(std::move(link)) {}

    bool isOpen() const override { return link_->connected; }

    long execute(const std::string& sql) override { return run(sql).affected; }

    RecordsetPtr open(const std::string& sql, CursorType, LockType) override {
        // Every cursor type reads the same: the whole result is materialised.
        Outcome out = run(sql);
        if (!out.records) {
            // A statement without rows yields a closed recordset, as the classic provider's did.
            out.records = std::make_unique<Recordset>();
            out.records->close();
        }
        return std::move(out.records);
    }

    CommandPtr command(const std::string& text, CommandType type) override {
        return std::make_unique<OdbcCommand>(link_, text, type);
    }

    void beginTrans() override {
        if (link_->inTransaction) fail("Cannot start more transactions on this session.");
        link_->setAutocommit(false);
        link_->inTransaction = true;
    }

    void commitTrans() override {
        if (!link_->inTransaction) fail("No transaction is active.");
        // A failed commit is rolled back here, so the caller's own rollback finds nothing open.
        link_->endTransaction(SQL_COMMIT);
    }

    // With nothing open there is nothing to undo: a save's error handler may roll back after
    // a failed commit has already done so.
    void rollbackTrans() override {
        if (!link_->inTransaction) return;
        link_->endTransaction(SQL_ROLLBACK);
    }

    bool inTransaction() const override { return link_->inTransaction; }

private:
    Outcome run(const std::string& sql) {
        Statement s(*link_);
        const std::string text = link_->sqlServer ? sqlServerText(sql) : sql;
        return collect(
            s,
            SQLExecDirect(s.handle(), reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.c_str())), SQL_NTS));
    }

    LinkPtr link_;
};

}  // namespace

ConnectionPtr open(const std::string& connectionString, const Options& options) {
    auto link = std::make_shared<Link>();
    if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &link->env)))
        fail("The ODBC driver manager could not be loaded");
    check(SQLSetEnvAttr(link->env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
          SQL_HANDLE_ENV, link->env);
    check(SQLAllocHandle(SQL_HANDLE_DBC, link->env, &link->dbc), SQL_HANDLE_ENV, link->env);
    SQLCHAR completed[1024];
    SQLSMALLINT completedLength = 0;
    link->check(SQLDriverConnect(
        link->dbc, nullptr, reinterpret_cast<SQLCHAR*>(const_cast<char*>(connectionString.c_str())), SQL_NTS,
        completed, sizeof completed, &completedLength, SQL_DRIVER_NOPROMPT));
    link->connected = true;

    // unixODBC answers from the functions the driver library exports.
    SQLUSMALLINT describes = SQL_FALSE;
    link->canDescribe = options.describeParameters &&
                        SQL_SUCCEEDED(SQLGetFunctions(link->dbc, SQL_API_SQLDESCRIBEPARAM, &describes)) &&
                        describes == SQL_TRUE;
    SQLCHAR dbms[128] = {};
    SQLSMALLINT dbmsLength = 0;
    if (SQL_SUCCEEDED(SQLGetInfo(link->dbc, SQL_DBMS_NAME, dbms, sizeof dbms, &dbmsLength)))
        link->sqlServer = std::string_view(reinterpret_cast<const char*>(dbms)).find("SQL Server") !=
                          std::string_view::npos;
    return std::make_shared<OdbcConnection>(std::move(link));
}

}  // namespace data::odbc
