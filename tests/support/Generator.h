#pragma once
// Generated company data for tests and benchmarks, written quickly into a database that
// already holds the schema (and perhaps the demo data), all of it in one transaction.
#include "data/Connection.h"

namespace testsupport {

// Month ends of a company: departments in its currency and two others (rates not 1), each
// with payroll runs and payments of the six kinds every month to October 2026 (the 28th). The
// first postedMonths are linked and flagged, per month, department and type by entriesPerType
// live entries; every cancelledEvery-th of those has a cancelled twin with the same sources.
struct MonthEndOptions {
    int companyId = 1;
    int departments = 3;
    int employees = 8;  // per department; one run each per month
    int payments = 12;  // per department and month, the kinds in turn
    int months = 3;
    int postedMonths = 2;
    int entriesPerType = 1;
    int cancelledEvery = 0;  // 0: none
    unsigned seed = 1;
};
void generateMonthEnd(data::Connection& c, const MonthEndOptions& o);

}  // namespace testsupport
