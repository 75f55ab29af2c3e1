#pragma once
// The error log beside the component: "<component>Error.log", one CR LF line per entry.
#include <string>

#include "data/Connection.h"
#include "data/TableNames.h"

namespace data {

inline constexpr const char* kComponentName = "QORPayAccLinking";

// Folder the log lives in: the folder of the loaded component (the shared library or the
// program) while it is writable, else stateFolder(); a host or test may set another, and
// PAYACC_LOG_DIR names one for the whole process.
std::string componentFolder();
// The user's state folder for the component: $XDG_STATE_HOME/payacclink, by default
// ~/.local/state/payacclink.
std::string stateFolder();
void setComponentFolder(const std::string& folder);
std::string errorLogPath();

struct LogEntry {
    std::string screen;  // as passed, trailing blanks kept
    int32_t userId = 0;
    std::string procedure;  // as passed
    int32_t number = 0;
    std::string source;
    std::string description;
    std::string entryMode;
};

// Writes the nine-field line (looks the user name up in the mapped pusers table). Failures
// of the look-up or the file raise. Returns whether a message box is due (number != 0).
bool writeErrorLog(Connection& c, const TableNames& names, const LogEntry& e);

// spGetExchangeRate(company, first, second, rate OUTPUT) through a stored-procedure command.
double GetExchangeRate(Connection& c, int32_t companyId, int16_t first, int16_t second);

}  // namespace data
