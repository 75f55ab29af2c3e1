#include "common/Conv.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/Error.h"

namespace common {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// The number as at most 15 significant decimal digits: digits without leading zeros and
// the power of ten of the first one. Zero gives empty digits.
struct Decimal15 {
    bool negative = false;
    std::string digits;
    int exponent = 0;
};

Decimal15 toDecimal15(double v) {
    Decimal15 d;
    d.negative = std::signbit(v) && v != 0;
    if (v == 0 || !std::isfinite(v)) return d;
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.14e", std::fabs(v));
    std::string s(buf);
    auto e = s.find('e');
    for (size_t i = 0; i < e; ++i)
        if (IsDigit(s[i])) d.digits += s[i];
    d.exponent = std::atoi(s.c_str() + e + 1);
    while (!d.digits.empty() && d.digits.back() == '0') d.digits.pop_back();
    return d;
}

// Digits of the integer part and of `decimals` fraction digits, rounded half away from zero.
void roundDecimal(const Decimal15& d, int decimals, std::string& intPart, std::string& frac) {
    // Position of the last kept digit counted from the first significant one.
    int keep = d.exponent + 1 + decimals;
    std::string digits = d.digits;
    int exponent = d.exponent;
    if (digits.empty() || keep < 0) {
        digits.clear();
    } else if (static_cast<int>(digits.size()) > keep) {
        bool up = digits[static_cast<size_t>(keep)] >= '5';
        digits.resize(static_cast<size_t>(keep));
        if (up) {
            int i = keep - 1;
            while (i >= 0 && digits[static_cast<size_t>(i)] == '9') digits[static_cast<size_t>(i--)] = '0';
            if (i >= 0) {
                ++digits[static_cast<size_t>(i)];
            } else {
                digits.insert(digits.begin(), '1');
                ++exponent;
            }
        }
    }
    // Lay the digits out on the decimal grid.
    intPart.clear();
    frac.assign(static_cast<size_t>(decimals), '0');
    for (size_t i = 0; i < digits.size(); ++i) {
        int power = exponent - static_cast<int>(i);
        if (power >= 0) {
            if (intPart.empty()) intPart.assign(static_cast<size_t>(power) + 1, '0');
            intPart[intPart.size() - 1 - static_cast<size_t>(power)] = digits[i];
        } else if (-power <= decimals) {
            frac[static_cast<size_t>(-power - 1)] = digits[i];
        }
    }
    if (intPart.empty() && !digits.empty() && exponent >= 0)
        intPart.assign(static_cast<size_t>(exponent) + 1, '0');
}

std::string group(const std::string& digits) {
    std::string out;
    int n = static_cast<int>(digits.size());
    for (int i = 0; i < n; ++i) {
        if (i > 0 && (n - i) % 3 == 0) out += ',';
        out += digits[static_cast<size_t>(i)];
    }
    return out;
}

// CDbl of a text: blanks and thousands commas skipped, "&H"/"&O" read, else Type mismatch.
double parseNumber(std::string_view text) {
    if (!IsNumeric(text)) raiseTypeMismatch();
    // The same blanks that IsNumeric passes over (tabs and line breaks too) go before the
    // "&H" test, or a hex text after a tab would fall through to strtod and read as 0.
    std::string s;
    for (char c : text)
        if (!isBlank(c)) s += c;
    if (s.size() > 1 && s[0] == '&') return Val(s);
    std::string clean;
    for (char c : s)
        if (c != ',' && !isBlank(c)) clean += (c == 'd' || c == 'D') ? 'E' : c;
    return std::strtod(clean.c_str(), nullptr);
}

}  // namespace

