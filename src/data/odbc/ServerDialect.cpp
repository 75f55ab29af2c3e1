#include "data/odbc/ServerDialect.h"

#include <cctype>

namespace data::odbc {
namespace {

bool isWordChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '@' || c == '#';
}

}  // namespace

std::string unicodeLiterals(std::string_view sql) {
    std::string out;
    out.reserve(sql.size() + 8);
    size_t i = 0;
    auto copyTo = [&](size_t end) {
        out.append(sql.substr(i, end - i));
        i = end;
    };
    while (i < sql.size()) {
        const char c = sql[i];
        if (c == '-' && i + 1 < sql.size() && sql[i + 1] == '-') {
            const size_t end = sql.find('\n', i);
            copyTo(end == std::string_view::npos ? sql.size() : end);
        } else if (c == '/' && i + 1 < sql.size() && sql[i + 1] == '*') {
            const size_t end = sql.find("*/", i + 2);
            copyTo(end == std::string_view::npos ? sql.size() : end + 2);
        } else if (c == '[' || c == '"') {
            const size_t end = sql.find(c == '[' ? ']' : '"', i + 1);
            copyTo(end == std::string_view::npos ? sql.size() : end + 1);
        } else if (c == '\'') {
            size_t end = i + 1;
            for (;;) {  // past doubled quotes inside the literal
                end = sql.find('\'', end);
                if (end == std::string_view::npos || end + 1 >= sql.size() || sql[end + 1] != '\'') break;
                end += 2;
            }
            end = end == std::string_view::npos ? sql.size() : end + 1;
            const std::string_view literal = sql.substr(i, end - i);
            bool wide = false;
            for (char ch : literal) wide = wide || static_cast<unsigned char>(ch) >= 0x80;
            const bool marked = !out.empty() && (out.back() == 'N' || out.back() == 'n') &&
                                (out.size() < 2 || !isWordChar(out[out.size() - 2]));
            if (wide && !marked) out += !out.empty() && isWordChar(out.back()) ? " N" : "N";
            copyTo(end);
        } else {
            out += c;
            ++i;
        }
    }
    return out;
}

}  // namespace data::odbc
