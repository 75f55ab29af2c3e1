#pragma once
// How the report queries read the link tables' fields: texts trimmed, a Null amount as 0,
// and a header's type code as the name the screens show.
#include <string>

#include "common/Conv.h"
#include "common/TransactionTypes.h"
#include "common/Value.h"

namespace report::fields {

inline std::string text(const common::Value& v) { return common::Trim(v.joinText()); }
inline double number(const common::Value& v) { return v.isNull() ? 0.0 : v.toDouble(); }

// The name of a type code in any case; an unknown code is shown as it is stored.
inline std::string typeName(const std::string& code) {
    for (const auto& t : common::TransactionTypes())
        if (common::EqualsNoCase(code, t.code)) return t.name;
    return code;
}

}  // namespace report::fields
