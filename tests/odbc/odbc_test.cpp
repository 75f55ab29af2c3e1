// The ODBC backend on the SQLite ODBC driver (no server needed), and what FreeTDS needs of it.
#include <gtest/gtest.h>
#include <sql.h>
#include <sqlext.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "../TestSupport.h"
#include "common/Error.h"
#include "data/odbc/OdbcConnection.h"
#include "data/odbc/ServerDialect.h"
#include "data/sqlite/SqliteConnection.h"

namespace {

using common::DateTime;
using common::Value;
using data::CommandType;
using data::ConnectionPtr;
using data::CursorType;
using data::ParamDirection;

// A driver library in the system's ODBC folder (/usr/lib/<triplet>/odbc), "" when absent.
std::string driverPath(const std::string& library) {
    std::error_code ec;
    for (const auto& dir : std::filesystem::directory_iterator("/usr/lib", ec)) {
        auto candidate = dir.path() / "odbc" / library;
        if (std::filesystem::exists(candidate)) return candidate.string();
    }
    return {};
}

// The SQLite ODBC driver registered in an odbcinst.ini of the tests' own (ODBCSYSINI). The driver
// manager reads it once per process, so it is written before any test runs, with the trace on.
class Registry {
public:
    static Registry& get() {
        static Registry r;
        return r;
    }
    std::string traceFile() const { return dir_.file("trace.log"); }
    static std::string connectionString(const std::string& database) {
        get();
        return "DRIVER={PayaccSQLite};Database=" + database;
    }

private:
    Registry() {
        const char* env = std::getenv("PAYACC_SQLITE_ODBC_DRIVER");
        std::string driver = env ? env : driverPath("libsqlite3odbc.so");
        if (driver.empty()) driver = "/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so";
        std::ofstream ini(dir_.file("odbcinst.ini"));
        ini << "[ODBC]\nTrace=Yes\nTraceFile=" << traceFile() << "\n\n"
            << "[PayaccSQLite]\nDescription=SQLite for the tests\nDriver=" << driver << "\n";
        ::setenv("ODBCSYSINI", dir_.path().c_str(), 1);
    }
    testsupport::TempDir dir_;
};

[[maybe_unused]] const bool registryWritten = (Registry::get(), true);

const std::string kArabic =
    "\xd8\xb1\xd8\xa7\xd8\xaa\xd8\xa8 \xd8\xa3\xd9\x83\xd8\xaa\xd9\x88\xd8\xa8\xd8\xb1";  // راتب أكتوبر
const std::string kHindi =
    "\xe0\xa4\xb5\xe0\xa5\x87\xe0\xa4\xa4\xe0\xa4\xa8 "
    "\xe0\xa4\x85\xe0\xa4\x95\xe0\xa5\x8d\xe0\xa4\x9f\xe0\xa5\x82\xe0\xa4\xac\xe0\xa4\xb0";  // वेतन अक्टूबर
const std::string kEmoji = "Bonus \xf0\x9f\x8e\x89 paid";  // a character outside the 16-bit range

std::string traceText() { return testsupport::slurp(Registry::get().traceFile()); }

// "C-type SQL-type" (their numbers) of each SQLBindParameter call in the trace after offset `from`.
std::vector<std::string> boundTypes(const std::string& trace, size_t from) {
    std::vector<std::string> out;
    const std::string call = "[SQLBindParameter.c]", c = "C Type = ", sql = "SQL Type = ";
    for (size_t at = trace.find(call, from); at != std::string::npos; at = trace.find(call, at)) {
        size_t cAt = trace.find(c, at), sqlAt = trace.find(sql, at);
        if (sqlAt == std::string::npos) break;  // the last call's exit
        cAt += c.size(), sqlAt += sql.size();
        out.push_back(trace.substr(cAt, trace.find(' ', cAt) - cAt) + " " +
                      trace.substr(sqlAt, trace.find(' ', sqlAt) - sqlAt));
        at = sqlAt;
    }
    return out;
}

// Runs f, which must raise an error of that number; returns its description.
std::string databaseError(const std::function<void()>& f, int number = common::err::Database) {
    try {
        f();
    } catch (const common::Error& e) {
        EXPECT_EQ(e.number(), number);
        EXPECT_TRUE(number != common::err::Database || e.source() == "ODBC") << e.source();
        return e.description();
    }
    ADD_FAILURE() << "no error raised";
    return {};
}

class OdbcTest : public ::testing::Test {
protected:
    void SetUp() override { db = data::odbc::open(connectionString()); }
    std::string connectionString() const { return Registry::connectionString(tmp.file("odbc.db")); }
    Value scalar(const std::string& sql) {
        auto rs = db->open(sql);
        return rs->eof() ? Value() : rs->field(0);
    }

