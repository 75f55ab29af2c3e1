#pragma once
// Month-end status: for a date range, how many payroll runs and payments of each type and
// department were processed, how many live entries link (posted), how many no live entry
// links (open, with their amount in the company's currency) and how many of those were
// released by a cancelled entry. Posted means linked by an entry that is not cancelled,
// whatever the source's own flag says: the flag can be wrong (the audit reports that),
// the links are what the ledger holds.
//
// A handful of set-based statements, whatever the number of sources, so that a month of a
// large payroll reads in well under a second on either backend.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/DateTime.h"
#include "report/VoucherQuery.h"

namespace report {

struct StatusFilter {
    common::DateTime from, to;          // both days included
    std::optional<std::string> type;    // a type code ("P", "A", ...); none: every type
    std::optional<int32_t> department;  // none: every department
};

struct EntryRef {
    int32_t transId = 0;
    std::string transNo;
};

// One transaction type in one department.
struct StatusCell {
    std::string typeCode;  // the header's TransType letter
    int32_t departmentId = 0;
    std::string department;
    int sources = 0;        // processed in the range
    int posted = 0;         // linked by a live entry
    int open = 0;           // linked by none
    int released = 0;       // open, and linked by a cancelled entry
    double openAmount = 0;  // in the company's currency, each source converted as its entry would
    int withoutRate = 0;    // open sources with no rate to the company's currency (left out of openAmount)
    std::vector<EntryRef> entries;  // the live entries holding the posted ones, by number
};

struct Department {
    int32_t id = 0;
    std::string name;
};

struct MonthStatus {
    std::string companyCurrency;
    std::vector<Department> departments;  // every department of the company, by name
    std::vector<StatusCell> cells;        // types in the screens' order, then departments by name

    // The sums over every cell (entries of every cell, each once).
    StatusCell total() const;
    const StatusCell* find(const std::string& typeCode, int32_t departmentId) const;
};

MonthStatus LoadMonthStatus(const Session& session, const StatusFilter& filter);

// The type letter of a name the screens show ("Payroll" is "P"), case ignored; none when unknown.
std::optional<std::string> TypeCodeOf(const std::string& name);

// Why a type, department and range have nothing to post, after "Nothing to post in this
// range": where their sources are ("its payroll runs are in PAL/6"), that there are none, or
// that some are held by no entry yet not listed (flagged posted, or without account lines).
std::string NothingToPostReason(const Session& session, const std::string& typeCode, int32_t departmentId,
                                const common::DateTime& from, const common::DateTime& to);

// "PAL/3, PAL/7 and PAL/9"
std::string EntryList(const std::vector<EntryRef>& entries);

}  // namespace report
