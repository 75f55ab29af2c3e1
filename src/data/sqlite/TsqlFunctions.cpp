// The T-SQL functions that SQLite lacks, registered on each connection; they answer as the
// server does, and the adapter renames the statements' calls to them.
#include <sqlite3.h>

#include <cmath>
#include <ctime>
#include <string>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "data/sqlite/TsqlAdapter.h"

namespace data::sqlite {

namespace {

using common::Value;

std::string textArg(sqlite3_value* v) {
    const unsigned char* p = sqlite3_value_text(v);
    return p ? std::string(reinterpret_cast<const char*>(p), static_cast<size_t>(sqlite3_value_bytes(v)))
             : std::string();
}

// Characters, not bytes: UTF-8 continuation bytes are not counted.
size_t charCount(std::string_view s) {
    size_t n = 0;
    for (char c : s)
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++n;
    return n;
}

// Byte offset of the character with the given index.
size_t byteOffset(std::string_view s, size_t chars) {
    size_t n = 0;
    for (size_t i = 0; i < s.size(); ++i) {
        if ((static_cast<unsigned char>(s[i]) & 0xC0) != 0x80) {
            if (n == chars) return i;
            ++n;
        }
    }
    return s.size();
}

void fnLen(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
    sqlite3_result_int64(ctx, tsqlLen(textArg(argv[0])));
}

void fnRightLeft(sqlite3_context* ctx, sqlite3_value** argv, bool right) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL || sqlite3_value_type(argv[1]) == SQLITE_NULL)
        return sqlite3_result_null(ctx);
    std::string s = textArg(argv[0]);
    sqlite3_int64 n = sqlite3_value_int64(argv[1]);
    size_t len = charCount(s);
    std::string r;
    if (n > 0) {
        size_t take = static_cast<size_t>(std::min<sqlite3_int64>(n, static_cast<sqlite3_int64>(len)));
        r = right ? s.substr(byteOffset(s, len - take)) : s.substr(0, byteOffset(s, take));
    }
    sqlite3_result_text(ctx, r.c_str(), static_cast<int>(r.size()), SQLITE_TRANSIENT);
}
void fnRight(sqlite3_context* ctx, int, sqlite3_value** argv) { fnRightLeft(ctx, argv, true); }
void fnLeft(sqlite3_context* ctx, int, sqlite3_value** argv) { fnRightLeft(ctx, argv, false); }

void fnIsNumeric(sqlite3_context* ctx, int, sqlite3_value** argv) {
    switch (sqlite3_value_type(argv[0])) {
        case SQLITE_NULL:
            return sqlite3_result_int(ctx, 0);
        case SQLITE_INTEGER:
        case SQLITE_FLOAT:
            return sqlite3_result_int(ctx, 1);
        default:
            return sqlite3_result_int(ctx, tsqlIsNumeric(textArg(argv[0])) ? 1 : 0);
    }
}

void fnDatePart(sqlite3_context* ctx, sqlite3_value** argv, int part) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
    auto d = common::parseDate(textArg(argv[0]));
    if (!d) {
        sqlite3_result_error(ctx, "Conversion failed when converting date and/or time from character string.",
                             -1);
        return;
    }
    sqlite3_result_int(ctx, part == 0 ? d->year : part == 1 ? d->month : d->day);
}
void fnYear(sqlite3_context* ctx, int, sqlite3_value** argv) { fnDatePart(ctx, argv, 0); }
void fnMonth(sqlite3_context* ctx, int, sqlite3_value** argv) { fnDatePart(ctx, argv, 1); }
void fnDay(sqlite3_context* ctx, int, sqlite3_value** argv) { fnDatePart(ctx, argv, 2); }

// try_convert(int, x): what convert(int, x) gives, and Null where it would fail.
void fnTryInt(sqlite3_context* ctx, int, sqlite3_value** argv) {
    sqlite3_value* v = argv[0];
    if (sqlite3_value_type(v) == SQLITE_NULL) return sqlite3_result_null(ctx);
    if (sqlite3_value_type(v) == SQLITE_INTEGER || sqlite3_value_type(v) == SQLITE_FLOAT) {
        double d = std::trunc(sqlite3_value_double(v));
        if (d >= -2147483648.0 && d <= 2147483647.0)
            return sqlite3_result_int64(ctx, static_cast<sqlite3_int64>(d));
        return sqlite3_result_null(ctx);
    }
    std::string s = textArg(v);
    size_t b = 0, e = s.size();
    while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
    if (b == e) return sqlite3_result_int64(ctx, 0);
    size_t i = b;
    bool negative = false;
    if (s[i] == '+' || s[i] == '-') negative = s[i++] == '-';
    if (i == e) return sqlite3_result_null(ctx);
    sqlite3_int64 n = 0;
    for (; i < e; ++i) {
        if (!common::IsDigit(s[i])) return sqlite3_result_null(ctx);
        n = n * 10 + (s[i] - '0');
        if (n > 2147483648LL) return sqlite3_result_null(ctx);
    }
    if (negative) n = -n;
    if (n > 2147483647LL) return sqlite3_result_null(ctx);
    sqlite3_result_int64(ctx, n);
}

