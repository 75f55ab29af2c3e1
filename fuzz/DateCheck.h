#pragma once
// Invariants of the date type: every form the suite writes reads back as the same date, and
// date arithmetic never leaves the calendar.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>

#include "Checks.h"
#include "common/DateTime.h"

namespace fuzzcheck {

namespace detail {

inline std::string show(const common::DateTime& d) {
    char b[64];
    std::snprintf(b, sizeof b, "%d-%d-%d %d:%d:%d", d.year, d.month, d.day, d.hour, d.minute, d.second);
    return b;
}

inline bool sameTime(const common::DateTime& a, const common::DateTime& b) {
    return a.hour == b.hour && a.minute == b.minute && a.second == b.second;
}

// The serial days of the first and last dates the type holds.
inline int64_t firstDay() { return common::DateTime::ymd(100, 1, 1).dayNumber(); }
inline int64_t lastDay() { return common::DateTime::ymd(9999, 12, 31).dayNumber(); }

}  // namespace detail

// A valid date moved by `days` and by `months`.
inline void checkDateArithmetic(const common::DateTime& d, int64_t days, int months) {
    using namespace common;
    const std::string at = " of " + detail::show(d);

    DateTime r = addDays(d, days);
    const int64_t target = d.dayNumber() + days;
    if (target >= detail::firstDay() && target <= detail::lastDay()) {
        const std::string what = "addDays " + std::to_string(days) + at;
        require(r.valid(), what + " gives " + detail::show(r));
        require(r.dayNumber() == target, what + " lands on the wrong day: " + detail::show(r));
        require(detail::sameTime(r, d), what + " changes the time of day");
        require(addDays(r, -days) == d, what + " does not come back");
        require(DateTime::fromDayNumber(target) == r.dateOnly(), what + " disagrees with the serial day");
    }

    r = addMonths(d, months);
    const int64_t monthIndex = int64_t{d.year} * 12 + (d.month - 1) + months;
    if (monthIndex >= 100 * 12 && monthIndex <= 9999 * 12 + 11) {
        const std::string what = "addMonths " + std::to_string(months) + at;
        require(r.valid(), what + " gives " + detail::show(r));
        require(int64_t{r.year} * 12 + (r.month - 1) == monthIndex,
                what + " lands in the wrong month: " + detail::show(r));
        require(r.day == std::min(d.day, daysInMonth(r.year, r.month)),
                what + " does not keep the day or end the month: " + detail::show(r));
        require(detail::sameTime(r, d), what + " changes the time of day");
    }
}

// A valid date: each form it is written in reads back as the same date.
inline void checkDateForms(const common::DateTime& d) {
    using namespace common;
    const std::string at = " of " + detail::show(d);
    require(d.valid(), "invalid date" + at);
    require(DateTime::fromDayNumber(d.dayNumber()) == d.dateOnly(), "serial day does not come back" + at);
    auto same = [&](const std::string& text, const DateTime& want) {
        auto back = parseDate(text);
        require(back.has_value(), "\"" + text + "\" does not read back" + at);
        require(*back == want, "\"" + text + "\" reads back as " + detail::show(*back) + at);
    };
    same(isoDate(d), d);
    same(generalDate(d), d);
    static constexpr std::array<const char*, 5> datePatterns = {"dd/MMM/yyyy", "yyyymmdd", "yyyy/mm/dd",
                                                                "dd/MM/yyyy", "yyyy-mm-dd"};
    for (const char* p : datePatterns) same(formatDate(d, p), d.dateOnly());
}

// The fuzz input: the text as a date; the last bytes also choose how far to move it.
inline void checkDateInput(std::string_view input) {
    using namespace common;
    int32_t tail = 0;
    if (input.size() >= sizeof tail)
        std::memcpy(&tail, input.data() + input.size() - sizeof tail, sizeof tail);
    const int64_t span = detail::lastDay() - detail::firstDay() + 1;

    if (auto d = parseDate(input)) {
        checkDateForms(*d);
        static constexpr int64_t days[] = {1, -1, 28, -29, 365, -366, 1461, -146097};
        static constexpr int months[] = {1, -1, 11, -12, 13, -1200};
        for (size_t i = 0; i < std::size(days); ++i)
            checkDateArithmetic(*d, days[i], months[i % std::size(months)]);
        checkDateArithmetic(*d, int64_t{tail} % span, static_cast<int16_t>(tail & 0xffff));
    }
    // A serial day anywhere in the range is a date in every form too.
    DateTime fromSerial = DateTime::fromDayNumber(detail::firstDay() + (int64_t{tail} % span + span) % span);
    checkDateForms(fromSerial);
}

}  // namespace fuzzcheck
