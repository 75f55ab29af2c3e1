#pragma once
// SQL Server through any ODBC driver (FreeTDS or the vendor's). The screens' statements pass
// through as they are; text crosses the driver as UTF-16, parameters are typed by their values
// with one declaration per statement text, and the writes of a transaction travel together.
// Any other database is refused at connection: the statements are T-SQL.
#include <string>

#include "data/Connection.h"

namespace data::odbc {

// Connects with a connection string; a failure raises an error carrying the driver's text, a
// data source that is not SQL Server one naming what it is.
ConnectionPtr open(const std::string& connectionString);

}  // namespace data::odbc
