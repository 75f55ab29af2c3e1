// The classic conversions, dates and values that every screen relies on.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "common/Utf8.h"
#include "common/Value.h"

using namespace common;

namespace {

int errorNumber(const std::function<void()>& f, std::string* description = nullptr) {
    try {
        f();
    } catch (const Error& e) {
        if (description) *description = e.description();
        return e.number();
    }
    return 0;
}

}  // namespace

TEST(Conv, ValAndIsNumericReadNumbersAsTheClassicFunctions) {
    const std::vector<std::pair<const char*, double>> cases{
        {"12abc", 12}, {" 1 2 3", 123}, {"-12.5e1x", -125}, {"1,000", 1}, {"3.14.15", 3.14},
        {"1e", 1},     {"&HFFFF", -1},  {"&O17", 15},       {"-", 0},     {"", 0}};
    for (const auto& [in, out] : cases) EXPECT_EQ(Val(in), out) << in;
    for (const char* yes : {" 12 ", "1,000", "1e5", "+.5", "&H1F", "1D2"}) EXPECT_TRUE(IsNumeric(yes)) << yes;
    for (const char* no : {"", ".", "X1", "1e", "-", "1.2.3", "&HZ"}) EXPECT_FALSE(IsNumeric(no)) << no;
    EXPECT_EQ(CDbl("1,234.5"), 1234.5);
    EXPECT_EQ(CDbl("\t&H10"), 16);  // the blanks IsNumeric skips are skipped before the hex prefix too
    EXPECT_EQ(errorNumber([] { CDbl("abc"); }), err::TypeMismatch);
}

TEST(Conv, FormatRoundsHalfAwayAfterFifteenDigitsAndNumberTextIsTheShortest) {
    // 1.005 is 1.00499999999999989..., reduced to 15 digits first.
    const std::vector<std::pair<double, const char*>> cases{
        {2.345, "2.35"},     {1.005, "1.01"},    {-2.345, "-2.35"}, {0, "0.00"},
        {-0.001, "0.00"},    {-0.0, "0.00"},     {-0.005, "-0.01"}, {0.1 + 0.2, "0.30"},
        {1234.5, "1234.50"}, {99.995, "100.00"}, {0.004, "0.00"},   {1e20, "100000000000000000000.00"}};
    for (const auto& [in, out] : cases) EXPECT_EQ(Format2(in), out) << in;
    EXPECT_EQ(Format(2.5, "0") + Format(-2.5, "0"), "3-3");
    const std::vector<std::pair<double, const char*>> tips{
        {1234567.5, "1,234,567.50"}, {0.123456789, "0.12345679"}, {-1234.5, "-1,234.50"}, {100, "100.00"},
        {-0.000000001, "0.00"},      {999.999999999, "1,000.00"}};
    for (const auto& [in, out] : tips) EXPECT_EQ(Format(in, "###,###,##0.00######"), out) << in;
    EXPECT_EQ(errorNumber([] { Format(1, "0.0x"); }), err::InvalidProcedureCall);
    for (const char* text :
         {"0.1", "150", "-12.5", "1E+20", "1E-05", "0.0001", "1E+15", "-1.5E-07", "0", "123456789012345"})
        EXPECT_EQ(NumberText(std::stod(text)), text);
    EXPECT_EQ(NumberText(0.1 + 0.2), "0.3");
    // DBL_MAX is cut, not rounded past the largest double.
    EXPECT_EQ(NumberText(DBL_MAX), "1.79769313486231E+308");
}