double Val(std::string_view text) {
    std::string s;
    for (char c : text)
        if (!isBlank(c)) s += c;
    if (s.size() >= 2 && s[0] == '&' && (s[1] == 'H' || s[1] == 'h' || s[1] == 'O' || s[1] == 'o')) {
        bool hex = s[1] == 'H' || s[1] == 'h';
        uint64_t v = 0;
        size_t n = 0;
        for (size_t i = 2; i < s.size(); ++i) {
            char c = static_cast<char>(std::toupper(static_cast<unsigned char>(s[i])));
            int digit;
            if (IsDigit(c))
                digit = c - '0';
            else if (hex && c >= 'A' && c <= 'F')
                digit = c - 'A' + 10;
            else
                break;
            if (!hex && digit > 7) break;
            v = v * (hex ? 16 : 8) + static_cast<uint64_t>(digit);
            ++n;
        }
        // Up to four hex digits read as a 16-bit integer, longer as 32-bit, as the classic Val does.
        if (hex && n <= 4) return static_cast<int16_t>(static_cast<uint16_t>(v));
        return static_cast<int32_t>(static_cast<uint32_t>(v));
    }
    std::string num;
    size_t i = 0;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) num += s[i++];
    bool point = false;
    while (i < s.size() && (IsDigit(s[i]) || (s[i] == '.' && !point))) {
        if (s[i] == '.') point = true;
        num += s[i++];
    }
    if (i < s.size() && (s[i] == 'E' || s[i] == 'e' || s[i] == 'D' || s[i] == 'd')) {
        std::string exp = "E";
        size_t j = i + 1;
        if (j < s.size() && (s[j] == '+' || s[j] == '-')) exp += s[j++];
        size_t st = j;
        while (j < s.size() && IsDigit(s[j])) exp += s[j++];
        if (j > st) num += exp;
    }
    if (num.empty() || num == "+" || num == "-") return 0;
    return std::strtod(num.c_str(), nullptr);
}

bool IsNumeric(std::string_view text) {
    std::string s = Trim(text);
    while (!s.empty() && isBlank(s.back())) s.pop_back();
    while (!s.empty() && isBlank(s.front())) s.erase(s.begin());
    if (s.empty()) return false;
    size_t i = 0;
    if (s.size() > 2 && s[0] == '&') {
        char k = static_cast<char>(std::toupper(static_cast<unsigned char>(s[1])));
        if (k != 'H' && k != 'O') return false;
        for (i = 2; i < s.size(); ++i) {
            char c = static_cast<char>(std::toupper(static_cast<unsigned char>(s[i])));
            if (!(IsDigit(c) && (k == 'H' || c <= '7')) && !(k == 'H' && c >= 'A' && c <= 'F')) return false;
        }
        return true;
    }
    if (s[i] == '+' || s[i] == '-') {
        ++i;
        while (i < s.size() && isBlank(s[i])) ++i;
    }
    bool digits = false;
    while (i < s.size() && (IsDigit(s[i]) || (s[i] == ',' && digits))) {
        digits = digits || IsDigit(s[i]);
        ++i;
    }
    if (i < s.size() && s[i] == '.') {
        ++i;
        while (i < s.size() && IsDigit(s[i])) {
            digits = true;
            ++i;
        }
    }
    if (!digits) return false;
    if (i < s.size() && (s[i] == 'E' || s[i] == 'e' || s[i] == 'D' || s[i] == 'd')) {
        ++i;
        if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
        size_t st = i;
        while (i < s.size() && IsDigit(s[i])) ++i;
        if (i == st) return false;
    }
    return i == s.size();
}

std::string Format(double value, std::string_view pattern) {
    // Reads the numeric pattern: minimum integer digits, grouping, minimum and maximum decimals.
    auto point = pattern.find('.');
    std::string_view intPat = pattern.substr(0, point);
    std::string_view fracPat =
        point == std::string_view::npos ? std::string_view() : pattern.substr(point + 1);
    bool grouping = intPat.find(',') != std::string_view::npos;
    int minDec = 0, maxDec = 0;
    for (char c : fracPat) {
        if (c == '0') {
            ++minDec;
            ++maxDec;
        } else if (c == '#') {
            ++maxDec;
        } else {
            raise(err::InvalidProcedureCall, "QORPayAccLinking", "Invalid procedure call or argument");
        }
    }
    for (char c : intPat)
        if (c != '0' && c != '#' && c != ',')
            raise(err::InvalidProcedureCall, "QORPayAccLinking", "Invalid procedure call or argument");
    bool minInt = intPat.find('0') != std::string_view::npos;

    Decimal15 d = toDecimal15(value);
    std::string ip, frac;
    roundDecimal(d, maxDec, ip, frac);
    while (static_cast<int>(frac.size()) > minDec && frac.back() == '0') frac.pop_back();
    if (ip.empty() && minInt) ip = "0";
    bool zero =
        ip.find_first_not_of('0') == std::string::npos && frac.find_first_not_of('0') == std::string::npos;
    std::string out;
    if (d.negative && !zero) out += '-';
    out += grouping ? group(ip) : ip;
    if (!frac.empty()) out += "." + frac;
    return out;
}

std::string Format2(double value) { return Format(value, "0.00"); }

