#pragma once
// Run-time errors as the suite's classic language raises them: a number, the
// object that raised it and a description. Handlers read all three.
#include <stdexcept>
#include <string>

namespace common {

class Error : public std::runtime_error {
public:
    Error(int number, std::string source, std::string description)
        : std::runtime_error(description),
          number_(number),
          source_(std::move(source)),
          description_(std::move(description)) {}
    int number() const { return number_; }
    const std::string& source() const { return source_; }
    const std::string& description() const { return description_; }

private:
    int number_;
    std::string source_;
    std::string description_;
};

// The classic run-time error numbers the component meets.
namespace err {
inline constexpr int Overflow = 6;              // "Overflow"
inline constexpr int TypeMismatch = 13;         // "Type mismatch"
inline constexpr int ObjectNotSet = 91;         // "Object variable or With block variable not set"
inline constexpr int InvalidUseOfNull = 94;     // "Invalid use of Null"
inline constexpr int SubscriptOutOfRange = 9;   // "Subscript out of range"
inline constexpr int InvalidProcedureCall = 5;  // "Invalid procedure call or argument"
inline constexpr int Database = -2147217900;    // provider error (0x80040E14): the database's own message
inline constexpr int ItemNotFound = 3265;       // field or parameter name not in the collection
inline constexpr int ObjectClosed = 3704;       // operation on a closed connection or recordset
}  // namespace err

[[noreturn]] void raise(int number, const std::string& source, const std::string& description);
[[noreturn]] void raiseOverflow();
[[noreturn]] void raiseTypeMismatch();
[[noreturn]] void raiseInvalidUseOfNull();

}  // namespace common
