#pragma once
// Every entry, live or cancelled, that holds one payroll run or payment: when it was dated,
// who saved and who cancelled it, its status and the reason given for cancelling it. What an
// accountant asks when a run seems posted twice, or not at all.
#include <cstdint>
#include <string>
#include <vector>

#include "report/EntryHistory.h"
#include "report/VoucherQuery.h"

namespace report {

struct TracedEntry {
    int32_t transId = 0;
    std::string transNo, date, typeName, department;
    std::string status;  // "Open", "Posted" or "Cancelled"
    std::string cancelReason;
    std::vector<EntryEvent> events;  // oldest first; empty where no history was kept
};

struct SourceTrace {
    bool payroll = true;
    int32_t id = 0;
    bool found = false;  // the run or payment is there
    std::string number, date, department, employee, typeName;
    bool flagged = false;              // mppPosted or phPosted is 1
    std::vector<TracedEntry> entries;  // in the order they were made
    int live() const;                  // the entries that are not cancelled
};

SourceTrace LoadSourceTrace(const Session& session, bool payroll, int32_t id);

}  // namespace report
