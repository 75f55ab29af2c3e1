#pragma once
// Any ODBC data source (SQL Server through FreeTDS or the vendor's driver): statements pass
// through unchanged.
#include <string>

#include "data/Connection.h"

namespace data::odbc {

// Connects with a connection string; failure raises an error carrying the driver's text.
ConnectionPtr open(const std::string& connectionString);

}  // namespace data::odbc
