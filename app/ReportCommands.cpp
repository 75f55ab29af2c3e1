#include "ReportCommands.h"

#include <iostream>
#include <optional>
#include <regex>
#include <stdexcept>
#include <vector>

#include "CommandErrors.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "common/Files.h"
#include "common/Utf8.h"
#include "data/TableNames.h"
#include "report/LedgerExport.h"
#include "report/VoucherQuery.h"

#ifdef PAYACC_HAVE_QT
#include "qt/QtFrontEnd.h"
#endif

namespace app {

namespace {

common::DateTime dateOption(const std::string& option, const std::string& text) {
    static const std::regex shape(R"(\d{1,2}/\d{1,2}/\d{4})");
    std::optional<common::DateTime> d;
    if (std::regex_match(text, shape)) d = common::parseDate(text);
    if (!d || !d->valid()) throw Refused(option + " needs a date written dd/MM/yyyy, not '" + text + "'");
    return *d;
}

// The session's table names and the Print right, which both commands need first.
data::TableNames checkedTables(const ReportSession& s) {
    data::TableNames tables;
    data::AssignTableName(*s.connection, tables);
    const report::Session rs{*s.connection, tables, s.companyId, s.userId};
    if (!report::HasPrintRight(rs, s.interfaceId))
        throw Refused("user " + std::to_string(s.userId) + " has no Print right in company " +
                      std::to_string(s.companyId));
    return tables;
}

}  // namespace

int runPrint(const PrintOptions& o, const ReportSession& s) {
    return guarded([&] {
        if (o.entry.empty()) throw Refused("print needs --entry TRANSNO");
        const data::TableNames tables = checkedTables(s);
        const report::Session rs{*s.connection, tables, s.companyId, s.userId};
        const std::optional<int32_t> id = report::FindEntry(rs, o.entry);
        if (!id) throw Refused("no entry '" + o.entry + "' in company " + std::to_string(s.companyId));
        const report::Voucher voucher = report::LoadVoucher(rs, *id, report::NowText());
        const std::string file = o.pdf.empty() ? report::VoucherFileName(voucher.entryNo) : o.pdf;
#ifdef PAYACC_HAVE_QT
        std::string error;
        const int pages = qtui::writeVoucherPdfFile(voucher, file, error);
        if (pages == 0) throw Refused(error);
        std::cout << common::terminalText(voucher.entryNo + ": " + std::to_string(pages) +
                                          (pages == 1 ? " page" : " pages") + " written to " + file)
                  << "\n";
        return 0;
#else
        (void)file;
        throw Refused("this build has no PDF support (built without Qt)");
#endif
    });
}

int runExport(const ExportOptions& o, const ReportSession& s) {
    return guarded([&] {
        if (o.from.empty() || o.to.empty())
            throw Refused("export needs --from dd/MM/yyyy and --to dd/MM/yyyy");
        const common::DateTime from = dateOption("--from", o.from), to = dateOption("--to", o.to);
        if (to < from) throw Refused("the range is empty: --from " + o.from + " is after --to " + o.to);
        const data::TableNames tables = checkedTables(s);
        const report::Session rs{*s.connection, tables, s.companyId, s.userId};
        const std::vector<report::LedgerRow> rows = report::LoadLedgerRows(rs, from, to, o.includeCancelled);
        if (rows.empty())
            throw Refused("no " + std::string(o.includeCancelled ? "" : "open or posted ") +
                          "entries dated " + o.from + " to " + o.to + " in company " +
                          std::to_string(s.companyId));
        common::OutputFile out(o.csv, o.csv.empty() ? common::OutputFile::Target::StandardOutput
                                                    : common::OutputFile::Target::Replace);
        report::WriteLedgerCsv(out.stream(), rows, o.raw);
        out.commit();
        if (!o.csv.empty())
            std::cout << rows.size() << " posting lines written to " << common::terminalText(o.csv) << "\n";
        return 0;
    });
}

}  // namespace app