TEST(Conv, IntegerConversionsRoundToEvenAndOverflow) {
    for (auto [in, out] :
         {std::pair{2.5, 2}, {3.5, 4}, {-2.5, -2}, {-2.6, -3}, {32767.4, 32767}, {-32768.5, -32768}})
        EXPECT_EQ(CInt(in), out) << in;
    for (double in : {32767.5, -32769.0, double(NAN)})
        EXPECT_EQ(errorNumber([in] { CInt(in); }), err::Overflow);
    EXPECT_EQ(CLng(2147483647.4), 2147483647);
    EXPECT_EQ(errorNumber([] { CLng(2147483647.5); }), err::Overflow);
    EXPECT_EQ(CByte(254.5), 254);
    EXPECT_EQ(CByte(-0.5), 0);
    for (double in : {255.5, -1.0}) EXPECT_EQ(errorNumber([in] { CByte(in); }), err::Overflow);
    std::string description;
    EXPECT_EQ(errorNumber([] { CInt(1e9); }, &description), err::Overflow);
    EXPECT_EQ(description, "Overflow");
}

TEST(DateTime, FormatsParsesEveryFormItWritesAndCountsDays) {
    DateTime d = DateTime::ymd(2004, 2, 9);
    const std::vector<std::pair<const char*, const char*>> forms{
        {"dd/MMM/yyyy", "09/Feb/2004"}, {"yyyymmdd", "20040209"},     {"yyyy/mm/dd", "2004/02/09"},
        {"dd/MM/yyyy", "09/02/2004"},   {"yyyy-mm-dd", "2004-02-09"}, {"d mmmm yy", "9 February 04"},
        {"dd-mmm-yyyy", "09-Feb-2004"}};
    for (const auto& [form, text] : forms) EXPECT_EQ(formatDate(d, form), text) << form;
    DateTime t{2004, 12, 31, 7, 5, 3};
    EXPECT_EQ(formatDate(t, "HH:mm:ss"), "07:05:03");
    EXPECT_EQ(generalDate(t), "31/12/2004 07:05:03");
    EXPECT_EQ(generalDate(d), "09/02/2004");
    EXPECT_EQ(isoDate(d), "2004-02-09");
    EXPECT_EQ(errorNumber([&] { formatDate(d, "dd/qq"); }), err::InvalidProcedureCall);
    const DateTime feb14 = DateTime::ymd(2004, 2, 14);
    for (const char* s : {"14/Feb/2004", "14-feb-2004", "14 February 2004", "20040214", "2004/02/14",
                          "14/02/2004", "2004-02-14", " 2004-02-14 ", "Feb 14 2004"}) {
        auto d = parseDate(s);
        ASSERT_TRUE(d) << s;
        EXPECT_EQ(*d, feb14) << s;
    }
    DateTime withTime{2004, 2, 14, 10, 20, 30};
    EXPECT_EQ(parseDate("2004-02-14T10:20:30.250"), withTime);
    EXPECT_EQ(parseDate("14/02/2004 10:20:30 PM")->hour, 22);
    for (const char* bad : {"", "abc", "2004", "31/02/2004", "2004-13-01", "14/Fbx/2004", "1/2/3", "20041"})
        EXPECT_FALSE(parseDate(bad)) << bad;
    for (const DateTime& d : {feb14, withTime, DateTime::ymd(1999, 12, 31)}) {
        EXPECT_EQ(parseDate(generalDate(d)), d);
        EXPECT_EQ(parseDate(isoDate(d)), d);
        EXPECT_EQ(parseDate(formatDate(d, "dd/MMM/yyyy")), d.dateOnly());
    }
    EXPECT_EQ(errorNumber([] { toDate("not a date"); }), err::TypeMismatch);
    EXPECT_EQ(DateTime::ymd(1899, 12, 30).dayNumber(), 0);
    EXPECT_EQ(DateTime::ymd(1900, 1, 1).dayNumber(), 2);
    EXPECT_EQ(DateTime::fromDayNumber(38031), DateTime::ymd(2004, 2, 14));
    EXPECT_EQ(addDays(DateTime::ymd(2004, 2, 28), 1), DateTime::ymd(2004, 2, 29));
    EXPECT_EQ(addDays(DateTime::ymd(2026, 10, 15), -90), DateTime::ymd(2026, 7, 17));
    EXPECT_EQ(addMonths(DateTime::ymd(2004, 1, 31), 1), DateTime::ymd(2004, 2, 29));
    EXPECT_EQ(addMonths(DateTime::ymd(2003, 3, 31), -1), DateTime::ymd(2003, 2, 28));
    EXPECT_EQ(addMonths(DateTime::ymd(2004, 12, 15), 1), DateTime::ymd(2005, 1, 15));
    EXPECT_EQ(addMonths(DateTime::ymd(2005, 1, 15), -13), DateTime::ymd(2003, 12, 15));
    EXPECT_TRUE(isLeapYear(2000) && !isLeapYear(1900));
}

