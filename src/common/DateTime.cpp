#include "common/DateTime.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <vector>

#include "common/Conv.h"
#include "common/Error.h"

namespace common {

namespace {

constexpr std::array<const char*, 12> kMonthAbbrev = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::array<const char*, 12> kMonthFull = {"january",   "february", "march",    "april",
                                                    "may",       "june",     "july",     "august",
                                                    "september", "october",  "november", "december"};

// Days from 1 January 1970 in the proleptic Gregorian calendar.
int64_t daysFromCivil(int64_t y, int64_t m, int64_t d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

void civilFromDays(int64_t z, int& y, int& m, int& d) {
    z += 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    y = static_cast<int>(yoe + era * 400 + (m <= 2));
}

const int64_t kSerialZero = daysFromCivil(1899, 12, 30);

std::string two(int v) {
    char b[16];
    std::snprintf(b, sizeof b, "%02d", v);
    return b;
}
std::string four(int v) {
    char b[16];
    std::snprintf(b, sizeof b, "%04d", v);
    return b;
}

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

// Month from an English name or its three-letter abbreviation, 0 when none.
int monthFromName(std::string_view name) {
    std::string n;
    for (char c : name) n += lower(c);
    if (n.size() < 3) return 0;
    for (int i = 0; i < 12; ++i) {
        std::string_view full = kMonthFull[static_cast<size_t>(i)];
        if (n == full || (n.size() == 3 && full.substr(0, 3) == n)) return i + 1;
    }
    return 0;
}

struct Token {
    bool number;
    std::string text;
};

}  // namespace

bool isLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int daysInMonth(int year, int month) {
    static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12) return 0;
    return month == 2 && isLeapYear(year) ? 29 : days[month - 1];
}

int64_t DateTime::dayNumber() const { return daysFromCivil(year, month, day) - kSerialZero; }

DateTime DateTime::fromDayNumber(int64_t days) {
    DateTime d;
    civilFromDays(days + kSerialZero, d.year, d.month, d.day);
    return d;
}

bool DateTime::valid() const {
    return year >= 100 && year <= 9999 && month >= 1 && month <= 12 && day >= 1 &&
           day <= daysInMonth(year, month) && hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59 &&
           second >= 0 && second <= 59;
}

DateTime addDays(const DateTime& d, int64_t days) {
    DateTime r = DateTime::fromDayNumber(d.dayNumber() + days);
    r.hour = d.hour;
    r.minute = d.minute;
    r.second = d.second;
    return r;
}

DateTime addMonths(const DateTime& d, int months) {
    int64_t total = static_cast<int64_t>(d.year) * 12 + (d.month - 1) + months;
    DateTime r = d;
    r.year = static_cast<int>(total / 12);
    r.month = static_cast<int>(total % 12) + 1;
    r.day = std::min(d.day, daysInMonth(r.year, r.month));
    return r;
}

std::string formatDate(const DateTime& d, std::string_view pattern) {
    // Pattern letters as the classic Format reads them: "m" after an hour means minutes.
    std::string out;
    bool afterHour = false;
    size_t i = 0;
    while (i < pattern.size()) {
        char c = pattern[i];
        size_t n = 1;
        while (i + n < pattern.size() && pattern[i + n] == c) ++n;
        char lc = lower(c);
        if (lc == 'd' && (n == 1 || n == 2)) {
            out += n == 2 ? two(d.day) : std::to_string(d.day);
        } else if (lc == 'y' && (n == 4 || n == 2)) {
            out += n == 4 ? four(d.year) : two(d.year % 100);
        } else if (lc == 'm' && n == 3) {
            out += kMonthAbbrev[static_cast<size_t>(d.month - 1)];
        } else if (lc == 'm' && n == 4) {
            std::string full = kMonthFull[static_cast<size_t>(d.month - 1)];
            full[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(full[0])));
            out += full;
        } else if ((lc == 'm' || lc == 'n') && (n == 1 || n == 2)) {
            int v = (lc == 'n' || (afterHour && lc == 'm')) ? d.minute : d.month;
            out += n == 2 ? two(v) : std::to_string(v);
            afterHour = false;
        } else if (lc == 'h' && (n == 1 || n == 2)) {
            out += n == 2 ? two(d.hour) : std::to_string(d.hour);
            afterHour = true;
        } else if (lc == 's' && (n == 1 || n == 2)) {
            out += n == 2 ? two(d.second) : std::to_string(d.second);
        } else if (c == '/' || c == '-' || c == ':' || c == ' ' || c == '.') {
            out.append(n, c);
        } else {
            raise(err::InvalidProcedureCall, "QORPayAccLinking", "Invalid procedure call or argument");
        }
        i += n;
    }
    return out;
}

