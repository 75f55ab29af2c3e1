// Journal vouchers and the ledger export: the voucher read from the link tables, the
// browser's Print, and the program's print and export commands read back from their files
// (pdftotext for the PDF, an RFC 4180 reader for the CSV). Their refusals: the host tests.
#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "TestSupport.h"
#include "browser/FrmMaster.h"
#include "common/Conv.h"
#include "report/LedgerExport.h"
#include "report/VoucherQuery.h"
#include "support/Oracle.h"

namespace {

using Result = testsupport::ProgramResult;
using common::DateTime;
using testsupport::kProgram;
using testsupport::slurp;

size_t count(const std::string& hay, const std::string& needle) {
    size_t n = 0;
    for (size_t p = hay.find(needle); p != std::string::npos; p = hay.find(needle, p + 1)) ++n;
    return n;
}

// RFC 4180 records: quoted fields may hold commas, doubled quotes and line breaks; records
// end with CRLF.
std::vector<std::vector<std::string>> readCsv(const std::string& text) {
    std::vector<std::vector<std::string>> records;
    std::vector<std::string> record;
    std::string field;
    bool quoted = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted && text.compare(i, 2, "\"\"") == 0) {
            field += text[i++];
        } else if (c == '"' && (quoted || field.empty())) {
            quoted = !quoted;
        } else if (!quoted && (c == ',' || text.compare(i, 2, "\r\n") == 0)) {
            record.push_back(field);
            field.clear();
            if (c == '\r') records.push_back(record), record.clear(), ++i;
        } else {
            field += c;
        }
    }
    return records;
}

class VoucherTest : public testsupport::ModuleTest {
protected:
    report::Session session() {
        data::AssignTableName(*raw, tables);
        return {*raw, tables, 1, module->session.userId};
    }
    Result run(const std::string& args) {
        return testsupport::runProgram(tmp.path().string(), args + " --db '" + dbPath + "'",
                                       "-u DISPLAY -u QT_QPA_PLATFORM");
    }
    // The PDF's text, pages separated by form feeds.
    std::string pdfText(const std::string& file) {
        const std::string txt = tmp.file("pdf.txt");
        EXPECT_EQ(std::system(("pdftotext -layout '" + file + "' '" + txt + "'").c_str()), 0);
        return slurp(txt);
    }
    data::TableNames tables;
};

