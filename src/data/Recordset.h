#pragma once
// A result set, read row by row with fields by name (without regard to case) or position.
// Backends materialise the whole result, so every cursor type reads the same way.
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/Value.h"

namespace data {

using common::Value;

enum class CursorType { ForwardOnly = 0, Keyset = 1, Dynamic = 2, Static = 3 };
enum class LockType { ReadOnly = 1, Pessimistic = 2, Optimistic = 3, BatchOptimistic = 4 };

class Recordset {
public:
    Recordset() = default;
    Recordset(std::vector<std::string> names, std::vector<std::vector<Value>> rows)
        : names_(std::move(names)), rows_(std::move(rows)) {}

    bool eof() const { return closed_ || pos_ >= rows_.size(); }
    bool bof() const { return rows_.empty(); }
    void moveNext();  // past the end raises error 3021
    void moveFirst() { pos_ = 0; }
    // The number of rows, whatever the cursor: the rows are all read when the recordset opens,
    // so even a forward-only one knows its count (ADO answers -1 there; no caller relies on it).
    long recordCount() const { return static_cast<long>(rows_.size()); }

    int fieldCount() const { return static_cast<int>(names_.size()); }
    const std::string& fieldName(int i) const;
    // The current row's value; a name not in the result raises error 3265, reading at
    // end of file raises 3021, reading a closed recordset 3704.
    const Value& field(int i) const;
    const Value& field(std::string_view name) const;
    int fieldIndex(std::string_view name) const;  // -1 when absent

    void close() { closed_ = true; }
    bool isOpen() const { return !closed_; }

    // Whole-result access for the fast paths (grid fill).
    const std::vector<std::string>& names() const { return names_; }
    const std::vector<std::vector<Value>>& rows() const { return rows_; }
    std::vector<std::vector<Value>>& rows() { return rows_; }

private:
    std::vector<std::string> names_;
    std::vector<std::vector<Value>> rows_;
    size_t pos_ = 0;
    bool closed_ = false;
};

using RecordsetPtr = std::unique_ptr<Recordset>;

}  // namespace data
