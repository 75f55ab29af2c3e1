#pragma once
// The variant value that fields, parameters and control properties carry.
#include <cstdint>
#include <string>
#include <variant>

#include "common/DateTime.h"

namespace common {

class Value {
public:
    enum class Type { Null, Integer, Double, Text, Date };

    Value() = default;  // Null
    Value(int v) : v_(int64_t{v}) {}
    Value(int64_t v) : v_(v) {}
    Value(double v) : v_(v) {}
    Value(std::string v) : v_(std::move(v)) {}
    Value(const char* v) : v_(std::string(v)) {}
    Value(DateTime v) : v_(v) {}
    static Value null() { return Value(); }

    Type type() const { return static_cast<Type>(v_.index()); }
    bool isNull() const { return type() == Type::Null; }
    bool isNumeric() const { return type() == Type::Integer || type() == Type::Double; }

    // CStr: Null raises Invalid use of Null (94); numbers as the classic Str without the
    // leading blank; dates in the general date form.
    std::string toText() const;
    // value & "": as toText, but Null gives "".
    std::string joinText() const;
    // CDbl: Null raises 94; text must be numeric (IsNumeric) or raises Type mismatch (13).
    double toDouble() const;
    // CInt / CLng: round half to even, Overflow (6) out of range, Null 94, text via CDbl.
    int16_t toInt16() const;
    int32_t toInt32() const;
    int64_t toInt64() const;
    // CDate: dates as they are, text parsed, numbers as serial days; Null 94.
    DateTime toDate() const;
    // True when the value is the integer 1 or a number equal to 1 or the text "1": the flag test "=1".
    bool isOne() const;

    const int64_t* asInteger() const { return std::get_if<int64_t>(&v_); }
    const double* asDouble() const { return std::get_if<double>(&v_); }
    const std::string* asText() const { return std::get_if<std::string>(&v_); }
    const DateTime* asDate() const { return std::get_if<DateTime>(&v_); }

    bool operator==(const Value& o) const { return v_ == o.v_; }

private:
    // Order matches Type.
    std::variant<std::monostate, int64_t, double, std::string, DateTime> v_;
};

}  // namespace common