std::string generalDate(const DateTime& d) {
    std::string s = formatDate(d, "dd/MM/yyyy");
    if (d.hasTime()) s += " " + formatDate(d, "HH:mm:ss");
    return s;
}

std::string isoDate(const DateTime& d) {
    std::string s = four(d.year) + "-" + two(d.month) + "-" + two(d.day);
    if (d.hasTime()) s += " " + two(d.hour) + ":" + two(d.minute) + ":" + two(d.second);
    return s;
}

std::optional<DateTime> parseDayMonthYear(std::string_view text) {
    int part[3] = {0, 0, 0};
    size_t digits[3] = {0, 0, 0};
    size_t p = 0;
    for (char c : text) {
        if (c == '/' && p < 2) {
            ++p;
        } else if (c >= '0' && c <= '9') {
            part[p] = part[p] * 10 + (c - '0');
            if (++digits[p] > (p == 2 ? 4u : 2u)) return std::nullopt;
        } else {
            return std::nullopt;
        }
    }
    if (p != 2 || digits[0] == 0 || digits[1] == 0 || digits[2] != 4) return std::nullopt;
    DateTime d = DateTime::ymd(part[2], part[1], part[0]);
    if (!d.valid()) return std::nullopt;
    return d;
}

namespace {

bool isLetter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }

// The date and the time of day of a text ("T" or the last blank before the first colon
// parts them); false when a time has no date before it.
bool splitDateAndTime(std::string_view s, std::string_view& datePart, std::string_view& timePart) {
    datePart = s;
    timePart = {};
    if (auto t = s.find('T');
        t != std::string_view::npos && t >= 8 && t + 1 < s.size() && IsDigit(s[t + 1])) {
        datePart = s.substr(0, t);
        timePart = s.substr(t + 1);
    } else if (auto colon = s.find(':'); colon != std::string_view::npos) {
        auto sp = s.rfind(' ', colon);
        if (sp == std::string_view::npos) return false;
        datePart = s.substr(0, sp);
        timePart = s.substr(sp + 1);
    }
    while (!datePart.empty() && datePart.back() == ' ') datePart.remove_suffix(1);
    return true;
}

// Runs of digits or of letters between separators; nothing for any other character.
std::optional<std::vector<Token>> dateTokens(std::string_view datePart) {
    std::vector<Token> toks;
    for (size_t i = 0; i < datePart.size();) {
        char c = datePart[i];
        if (IsDigit(c) || isLetter(c)) {
            bool num = IsDigit(c);
            size_t j = i;
            while (j < datePart.size() && (num ? IsDigit(datePart[j]) : isLetter(datePart[j]))) ++j;
            toks.push_back({num, std::string(datePart.substr(i, j - i))});
            i = j;
        } else if (c == '/' || c == '-' || c == ' ' || c == '.' || c == ',') {
            ++i;
            while (i < datePart.size() && datePart[i] == ' ') ++i;
        } else {
            return std::nullopt;
        }
    }
    return toks;
}