// Lines, totals per account currency and the balance as the oracle has them: entries with
// lines in two currencies, in rupees for a department in rupees of a company in dirhams, and
// one whose lines are changed to move the balance.
TEST_F(VoucherTest, VoucherHoldsTheSavedEntryAndTheBrowserPrintsIt) {
    const report::Voucher v = report::LoadVoucher(session(), 1, "01/11/2026 09:30");
    EXPECT_EQ(v.companyName + "|" + v.entryNo + "|" + v.date + "|" + v.typeName + "|" + v.department + "|" +
                  v.departmentCurrency + "|" + v.status() + "|" + v.preparedBy + "|" + v.sources.from,
              "Al Noor General Trading LLC|PAL/1|31/08/2026|Payroll|Administration|AED|Posted|System "
              "Administrator|28/08/2026");
    EXPECT_TRUE(v.sources.payroll);
    // Each linked run with its employee and the gross pay the entry debits, in its currency.
    ASSERT_EQ(v.linked.size(), static_cast<size_t>(v.sources.count));
    EXPECT_EQ(v.linked[9].number + " " + v.linked[9].employee + " " + v.linked[9].date + " " +
                  v.linked[9].currency + " " + report::Amount(v.linked[9].amount),
              "PR202608/010 Omar Haddad (E0010) 28/08/2026 USD 3,590.00");
    testsupport::Oracle o(*raw, 1);
    auto money = [](double x) { return " " + testsupport::money(x); };
    auto check = [&](int32_t id) {
        const report::Voucher got = report::LoadVoucher(session(), id, "");
        std::string lines, want, totals;
        for (const auto& l : got.lines)
            lines += std::to_string(l.accountId) + money(l.debit) + money(l.credit) +
                     money(l.departmentAmount) + money(l.companyAmount) + (l.byHand ? " Y\n" : "\n");
        for (const auto& l : o.stored(id))
            want += std::to_string(l.account) + money(l.debit) + money(l.credit) + money(l.department) +
                    money(l.company) + (l.byHand ? " Y\n" : "\n");
        for (const auto& t : got.totals)
            totals += t.currency + money(t.debit) + money(t.credit) + money(t.departmentAmount) +
                      money(t.companyAmount) + "\n";
        EXPECT_EQ(lines, want) << id;
        EXPECT_EQ(totals, o.totals(id)) << id;
        EXPECT_EQ(report::Balanced(got), o.balanced(id)) << id;
    };
    for (int32_t id = 1; id <= 5; ++id) check(id);
    // The cash credit of entry 4 taken in dollars, by hand: its dirham amounts still balance.
    raw->execute(
        "update paPayAccLinkPostingDetails set AccCurrID=2, AccCurrSymbol='USD', CreditAmount=108.92, "
        "Editable='Y' where CompanyID=1 and TransID=4 and DetailID=2");
    check(4);
    // A dirham short on either side does not balance.
    for (const char* by : {"-1", "+2"}) {
        raw->execute(std::string("update paPayAccLinkPostingDetails set DeptAmount=DeptAmount") + by +
                     " where CompanyID=1 and TransID=4 and DetailID=2");
        check(4);
    }
    raw->execute(
        "update paPayAccLinkPostingDetails set DeptAmount=DeptAmount+1 where TransID=4 and DetailID=1");
    check(4);

    const report::Voucher cancelled = report::LoadVoucher(session(), 2, "");
    EXPECT_EQ(cancelled.status(), "Cancelled");
    // Cancelled after it was posted: the cancellation is what counts, on paper and in the ledger.
    raw->execute("update paPayAccLinkHeader set Cancelled=1 where CompanyID=1 and TransID=1");
    EXPECT_EQ(report::LoadVoucher(session(), 1, "").status(), "Cancelled");
    EXPECT_EQ(report::LoadLedgerRows(session(), common::DateTime::ymd(2026, 8, 31),
                                     common::DateTime::ymd(2026, 8, 31), true)[0]
                  .status,
              "Cancelled");
    raw->execute("update paPayAccLinkHeader set Cancelled=0 where CompanyID=1 and TransID=1");
    EXPECT_EQ(cancelled.cancelReason, "Entered against the wrong period");
    EXPECT_EQ(report::FindEntry(session(), "pal/4"), 4);
    EXPECT_FALSE(report::FindEntry(session(), "PAL/4' or '1'='1").has_value());
    try {
        report::LoadVoucher(session(), 99, "");
        ADD_FAILURE() << "no error for a missing entry";
    } catch (const common::Error& e) {
        EXPECT_EQ(e.number(), 3021);
    }

    // Print on the browser's row of entry PAL/4 shows its voucher.
    browser::FrmMaster& master = module->FrmMaster();
    master.flexMaster.userSelectCell(browserRow(4), 1);
    master.cmdPrint.userClick();
    ASSERT_EQ(toolkit.previewedVouchers.size(), 1u);
    EXPECT_EQ(toolkit.transcript.back(), "PRINT PREVIEW PAL/4: 2 lines");
}