    testsupport::TempDir tmp;
    ConnectionPtr db;
};

TEST_F(OdbcTest, RecordsetsCarryTypedFieldsByNameAndPosition) {
    ASSERT_TRUE(db->isOpen());
    db->execute(
        "create table t (id integer, amount real, price numeric(10,2), name varchar(20), memo text, "
        "day date, stamp datetime)");
    db->execute("insert into t values (1, 2.5, 3.25, 'Basic', 'first', '2026-10-15', '2026-10-15 08:30:05')");
    db->execute("insert into t values (2, null, null, null, null, null, null)");

    const std::vector<std::vector<Value>> rows{
        {Value(1), Value(2.5), Value(3.25), Value("Basic"), Value("first"),
         Value(DateTime::ymd(2026, 10, 15)), Value(DateTime{2026, 10, 15, 8, 30, 5})},
        {Value(2), Value(), Value(), Value(), Value(), Value(), Value()}};
    for (auto cursor : {CursorType::ForwardOnly, CursorType::Static, CursorType::Keyset}) {
        auto rs = db->open("select id, amount, price, name, memo, day, stamp from t order by id", cursor);
        EXPECT_EQ(rs->rows(), rows);
        EXPECT_EQ(rs->fieldName(3), "name");
        EXPECT_EQ(rs->field("Name"), Value("Basic"));
    }

    EXPECT_EQ(db->open("select count(1) as n from t")->field("n"), Value(2));
    EXPECT_TRUE(db->open("select * from t where id = 99", CursorType::Static)->eof());
}

// Every demo table reads as on the embedded backend (reals as shown: the driver passes 15 digits).
TEST(OdbcDemo, TheSchemaReadsAsOnTheEmbeddedBackend) {
    testsupport::TempDir tmp;
    const std::string path = testsupport::copyDb(testsupport::demoTemplate(), tmp.file("demo.db"));
    auto embedded = data::sqlite::open(path);
    auto odbc = data::odbc::open(Registry::connectionString(path));
    auto tables = embedded->open("select name from sqlite_schema where type = 'table'")->rows();
    ASSERT_GT(tables.size(), 20u);
    std::set<Value::Type> types;
    auto text = [](const std::vector<std::vector<Value>>& rows) {
        std::string out;
        for (const auto& row : rows) {
            for (const Value& v : row)
                out += std::to_string(static_cast<int>(v.type())) + ":" + v.joinText() + "|";
            out += "\n";
        }
        return out;
    };
    for (const auto& t : tables) {
        const std::string sql = "select * from " + t[0].toText() + " order by rowid";
        auto expected = embedded->open(sql)->rows();
        EXPECT_EQ(text(odbc->open(sql)->rows()), text(expected)) << sql;
        for (const auto& row : expected)
            for (const Value& v : row) types.insert(v.type());
    }
    EXPECT_EQ(types.size(), 5u);  // Null, integers, reals, texts and dates all met
}

TEST(OdbcOpen, FailuresCarryTheDriverText) {
    testsupport::TempDir tmp;
    // The driver manager's refusals, the driver's own and, when installed, FreeTDS's with no server.
    std::vector<std::pair<std::string, std::string>> cases{
        {"DRIVER=/nonexistent/libnothing.so;Database=x", "/nonexistent/libnothing.so"},
        {"DRIVER={No Such Driver};Database=x", "No Such Driver"},
        {"this is no connection string", "Data source name not found"},
        {Registry::connectionString(tmp.file("missing/dir/x.db")), "[SQLite]"}};
    if (std::string tds = driverPath("libtdsodbc.so"); !tds.empty())
        cases.push_back(
            {"DRIVER=" + tds + ";SERVER=127.0.0.1;PORT=1;DATABASE=payroll;UID=sa;PWD=x;TDS_Version=7.4",
             "[FreeTDS][SQL Server]Unable to connect"});
    for (const auto& [connection, named] : cases) {
        std::string text = databaseError([&c = connection] { data::odbc::open(c); });
        EXPECT_NE(text.find(named), std::string::npos) << text;
    }

    auto c = data::odbc::open(Registry::connectionString(tmp.file("x.db")));
    EXPECT_TRUE(c->isOpen());
}

TEST_F(OdbcTest, TextCommandParametersAreDescribedAndBoundPositionally) {
    db->execute(
        "create table t (id integer, amount real, name varchar(20), day date, stamp datetime, note text)");
    auto insert = db->command("insert into t (id, amount, name, day, stamp, note) values (?, ?, ?, ?, ?, ?)",
                              CommandType::Text);
    ASSERT_EQ(insert->parameters().size(), 6u);
    for (const auto& p : insert->parameters()) EXPECT_EQ(p.direction, ParamDirection::Input);

    const std::vector<std::vector<Value>> rows{
        {Value(1), Value(2.75), Value("Basic"), Value(DateTime::ymd(2026, 10, 15)),
         Value(DateTime{2026, 10, 15, 17, 5, 9}), Value()},
        {Value(int64_t{3000000000}), Value(-0.1), Value("it's"), Value(DateTime::ymd(2024, 2, 29)),
         Value(DateTime::ymd(2024, 3, 1)), Value("x")}};
    insert->execute(rows[0]);
    insert->refreshParameters();  // as the detail writers do after each row
    insert->execute(rows[1]);
    EXPECT_EQ(db->open("select * from t order by id")->rows(), rows);

    // Values set one by one, a "?" inside a literal not counted, the values kept for reading.
    auto update = db->command("update t set name = ?, note = '?' where id = ?", CommandType::Text);
    update->setParameter(0, Value("Changed"));
    update->setParameter(1, Value(1));
    EXPECT_EQ(update->parameter(0), Value("Changed"));
    update->execute();
    EXPECT_EQ(scalar("select name || note from t where id = 1"), Value("Changed?"));
    EXPECT_EQ(scalar("select name from t where id = 3000000000"), Value("it's"));

    databaseError([&] { update->setParameter(2, Value(1)); }, common::err::ItemNotFound);
    databaseError([&] { update->execute({Value("a"), Value(1), Value(2)}); }, common::err::ItemNotFound);

    auto select = db->command("select name from t where id = ?", CommandType::Text);
    auto found = select->execute({Value(3000000000.0)});
    ASSERT_FALSE(found->eof());
    EXPECT_EQ(found->field(0), Value("it's"));
}

TEST_F(OdbcTest, TransactionsCommitAndRollBack) {
    db->execute("create table t (id integer)");

    db->beginTrans();
    EXPECT_TRUE(db->inTransaction());
    db->execute("insert into t values (1)");
    db->command("insert into t values (?)", CommandType::Text)->execute({Value(2)});
    db->rollbackTrans();
    EXPECT_FALSE(db->inTransaction());
    EXPECT_EQ(scalar("select count(*) from t"), Value(0));

    // A failing statement (the save's numbering may fail) leaves the transaction and its work open.
    db->beginTrans();
    db->execute("insert into t values (3)");
    databaseError([&] { db->execute("insert into nowhere values (1)"); });
    EXPECT_TRUE(db->inTransaction());
    db->commitTrans();
    EXPECT_FALSE(db->inTransaction());
    // Autocommit is back on: another connection sees this insert.
    db->execute("insert into t values (4)");
    auto other = data::odbc::open(connectionString());
    EXPECT_EQ(other->open("select id from t order by id")->rows(),
              (std::vector<std::vector<Value>>{{Value(3)}, {Value(4)}}));

    databaseError([&] { db->commitTrans(); });
    db->beginTrans();
    databaseError([&] { db->beginTrans(); });
    db->execute("insert into t values (5)");
    // A connection dropped in the middle of a transaction leaves nothing behind.
    db.reset();
    EXPECT_EQ(other->open("select count(*) from t")->field(0), Value(2));
}

// Without SQLDescribeParam each value travels as its own type, text wide; every character comes back.
TEST_F(OdbcTest, ParametersAreBoundByTheirValuesAndTextKeepsEveryCharacter) {
    for (bool describe : {false, true}) {
        SCOPED_TRACE(describe ? "described" : "not described");
        db = data::odbc::open(connectionString(), data::odbc::Options{describe});
        db->execute("drop table if exists t");
        db->execute(
            "create table t (id integer, amount real, name varchar(100), day datetime, note varchar(10))");
        auto insert = db->command("insert into t (id, amount, name, day, note) values (?, ?, ?, ?, ?)",
                                  CommandType::Text);
        insert->refreshParameters();
        const size_t traced = traceText().size();
        const std::vector<std::string> names{kArabic, kHindi, kEmoji, std::string(5000, 'x')};
        std::vector<std::vector<Value>> rows;
        for (size_t i = 0; i < names.size(); ++i) {
            rows.push_back({Value(static_cast<int>(i)), Value(1.25), Value(names[i]),
                            Value(DateTime{2026, 10, 28, 9, 30, 0}), Value()});
            insert->execute(rows.back());
        }

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

        EXPECT_EQ(db->open("select * from t order by id")->rows(), rows);

        auto find = db->command("select id from t where name = ?", CommandType::Text);
        EXPECT_EQ(find->execute({Value(kHindi)})->field(0), Value(1));
        EXPECT_EQ(scalar("select id from t where name = '" + kEmoji + "'"), Value(2));
    }
}

// Statements SQL Server reads alike in any session language: Unicode literals, yyyymmdd dates.
TEST(ServerDialect, LiteralsBecomeUnicodeAndDatesLanguageFree) {
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

    // Where the driver cannot describe a marker, its column decides whether a date text is a date.
    using Columns = std::vector<std::string>;
    const std::vector<std::tuple<std::string, std::string, Columns>> markers{
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
    for (const auto& [sql, table, columns] : markers) {
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

// A failed commit or rollback still restores autocommit, so the next beginTrans starts afresh.
TEST_F(OdbcTest, AFailedCommitOrRollbackLeavesAutocommitOn) {
    auto other = data::odbc::open(connectionString());
    db->execute("pragma foreign_keys = on");
    db->execute("create table parent (id integer primary key)");
    db->execute(
        "create table child (id integer, parent integer references parent(id) deferrable initially "
        "deferred)");
    db->rollbackTrans();

    // The commit fails on the deferred key; the save's rollback afterwards finds nothing to do.
    size_t traced = traceText().size();
    db->beginTrans();
    db->execute("insert into child values (1, 99)");
    std::string commit = databaseError([&] { db->commitTrans(); });
    EXPECT_NE(commit.find("FOREIGN KEY"), std::string::npos) << commit;
    EXPECT_FALSE(db->inTransaction());
    db->rollbackTrans();
    EXPECT_EQ(autocommitSwitches(traceText(), traced), (std::vector<std::string>{"off", "on"}));
    EXPECT_EQ(other->open("select count(*) from child")->field(0), Value(0));

    // The rollback fails: the transaction was ended behind the driver's back, as after a severe error.
    traced = traceText().size();
    db->beginTrans();
    db->execute("insert into parent values (2)");
    db->execute("commit");
    databaseError([&] { db->rollbackTrans(); });
    EXPECT_FALSE(db->inTransaction());
    EXPECT_EQ(autocommitSwitches(traceText(), traced), (std::vector<std::string>{"off", "on"}));
}

}  // namespace
