// The error log: nine fields a line, the user looked up, a read-only file made writable.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "TestSupport.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "data/Dialect.h"
#include "data/ErrorLog.h"
#include "data/TableNames.h"
#include "data/Trace.h"
#include "data/sqlite/SqliteConnection.h"

TEST(DataTest, ErrorLogWritesNineFieldLines) {
    testsupport::TempDir tmp;
    auto db = data::sqlite::open(tmp.file("data.db"), {.procedureDir = {}, .create = true});
    db->execute("create table tblUsers (userid integer, username text collate nocase)");
    db->execute("insert into tblUsers values (1, 'admin'), (2, null)");
    auto trace = std::make_shared<data::TraceConnection>(db);
    data::setComponentFolder(tmp.path().string());
    data::TableNames names;
    names.pusers = "tblUsers";
    const std::string path = data::errorLogPath();
    EXPECT_EQ(path, tmp.file("QORPayAccLinkingError.log"));
    ASSERT_FALSE(std::filesystem::exists(path));

    data::LogEntry e{"frmJournalDetails ",      1,  "cmdCancel_Click ", 13, "QORPayAccLinking",
                     "Type mismatch: in: here", "N"};
    EXPECT_TRUE(data::writeErrorLog(*trace, names, e));  // a missing file is created
    EXPECT_EQ(trace->statements().back(), "select username from tblUsers where userid=1");

    data::LogEntry quiet{"Employeeexit", 2, "Generateexitno", 0, "", "", "E"};
    EXPECT_FALSE(data::writeErrorLog(*db, names, quiet));  // number 0: no message due

    // A read-only log is made writable and appended to.
    ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
    data::LogEntry unknownUser{"FrmLoanApplication", 99, "UpdateEditedRow ", -2147217900, "src", "d", "NA"};
    EXPECT_TRUE(data::writeErrorLog(*db, names, unknownUser));

    std::string text = testsupport::slurp(path);
    // Each line: the fields before the time stamp, a general date, the fields after it.
    const std::pair<std::string, std::string> expected[] = {
        {"frmJournalDetails :QORPayAccLinking:13:QORPayAccLinking:Type mismatch: in: here:",
         ":admin:cmdCancel_Click :N"},
        {"Employeeexit:QORPayAccLinking:0:::", "::Generateexitno:E"},
        {"FrmLoanApplication:QORPayAccLinking:-2147217900:src:d:", "::UpdateEditedRow :NA"},
    };
    size_t pos = 0;
    for (const auto& [head, tail] : expected) {
        size_t end = text.find("\r\n", pos);
        ASSERT_NE(end, std::string::npos) << text;
        const std::string line = text.substr(pos, end - pos);
        pos = end + 2;
        ASSERT_EQ(line.rfind(head, 0), 0u) << line;
        ASSERT_GE(line.size(), head.size() + tail.size());
        EXPECT_EQ(line.substr(line.size() - tail.size()), tail) << line;
        const std::string stamp = line.substr(head.size(), line.size() - head.size() - tail.size());
        EXPECT_EQ(common::generalDate(common::toDate(stamp)), stamp);
    }
    EXPECT_EQ(pos, text.size());

    // A failing user lookup raises and writes nothing.
    try {
        data::writeErrorLog(*db, data::TableNames{}, e);
        ADD_FAILURE() << "no error raised";
    } catch (const common::Error& error) {
        EXPECT_EQ(error.number(), common::err::Database);
    }
    EXPECT_EQ(testsupport::slurp(path), text);
    data::setComponentFolder("");
}

// Dates in statements: the classic texts on the embedded database, forms that every language
// of SQL Server reads alike there.
TEST(DataTest, DialectWritesDatesAsEachServerReadsThem) {
    const auto d = common::DateTime::ymd(2026, 10, 5);
    EXPECT_EQ(data::Dialect{}.dateLiteral(d, "yyyy/mm/dd"), "'2026/10/05'");
    EXPECT_EQ(data::Dialect{}.dateValue(d, "dd/MMM/yyyy").toText(), "05/Oct/2026");
    EXPECT_EQ((data::Dialect{true, 100}.dateLiteral(d, "dd/MMM/yyyy")), "'20261005'");
    EXPECT_EQ((data::Dialect{true, 100}.dateValue(d, "dd/MMM/yyyy").type()), common::Value::Type::Date);
}