TEST_F(VoucherTest, PrintWritesThePdfOfAnEntryOverAsManyPagesAsItNeeds) {
    Result r = run("print --entry PAL/1 --pdf one.pdf");
    ASSERT_EQ(r.status, 0) << r.err;
    std::string text = pdfText(tmp.file("one.pdf"));
    EXPECT_NE(text.find("PAL/1"), std::string::npos);
    for (const char* account : {"1001", "1002", "1003", "1004", "1011", "1012", "1013", "1014"})
        EXPECT_NE(text.find(account), std::string::npos) << account;
    EXPECT_NE(text.find("Net Salaries Payable - USD"), std::string::npos);
    EXPECT_EQ(count(text, "339,600.00"), 2u);  // the AED total: debits and credits
    EXPECT_EQ(count(text, "15,030.00"), 2u);
    // After the lines, the linked runs and the period they cover, over to a second page.
    EXPECT_NE(text.find("Linked payroll runs (30), period covered: 28/08/2026 to 28/08/2026"),
              std::string::npos);
    EXPECT_NE(text.find("PR202608/030"), std::string::npos);
    EXPECT_NE(text.find("Ahmed Iyer (E0030)"), std::string::npos);
    EXPECT_NE(text.find("Page 2 of 2"), std::string::npos);
    EXPECT_NE(text.find("Prepared by"), std::string::npos);
    EXPECT_EQ(text.find("CANCELLED"), std::string::npos);

    // Without --pdf the file is named after the entry; a cancelled entry says so, with why.
    r = run("print --entry PAL/2");
    ASSERT_EQ(r.status, 0) << r.err;
    text = pdfText(tmp.file("PAL-2.pdf"));
    EXPECT_NE(text.find("CANCELLED"), std::string::npos);
    EXPECT_NE(text.find("Entered against the wrong period"), std::string::npos);
    // An entry numbered PAL-2 gets a file of its own and leaves PAL/2's as it was; another
    // company's PAL-2 is its own.
    raw->execute(
        "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, TransType, "
        "Remarks, Cancelled) values (1, 61, 3, 'PAL-2', '2026-10-31', 'O', 'Dash', 0), (2, 62, 3, 'PAL-2', "
        "'2026-10-31', 'O', 'Its own', 0)");
    ASSERT_EQ(run("print --entry PAL-2").status, 0);
    EXPECT_NE(pdfText(tmp.file("PAL%2D2.pdf")).find("Dash"), std::string::npos);
    ASSERT_EQ(run("print --entry PAL-2 --company 2 --pdf pearl.pdf").status, 0);
    EXPECT_NE(pdfText(tmp.file("pearl.pdf")).find("Its own"), std::string::npos);
    EXPECT_NE(pdfText(tmp.file("PAL-2.pdf")).find("CANCELLED"), std::string::npos);
    std::set<std::string> names;
    for (const char* no :
         {"PAL/1", "PAL-1", "PAL%2D1", "PAL_1", "PAL 1", "PAL\\1", "ÉTÉ/1", "ÉTÉ-1", "..", "/"})
        EXPECT_TRUE(names.insert(report::VoucherFileName(no)).second)
            << no << " " << report::VoucherFileName(no);
    EXPECT_EQ(report::VoucherFileName("ÉTÉ/1 x"), "ÉTÉ-1%20x.pdf");

    // A long voucher runs over pages, with its headings on each.
    raw->execute(
        "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, TransType, "
        "Remarks, Cancelled) values (1, 60, 3, 'PAL/60', '2026-10-31', 'O', 'Long entry', 0)");
    // 2,000 lines: debits of 100 + i on the odd ones, each balanced by the next.
    raw->execute(
        "insert into paPayAccLinkPostingDetails (CompanyID, TransID, DetailID, DepartmentID, AccountID, "
        "AccountDesc, Description, AccCurrSymbol, RefCurrSymbol, DebitAmount, CreditAmount, DeptAmount, "
        "CompAmount) with recursive n(i) as (select 1 union all select i + 1 from n where i < 2000) "
        "select 1, 60, i, 3, 3001 - 1000 * (i % 2), 'Account', 'Line ' || i, 'AED', 'AED', (100 + i) * (i % "
        "2), (99 + i) * (1 - i % 2), 0, 0 from n");
    r = run("print --entry PAL/60 --pdf long.pdf");
    ASSERT_EQ(r.status, 0) << r.err;
    text = pdfText(tmp.file("long.pdf"));
    const size_t pages = count(text, "\f");
    ASSERT_GT(pages, 10u);
    EXPECT_NE(r.out.find(std::to_string(pages) + " pages"), std::string::npos) << r.out;
    // Every page that carries lines starts them under the column headings.
    size_t withLines = 0;
    for (size_t start = 0, end; (end = text.find('\f', start)) != std::string::npos; start = end + 1) {
        const std::string page = text.substr(start, end - start);
        if (page.find("Line ") == std::string::npos) continue;
        ++withLines;
        EXPECT_NE(page.find("Account name"), std::string::npos) << page;
    }
    EXPECT_GE(withLines, pages - 1);
    EXPECT_NE(text.find("Page 1 of " + std::to_string(pages)), std::string::npos);
    EXPECT_NE(text.find("Page " + std::to_string(pages) + " of " + std::to_string(pages)), std::string::npos);
    EXPECT_NE(text.find("Line 2000"), std::string::npos);
    EXPECT_NE(text.find("The entry balances"), std::string::npos);
}