// yyyymmdd, yyyy/mm/dd (ISO), dd/MM/yyyy, dd/MMM/yyyy or MMM dd yyyy; not checked for a real day.
std::optional<DateTime> dayOf(const std::vector<Token>& toks) {
    auto num = [](const std::string& t) { return std::stoi(t); };
    if (toks.size() == 1 && toks[0].number && toks[0].text.size() == 8) {
        const std::string& t = toks[0].text;  // yyyymmdd
        return DateTime::ymd(num(t.substr(0, 4)), num(t.substr(4, 2)), num(t.substr(6, 2)));
    }
    if (toks.size() != 3) return std::nullopt;
    const Token &a = toks[0], &m = toks[1], &c = toks[2];
    DateTime r;
    if (a.text.size() > 4 || m.text.size() > 9 || c.text.size() > 4) return std::nullopt;
    if (a.number && a.text.size() == 4 && m.number && c.number && c.text.size() <= 2) {
        r = DateTime::ymd(num(a.text), num(m.text), num(c.text));  // yyyy/mm/dd, ISO
    } else if (a.number && a.text.size() <= 2 && c.number && c.text.size() == 4) {
        int month = m.number ? num(m.text) : monthFromName(m.text);  // dd/MM/yyyy, dd/MMM/yyyy
        r = DateTime::ymd(num(c.text), month, num(a.text));
    } else if (!a.number && m.number && m.text.size() <= 2 && c.number && c.text.size() == 4) {
        r = DateTime::ymd(num(c.text), monthFromName(a.text), num(m.text));  // MMM dd yyyy
    } else {
        return std::nullopt;
    }
    return r;
}

// H:mm[:ss[.fff]] [AM|PM] onto the day; false for anything else.
bool setTimeOfDay(std::string_view timePart, DateTime& r) {
    int h = 0, mi = 0, se = 0;
    size_t pos = 0;
    auto field = [&](int& v) {
        size_t st = pos;
        while (pos < timePart.size() && IsDigit(timePart[pos])) ++pos;
        if (pos == st || pos - st > 2) return false;
        v = std::stoi(std::string(timePart.substr(st, pos - st)));
        return true;
    };
    if (!field(h) || pos >= timePart.size() || timePart[pos] != ':') return false;
    ++pos;
    if (!field(mi)) return false;
    if (pos < timePart.size() && timePart[pos] == ':') {
        ++pos;
        if (!field(se)) return false;
        if (pos < timePart.size() && timePart[pos] == '.') {  // fractions of a second are dropped
            ++pos;
            while (pos < timePart.size() && IsDigit(timePart[pos])) ++pos;
        }
    }
    std::string_view rest = timePart.substr(pos);
    while (!rest.empty() && rest.front() == ' ') rest.remove_prefix(1);
    if (rest == "PM" || rest == "pm") {
        if (h < 12) h += 12;
    } else if (rest == "AM" || rest == "am") {
        if (h == 12) h = 0;
    } else if (!rest.empty()) {
        return false;
    }
    r.hour = h;
    r.minute = mi;
    r.second = se;
    return true;
}

}  // namespace

std::optional<DateTime> parseDate(std::string_view text) {
    size_t b = 0, e = text.size();
    while (b < e && (text[b] == ' ' || text[b] == '\t')) ++b;
    while (e > b && (text[e - 1] == ' ' || text[e - 1] == '\t')) --e;
    std::string_view s = text.substr(b, e - b), datePart, timePart;
    if (s.empty() || !splitDateAndTime(s, datePart, timePart)) return std::nullopt;
    auto toks = dateTokens(datePart);
    if (!toks) return std::nullopt;
    std::optional<DateTime> r = dayOf(*toks);
    if (!r || (!timePart.empty() && !setTimeOfDay(timePart, *r)) || !r->valid()) return std::nullopt;
    return r;
}

DateTime toDate(std::string_view text) {
    auto d = parseDate(text);
    if (!d) raiseTypeMismatch();
    return *d;
}

}  // namespace common