std::string NumberText(double value) {
    if (value == 0) return "0";
    if (!std::isfinite(value)) return std::isnan(value) ? "NaN" : (value < 0 ? "-Inf" : "Inf");
    char buf[64];
    int precision = 15;
    // No text shorter than the shortest round-trip one can read back, so the search for the
    // fewest digits starts there instead of at one digit.
    int first = 1;
    if (auto r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::scientific);
        r.ec == std::errc()) {
        int digits = 0;
        for (const char* p = buf; p != r.ptr && *p != 'e'; ++p) digits += IsDigit(*p) ? 1 : 0;
        first = std::max(1, digits);
    }
    for (int p = first; p <= 15; ++p) {
        std::snprintf(buf, sizeof buf, "%.*e", p - 1, value);
        if (std::strtod(buf, nullptr) == value) {
            precision = p;
            break;
        }
    }
    std::snprintf(buf, sizeof buf, "%.*e", precision - 1, value);
    if (!std::isfinite(std::strtod(buf, nullptr))) {
        // Next to the largest double, rounding to 15 digits would step past it: cut instead,
        // so the text still reads back as a number.
        std::snprintf(buf, sizeof buf, "%.20e", value);
        std::string full(buf);
        auto ePos = full.find('e');
        std::string cut = full.substr(0, full.find('.') + 15) + full.substr(ePos);
        std::snprintf(buf, sizeof buf, "%s", cut.c_str());
    }
    std::string s(buf);
    auto e = s.find('e');
    std::string mant = s.substr(0, e);
    int exponent = std::atoi(s.c_str() + e + 1);
    bool negative = mant[0] == '-';
    std::string digits;
    for (char c : mant)
        if (IsDigit(c)) digits += c;
    while (digits.size() > 1 && digits.back() == '0') digits.pop_back();

    std::string out = negative ? "-" : "";
    if (exponent >= 15 || exponent < -4) {
        out += digits.substr(0, 1);
        if (digits.size() > 1) out += "." + digits.substr(1);
        char eb[16];
        std::snprintf(eb, sizeof eb, "E%c%02d", exponent < 0 ? '-' : '+', std::abs(exponent));
        return out + eb;
    }
    if (exponent < 0) {
        out += "0." + std::string(static_cast<size_t>(-exponent - 1), '0') + digits;
    } else if (static_cast<int>(digits.size()) <= exponent + 1) {
        out += digits + std::string(static_cast<size_t>(exponent + 1) - digits.size(), '0');
    } else {
        out += digits.substr(0, static_cast<size_t>(exponent) + 1) + "." +
               digits.substr(static_cast<size_t>(exponent) + 1);
    }
    return out;
}

int16_t CInt(double value) {
    double r = std::nearbyint(value);  // the default rounding mode is half to even
    if (!(r >= -32768.0 && r <= 32767.0)) raiseOverflow();
    return static_cast<int16_t>(r);
}

int32_t CLng(double value) {
    double r = std::nearbyint(value);
    if (!(r >= -2147483648.0 && r <= 2147483647.0)) raiseOverflow();
    return static_cast<int32_t>(r);
}

uint8_t CByte(double value) {
    double r = std::nearbyint(value);
    if (!(r >= 0.0 && r <= 255.0)) raiseOverflow();
    return static_cast<uint8_t>(r);
}

std::string Trim(std::string_view s) { return RTrim(LTrim(s)); }

std::string LTrim(std::string_view s) {
    size_t b = 0;
    while (b < s.size() && s[b] == ' ') ++b;
    return std::string(s.substr(b));
}

std::string RTrim(std::string_view s) {
    size_t e = s.size();
    while (e > 0 && s[e - 1] == ' ') --e;
    return std::string(s.substr(0, e));
}

std::string UCase(std::string_view s) {
    std::string r(s);
    for (char& c : r) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return r;
}

std::string LCase(std::string_view s) {
    std::string r(s);
    for (char& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return r;
}

bool ContainsNoCase(std::string_view hay, std::string_view needle) {
    // InStr answers 0 for an empty text to search and 1 (found) for an empty text to find.
    if (hay.empty()) return false;
    if (needle.empty()) return true;
    return UCase(hay).find(UCase(needle)) != std::string::npos;
}

bool EqualsNoCase(std::string_view a, std::string_view b) { return UCase(a) == UCase(b); }

double CDbl(std::string_view text) { return parseNumber(text); }

}  // namespace common