TEST_F(VoucherTest, ExportWritesThePostingLinesOfARangeAsCsv) {
    // A formula in a description stays text for a spreadsheet.
    const std::string tricky = "=Wages, \"extra\" \xD8\xB1\xD9\x88\xD8\xA7\xD8\xAA\xD8\xA8 August";
    raw->execute("update paPayAccLinkPostingDetails set Description='" + tricky +
                 "' where CompanyID=1 and TransID=1 and DetailID=2");
    Result r = run("export --from 01/08/2026 --to 30/09/2026 --csv lines.csv --include-cancelled --raw");
    ASSERT_EQ(r.status, 0) << r.err;
    // Each posting line of the range once, in order, as the oracle reads the entries: the rupee
    // department's too, whose company amounts are in dirhams.
    auto joined = [](const std::vector<std::vector<std::string>>& records) {
        std::string s;
        for (size_t row = 1; row < records.size(); ++row)
            for (size_t f = 0; f < records[row].size(); ++f) s += records[row][f] + (f < 13 ? "|" : "\n");
        return s;
    };
    const auto records = readCsv(slurp(tmp.file("lines.csv")));
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0][0], "Entry No");
    testsupport::Oracle o(*raw, 1);
    const std::string all = o.ledger(DateTime::ymd(2026, 8, 1), DateTime::ymd(2026, 9, 30), true);
    EXPECT_EQ(joined(records), all);
    EXPECT_NE(all.find(tricky), std::string::npos);
    EXPECT_NE(all.find("Cancelled"), std::string::npos);
    for (const char* lead : {"=", "+", "-", "@", "\t", "\r"})
        EXPECT_EQ(readCsv(report::CsvTextField(lead + std::string("SUM(A1)")) + "\r\n")[0][0],
                  "'" + std::string(lead) + "SUM(A1)");
    EXPECT_EQ(report::CsvTextField("Net pay - AED"), "Net pay - AED");
    // One special character alone.
    for (const auto& [alone, written] : std::vector<std::pair<std::string, std::string>>{
             {",", "\",\""}, {"\"", "\"\"\"\""}, {"\n", "\"\n\""}, {"=", "'="}, {"-", "'-"}, {"'", "'"}})
        EXPECT_EQ(report::CsvTextField(alone), written) << alone;

    // Without --include-cancelled, to standard output; without --raw, as a spreadsheet may open it.
    r = run("export --from 01/08/2026 --to 30/09/2026");
    ASSERT_EQ(r.status, 0) << r.err;
    const auto open = readCsv(r.out);
    EXPECT_EQ(open[2][7], "'" + tricky);
    EXPECT_EQ(open.size() - 1,
              static_cast<size_t>(std::count(all.begin(), all.end(), '\n') - count(all, "Cancelled")));
    EXPECT_EQ(count(r.out, "Cancelled"), 0u);
}

}  // namespace

// A rupee department of a dirham company: half a cent more per line by hand converted into
// that currency, the company amounts netted apart from the department's.
TEST(VoucherBalance, HalfACentPerLineByHandConvertedIntoThatCurrency) {
    struct Case {
        double handDept, handComp, gatheredComp;
        bool balanced;
    } cases[] = {
        {-100, -4.41, 4.41, true},
        {-100, -4.402, 4.41, true},     // the rupee line by hand is converted into dirhams
        {-99.992, -4.41, 4.41, false},  // but not into rupees, nor is a gathered dollar line by hand
        {-100, -4.41, 5.41, false},
    };
    for (const Case& c : cases) {
        report::Voucher v;
        v.companyCurrency = "AED";
        v.departmentCurrency = "INR";
        v.lines.resize(2);
        v.lines[0].accountCurrency = "USD", v.lines[0].departmentAmount = 100,
        v.lines[0].companyAmount = c.gatheredComp;
        v.lines[1].accountCurrency = "INR", v.lines[1].byHand = true;
        v.lines[1].departmentAmount = c.handDept, v.lines[1].companyAmount = c.handComp;
        EXPECT_EQ(report::Balanced(v), c.balanced)
            << c.handDept << " " << c.handComp << " " << c.gatheredComp;
    }
}
