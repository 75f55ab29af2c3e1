// What a SQL Server through FreeTDS needs of the ODBC backend, checked on the SQLite ODBC
// driver: parameters bound by their values where the driver cannot describe them, text that
// keeps every character, the statement forms SQL Server reads alike in every language, and
// transactions that always end in autocommit.
#include <gtest/gtest.h>
#include <sql.h>
#include <sqlext.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "OdbcTestSupport.h"
#include "common/Error.h"
#include "data/odbc/OdbcConnection.h"
#include "data/odbc/ServerDialect.h"

namespace {

using common::DateTime;
using common::Value;
using data::CommandType;
using data::CursorType;
using data::LockType;
using odbctest::Registry;

const std::string kArabic =
    "\xd8\xb1\xd8\xa7\xd8\xaa\xd8\xa8 \xd8\xa3\xd9\x83\xd8\xaa\xd9\x88\xd8\xa8\xd8\xb1";  // راتب أكتوبر
const std::string kHindi =
    "\xe0\xa4\xb5\xe0\xa5\x87\xe0\xa4\xa4\xe0\xa4\xa8 "
    "\xe0\xa4\x85\xe0\xa4\x95\xe0\xa5\x8d\xe0\xa4\x9f\xe0\xa5\x82\xe0\xa4\xac\xe0\xa4\xb0";  // वेतन अक्टूबर
const std::string kEmoji = "Bonus \xf0\x9f\x8e\x89 paid";  // a character outside the 16-bit range

std::string traceText() {
    std::ifstream in(Registry::get().traceFile());
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// "C-type SQL-type" (their numbers) of each SQLBindParameter call in the trace after offset `from`.
std::vector<std::string> boundTypes(const std::string& trace, size_t from) {
    std::vector<std::string> out;
    std::istringstream in(trace.substr(from));
    std::string line, cType;
    bool inBind = false;
    auto after = [](const std::string& l, const std::string& key) {
        auto at = l.find(key);
        return at == std::string::npos ? std::string() : l.substr(at + key.size());
    };
    auto code = [](const std::string& v) { return v.substr(0, v.find(' ')); };
    while (std::getline(in, line)) {
        if (line.find("[SQLBindParameter.c]") != std::string::npos) inBind = true;
        if (!inBind) continue;
        if (auto v = after(line, "C Type = "); !v.empty()) cType = code(v);
        if (auto v = after(line, "SQL Type = "); !v.empty()) {
            out.push_back(cType + " " + code(v));
            inBind = false;
        }
    }
    return out;
}

std::string databaseError(const std::function<void()>& f) {
    try {
        f();
    } catch (const common::Error& e) {
        return e.description();
    }
    ADD_FAILURE() << "no error raised";
    return {};
}

class ServerReadinessTest : public ::testing::Test {
protected:
    std::string connectionString() const { return Registry::connectionString(tmp.file("server.db")); }
    Value scalar(data::Connection& c, const std::string& sql) {
        auto rs = c.open(sql, CursorType::ForwardOnly, LockType::ReadOnly);
        return rs->eof() ? Value() : rs->field(0);
    }
    testsupport::TempDir tmp;
};

// Without SQLDescribeParam each value travels as its own type: text wide (UTF-16), dates as
// timestamps, numbers as numbers; and every character comes back as it was sent, whether
// the driver described the parameters or not.
TEST_F(ServerReadinessTest, ParametersAreBoundByTheirValuesAndTextKeepsEveryCharacter) {
    for (bool describe : {false, true}) {
        SCOPED_TRACE(describe ? "described" : "not described");
        auto db = data::odbc::open(connectionString(), data::odbc::Options{describe});
        db->execute("drop table if exists t");
        db->execute(
            "create table t (id integer, amount real, name varchar(100), day datetime, note varchar(10))");
        auto insert = db->command("insert into t (id, amount, name, day, note) values (?, ?, ?, ?, ?)",
                                  CommandType::Text);
        insert->refreshParameters();
        const size_t traced = traceText().size();
        const std::vector<std::string> names{kArabic, kHindi, kEmoji, std::string(5000, 'x')};
        for (size_t i = 0; i < names.size(); ++i)
            insert->execute({Value(static_cast<int>(i)), Value(1.25), Value(names[i]),
                             Value(DateTime{2026, 10, 28, 9, 30, 0}), Value()});

        std::vector<std::string> bound = boundTypes(traceText(), traced);
        ASSERT_GE(bound.size(), 5u);
        auto as = [](int cType, int sqlType) {
            return std::to_string(cType) + " " + std::to_string(sqlType);
        };
        if (!describe) {
            EXPECT_EQ(std::vector<std::string>(bound.begin(), bound.begin() + 5),
                      (std::vector<std::string>{as(SQL_C_SBIGINT, SQL_BIGINT), as(SQL_C_DOUBLE, SQL_DOUBLE),
                                                as(SQL_C_WCHAR, SQL_WVARCHAR),
                                                as(SQL_C_TYPE_TIMESTAMP, SQL_TYPE_TIMESTAMP),
                                                as(SQL_C_WCHAR, SQL_WVARCHAR)}));
            // A text beyond 4000 UTF-16 units goes as the long type.
            ASSERT_EQ(bound.size(), 5 * names.size());
            EXPECT_EQ(bound[3 * 5 + 2], as(SQL_C_WCHAR, SQL_WLONGVARCHAR));
        }

        auto rs = db->open("select id, name, day, note from t order by id", CursorType::ForwardOnly,
                           LockType::ReadOnly);
        ASSERT_EQ(rs->rows().size(), names.size());
        for (size_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(rs->rows()[i][1], Value(names[i])) << i;
            EXPECT_TRUE(rs->rows()[i][3].isNull());
        }
        EXPECT_EQ(rs->rows()[0][2].toDate(), (DateTime{2026, 10, 28, 9, 30, 0}));

        // Found again by a parameter and by a literal.
        auto find = db->command("select id from t where name = ?", CommandType::Text);
        EXPECT_EQ(find->execute({Value(kHindi)})->field(0), Value(1));
        EXPECT_EQ(scalar(*db, "select id from t where name = '" + kEmoji + "'"), Value(2));
    }
}

// The statement forms SQL Server reads alike whatever the session's language: Unicode
// literals, and date texts compared with a column sent as yyyymmdd. Nothing else changes.
TEST(ServerDialect, LiteralsBecomeUnicodeAndComparedDatesLanguageFree) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"update h  set cancelled=1, cancelremarks='" + kArabic + "' where TransID=3",
         "update h  set cancelled=1, cancelremarks=N'" + kArabic + "' where TransID=3"},
        {"select 1 from h where pa.companyid=1 and TransDate>='2026/09/15'",
         "select 1 from h where pa.companyid=1 and TransDate>='20260915'"},
        {"select 1 where d < '15/Oct/2026' or d<>'01/JAN/2024' or d > '2026/02/30'",
         "select 1 where d < '20261015' or d<>'20240101' or d > N'2026/02/30'"},
        // A date-like reason is text, not a date: it is stored as typed.
        {"set cancelremarks='15/Oct/2026'", "set cancelremarks=N'15/Oct/2026'"},
        {"exec spX 1,'20261001','20261031',2,'A'", "exec spX 1,N'20261001',N'20261031',2,N'A'"},
        {"select N'x', n'y', 'it''s', [a'b], \"c'd\" -- 'e'\n/* 'f' */ like'%g'",
         "select N'x', n'y', N'it''s', [a'b], \"c'd\" -- 'e'\n/* 'f' */ like N'%g'"},
        {"select 1", "select 1"},
    };
    for (const auto& [in, out] : cases) EXPECT_EQ(data::odbc::sqlServerText(in), out) << in;
}

