#pragma once
// The error log beside the component: "<component>Error.log", one CR LF line per entry.
#include <string>

#include "data/Connection.h"
#include "data/TableNames.h"

namespace data {

inline constexpr const char* kComponentName = "QORPayAccLinking";

// Folder the log lives in: PAYACC_LOG_DIR, else the folder of the loaded component (the
// shared library or the program) when it belongs to the user running it and is not under
// /usr, else stateFolder(); a host or test may set another. Empty when there is none.
std::string componentFolder();
// The user's state folder for the component: $XDG_STATE_HOME/payacclink, else
// ~/.local/state/payacclink; empty without either, since a shared folder such as /tmp would
// let another user plant links in it.
std::string stateFolder();
void setComponentFolder(const std::string& folder);
// The log's folder made ready: the state folder is created 0700; any folder is refused (with
// common::FileError) when it is not this user's own or every user may write to it.
void prepareLogFolder();
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
