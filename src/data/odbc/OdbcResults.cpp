#include <algorithm>

#include "common/Conv.h"
#include "common/Utf8.h"
#include "data/odbc/OdbcLink.h"

namespace data::odbc::detail {

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

namespace {

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

}  // namespace

Outcome collect(Handle& s, SQLRETURN executed, Diagnostics* info) {
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

}  // namespace data::odbc::detail
