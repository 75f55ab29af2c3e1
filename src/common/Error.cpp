#include "common/Error.h"

namespace common {

namespace {
// Run-time errors raised by the component itself carry the project's name as their source,
// as the classic runtime sets it.
constexpr const char* kRuntimeSource = "QORPayAccLinking";
}  // namespace

void raise(int number, const std::string& source, const std::string& description) {
    throw Error(number, source, description);
}

void raiseOverflow() { raise(err::Overflow, kRuntimeSource, "Overflow"); }

void raiseTypeMismatch() { raise(err::TypeMismatch, kRuntimeSource, "Type mismatch"); }

void raiseInvalidUseOfNull() { raise(err::InvalidUseOfNull, kRuntimeSource, "Invalid use of Null"); }

}  // namespace common
