#pragma once
// The audit of a whole database, every company, against the invariants the ledger rests on:
//
//   - a payroll run or payment is linked by at most one live (not cancelled) entry;
//   - its posted flag (mppPosted, phPosted) is set exactly when a live entry links it;
//   - each live entry's department amounts sum to zero, and so do its company amounts,
//     within half a cent for each line whose amount was converted (one for the gathered
//     lines, which are rounded per line and balanced per source, and one more for each
//     line added by hand in a currency other than the department's, resp. the company's);
//   - each line of a live entry names an account the company has and a known currency;
//   - entry numbers are unique within a company, and the numbering can go on past every
//     stored number that continues the company's prefix.
//
// A database kept by the classic component breaks some of these as a rule (it never set
// phPosted, and let two users link the same runs); the audit names each break with the
// entry and the source, and what to do. It only reads: a set-based statement per check.
#include <cstdint>
#include <string>
#include <vector>

#include "data/Connection.h"
#include "data/TableNames.h"

namespace report {

struct Finding {
    std::string check;  // a short code: twice-linked, flag-without-link, ...
    int32_t companyId = 0;
    std::string entry;   // the entry number(s) concerned, "" when none
    std::string source;  // "payroll run GP2026/10/4 (id 12)", "" for checks on entries only
    std::string text;    // what is wrong, one sentence
    std::string action;  // what to do about it, one sentence
};

struct AuditResult {
    std::vector<Finding> findings;  // by check, then company and entry
    long entries = 0, sources = 0;  // what was read
};

// interfaceId picks the numbering prefix (pprefix) of each company.
AuditResult RunAudit(data::Connection& connection, const data::TableNames& tables, int32_t interfaceId);

}  // namespace report
