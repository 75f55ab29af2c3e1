#pragma once
// Invariants of the classic number conversions that every screen's amounts go through.
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>

#include "Checks.h"
#include "common/Conv.h"
#include "common/Error.h"

namespace fuzzcheck {

namespace detail {

inline bool allDigits(std::string_view s) {
    return !s.empty() && s.find_first_not_of("0123456789") == std::string_view::npos;
}

// "-?d+.dd" with the given decimals (min..max); reports the shape it expected.
inline void requireFixed(const std::string& s, size_t minDec, size_t maxDec, bool grouped,
                         const std::string& what) {
    std::string_view v = s;
    if (!v.empty() && v[0] == '-') v.remove_prefix(1);
    auto point = v.find('.');
    std::string_view ip = v.substr(0, point);
    std::string_view frac = point == std::string_view::npos ? std::string_view() : v.substr(point + 1);
    if (grouped) {
        // 1 to 3 digits, then groups of three after each comma.
        auto first = ip.find(',');
        std::string_view lead = ip.substr(0, first);
        require(allDigits(lead) && lead.size() <= 3, what + " groups its digits wrongly: " + s);
        for (size_t p = first; p != std::string_view::npos;) {
            auto next = ip.find(',', p + 1);
            std::string_view g =
                ip.substr(p + 1, next == std::string_view::npos ? std::string_view::npos : next - p - 1);
            require(allDigits(g) && g.size() == 3, what + " groups its digits wrongly: " + s);
            p = next;
        }
    } else {
        require(allDigits(ip), what + " has no plain integer part: " + s);
    }
    require(ip.size() == 1 || ip[0] != '0', what + " has a leading zero: " + s);
    if (maxDec == 0) {
        require(point == std::string_view::npos, what + " has a decimal point: " + s);
        return;
    }
    require(frac.size() >= minDec && frac.size() <= maxDec && (frac.empty() || allDigits(frac)),
            what + " has the wrong decimals: " + s);
    require(frac.size() <= minDec || frac.back() != '0', what + " keeps a trailing zero: " + s);
    bool zero = v.find_first_of("123456789") == std::string_view::npos;
    require(!(zero && s[0] == '-'), what + " shows a minus sign on zero: " + s);
}

inline std::string withoutCommas(const std::string& s) {
    std::string r;
    for (char c : s)
        if (c != ',') r += c;
    return r;
}

inline std::string negated(const std::string& s) {
    if (s.find_first_of("123456789") == std::string::npos) return s;
    return s[0] == '-' ? s.substr(1) : "-" + s;
}

}  // namespace detail

// Any double, as amounts and rates arrive from the database or from Val.
inline void checkNumber(double x) {
    using namespace common;
    const std::string f2 = Format2(x);
    const std::string fg = Format(x, "###,###,##0.00######");
    const std::string f0 = Format(x, "0");
    const std::string nt = NumberText(x);
    if (!std::isfinite(x)) return;  // only that nothing breaks
    const std::string at = " of " + nt;

    detail::requireFixed(f2, 2, 2, false, "Format2" + at);
    detail::requireFixed(fg, 2, 8, true, "Format ###,###,##0.00######" + at);
    detail::requireFixed(f0, 0, 0, false, "Format 0" + at);

    // Rounding is half away from zero, so a number and its negation format alike.
    require(Format2(-x) == detail::negated(f2),
            "Format2 is not symmetric" + at + ": " + f2 + " / " + Format2(-x));
    require(Format(-x, "###,###,##0.00######") == detail::negated(fg),
            "Format with eight decimals is not symmetric" + at);

    // The shown figure is the number to its decimals, after the reduction to 15 digits.
    auto near = [&](const std::string& shown, double halfStep) {
        double back = Val(detail::withoutCommas(shown));
        if (!std::isfinite(back)) return std::fabs(x) > 1e300;
        return std::fabs(back - x) <= halfStep * (1 + 1e-9) + std::fabs(x) * 1e-14;
    };
    require(near(f2, 0.005), "Format2" + at + " is " + f2);
    require(near(fg, 0.000000005), "Format with eight decimals" + at + " is " + fg);
    require(near(f0, 0.5), "Format 0" + at + " is " + f0);

    // NumberText is what Str gives: it reads back through Val to itself, and to the very
    // number whenever 15 digits are enough to say it.
    require(!nt.empty() && nt[0] != ' ', "NumberText" + at + " starts with a blank");
    require(IsNumeric(nt), "NumberText" + at + " is not numeric");
    double back = Val(nt);
    // Only the very largest doubles round up past the largest one at 15 digits.
    require(std::isfinite(back) || std::fabs(x) > 1.79769313486231e308,
            "NumberText" + at + " reads back as " + NumberText(back));
    if (std::isfinite(back))
        require(NumberText(back) == nt, "NumberText" + at + " reads back as " + NumberText(back));
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.15g", x);
    if (std::strtod(buf, nullptr) == x) require(back == x, "Val of NumberText" + at + " is not the number");
    require(CDbl(nt) == back, "CDbl and Val disagree on " + nt);

    // CInt and CLng round to the nearest whole number or overflow (6), nothing else.
    try {
        double r = CInt(x);
        require(std::fabs(r - x) <= 0.5, "CInt" + at + " is " + std::to_string(r));
    } catch (const Error& e) {
        require(e.number() == err::Overflow && std::fabs(x) > 32767,
                "CInt" + at + " raised " + e.description());
    }
    try {
        double r = CLng(x);
        require(std::fabs(r - x) <= 0.5, "CLng" + at + " is " + std::to_string(r));
    } catch (const Error& e) {
        require(e.number() == err::Overflow && std::fabs(x) > 2147483647.0,
                "CLng" + at + " raised " + e.description());
    }
}

// Any text, as users type it into amount boxes and as fields hold it.
inline void checkNumberText(std::string_view text) {
    using namespace common;
    const double v = Val(text);
    const bool numeric = IsNumeric(text);
    try {
        const double c = CDbl(text);
        require(numeric, "CDbl reads " + printable(text) + ", which IsNumeric refuses");
        // Without thousands commas both read the same number.
        if (text.find(',') == std::string_view::npos)
            require(
                c == v || (std::isnan(c) && std::isnan(v)),
                "CDbl and Val disagree on " + printable(text) + ": " + NumberText(c) + " / " + NumberText(v));
    } catch (const Error& e) {
        require(!numeric,
                "CDbl refuses " + printable(text) + ", which IsNumeric accepts: " + e.description());
        require(e.number() == err::TypeMismatch, "CDbl of " + printable(text) + " raised " + e.description());
    }
    checkNumber(v);
}

// The fuzz input: the text itself, and its first eight bytes as a double.
inline void checkValInput(std::string_view input) {
    checkNumberText(input);
    if (input.size() >= sizeof(double)) {
        double x;
        std::memcpy(&x, input.data(), sizeof x);
        checkNumber(x);
    }
}

}  // namespace fuzzcheck
