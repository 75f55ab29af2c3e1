#include "data/odbc/ServerDialect.h"

#include <array>
#include <cctype>
#include <optional>

#include "common/DateTime.h"

namespace data::odbc {
namespace {

bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }
bool isWordChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '@' || c == '#'; }

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

// The suite's date texts: "yyyy/mm/dd" and "dd/MMM/yyyy" (English month names).
std::optional<common::DateTime> suiteDate(std::string_view s) {
    std::optional<common::DateTime> d;
    if (s.size() == 10 && s[4] == '/' && s[7] == '/' && allDigits(s.substr(0, 4)) && allDigits(s.substr(5, 2)) &&
        allDigits(s.substr(8, 2))) {
        d = common::DateTime::ymd(number(s.substr(0, 4)), number(s.substr(5, 2)), number(s.substr(8, 2)));
    } else if (s.size() == 11 && s[2] == '/' && s[6] == '/' && allDigits(s.substr(0, 2)) && allDigits(s.substr(7, 4))) {
        static constexpr std::array<std::string_view, 12> months{"jan", "feb", "mar", "apr", "may", "jun",
                                                                 "jul", "aug", "sep", "oct", "nov", "dec"};
        std::string m;
        for (char c : s.substr(3, 3)) m += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        for (size_t i = 0; i < months.size(); ++i)
            if (m == months[i])
                d = common::DateTime::ymd(number(s.substr(7, 4)), static_cast<int>(i) + 1, number(s.substr(0, 2)));
    }
    if (d && !d->valid()) d.reset();
    return d;
}

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

}  // namespace data::odbc
