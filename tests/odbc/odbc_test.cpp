// The ODBC backend against a real driver with no server: the SQLite ODBC driver, registered
// under a name of the tests' own in an odbcinst.ini the tests write themselves.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
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
    void SetUp() override { db = data::odbc::open(connectionString()); }
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
    auto rs =
        db->open("select count(1) as n, sum(amount) from t", CursorType::ForwardOnly, LockType::ReadOnly);
    EXPECT_EQ(rs->field("n"), Value(2));
    EXPECT_TRUE(db->open("select * from t where id = 99", CursorType::Static, LockType::ReadOnly)->eof());
}

TEST(OdbcOpen, FailuresCarryTheDriverText) {
    testsupport::TempDir tmp;

    std::string missingLib =
        databaseError([] { data::odbc::open("DRIVER=/nonexistent/libnothing.so;Database=x"); });
    EXPECT_NE(missingLib.find("/nonexistent/libnothing.so"), std::string::npos) << missingLib;

    std::string unregistered = databaseError([] { data::odbc::open("DRIVER={No Such Driver};Database=x"); });
    EXPECT_NE(unregistered.find("No Such Driver"), std::string::npos) << unregistered;

    std::string garbage = databaseError([] { data::odbc::open("this is no connection string"); });
    EXPECT_NE(garbage.find("Data source name not found"), std::string::npos) << garbage;

    // The driver itself refuses: a database in a folder that does not exist.
    std::string unreachable =
        databaseError([&] { data::odbc::open(Registry::connectionString(tmp.file("missing/dir/x.db"))); });
    EXPECT_NE(unreachable.find("[SQLite]"), std::string::npos) << unreachable;

    // SQL Server's driver, when installed, with no server listening on the port.
    if (std::string tds = odbctest::driverPath("libtdsodbc.so"); !tds.empty()) {
        std::string noServer = databaseError([&] {
            data::odbc::open("DRIVER=" + tds +
                             ";SERVER=127.0.0.1;PORT=1;DATABASE=payroll;UID=sa;PWD=x;TDS_Version=7.4");
        });
        EXPECT_NE(noServer.find("[FreeTDS][SQL Server]Unable to connect"), std::string::npos) << noServer;
    }

    // The same registered driver connects once the database can be made.
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

    insert->execute({Value(1), Value(2.75), Value("Basic"), Value(DateTime::ymd(2026, 10, 15)),
                     Value(DateTime{2026, 10, 15, 17, 5, 9}), Value()});
    // Refreshed after each row, as the detail writers do, then bound again.
    insert->refreshParameters();
    insert->execute({Value(int64_t{3000000000}), Value(-0.1), Value("it's"),
                     Value(DateTime::ymd(2024, 2, 29)), Value(DateTime::ymd(2024, 3, 1)), Value("x")});

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
    EXPECT_EQ(other->open("select count(*) from t", CursorType::ForwardOnly, LockType::ReadOnly)->field(0),
              Value(2));
}

}  // namespace
