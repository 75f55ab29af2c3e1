#include "data/odbc/ServerDialect.h"

#include <array>
#include <cctype>
#include <optional>

#include "common/DateTime.h"

namespace data::odbc {
namespace {

bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }
bool isWordChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '@' || c == '#';
}

int number(std::string_view s) {
    int n = 0;
    for (char c : s) n = n * 10 + (c - '0');
    return n;
}

bool allDigits(std::string_view s) {
    for (char c : s)
        if (!isDigit(c)) return false;
    return !s.empty();
}

}  // namespace

std::optional<common::DateTime> suiteDate(std::string_view s) {
    std::optional<common::DateTime> d;
    if (s.size() == 10 && s[4] == '/' && s[7] == '/' && allDigits(s.substr(0, 4)) &&
        allDigits(s.substr(5, 2)) && allDigits(s.substr(8, 2))) {
        d = common::DateTime::ymd(number(s.substr(0, 4)), number(s.substr(5, 2)), number(s.substr(8, 2)));
    } else if (s.size() == 11 && s[2] == '/' && s[6] == '/' && allDigits(s.substr(0, 2)) &&
               allDigits(s.substr(7, 4))) {
        static constexpr std::array<std::string_view, 12> months{"jan", "feb", "mar", "apr", "may", "jun",
                                                                 "jul", "aug", "sep", "oct", "nov", "dec"};
        std::string m;
        for (char c : s.substr(3, 3)) m += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        for (size_t i = 0; i < months.size(); ++i)
            if (m == months[i])
                d = common::DateTime::ymd(number(s.substr(7, 4)), static_cast<int>(i) + 1,
                                          number(s.substr(0, 2)));
    }
    if (d && !d->valid()) d.reset();
    return d;
}

namespace {

// Whether the text before a literal ends in an ordering comparison (<, >, <=, >=, <>).
bool afterOrdering(std::string_view before) {
    size_t i = before.size();
    while (i > 0 && std::isspace(static_cast<unsigned char>(before[i - 1]))) --i;
    if (i == 0) return false;
    char last = before[i - 1];
    if (last == '<' || last == '>') return true;
    return last == '=' && i >= 2 && (before[i - 2] == '<' || before[i - 2] == '>');
}

}  // namespace

std::string sqlServerText(std::string_view sql) {
    std::string out;
    out.reserve(sql.size() + 16);
    size_t i = 0;
    auto copyUntil = [&](size_t end) {
        out.append(sql.substr(i, end - i));
        i = end;
    };
    while (i < sql.size()) {
        char c = sql[i];
        if (c == '-' && i + 1 < sql.size() && sql[i + 1] == '-') {
            size_t end = sql.find('\n', i);
            copyUntil(end == std::string_view::npos ? sql.size() : end);
        } else if (c == '/' && i + 1 < sql.size() && sql[i + 1] == '*') {
            size_t end = sql.find("*/", i + 2);
            copyUntil(end == std::string_view::npos ? sql.size() : end + 2);
        } else if (c == '[' || c == '"') {
            size_t end = sql.find(c == '[' ? ']' : '"', i + 1);
            copyUntil(end == std::string_view::npos ? sql.size() : end + 1);
        } else if (c == '\'') {
            size_t end = i + 1;
            for (;;) {
                end = sql.find('\'', end);
                if (end == std::string_view::npos || end + 1 >= sql.size() || sql[end + 1] != '\'') break;
                end += 2;  // a doubled quote inside the literal
            }
            end = end == std::string_view::npos ? sql.size() : end + 1;
            std::string_view literal = sql.substr(i, end - i);
            bool unicode = !out.empty() && (out.back() == 'N' || out.back() == 'n') &&
                           (out.size() < 2 || !isWordChar(out[out.size() - 2]));
            std::optional<common::DateTime> date;
            if (literal.size() >= 2 && literal.back() == '\'' && afterOrdering(out))
                date = suiteDate(literal.substr(1, literal.size() - 2));
            if (date) {
                out += "'" + common::formatDate(*date, "yyyymmdd") + "'";
            } else {
                if (!unicode) out += !out.empty() && isWordChar(out.back()) ? " N" : "N";
                out.append(literal);
            }
            i = end;
        } else {
            out += c;
            ++i;
        }
    }
    return out;
}

namespace {

// Words, "?" markers and single characters of a statement; literals and comments dropped.
std::vector<std::string> tokens(std::string_view sql) {
    std::vector<std::string> out;
    for (size_t i = 0; i < sql.size();) {
        char c = sql[i];
        if (std::isspace(static_cast<unsigned char>(c))) {
            ++i;
        } else if (c == '-' && i + 1 < sql.size() && sql[i + 1] == '-') {
            size_t end = sql.find('\n', i);
            i = end == std::string_view::npos ? sql.size() : end;
        } else if (c == '\'') {
            size_t end = i + 1;
            for (;;) {
                end = sql.find('\'', end);
                if (end == std::string_view::npos || end + 1 >= sql.size() || sql[end + 1] != '\'') break;
                end += 2;
            }
            out.push_back("'");
            i = end == std::string_view::npos ? sql.size() : end + 1;
        } else if (isWordChar(c) || c == '[' || c == '.') {
            size_t end = i;
            while (end < sql.size() &&
                   (isWordChar(sql[end]) || sql[end] == '[' || sql[end] == ']' || sql[end] == '.'))
                ++end;
            out.emplace_back(sql.substr(i, end - i));
            i = end;
        } else {
            out.emplace_back(1, c);
            ++i;
        }
    }
    return out;
}

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// "dbo.[T]" -> "T", "pa.TransDate" -> "TransDate".
std::string lastPart(const std::string& name) {
    std::string out = name.substr(name.rfind('.') == std::string::npos ? 0 : name.rfind('.') + 1);
    if (out.size() >= 2 && out.front() == '[' && out.back() == ']') out = out.substr(1, out.size() - 2);
    return out;
}

}  // namespace

MarkerColumns markerColumns(std::string_view sql) {
    MarkerColumns out;
    const std::vector<std::string> t = tokens(sql);
    std::vector<std::string> insertColumns;
    size_t valuesAt = t.size();
    for (size_t k = 0; k + 1 < t.size(); ++k) {
        std::string w = lower(t[k]);
        if (out.table.empty() && w == "update") out.table = lastPart(t[k + 1]);
        if (out.table.empty() && w == "into" && k > 0 && lower(t[k - 1]) == "insert") {
            out.table = lastPart(t[k + 1]);
            size_t j = k + 2;
            if (j < t.size() && t[j] == "(")
                for (++j; j < t.size() && t[j] != ")"; ++j)
                    if (t[j] != ",") insertColumns.push_back(lastPart(t[j]));
        }
        if (w == "values" && t[k + 1] == "(") valuesAt = k + 1;
    }
    size_t position = 0;  // of the value in the insert's list
    int depth = 0;
    for (size_t k = 0; k < t.size(); ++k) {
        if (k > valuesAt) {
            if (t[k] == "(") ++depth;
            if (t[k] == ")") --depth;
            if (t[k] == "," && depth == 0) ++position;
        }
        if (t[k] != "?") continue;
        std::string column;
        if (k > valuesAt && depth == 0 && t[k - 1] != "=") {
            if (position < insertColumns.size()) column = insertColumns[position];
        } else if (k >= 2 && t[k - 1] == "=" && t[k - 2] != "<" && t[k - 2] != ">" && t[k - 2] != "!") {
            column = lastPart(t[k - 2]);
        }
        out.columns.push_back(column);
    }
    return out;
}

}  // namespace data::odbc
