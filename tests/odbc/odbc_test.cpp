// payacclink through the real FreeTDS driver (DRIVER={FreeTDS}, through unixODBC) and the tests'
// TDS responder, under the C locale and without ClientCharset, as a service or a container runs it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "../TestSupport.h"
#include "common/Utf8.h"
#include "support/TdsResponder.h"

namespace {

using testsupport::runProgram;

const std::string kArabic =
    "\xd8\xb1\xd8\xa7\xd8\xaa\xd8\xa8 \xd8\xa3\xd9\x83\xd8\xaa\xd9\x88\xd8\xa8\xd8\xb1";
const std::string kHindi = "\xe0\xa4\xb5\xe0\xa5\x87\xe0\xa4\xa4\xe0\xa4\xa8 \xe0\xa4\x85\xe0\xa4\x95";
const std::string kEmoji = "\xf0\x9f\x8e\x89";  // outside the 16-bit range: two UTF-16 units

std::string repeat(const std::string& s, int n) {
    std::string out;
    for (int i = 0; i < n; ++i) out += s;
    return out;
}

TEST(OdbcProgram, AWholeEntryLifePostPrintAndExportKeepEveryCharacter) {
    testsupport::TempDir tmp;
    const std::string server = testsupport::copyDb(testsupport::demoTemplate(), tmp.file("server.db"));
    {
        auto db = data::sqlite::open(server);
        db->execute("update pemployee set eName='" + kArabic + "' where eCompanyID=1 and eEmployeeID=25");
        db->execute("update pemployee set eName='" + kHindi + " " + kEmoji +
                    "' where eCompanyID=1 and eEmployeeID=27");
        db->execute("update aAccountMaster set AccountDesc='Basic " + kEmoji + " " + kHindi +
                    "' where CompanyID=1 and AccountID=1001");
    }
    testsupport::TdsResponder responder(server);
    const std::string odbc = " --odbc '" + responder.connectionString() + "'";
    const std::string env = "LANG=C LC_ALL=C";
    const std::string remarks = kArabic + " " + kHindi + " " + kEmoji + " Z\xc3\xbcrich";
    const std::string reason = kHindi + " " + kEmoji;

    std::ofstream(tmp.file("life.script"))
        << "click cmdnew\nselect cboType Payroll\nselect cboDepartment Administration\n"
           "click cmdShow\ncheck chkSelectAll 1\nset txtRemarks "
        << remarks << "\nclick cmdOk\nexpect-cell flexMaster 6 1 PAL/6\n"
        << "click CmdEdit\nexpect txtRemarks " << remarks << "\nset txtRemarks " << remarks
        << " 2\nclick cmdOk\nanswer Yes\n"
        << "click CmdDelete\nset txtreason " << reason << "\nclick cmdok\nexpect-cell flexMaster 6 5 Yes\n";
    auto life = runProgram(tmp.path(), "script life.script --date 15/10/2026" + odbc, env);
    ASSERT_EQ(life.status, 0) << life.out << life.err;

    // The server holds what was typed and gathered, character for character.
    auto db = data::sqlite::open(server);
    auto header =
        db->open("select Remarks, cancelremarks, Cancelled from paPayAccLinkHeader where TransNo='PAL/6'");
    EXPECT_EQ(header->field(0).joinText(), remarks + " 2");
    EXPECT_EQ(header->field(1).joinText(), reason);
    EXPECT_EQ(header->field(2).toInt64(), 1);
    auto names = db->open(
        "select count(*) from paPayAccLinkDetails d, paPayAccLinkHeader h where h.TransNo='PAL/6' and "
        "d.TransID=h.TransID and d.CompanyID=h.CompanyID and d.EmpName in ('" +
        kArabic + "', '" + kHindi + " " + kEmoji + "')");
    EXPECT_EQ(names->field(0).toInt64(), 8);  // four account lines of each of the two employees

    // Remarks longer than the column are cut where SQL Server counts: 255 UTF-16 units.
    auto post =
        runProgram(tmp.path(),
                   "post --date 28/10/2026 --type Payroll --from 01/10/2026 --to 31/10/2026 --remarks '" +
                       repeat(kEmoji, 200) + "'" + odbc,
                   env);
    ASSERT_EQ(post.status, 0) << post.out << post.err;
    EXPECT_NE(post.out.find("5 posted"), std::string::npos) << post.out;
    auto posted = db->open("select Remarks from paPayAccLinkHeader where TransNo='PAL/7'");
    EXPECT_EQ(posted->field(0).joinText(), repeat(kEmoji, 127));

    auto print = runProgram(tmp.path(), "print --entry PAL/7 --pdf v.pdf" + odbc, env);
    EXPECT_EQ(print.status, 0) << print.err;
    EXPECT_GT(std::filesystem::file_size(tmp.file("v.pdf")), 1000u);
    auto exported =
        runProgram(tmp.path(), "export --from 01/10/2026 --to 31/10/2026 --csv x.csv" + odbc, env);
    ASSERT_EQ(exported.status, 0) << exported.err;
    const std::string csv = testsupport::slurp(tmp.file("x.csv"));
    EXPECT_NE(csv.find("Basic " + kEmoji + " " + kHindi), std::string::npos) << csv.substr(0, 400);
    EXPECT_EQ(csv.find("PAL/6"), std::string::npos);  // cancelled
}

// A SQL Server database of an older schema is refused at once, with the script to run.
TEST(OdbcProgram, ADataSourceOfAnOlderSchemaIsRefused) {
    testsupport::TempDir tmp;
    const std::string db = testsupport::copyDb(testsupport::demoTemplate(), tmp.file("demo.db"));
    std::ofstream(tmp.file("empty.script")) << "";
    // The program changes no server schema of its own accord.
    data::sqlite::open(db)->execute("update paPayAccLinkSchema set Version = 2");
    testsupport::TdsResponder responder(db);
    auto run = runProgram(tmp.path(), "script empty.script --odbc '" + responder.connectionString() + "'");
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("has schema version 2 and this payacclink needs 3: run "
                           "db/sqlserver/migrations/0003_free_text_limits.sql"),
              std::string::npos)
        << run.err;
}

}  // namespace
