#pragma once
// The month-end checks of the command line: status (what of a range is posted and what is
// open), audit (every break of the ledger's invariants in a whole database) and trace (the
// entries that ever held one payroll run or payment). They only read; each declares its own
// options on its subcommand and returns its exit status.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

#include "data/Connection.h"

namespace monthend {

struct Options {
    std::string from, to, type = "all", department = "all", csv;  // status (csv also audit)
    int32_t run = 0, payment = 0;                                 // trace
};

CLI::App* addStatus(CLI::App& app, Options& o);
CLI::App* addAudit(CLI::App& app, Options& o);
CLI::App* addTrace(CLI::App& app, Options& o);

// status: 0 when nothing in the range is open, 1 when something is, 2 for a bad option, a
// user without the Print right or a failing database.
int runStatus(const Options& o, data::Connection& connection, int32_t companyId, int32_t userId,
              int32_t interfaceId);
// audit: 0 when clean, 1 with findings, 2 for an unusable database. Every company.
int runAudit(const Options& o, data::Connection& connection, int32_t interfaceId);
// trace: 0 when the source is there (held or not), 2 when it is not or for a bad option.
int runTrace(const Options& o, data::Connection& connection, int32_t companyId, int32_t userId,
             int32_t interfaceId);

}  // namespace monthend
