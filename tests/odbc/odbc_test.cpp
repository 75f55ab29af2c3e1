// The ODBC backend against a real driver with no server: the SQLite ODBC driver, registered
// under a name of the tests' own in an odbcinst.ini the tests write themselves.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "OdbcTestSupport.h"
#include "common/Error.h"
#include "data/odbc/OdbcConnection.h"

namespace {

using common::DateTime;
using common::Value;
using data::CommandType;
using data::ConnectionPtr;
using data::CursorType;
using data::LockType;
using data::ParamDirection;

using odbctest::Registry;

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// "number direction C-type" of every SQLBindParameter call in a driver manager trace.
std::vector<std::string> boundParameters(const std::string& trace) {
    std::vector<std::string> out;
    std::istringstream in(trace);
    std::string line, number, direction;
    bool inBind = false;
    auto after = [](const std::string& l, const std::string& key) {
        auto at = l.find(key);
        return at == std::string::npos ? std::string() : l.substr(at + key.size());
    };
    while (std::getline(in, line)) {
        if (line.find("[SQLBindParameter.c]") != std::string::npos) inBind = true;
        if (!inBind) continue;
        if (auto v = after(line, "Param Number = "); !v.empty()) number = v;
        if (auto v = after(line, "Param Type = "); !v.empty()) direction = v;
        if (auto v = after(line, "C Type = "); !v.empty()) {
            out.push_back(number + " " + direction + " " + v.substr(v.find(' ') + 1));
            inBind = false;
        }
    }
    return out;
}

// Runs f, which must raise a database error from the ODBC layer; returns its description.
std::string databaseError(const std::function<void()>& f) {
    try {
        f();
    } catch (const common::Error& e) {
        EXPECT_EQ(e.number(), common::err::Database);
        EXPECT_EQ(e.source(), "ODBC");
        return e.description();
    }
    ADD_FAILURE() << "no error raised";
    return {};
}

class OdbcTest : public ::testing::Test {
protected:
    void SetUp() override {
        db = data::odbc::open(connectionString());
    }
    std::string connectionString() const { return Registry::connectionString(tmp.file("odbc.db")); }
    Value scalar(const std::string& sql) {
        auto rs = db->open(sql, CursorType::ForwardOnly, LockType::ReadOnly);
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

    for (auto cursor : {CursorType::ForwardOnly, CursorType::Static, CursorType::Keyset}) {
        auto rs = db->open("select id, amount, price, name, memo, day, stamp from t order by id", cursor,
                           LockType::ReadOnly);
        ASSERT_EQ(rs->fieldCount(), 7);
        EXPECT_EQ(rs->fieldName(3), "name");
        ASSERT_FALSE(rs->eof());
        EXPECT_EQ(rs->field("ID"), Value(1));
        EXPECT_EQ(rs->field(1), Value(2.5));
        EXPECT_EQ(rs->field("price"), Value(3.25));
        EXPECT_EQ(rs->field("Name"), Value("Basic"));
        EXPECT_EQ(rs->field(4), Value("first"));
        EXPECT_EQ(rs->field("day"), Value(DateTime::ymd(2026, 10, 15)));
        EXPECT_EQ(rs->field("stamp"), Value(DateTime{2026, 10, 15, 8, 30, 5}));
        rs->moveNext();
        ASSERT_FALSE(rs->eof());
        for (int i = 1; i < 7; ++i) EXPECT_TRUE(rs->field(i).isNull()) << rs->fieldName(i);
        rs->moveNext();
        EXPECT_TRUE(rs->eof());
    }

    // Expressions and aggregates come back typed as well, and an empty result is at its end.
    auto rs = db->open("select count(1) as n, sum(amount) from t", CursorType::ForwardOnly, LockType::ReadOnly);
    EXPECT_EQ(rs->field("n"), Value(2));
    EXPECT_TRUE(db->open("select * from t where id = 99", CursorType::Static, LockType::ReadOnly)->eof());
}

TEST_F(OdbcTest, StatementsReportRowsAffectedAndPassThroughUnchanged) {
    EXPECT_EQ(db->execute("create table t (id integer primary key, name varchar(20))"), 0);
    EXPECT_EQ(db->execute("insert into t (id, name) values (1, 'a')"), 1);
    EXPECT_EQ(db->execute("insert into t (id, name) select id + 1, name from t"), 1);
    EXPECT_EQ(db->execute("insert into t (id, name) select id + 2, name from t"), 2);
    EXPECT_EQ(db->execute("update t set name = 'b' where id > 1"), 3);
    EXPECT_EQ(db->execute("update t set name = 'c' where id = 99"), 0);
    EXPECT_EQ(db->execute("delete from t where id = 4"), 1);
    EXPECT_EQ(scalar("select count(*) from t"), Value(3));

    // A text of several kilobytes comes back whole, not cut at a buffer's end.
    std::string longText(10000, 'x');
    for (size_t i = 0; i < longText.size(); i += 7) longText[i] = static_cast<char>('a' + i % 26);
    db->execute("create table notes (body text)");
    db->execute("insert into notes values ('" + longText + "')");
    EXPECT_EQ(scalar("select body from notes"), Value(longText));

    // A statement that yields no rows, opened as a recordset, gives a closed one.
    auto rs = db->open("update t set name = 'd'", CursorType::ForwardOnly, LockType::ReadOnly);
    EXPECT_FALSE(rs->isOpen());
    EXPECT_EQ(scalar("select count(*) from t where name = 'd'"), Value(3));
}

TEST(OdbcOpen, FailuresCarryTheDriverText) {
    testsupport::TempDir tmp;

    std::string missingLib = databaseError([] { data::odbc::open("DRIVER=/nonexistent/libnothing.so;Database=x"); });
    EXPECT_NE(missingLib.find("/nonexistent/libnothing.so"), std::string::npos) << missingLib;

    std::string unregistered = databaseError([] { data::odbc::open("DRIVER={No Such Driver};Database=x"); });
    EXPECT_NE(unregistered.find("No Such Driver"), std::string::npos) << unregistered;

    std::string garbage = databaseError([] { data::odbc::open("this is no connection string"); });
    EXPECT_NE(garbage.find("Data source name not found"), std::string::npos) << garbage;

    // The driver itself refuses: a database in a folder that does not exist.
    std::string unreachable = databaseError(
        [&] { data::odbc::open(Registry::connectionString(tmp.file("missing/dir/x.db"))); });
    EXPECT_NE(unreachable.find("[SQLite]"), std::string::npos) << unreachable;

    // SQL Server's driver, when installed, with no server listening on the port.
    if (std::string tds = odbctest::driverPath("libtdsodbc.so"); !tds.empty()) {
        std::string noServer = databaseError([&] {
            data::odbc::open("DRIVER=" + tds + ";SERVER=127.0.0.1;PORT=1;DATABASE=payroll;UID=sa;PWD=x;TDS_Version=7.4");
        });
        EXPECT_NE(noServer.find("[FreeTDS][SQL Server]Unable to connect"), std::string::npos) << noServer;
    }

    // The same registered driver connects once the database can be made.
    auto c = data::odbc::open(Registry::connectionString(tmp.file("x.db")));
    EXPECT_TRUE(c->isOpen());
}

TEST_F(OdbcTest, StatementErrorsCarryTheDriverTextAndLeaveTheConnectionUsable) {
    std::string noTable = databaseError([&] { db->open("select * from nosuch", CursorType::ForwardOnly, LockType::ReadOnly); });
    EXPECT_NE(noTable.find("no such table: nosuch"), std::string::npos) << noTable;

    std::string syntax = databaseError([&] { db->execute("selec 1"); });
    EXPECT_NE(syntax.find("syntax error"), std::string::npos) << syntax;

    db->execute("create table t (id integer primary key)");
    db->execute("insert into t values (1)");
    auto cmd = db->command("insert into t (id) values (?)", CommandType::Text);
    std::string duplicate = databaseError([&] { cmd->execute({Value(1)}); });
    EXPECT_NE(duplicate.find("UNIQUE"), std::string::npos) << duplicate;

    cmd->execute({Value(2)});
    EXPECT_EQ(scalar("select count(*) from t"), Value(2));
}

TEST_F(OdbcTest, TextCommandParametersAreDescribedAndBoundPositionally) {
    db->execute(
        "create table t (id integer, amount real, name varchar(20), day date, stamp datetime, note text)");
    auto insert = db->command("insert into t (id, amount, name, day, stamp, note) values (?, ?, ?, ?, ?, ?)",
                              CommandType::Text);
    ASSERT_EQ(insert->parameters().size(), 6u);
    for (const auto& p : insert->parameters()) EXPECT_EQ(p.direction, ParamDirection::Input);

    insert->execute({Value(1), Value(2.75), Value("Basic"), Value(DateTime::ymd(2026, 10, 15)),
                     Value(DateTime{2026, 10, 15, 17, 5, 9}), Value()});
    // Refreshed after each row, as the detail writers do, then bound again.
    insert->refreshParameters();
    insert->execute({Value(int64_t{3000000000}), Value(-0.1), Value("it's"), Value(DateTime::ymd(2024, 2, 29)),
                     Value(DateTime::ymd(2024, 3, 1)), Value("x")});

    auto rs = db->open("select * from t order by id", CursorType::ForwardOnly, LockType::ReadOnly);
    EXPECT_EQ(rs->field("id"), Value(1));
    EXPECT_EQ(rs->field("amount"), Value(2.75));
    EXPECT_EQ(rs->field("name"), Value("Basic"));
    EXPECT_EQ(rs->field("day"), Value(DateTime::ymd(2026, 10, 15)));
    EXPECT_EQ(rs->field("stamp"), Value(DateTime{2026, 10, 15, 17, 5, 9}));
    EXPECT_TRUE(rs->field("note").isNull());
    rs->moveNext();
    EXPECT_EQ(rs->field("id"), Value(int64_t{3000000000}));
    EXPECT_EQ(rs->field("amount"), Value(-0.1));
    EXPECT_EQ(rs->field("name"), Value("it's"));
    EXPECT_EQ(rs->field("day"), Value(DateTime::ymd(2024, 2, 29)));
    EXPECT_EQ(rs->field("stamp"), Value(DateTime::ymd(2024, 3, 1)));

    // Values set one by one, a "?" inside a literal not counted, the values kept for reading.
    auto update = db->command("update t set name = ?, note = '?' where id = ?", CommandType::Text);
    update->setParameter(0, Value("Changed"));
    update->setParameter(1, Value(1));
    EXPECT_EQ(update->parameter(0), Value("Changed"));
    update->execute();
    EXPECT_EQ(scalar("select name || note from t where id = 1"), Value("Changed?"));
    EXPECT_EQ(scalar("select name from t where id = 3000000000"), Value("it's"));

    // Positions past the statement's markers are not in the collection.
    auto expectItemNotFound = [](const std::function<void()>& f) {
        try {
            f();
            ADD_FAILURE() << "no error raised";
        } catch (const common::Error& e) {
            EXPECT_EQ(e.number(), common::err::ItemNotFound);
        }
    };
    expectItemNotFound([&] { update->setParameter(2, Value(1)); });
    expectItemNotFound([&] { update->execute({Value("a"), Value(1), Value(2)}); });

    // A select with a marker returns its rows.
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

    db->beginTrans();
    db->execute("insert into t values (3)");
    db->commitTrans();
    EXPECT_FALSE(db->inTransaction());
    // Autocommit is back on: this insert is seen by another connection without a commit.
    db->execute("insert into t values (4)");
    auto other = data::odbc::open(connectionString());
    auto rs = other->open("select id from t order by id", CursorType::ForwardOnly, LockType::ReadOnly);
    ASSERT_EQ(rs->rows().size(), 2u);
    EXPECT_EQ(rs->rows()[0][0], Value(3));
    EXPECT_EQ(rs->rows()[1][0], Value(4));
    rs.reset();

    // Committing with none open, or opening a second, is refused.
    databaseError([&] { db->commitTrans(); });
    db->beginTrans();
    databaseError([&] { db->beginTrans(); });
    db->execute("insert into t values (5)");
    // A connection dropped in the middle of a transaction leaves nothing behind.
    db.reset();
    EXPECT_EQ(other->open("select count(*) from t", CursorType::ForwardOnly, LockType::ReadOnly)->field(0), Value(2));
}

// SQLite has no stored procedures: the catalog answers with no parameters and the driver
// rejects the call. The driver manager's trace shows how far the call gets: the catalog
// question, the call escape with one marker per parameter, and each parameter bound with its
// direction.
TEST_F(OdbcTest, StoredProcedureCallsReachTheDriverAsCallEscapes) {
    auto cmd = db->command("spGetExchangeRate", CommandType::StoredProc);
    EXPECT_TRUE(cmd->parameters().empty());
    std::string bare = databaseError([&] { cmd->execute(); });
    EXPECT_NE(bare.find("spGetExchangeRate"), std::string::npos) << bare;

    // The parameters a server's catalog gives for the procedure: return value, company,
    // two currencies and the rate written back.
    auto& params = cmd->parameters();
    params.push_back({"@RETURN_VALUE", ParamDirection::ReturnValue, Value::Type::Integer, Value()});
    params.push_back({"@CompanyID", ParamDirection::Input, Value::Type::Integer, Value()});
    params.push_back({"@Currency1", ParamDirection::Input, Value::Type::Integer, Value()});
    params.push_back({"@Currency2", ParamDirection::Input, Value::Type::Integer, Value()});
    params.push_back({"@Rate", ParamDirection::InputOutput, Value::Type::Double, Value()});
    cmd->setParameter(1, Value(1));
    cmd->setParameter(2, Value(3));
    cmd->setParameter(3, Value(1));
    std::string full = databaseError([&] { cmd->execute(); });
    EXPECT_NE(full.find("[SQLite]"), std::string::npos) << full;

    // A qualified, bracketed name reaches the catalog as schema and name, "_" matching itself.
    auto qualified = db->command("[dbo].[sp_Rate]", CommandType::StoredProc);
    EXPECT_TRUE(qualified->parameters().empty());

    std::string trace = readFile(Registry::get().traceFile());
    auto catalog = trace.rfind("[SQLProcedureColumns.c]");
    ASSERT_NE(catalog, std::string::npos);
    catalog = trace.rfind("[SQLProcedureColumns.c]", catalog - 1);  // the call's entry, before its exit
    ASSERT_NE(catalog, std::string::npos);
    std::string call = trace.substr(catalog, 600);
    EXPECT_NE(call.find("Schema Name = [dbo]"), std::string::npos) << call;
    EXPECT_NE(call.find("Proc Name = [sp\\_Rate]"), std::string::npos) << call;
    EXPECT_NE(trace.find("SQL = [{call spGetExchangeRate}]"), std::string::npos);
    EXPECT_NE(trace.find("SQL = [{? = call spGetExchangeRate(?, ?, ?, ?)}]"), std::string::npos);
    // Number, direction (1 input, 2 input-output, 4 output) and C type of the last five bound.
    std::vector<std::string> bound = boundParameters(trace);
    ASSERT_GE(bound.size(), 5u);
    EXPECT_EQ(std::vector<std::string>(bound.end() - 5, bound.end()),
              (std::vector<std::string>{"1 4 SQL_C_SBIGINT", "2 1 SQL_C_SBIGINT", "3 1 SQL_C_SBIGINT",
                                        "4 1 SQL_C_SBIGINT", "5 2 SQL_C_DOUBLE"}));
}

}  // namespace
