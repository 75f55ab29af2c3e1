#include "data/Recordset.h"

#include "common/Conv.h"
#include "common/Error.h"

namespace data {

namespace {
constexpr const char* kSource = "ADODB.Recordset";

[[noreturn]] void raiseNoCurrentRecord() {
    common::raise(3021, kSource,
                  "Either BOF or EOF is True, or the current record has been deleted. Requested "
                  "operation requires a current record.");
}
[[noreturn]] void raiseNotFound() {
    common::raise(common::err::ItemNotFound, kSource,
                  "Item cannot be found in the collection corresponding to the requested name or ordinal.");
}
[[noreturn]] void raiseClosed() {
    common::raise(common::err::ObjectClosed, kSource, "Operation is not allowed when the object is closed.");
}
}  // namespace

void Recordset::moveNext() {
    if (closed_) raiseClosed();
    if (pos_ >= rows_.size()) raiseNoCurrentRecord();
    ++pos_;
}

const std::string& Recordset::fieldName(int i) const {
    if (closed_) raiseClosed();
    if (i < 0 || i >= fieldCount()) raiseNotFound();
    return names_[static_cast<size_t>(i)];
}

const Value& Recordset::field(int i) const {
    if (closed_) raiseClosed();
    if (i < 0 || i >= fieldCount()) raiseNotFound();
    if (pos_ >= rows_.size()) raiseNoCurrentRecord();
    return rows_[pos_][static_cast<size_t>(i)];
}

const Value& Recordset::field(std::string_view name) const {
    if (closed_) raiseClosed();
    int i = fieldIndex(name);
    if (i < 0) raiseNotFound();
    return field(i);
}

int Recordset::fieldIndex(std::string_view name) const {
    for (size_t i = 0; i < names_.size(); ++i)
        if (common::EqualsNoCase(names_[i], name)) return static_cast<int>(i);
    return -1;
}

}  // namespace data
