#pragma once
// Who saved and who cancelled an entry, and when: one row per event in paPayAccLinkHistory.
// The link tables themselves keep no user, so without this a trace could show what holds a
// source but not who did it. The save and the cancellation record their event inside their
// own transaction, so an event is kept exactly when its change is. A database without the
// table (one the classic component kept) records nothing and reads as having no history.
#include <cstdint>
#include <string>
#include <vector>

#include "data/Connection.h"
#include "data/TableNames.h"

namespace report {

// The actions recorded: 'N' a new entry saved, 'E' an entry saved again after editing,
// 'C' an entry cancelled.
void RecordEntryEvent(data::Connection& connection, int32_t companyId, int32_t transId, int32_t userId,
                      char action);

struct EntryEvent {
    int32_t transId = 0;
    char action = 'N';
    std::string at;    // dd/MM/yyyy HH:mm
    std::string user;  // the user's name, or "user N" without a pusers row
};

// The events of the company's entries that link the source, oldest first. Empty when the
// database keeps no history.
std::vector<EntryEvent> LoadSourceEvents(data::Connection& connection, const data::TableNames& tables,
                                         int32_t companyId, int32_t sourceId);

}  // namespace report