// Where the driver cannot describe a marker, the column it is bound to decides whether a
// date text travels as a date: the insert's column list, "col=?" in a set or where clause.
TEST(ServerDialect, MarkersAreMatchedToTheirColumns) {
    using Columns = std::vector<std::string>;
    const std::vector<std::tuple<std::string, std::string, Columns>> cases{
        {" insert into paPayAccLinkHeader ( CompanyID,TransID, DepartmentID, TransNo, TransDate, TransType, "
         "Remarks, Cancelled) values (?, ?, ?, ?, ?, ?, ?, ?) ",
         "paPayAccLinkHeader",
         {"CompanyID", "TransID", "DepartmentID", "TransNo", "TransDate", "TransType", "Remarks",
          "Cancelled"}},
        {" update dbo.[paPayAccLinkHeader] set TransDate=?, Remarks=? where CompanyID=1 and pa.transID = ?",
         "paPayAccLinkHeader",
         {"TransDate", "Remarks", "transID"}},
        {"insert into t (a, b, c) values (?, isnull(?, 'x,y'), ?)", "t", {"a", "", "c"}},
        {"select name from t where id >= ? and d = ?", "", {"", "d"}},
    };
    for (const auto& [sql, table, columns] : cases) {
        auto m = data::odbc::markerColumns(sql);
        EXPECT_EQ(m.table, table) << sql;
        EXPECT_EQ(m.columns, columns) << sql;
    }
    EXPECT_EQ(data::odbc::suiteDate("28/Oct/2026"), DateTime::ymd(2026, 10, 28));
    EXPECT_EQ(data::odbc::suiteDate("2026/10/28"), DateTime::ymd(2026, 10, 28));
    for (const char* text : {"28/Okt/2026", "31/Feb/2026", "2026-10-28", "28/10/2026", "Oct 28 2026"})
        EXPECT_FALSE(data::odbc::suiteDate(text)) << text;
}

