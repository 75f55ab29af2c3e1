#include "MonthEndCommands.h"

#include <cstdio>
#include <functional>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "CommandErrors.h"
#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "common/Files.h"
#include "common/Utf8.h"
#include "data/TableNames.h"
#include "report/Fields.h"
#include "report/LedgerAudit.h"
#include "report/LedgerExport.h"
#include "report/MonthStatus.h"
#include "report/SourceTrace.h"

namespace monthend {

namespace {

using app::guarded;
using app::Refused;

CLI::Validator dateValidator() {
    return CLI::Validator(
        [](std::string& text) {
            return common::parseDayMonthYear(text) ? std::string()
                                                   : "needs a date written dd/MM/yyyy, not '" + text + "'";
        },
        "", "date");
}

// The session's table names, after checking the Print right that every report needs.
data::TableNames printTables(data::Connection& c, int32_t companyId, int32_t userId, int32_t interfaceId) {
    data::TableNames tables;
    data::AssignTableName(c, tables);
    if (!report::HasPrintRight({c, tables, companyId, userId}, interfaceId))
        throw Refused("user " + std::to_string(userId) + " has no Print right in company " +
                      std::to_string(companyId));
    return tables;
}

std::string amount(double v) { return common::Format(v, "0.00"); }

// printf into a string.
template <class... Args>
std::string line(const char* format, Args... args) {
    std::string out(static_cast<size_t>(std::snprintf(nullptr, 0, format, args...)), '\0');
    std::snprintf(out.data(), out.size() + 1, format, args...);
    return out;
}

std::string entryNumbers(const std::vector<report::EntryRef>& entries) {
    std::string out;
    for (const auto& e : entries) out += (out.empty() ? "" : " ") + e.transNo;
    return out;
}

// Written whole or not at all, beside the target and renamed over it.
void writeCsv(const std::string& csv, const std::function<void(std::ostream&)>& write) {
    common::OutputFile out(csv, common::OutputFile::Target::Replace);
    write(out.stream());
    out.commit();
}

// What the commands print holds names and remarks as stored: no control character of theirs
// reaches the terminal.
int shown(const std::ostringstream& text, int status) {
    std::cout << common::terminalText(text.str(), "\n");
    return status;
}

std::string cut(const std::string& s, size_t width) { return s.size() <= width ? s : s.substr(0, width); }

std::string statusTable(const report::MonthStatus& s, const std::string& from, const std::string& to) {
    const std::string currency =
        s.companyCurrency.empty() ? std::string("company currency") : s.companyCurrency;
    std::string out = "Sources dated " + from + " to " + to + "; open amounts in " + currency + "\n";
    const char* row = "%-18s %-26s %7s %7s %7s %14s %8s  %s\n";
    out += line(row, "Type", "Department", "Sources", "Posted", "Open", "Open amount", "Released", "Entries");
    bool missingRate = false;
    auto print = [&](const std::string& type, const std::string& department, const report::StatusCell& c,
                     const std::string& entries) {
        missingRate |= c.withoutRate > 0;
        out +=
            line(row, cut(type, 18).c_str(), cut(department, 26).c_str(), std::to_string(c.sources).c_str(),
                 std::to_string(c.posted).c_str(), std::to_string(c.open).c_str(),
                 (amount(c.openAmount) + (c.withoutRate > 0 ? "*" : "")).c_str(),
                 std::to_string(c.released).c_str(), entries.c_str());
    };
    for (const report::StatusCell& c : s.cells)
        print(report::fields::typeName(c.typeCode), c.department, c, entryNumbers(c.entries));
    const report::StatusCell total = s.total();
    print("Total", "", total, std::to_string(total.entries.size()) + " live entries");
    if (missingRate)
        out += "* " + std::to_string(total.withoutRate) + " open source(s) have no exchange rate to " +
               currency + " and are left out of the amount.\n";
    return out;
}

void statusCsv(std::ostream& out, const report::MonthStatus& s) {
    out << "type,department,sources,posted,open,open_amount,entries\r\n";
    for (const report::StatusCell& c : s.cells)
        out << report::CsvTextField(report::fields::typeName(c.typeCode)) << ','
            << report::CsvTextField(c.department) << ',' << c.sources << ',' << c.posted << ',' << c.open
            << ',' << amount(c.openAmount) << ',' << report::CsvTextField(entryNumbers(c.entries)) << "\r\n";
}

std::string findingLine(const report::Finding& f) {
    std::string out = f.check + ": company " + std::to_string(f.companyId);
    if (!f.entry.empty())
        out += (f.entry.find(" and ") != std::string::npos || f.entry.find(" ... ") != std::string::npos
                    ? ", entries "
                    : ", entry ") +
               f.entry;
    if (!f.source.empty()) out += ", " + f.source;
    return out + ": " + f.text + "; " + f.action + ".";
}

void auditCsv(std::ostream& out, const report::AuditResult& r) {
    out << "check,company,entry,source,finding,action\r\n";
    for (const report::Finding& f : r.findings)
        out << f.check << ',' << f.companyId << ',' << report::CsvTextField(f.entry) << ','
            << report::CsvTextField(f.source) << ',' << report::CsvTextField(f.text) << ','
            << report::CsvTextField(f.action) << "\r\n";
}

std::string eventText(const report::TracedEntry& e, char action) {
    std::string out;
    for (const report::EntryEvent& ev : e.events)
        if (ev.action == action) out = ev.user + " " + ev.at;  // the last one
    return out.empty() ? "-" : out;
}

}  // namespace

CLI::App* addStatus(CLI::App& app, Options& o) {
    auto* cmd = app.add_subcommand(
        "status", "what of a date range is posted and what is open, by transaction type and department");
    cmd->add_option("--from", o.from, "the first day of the range")
        ->type_name("dd/MM/yyyy")
        ->required()
        ->check(dateValidator());
    cmd->add_option("--to", o.to, "the last day of the range")
        ->type_name("dd/MM/yyyy")
        ->required()
        ->check(dateValidator());
    cmd->add_option("--type", o.type, "one transaction type, as the screen lists it, or all (the default)")
        ->type_name("NAME|all");
    cmd->add_option("--department", o.department, "one department's id, or all (the default)")
        ->type_name("ID|all");
    cmd->add_option("--csv", o.csv,
                    "write the lines as CSV to FILE instead (type, department, sources, posted, open, "
                    "open_amount, entries)")
        ->type_name("FILE");
    cmd->footer(
        "Posted: linked by an entry that is not cancelled. Open: linked by none; its amount is converted to "
        "the company's currency. Released: open, and linked by a cancelled entry. Needs the Print (\"P\") "
        "right. Exit status: 0 when nothing is open, 1 when something is, 2 for a bad invocation or "
        "database.");
    return cmd;
}

CLI::App* addAudit(CLI::App& app, Options& o) {
    auto* cmd = app.add_subcommand(
        "audit", "check every company's entries and sources against the ledger's rules; writes nothing");
    cmd->add_option("--csv", o.csv,
                    "write the findings as CSV to FILE (check, company, entry, source, finding, "
                    "action)")
        ->type_name("FILE");
    cmd->footer(
        "Finds sources linked by two live entries, posted flags without a live link and links without the "
        "flag, entries whose department or company amounts do not balance, lines without a known account or "
        "currency, duplicate entry numbers and numbers the numbering cannot continue past. Exit status: 0 "
        "when clean, 1 with findings, 2 for an unusable database.");
    return cmd;
}

CLI::App* addTrace(CLI::App& app, Options& o) {
    auto* cmd =
        app.add_subcommand("trace", "every entry, live or cancelled, that holds a payroll run or a payment");
    auto* run = cmd->add_option("--run", o.run, "the payroll run's id (mppProcessID)")->type_name("ID");
    auto* payment =
        cmd->add_option("--payment", o.payment, "the payment's id (phPaymentID)")->type_name("ID");
    run->excludes(payment);
    cmd->footer(
        "Shows the run or payment, then each entry with its date, status, who made and who cancelled it "
        "(where the database keeps that history) and the reason given. Needs the Print (\"P\") right. Exit "
        "status: 0 when the run or payment exists, 2 when it does not or for a bad invocation.");
    return cmd;
}

int runStatus(const Options& o, data::Connection& c, int32_t companyId, int32_t userId, int32_t interfaceId) {
    return guarded([&] {
        report::StatusFilter filter;
        filter.from = *common::parseDayMonthYear(o.from);
        filter.to = *common::parseDayMonthYear(o.to);
        if (filter.to < filter.from)
            throw Refused("the range is empty: --from " + o.from + " is after --to " + o.to);
        if (o.type != "all") {
            filter.type = report::TypeCodeOf(o.type);
            if (!filter.type)
                throw Refused("--type needs a type as the screen lists it (Payroll, ...) or all, not '" +
                              o.type + "'");
        }
        if (o.department != "all") {
            const double id = common::Val(o.department);
            if (!common::IsNumeric(o.department) || id != static_cast<int32_t>(id) || id <= 0)
                throw Refused("--department needs a department id or all, not '" + o.department + "'");
            filter.department = static_cast<int32_t>(id);
        }
        const data::TableNames tables = printTables(c, companyId, userId, interfaceId);
        const report::MonthStatus status = report::LoadMonthStatus({c, tables, companyId, userId}, filter);
        const report::StatusCell total = status.total();
        std::ostringstream out;
        if (!o.csv.empty()) {
            writeCsv(o.csv, [&](std::ostream& file) { statusCsv(file, status); });
            out << status.cells.size() << " line(s) written to " << o.csv << ": " << total.open << " of "
                << total.sources << " source(s) open\n";
            if (total.withoutRate > 0)
                std::cerr << "payacclink: " << total.withoutRate
                          << " open source(s) have no exchange rate to "
                          << common::terminalText(status.companyCurrency)
                          << "; open_amount leaves them out\n";
        } else if (status.cells.empty()) {
            out << "No payroll runs or payments dated " << o.from << " to " << o.to << " in company "
                << companyId << ".\n";
        } else {
            out << statusTable(status, o.from, o.to);
        }
        return shown(out, total.open > 0 ? 1 : 0);
    });
}

int runAudit(const Options& o, data::Connection& c, int32_t interfaceId) {
    return guarded([&] {
        data::TableNames tables;
        try {
            data::AssignTableName(c, tables);
        } catch (const common::Error& e) {
            throw Refused(
                "the database has no table mapping (linktable), so it is not one this program can "
                "audit: " +
                e.description());
        }
        const report::AuditResult result = report::RunAudit(c, tables, interfaceId);
        std::ostringstream out;
        if (!o.csv.empty())
            writeCsv(o.csv, [&](std::ostream& file) { auditCsv(file, result); });
        else
            for (const report::Finding& f : result.findings) out << findingLine(f) << "\n";

        // Counted per check, in the order the checks run.
        std::vector<std::pair<std::string, int>> byCheck;
        for (const report::Finding& f : result.findings) {
            if (byCheck.empty() || byCheck.back().first != f.check) byCheck.emplace_back(f.check, 0);
            ++byCheck.back().second;
        }
        std::string summary;
        for (const auto& [check, n] : byCheck)
            summary += (summary.empty() ? "" : ", ") + std::to_string(n) + " " + check;
        const std::string read = std::to_string(result.entries) + " entries and " +
                                 std::to_string(result.sources) + " payroll runs and payments read";
        if (result.findings.empty())
            out << "No findings: " << read << ".\n";
        else
            out << result.findings.size() << " finding(s): " << summary << " (" << read << ")"
                << (o.csv.empty() ? "" : ", written to " + o.csv) << ".\n";
        return shown(out, result.findings.empty() ? 0 : 1);
    });
}

int runTrace(const Options& o, data::Connection& c, int32_t companyId, int32_t userId, int32_t interfaceId) {
    return guarded([&] {
        if (o.run == 0 && o.payment == 0) throw Refused("trace needs --run ID or --payment ID");
        const bool payroll = o.run != 0;
        const int32_t id = payroll ? o.run : o.payment;
        const data::TableNames tables = printTables(c, companyId, userId, interfaceId);
        const report::SourceTrace t = report::LoadSourceTrace({c, tables, companyId, userId}, payroll, id);
        const std::string noun = payroll ? "payroll run" : "payment";
        if (!t.found)
            throw Refused("no " + noun + " " + std::to_string(id) + " in company " +
                          std::to_string(companyId));

        std::ostringstream out;
        // A part the source row leaves empty is left out rather than shown as a gap.
        auto part = [](const std::string& before, const std::string& text) {
            return text.empty() ? std::string() : before + text;
        };
        out << (payroll ? "Payroll run" : t.typeName + " payment") << part(" ", t.number) << " (id " << id
            << "), " << (t.employee.empty() ? "no employee" : t.employee) << part(", ", t.department)
            << part(", dated ", t.date) << ": " << (t.flagged ? "flagged posted" : "not flagged posted")
            << ", held by " << t.live() << " live entr" << (t.live() == 1 ? "y" : "ies") << ".\n";
        if (t.entries.empty()) {
            out << "No entry holds it.\n";
            return shown(out, 0);
        }
        const char* row = "%-12s %-10s %-9s %-24s %-24s %s\n";
        out << line(row, "Entry", "Date", "Status", "Made by", "Cancelled by", "Reason");
        bool unknown = false;
        for (const report::TracedEntry& e : t.entries) {
            unknown |= e.events.empty();
            out << line(row, e.transNo.c_str(), e.date.c_str(), e.status.c_str(), eventText(e, 'N').c_str(),
                        e.status == "Cancelled" ? eventText(e, 'C').c_str() : "", e.cancelReason.c_str());
            for (const report::EntryEvent& ev : e.events)
                if (ev.action == 'E') out << "    saved again by " << ev.user << " " << ev.at << "\n";
        }
        if (unknown)
            out << "-: not recorded (saved by an older version, or on a database without the history "
                   "table)\n";
        return shown(out, 0);
    });
}

}  // namespace monthend
