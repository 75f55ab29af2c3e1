#include "data/Dialect.h"

namespace data {

std::string Dialect::dateLiteral(const common::DateTime& d, std::string_view classicPattern) const {
    return "'" + common::formatDate(d, sqlServer ? "yyyymmdd" : classicPattern) + "'";
}

common::Value Dialect::dateValue(const common::DateTime& d, std::string_view classicPattern) const {
    return sqlServer ? common::Value(d.dateOnly()) : common::Value(common::formatDate(d, classicPattern));
}

}  // namespace data
