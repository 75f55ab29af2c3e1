#pragma once
// Large data sets for benchmarks and load tests: many employees of one department with
// processed payroll, and optionally many saved link entries, written quickly into a database
// that already holds the schema (and perhaps the demo data).
#include "data/Connection.h"

namespace testsupport {

struct GeneratorOptions {
    int employees = 10000;
    int months = 1;
    int companyId = 1;
    int departmentId = 1;
    int savedEntries = 0;
    unsigned seed = 1;
};

// Adds the company, its currency, the department, the salary accounts and the settings when
// they are missing, then the employees (paid in the department's currency), one processed
// payroll per employee and month (the 28th of the months up to October 2026) and the saved
// entries. Entry k links run k with the details and journal lines that gathering would have
// produced and flags it posted; once every run is linked, further entries are cancelled
// earlier attempts at the same runs. All of it in one transaction.
void generateLarge(data::Connection& c, const GeneratorOptions& o);

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