// The autocommit switches ("on"/"off") the driver manager traced after offset `from`.
std::vector<std::string> autocommitSwitches(const std::string& trace, size_t from) {
    std::vector<std::string> out;
    const std::string key = "Attribute = SQL_ATTR_AUTOCOMMIT";
    for (size_t at = trace.find(key, from); at != std::string::npos; at = trace.find(key, at + 1)) {
        size_t value = trace.find("Value = ", at);
        if (value == std::string::npos) break;
        out.push_back(trace.compare(value + 8, 3, "0x1") == 0 ? "on" : "off");
    }
    return out;
}

// A commit or rollback that fails still switches the connection back to autocommit, so the
// next beginTrans really starts a transaction; a rollback with nothing open does nothing.
TEST_F(ServerReadinessTest, AFailedCommitOrRollbackLeavesAutocommitOn) {
    auto db = data::odbc::open(connectionString());
    auto other = data::odbc::open(connectionString());
    db->execute("pragma foreign_keys = on");
    db->execute("create table parent (id integer primary key)");
    db->execute(
        "create table child (id integer, parent integer references parent(id) deferrable initially "
        "deferred)");
    db->rollbackTrans();

    // The commit fails on the deferred key: the work is rolled back, autocommit is on, and
    // the save's own rollback afterwards finds nothing to do.
    size_t traced = traceText().size();
    db->beginTrans();
    db->execute("insert into child values (1, 99)");
    std::string commit = databaseError([&] { db->commitTrans(); });
    EXPECT_NE(commit.find("FOREIGN KEY"), std::string::npos) << commit;
    EXPECT_FALSE(db->inTransaction());
    db->rollbackTrans();
    EXPECT_EQ(autocommitSwitches(traceText(), traced), (std::vector<std::string>{"off", "on"}));
    EXPECT_EQ(scalar(*other, "select count(*) from child"), Value(0));

    // The rollback fails: the transaction was ended behind the driver's back, as a server
    // does after a severe error.
    traced = traceText().size();
    db->beginTrans();
    db->execute("insert into parent values (2)");
    db->execute("commit");
    databaseError([&] { db->rollbackTrans(); });
    EXPECT_FALSE(db->inTransaction());
    EXPECT_EQ(autocommitSwitches(traceText(), traced), (std::vector<std::string>{"off", "on"}));
}

}  // namespace