void fnInt(sqlite3_context* ctx, int, sqlite3_value** argv) {
    constexpr sqlite3_int64 lo = -2147483648LL, hi = 2147483647LL;
    switch (sqlite3_value_type(argv[0])) {
        case SQLITE_NULL:
            return sqlite3_result_null(ctx);
        case SQLITE_INTEGER: {
            sqlite3_int64 v = sqlite3_value_int64(argv[0]);
            if (v < lo || v > hi)
                return sqlite3_result_error(
                    ctx, "Arithmetic overflow error converting expression to data type int.", -1);
            return sqlite3_result_int64(ctx, v);
        }
        case SQLITE_FLOAT: {
            double v = std::trunc(sqlite3_value_double(argv[0]));  // the server truncates
            if (!(v >= static_cast<double>(lo) && v <= static_cast<double>(hi)))
                return sqlite3_result_error(
                    ctx, "Arithmetic overflow error converting expression to data type int.", -1);
            return sqlite3_result_int64(ctx, static_cast<sqlite3_int64>(v));
        }
        default: {
            std::string s = textArg(argv[0]);
            size_t b = 0, e = s.size();
            while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
            while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
            size_t i = b;
            bool negative = false;
            if (i < e && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
            bool ok = i < e;
            sqlite3_int64 v = 0;
            bool overflow = false;
            for (; i < e && ok; ++i) {
                if (!common::IsDigit(s[i])) {
                    ok = false;
                    break;
                }
                if (!overflow) {
                    v = v * 10 + (s[i] - '0');
                    if (v > hi + 1) overflow = true;
                }
            }
            if (b == e) ok = true, v = 0;  // an empty or blank text converts to 0 on the server
            if (!ok) {
                std::string msg =
                    "Conversion failed when converting the varchar value '" + s + "' to data type int.";
                return sqlite3_result_error(ctx, msg.c_str(), -1);
            }
            if (negative) v = -v;
            if (overflow || v < lo || v > hi) {
                std::string msg = "The conversion of the varchar value '" + s + "' overflowed an int column.";
                return sqlite3_result_error(ctx, msg.c_str(), -1);
            }
            return sqlite3_result_int64(ctx, v);
        }
    }
}

void fnGetDate(sqlite3_context* ctx, int, sqlite3_value**) {
    std::time_t t = std::time(nullptr);
    std::tm tm{};
    localtime_r(&t, &tm);
    common::DateTime d{tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec};
    std::string s = common::isoDate(d);
    sqlite3_result_text(ctx, s.c_str(), static_cast<int>(s.size()), SQLITE_TRANSIENT);
}

void registerOne(sqlite3* db, const char* name, int args, void (*fn)(sqlite3_context*, int, sqlite3_value**),
                 bool deterministic = true) {
    int flags = SQLITE_UTF8 | (deterministic ? SQLITE_DETERMINISTIC : 0);
    if (sqlite3_create_function_v2(db, name, args, flags, nullptr, fn, nullptr, nullptr, nullptr) !=
        SQLITE_OK)
        common::raise(common::err::Database, kErrorSource, sqlite3_errmsg(db));
}

}  // namespace

bool tsqlIsNumeric(std::string_view text) {
    // The server answers 1 when the text converts to any numeric type, money included: blanks
    // around, a currency sign, a sign, digits with thousands commas, a point, an exponent.
    size_t b = 0, e = text.size();
    auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    while (b < e && blank(text[b])) ++b;
    while (e > b && blank(text[e - 1])) --e;
    std::string_view s = text.substr(b, e - b);
    if (s.empty()) return false;
    size_t i = 0;
    // A currency sign may stand before or after the sign.
    if (i < s.size() && s[i] == '$') ++i;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
    if (i < s.size() && s[i] == '$' && (i == 0 || s[i - 1] != '$')) ++i;
    while (i < s.size() && blank(s[i])) ++i;
    size_t digits = 0;
    bool commas = false;
    while (i < s.size() && (common::IsDigit(s[i]) || s[i] == ',')) {
        if (s[i] == ',')
            commas = true;
        else
            ++digits;
        ++i;
    }
    if (i < s.size() && s[i] == '.') {
        ++i;
        while (i < s.size() && common::IsDigit(s[i])) ++digits, ++i;
    }
    if (i == s.size()) return true;  // "+", "$", "." and "1,2" convert to money
    if (commas || digits == 0) return false;
    if (s[i] == 'e' || s[i] == 'E' || s[i] == 'd' || s[i] == 'D') {
        ++i;
        if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
        size_t start = i;
        while (i < s.size() && common::IsDigit(s[i])) ++i;
        return i > start && i == s.size();
    }
    return false;
}

long tsqlLen(std::string_view text) {
    size_t e = text.size();
    while (e > 0 && text[e - 1] == ' ') --e;
    return static_cast<long>(charCount(text.substr(0, e)));
}

void registerFunctions(sqlite3* db) {
    registerOne(db, "tsql_len", 1, fnLen);
    registerOne(db, "tsql_right", 2, fnRight);
    registerOne(db, "tsql_left", 2, fnLeft);
    registerOne(db, "tsql_isnumeric", 1, fnIsNumeric);
    registerOne(db, "tsql_month", 1, fnMonth);
    registerOne(db, "tsql_year", 1, fnYear);
    registerOne(db, "tsql_day", 1, fnDay);
    registerOne(db, "tsql_int", 1, fnInt);
    registerOne(db, "tsql_try_int", 1, fnTryInt);
    registerOne(db, "tsql_getdate", 0, fnGetDate, false);
    // Plain names for the procedure catalog's statements, which SQLite reads as written.
    registerOne(db, "len", 1, fnLen);
    registerOne(db, "isnumeric", 1, fnIsNumeric);
    registerOne(db, "month", 1, fnMonth);
    registerOne(db, "year", 1, fnYear);
    registerOne(db, "day", 1, fnDay);
}

}  // namespace data::sqlite
