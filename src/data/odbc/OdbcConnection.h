#pragma once
// Any ODBC data source (SQL Server through FreeTDS or the vendor's driver): statements pass
// through unchanged, except that SQL Server gets its Unicode literals and language-free date
// forms (ServerDialect.h). Parameters are typed as the driver describes them, or where it
// cannot (Debian's FreeTDS), by their values: text as Unicode, dates as timestamps.
#include <string>

#include "data/Connection.h"

namespace data::odbc {

struct Options {
    // Off: parameters are typed by their values, as with a driver that cannot describe them
    // (Debian's FreeTDS); lets the tests take that path on a driver that can.
    bool describeParameters = true;
};

// Connects with a connection string; failure raises an error carrying the driver's text.
ConnectionPtr open(const std::string& connectionString, const Options& options = {});

}  // namespace data::odbc