TEST(Value, ConversionsBehaveAsTheClassicLanguage) {
    Value null;
    for (const auto& use :
         std::vector<std::function<void()>>{[&] { null.toText(); }, [&] { null.toDouble(); },
                                            [&] { null.toInt16(); }, [&] { null.toDate(); }})
        EXPECT_EQ(errorNumber(use), err::InvalidUseOfNull);
    EXPECT_EQ(null.joinText(), "");

    EXPECT_EQ(Value(42).toText(), "42");
    EXPECT_EQ(Value(DateTime::ymd(2004, 2, 14)).toText(), "14/02/2004");
    EXPECT_EQ(errorNumber([] { Value("abc").toDouble(); }), err::TypeMismatch);
    EXPECT_EQ(Value("3.5").toInt32(), 4);
    EXPECT_EQ(errorNumber([] { Value(40000).toInt16(); }), err::Overflow);
    EXPECT_EQ(errorNumber([] { Value(int64_t{3000000000}).toInt32(); }), err::Overflow);
    EXPECT_EQ(Value("14/Feb/2004").toDate(), DateTime::ymd(2004, 2, 14));
    EXPECT_EQ(Value(38031.5).toDate(), (DateTime{2004, 2, 14, 12, 0, 0}));

    for (const Value& one : {Value(1), Value(1.0), Value("1")}) EXPECT_TRUE(one.isOne()) << one.joinText();
    EXPECT_FALSE(Value(2).isOne() || Value().isOne());
    EXPECT_FALSE(Value(1) == Value(1.0));  // types differ, as the variant's do
}

// What a terminal is given: no control character or stray byte, every other character as is.
TEST(Utf8, TerminalTextEscapesControlCharacters) {
    const std::pair<std::string, std::string> cases[] = {
        {"Admin\x1b[2J\x1b]0;owned\x07", "Admin\\x1B[2J\\x1B]0;owned\\x07"},
        {"a\tb\r\nc\x7f", "a\\x09b\\x0D\\x0Ac\\x7F"},
        {"\xc2\x9b"
         "31m \xff\xfe",
         "\\u009B31m \\xFF\\xFE"},  // C1 CSI, bytes that are no character
        {"\xd8\xb1\xd9\x88 \xe0\xa4\xb5\xe0\xa5\x87 \xc2\xa0\xf0\x9f\x98\x80",
         "\xd8\xb1\xd9\x88 \xe0\xa4\xb5\xe0\xa5\x87 \xc2\xa0\xf0\x9f\x98\x80"},
    };
    for (const auto& [text, shown] : cases) EXPECT_EQ(common::terminalText(text), shown);
    EXPECT_EQ(common::terminalText("a\tb\nc\x1b", "\t\n"), "a\tb\nc\\x1B");
}

// Overlong forms, values past U+10FFFF and a character short of its last continuation byte are
// no characters; UTF-16 counts two units only past U+FFFF; every C1 control is escaped.
TEST(Utf8, OnlyWellFormedCharactersCount) {
    for (const std::string bad : {"\xC0\xAF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF0\x9F\x98!"})
        EXPECT_EQ(common::utf8CharLength(bad, 0), 0u);
    for (const std::string good : {"\xC2\x80", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"})
        EXPECT_EQ(common::utf8CharLength(good, 0), good.size());
    EXPECT_EQ(common::utf16Length("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), 4u);  // é € 😀
    EXPECT_EQ(common::terminalText("\xC2\x85"), "\\u0085");
}
