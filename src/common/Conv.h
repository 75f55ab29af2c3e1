#pragma once
// The classic conversions the screens rely on.
#include <cstdint>
#include <string>
#include <string_view>

namespace common {

// An ASCII digit, 0 to 9: what numbers, dates and statement texts are read with, whatever the
// locale.
inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Val: the leading number of a text. Blanks (and tabs) are skipped anywhere in the number,
// then an optional sign, digits, one decimal point, an optional exponent ("E"/"e"/"D"/"d"
// followed by sign and digits). Reading stops at the first other character: "abc" is 0,
// "12abc" is 12, "" is 0. "&H"/"&O" prefixes read hex and octal.
double Val(std::string_view text);

// IsNumeric as the suite's language answers it for a text: optional blanks, sign, digits
// with thousands commas, one point, exponent; "" and "." are not numeric.
bool IsNumeric(std::string_view text);

// CDbl of a text: numeric as IsNumeric says (thousands commas skipped), else Type mismatch (13).
double CDbl(std::string_view text);

// Format(number, pattern) for the patterns the component uses: "0.00",
// "###,###,##0.00######" (up to eight decimals, trailing zeros beyond two dropped) and
// "0". The value is first reduced to 15 significant digits, then rounded half away from
// zero, so 2.345 gives "2.35". A result that rounds to zero never shows a minus sign.
std::string Format(double value, std::string_view pattern);
// Shorthand for Format(value, "0.00").
std::string Format2(double value);

// Str without the leading blank: shortest text that reads back to the same double,
// at most 15 significant digits ("0.1", "150", "-12.5", "1E+20").
std::string NumberText(double value);

// CInt / CLng on a double: round half to even; out of range raises Overflow (6).
int16_t CInt(double value);
int32_t CLng(double value);
// CByte: 0..255, else Overflow.
uint8_t CByte(double value);

// Trim / LTrim / RTrim remove blanks (spaces) only, as the classic functions do.
std::string Trim(std::string_view s);
std::string LTrim(std::string_view s);
std::string RTrim(std::string_view s);
// ASCII upper / lower case.
std::string UCase(std::string_view s);
std::string LCase(std::string_view s);
// InStr(1, hay, needle, vbTextCompare) > 0
bool ContainsNoCase(std::string_view hay, std::string_view needle);
bool EqualsNoCase(std::string_view a, std::string_view b);

}  // namespace common
