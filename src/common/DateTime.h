#pragma once
// A date with an optional time of day, as the classic Date type holds it.
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace common {

struct DateTime {
    int year = 1899, month = 12, day = 30;
    int hour = 0, minute = 0, second = 0;

    static DateTime ymd(int y, int m, int d) { return DateTime{y, m, d, 0, 0, 0}; }
    // Days since 30 December 1899 (the classic serial day 0).
    int64_t dayNumber() const;
    static DateTime fromDayNumber(int64_t days);
    bool hasTime() const { return hour != 0 || minute != 0 || second != 0; }
    DateTime dateOnly() const { return ymd(year, month, day); }
    bool valid() const;
    auto operator<=>(const DateTime&) const = default;
};

bool isLeapYear(int year);
int daysInMonth(int year, int month);

// DateAdd "d" and "m": a month added to 31 January gives the last day of February.
DateTime addDays(const DateTime& d, int64_t days);
DateTime addMonths(const DateTime& d, int months);

// Formats the component uses; pattern letters as the classic Format function reads them:
// "dd/MMM/yyyy" (English month abbreviation), "yyyymmdd", "yyyy/mm/dd", "dd/MM/yyyy",
// "yyyy-mm-dd" (storage), "HH:mm:ss". Unknown patterns raise error 5.
std::string formatDate(const DateTime& d, std::string_view pattern);
// The general date form: "dd/MM/yyyy HH:mm:ss", the time left out at midnight.
std::string generalDate(const DateTime& d);
// ISO storage form: "yyyy-mm-dd", with " HH:MM:SS" only for a time of day.
std::string isoDate(const DateTime& d);

// Reads any of the forms above (and ISO with or without time, "dd-MMM-yyyy",
// "dd MMM yyyy"); nullopt when the text is not a date.
std::optional<DateTime> parseDate(std::string_view text);
// Only "dd/MM/yyyy" (one or two digits for day and month), as dates are typed at the
// command line and in scripts; nullopt for anything else or a day that does not exist.
std::optional<DateTime> parseDayMonthYear(std::string_view text);
// CDate: as parseDate, raising Type mismatch (13) when the text is not a date.
DateTime toDate(std::string_view text);

}  // namespace common
