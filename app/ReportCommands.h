#pragma once
// The host's headless report commands: the voucher of a saved entry as a PDF file, and the
// posting lines of the entries dated in a range as a CSV file. Both act for the session user
// and refuse one without the Print right, as the browser's Print button does.
#include <cstdint>
#include <string>

#include "data/Connection.h"

namespace app {

struct ReportSession {
    data::ConnectionPtr connection;
    int32_t userId = 1, companyId = 1, interfaceId = 60;
};

struct PrintOptions {
    std::string entry;  // the entry number (TransNo)
    std::string pdf;    // empty: the entry number made a file name, in the current folder
};

struct ExportOptions {
    std::string from, to;  // dd/MM/yyyy, both days included
    std::string csv;       // empty: standard output
    bool includeCancelled = false;
    bool raw = false;  // texts as stored, without the apostrophe that keeps formulas out
};

// Each returns the exit status: 0 when done; 2, with one line on standard error, for an
// unknown entry, an empty range, a file that cannot be written, a user without the right or
// a failing database. A failure writes nothing.
int runPrint(const PrintOptions& options, const ReportSession& session);
int runExport(const ExportOptions& options, const ReportSession& session);

}  // namespace app
