// The embedded database takes the suite's SQL Server statements unchanged.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "TestSupport.h"
#include "common/Conv.h"
#include "common/Error.h"
#include "data/TableNames.h"
#include "data/Trace.h"
#include "data/sqlite/SqliteConnection.h"
#include "data/sqlite/TsqlAdapter.h"

using common::DateTime;
using common::Value;
using testsupport::TempDir;

namespace {

std::string errorText(const std::function<void()>& f) {
    try {
        f();
    } catch (const common::Error& e) {
        EXPECT_EQ(e.number(), common::err::Database);
        EXPECT_EQ(e.source(), "QORPayAccLinking.sqlite");
        return e.description();
    }
    return "(no error)";
}

class SqliteTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directory(tmp.path() / "procedures");
        options.create = true;
        options.procedureDir = tmp.file("procedures");
        db = data::sqlite::open(tmp.file("t.db"), options);
        db->execute(
            "create table paPayAccLinkHeader (CompanyID integer not null, TransID integer not null, "
            "DepartmentID integer, TransNo text collate nocase, TransDate date, TransType text collate "
            "nocase, "
            "Remarks text collate nocase, Cancelled integer default 0, cancelremarks text collate nocase, "
            "Posted integer default 0, primary key (CompanyID, TransID))");
        db->execute(
            "create table pay (CompanyID integer, PayDate datetime, Kind text collate nocase, Amount real)");
    }

    Value scalar(const std::string& sql) {
        auto rs = db->open(sql);
        return rs->eof() ? Value() : rs->field(0);
    }

    void header(int id, const std::string& no, const std::string& date, int company = 1) {
        auto cmd = db->command(
            " insert into paPayAccLinkHeader ( CompanyID,TransID, DepartmentID, TransNo, TransDate, "
            "TransType, "
            "Remarks, Cancelled) values (?, ?, ?, ?, ?, ?, ?, ?) ",
            data::CommandType::Text);
        cmd->refreshParameters();
        cmd->execute(
            {Value(company), Value(id), Value(1), Value(no), Value(date), Value("P"), Value(""), Value(0)});
    }

    void writeProcedure(const std::string& name, const std::string& text) {
        std::ofstream(tmp.file("procedures/" + name + ".sql")) << text;
    }

    TempDir tmp;
    data::sqlite::OpenOptions options;
    data::ConnectionPtr db;
};

}  // namespace

TEST_F(SqliteTest, AdaptedFunctionsAnswerAsTheServer) {
    EXPECT_EQ(scalar("select len('ab  ')"), Value(2));
    EXPECT_EQ(scalar("select len('  ab')"), Value(4));
    EXPECT_EQ(scalar("select len('')"), Value(0));
    EXPECT_TRUE(scalar("select len(null)").isNull());
    EXPECT_EQ(scalar("select LEN('Ünï')"), Value(3));
    EXPECT_EQ(scalar("select right('X10', 2)"), Value("10"));
    EXPECT_EQ(scalar("select right('abc', 0)"), Value(""));
    EXPECT_EQ(scalar("select right('abc', -1)"), Value(""));
    EXPECT_EQ(scalar("select right('abc', 5)"), Value("abc"));
    EXPECT_EQ(scalar("select Right('a  ', 2)"), Value("  "));
    EXPECT_EQ(scalar("select left('abc', 2)"), Value("ab"));
    EXPECT_EQ(scalar("select isnumeric('12')"), Value(1));
    EXPECT_EQ(scalar("select isnumeric('1e5')"), Value(1));
    EXPECT_EQ(scalar("select isnumeric('X1')"), Value(0));
    EXPECT_EQ(scalar("select isnumeric('')"), Value(0));
    EXPECT_EQ(scalar("select isnumeric(' 1,000.50 ')"), Value(1));
    EXPECT_EQ(scalar("select isnumeric('1.5.1')"), Value(0));
    EXPECT_EQ(scalar("select isnumeric(null)"), Value(0));
    EXPECT_EQ(scalar("select isnumeric(12)"), Value(1));
    EXPECT_EQ(scalar("select isnull(null, 5)"), Value(5));
    EXPECT_EQ(scalar("select ISNULL('a', 5)"), Value("a"));
    EXPECT_EQ(scalar("select month('2004-02-14')"), Value(2));
    EXPECT_EQ(scalar("select year('14/Feb/2004')"), Value(2004));
    EXPECT_EQ(scalar("select convert(int, '42')"), Value(42));
    EXPECT_EQ(scalar("select convert( int , ' -7 ')"), Value(-7));
    EXPECT_EQ(scalar("select CONVERT(INT, 12.9)"), Value(12));
    EXPECT_EQ(scalar("select substring('X123', 2, 2)"), Value("12"));
    EXPECT_TRUE(scalar("select convert(int, null)").isNull());
    // A failed conversion is an error naming the value, never 0.
    EXPECT_EQ(errorText([&] { scalar("select convert(int, 'A1')"); }),
              "Conversion failed when converting the varchar value 'A1' to data type int.");
    EXPECT_EQ(errorText([&] { scalar("select convert(int, '1.5')"); }),
              "Conversion failed when converting the varchar value '1.5' to data type int.");
    EXPECT_EQ(errorText([&] { scalar("select convert(int, '99999999999')"); }),
              "The conversion of the varchar value '99999999999' overflowed an int column.");
    EXPECT_EQ(errorText([&] { scalar("select month('not a date')"); }),
              "Conversion failed when converting date and/or time from character string.");
    // Text inside literals and comments is left alone.
    EXPECT_EQ(scalar("select 'isnull(len(right(x' -- convert(varchar, 1) *=\n"), Value("isnull(len(right(x"));
    EXPECT_EQ(scalar("select N'it''s'"), Value("it's"));
    EXPECT_EQ(scalar("select 'PAL/' + '7'"), Value("PAL/7"));
    EXPECT_EQ(scalar("select 2 + 3"), Value(5));
    EXPECT_EQ(scalar("select count(*) from (select 1 as a) where a !< 1 and a !> 1"), Value(1));
}

TEST_F(SqliteTest, UnsupportedConstructsFailNamingThem) {
    db->execute("create table pLoanApplication (laCompanyID integer, laLoanAppID integer)");
    db->execute("create table pLoansIssue (liCompanyID integer, liLoanAppID integer)");
    std::string outer = errorText([&] {
        db->open("select count(*) from pLoanApplication a,pLoansIssue b where a.laCompanyID*=b.liCompanyID");
    });
    EXPECT_NE(outer.find("'*='"), std::string::npos) << outer;
    EXPECT_NE(outer.find("not supported"), std::string::npos) << outer;
    EXPECT_NE(errorText([&] { db->open("select a from t where a =* b"); }).find("'=*'"), std::string::npos);
    EXPECT_NE(errorText([&] { db->open("select convert(varchar, 1)"); }).find("convert(varchar"),
              std::string::npos);
    EXPECT_NE(errorText([&] { db->open("select top 1 TransID from paPayAccLinkHeader"); }).find("TOP"),
              std::string::npos);
    EXPECT_NE(errorText([&] {
                  db->open("select dateadd(d, 1, TransDate) from paPayAccLinkHeader");
              }).find("dateadd"),
              std::string::npos);
}

TEST_F(SqliteTest, EntryNumberStatementCountsOnlyThePrefixedDigits) {
    header(1, "X9", "01/Feb/2004");
    header(2, "X10", "01/Feb/2004");
    header(3, "XA1", "01/Feb/2004");
    header(4, "Y50", "01/Feb/2004");
    header(5, "X99", "01/Feb/2004", 2);  // another company
    auto next = [&](const std::string& P) {
        const std::string L = std::to_string(P.size());
        std::string sql = "Select isnull(max(convert(int,right(TransNo,len(TransNo)-" + L + "))),0) from " +
                          "paPayAccLinkHeader" + " where CompanyID    = " + "1" + " and len(TransNo)>len('" +
                          P + "') and " + " isnumeric(isnull(right(TransNo,len(TransNo)-" + L +
                          "),0)) =1 and substring(TransNo,1,len('" + P + "'))='" + P + "'";
        auto rs = db->open(sql, data::CursorType::Static, data::LockType::Optimistic);
        std::string text = rs->eof() ? "0" : rs->field(0).toText();
        return P + std::to_string(static_cast<int32_t>(common::Val(text)) + 1);
    };
    EXPECT_EQ(next("X"), "X11");
    EXPECT_EQ(next("Y"), "Y51");
    EXPECT_EQ(next("x"), "x11");  // text compares without regard to case, as on the server
    EXPECT_EQ(next("Z"), "Z1");
    EXPECT_EQ(next(""), "1");  // no all-digit numbers yet
    header(6, "7", "01/Feb/2004");
    EXPECT_EQ(next(""), "8");
}

TEST_F(SqliteTest, SuiteDateTextsMeetDateColumnsAsIsoText) {
    header(1, "X1", "14/Feb/2004");
    header(2, "X2", "2004/02/15");
    header(3, "X3", "20040301");
    auto raw = [&](int id) {
        return scalar("select replace(TransDate, '-', '.') from paPayAccLinkHeader where TransID=" +
                      std::to_string(id));
    };
    EXPECT_EQ(raw(1), Value("2004.02.14"));
    EXPECT_EQ(raw(2), Value("2004.02.15"));
    EXPECT_EQ(raw(3), Value("2004.03.01"));

    // Read back as dates.
    Value d = scalar("select TransDate from paPayAccLinkHeader where TransID=1");
    ASSERT_EQ(d.type(), Value::Type::Date);
    EXPECT_EQ(*d.asDate(), DateTime::ymd(2004, 2, 14));

    // Literals compared with a date column, in every suite form and on either side.
    EXPECT_EQ(scalar("select count(*) from paPayAccLinkHeader pa where pa.TransDate>='2004/02/15'"),
              Value(2));
    EXPECT_EQ(scalar("select count(*) from paPayAccLinkHeader where '15/Feb/2004' <= TransDate"), Value(2));
    EXPECT_EQ(
        scalar("select count(*) from paPayAccLinkHeader where TransDate between '20040214' and '20040215'"),
        Value(2));
    EXPECT_EQ(
        scalar("select count(*) from paPayAccLinkHeader where TransDate in ('14/02/2004', '01/Mar/2004')"),
        Value(2));
    EXPECT_EQ(scalar("select count(*) from paPayAccLinkHeader where TransDate = '2004-02-14'"), Value(1));
    // A text column keeps a date-like literal as it is.
    db->execute("update paPayAccLinkHeader set Remarks='2004/02/14' where TransID=1");
    EXPECT_EQ(scalar("select count(*) from paPayAccLinkHeader where Remarks='2004/02/14'"), Value(1));

    // The update binds the date value itself; the time of day is kept only when there is one.
    auto upd =
        db->command(" update paPayAccLinkHeader set TransDate=?, Remarks=? where CompanyID=1 and transID=2",
                    data::CommandType::Text);
    upd->refreshParameters();
    ASSERT_EQ(upd->parameters().size(), 2u);
    EXPECT_EQ(upd->parameters()[0].type, Value::Type::Date);
    upd->execute({Value(DateTime{2004, 2, 20, 10, 30, 0}), Value("changed")});
    EXPECT_EQ(raw(2), Value("2004.02.20 10:30:00"));
    EXPECT_EQ(scalar("select TransDate from paPayAccLinkHeader where TransID=2"),
              Value(DateTime{2004, 2, 20, 10, 30, 0}));

    // The latest date in a month, or the literal when none: both come back as dates.
    EXPECT_EQ(
        scalar("Select isnull(max(TransDate), '20040415') from paPayAccLinkHeader where month(TransDate) = 2 "
               "and year(TransDate) = 2004"),
        Value(DateTime{2004, 2, 20, 10, 30, 0}));
    EXPECT_EQ(
        scalar("Select isnull(max(TransDate), '20040415') from paPayAccLinkHeader where month(TransDate) = 4 "
               "and year(TransDate) = 2004"),
        Value(DateTime::ymd(2004, 4, 15)));
}

TEST_F(SqliteTest, ValuesComeBackByStorageClass) {
    db->execute("create table v (i integer, r real, t text, n text)");
    auto cmd = db->command("insert into v (i, r, t, n) values (?, ?, ?, ?)", data::CommandType::Text);
    cmd->execute({Value(7), Value(2.5), Value("txt"), Value()});
    auto rs = db->open("select i, r, t, n, i + r as s, 'Yes' cancel from v");
    EXPECT_EQ(rs->field("i"), Value(7));
    EXPECT_EQ(rs->field("R"), Value(2.5));
    EXPECT_EQ(rs->field("t"), Value("txt"));
    EXPECT_TRUE(rs->field("n").isNull());
    EXPECT_EQ(rs->field("s"), Value(9.5));
    EXPECT_EQ(rs->field("cancel"), Value("Yes"));
    EXPECT_EQ(rs->fieldName(4), "s");
    EXPECT_EQ(db->execute("update v set i = i + 1"), 1);
    EXPECT_EQ(db->execute("delete from v where i = 100"), 0);
}

TEST_F(SqliteTest, RolledBackTransactionLeavesNothingBehind) {
    EXPECT_FALSE(db->inTransaction());
    db->beginTrans();
    EXPECT_TRUE(db->inTransaction());
    header(1, "X1", "14/Feb/2004");
    db->execute("insert into pay values (1, '2004-02-14', 'A', 10)");
    EXPECT_NE(errorText([&] { db->beginTrans(); }), "(no error)");
    db->rollbackTrans();
    EXPECT_FALSE(db->inTransaction());
    EXPECT_EQ(scalar("select count(*) from paPayAccLinkHeader"), Value(0));
    EXPECT_EQ(scalar("select count(*) from pay"), Value(0));

    db->beginTrans();
    header(1, "X1", "14/Feb/2004");
    db->commitTrans();
    EXPECT_EQ(scalar("select count(*) from paPayAccLinkHeader"), Value(1));

    // A failing statement inside a transaction leaves the earlier writes to the rollback.
    db->beginTrans();
    header(2, "X2", "14/Feb/2004");
    EXPECT_NE(errorText([&] { header(1, "X1 again", "14/Feb/2004"); }).find("UNIQUE"), std::string::npos);
    db->rollbackTrans();
    EXPECT_EQ(scalar("select count(*) from paPayAccLinkHeader"), Value(1));
    EXPECT_NE(errorText([&] { db->commitTrans(); }), "(no error)");

    // Another connection sees only what was committed.
    auto other = data::sqlite::open(tmp.file("t.db"), options);
    db->beginTrans();
    header(3, "X3", "14/Feb/2004");
    EXPECT_EQ(other->open("select count(*) from paPayAccLinkHeader")->field(0), Value(1));
    db->commitTrans();
    EXPECT_EQ(other->open("select count(*) from paPayAccLinkHeader")->field(0), Value(2));
    EXPECT_EQ(other->open("PRAGMA journal_mode")->field(0), Value("wal"));
}

TEST_F(SqliteTest, ProceduresRunFromTheCatalog) {
    writeProcedure("spPayTotals",
                   "-- Totals of one kind of payment in a date range.\n"
                   "-- param @CompanyID int\n"
                   "-- param @FromDate date\n"
                   "-- param @ToDate date\n"
                   "-- param @Type text\n"
                   "-- param @Total double output\n"
                   "select count(*) as Cnt, sum(Amount) as Total\n"
                   "from pay where CompanyID = @companyid and PayDate between @FromDate and @ToDate\n"
                   "  and Kind = @Type\n");
    db->execute("insert into pay values (1, '2004-02-01', 'A', 10)");
    db->execute("insert into pay values (1, '2004-02-29', 'a', 5)");
    db->execute("insert into pay values (1, '2004-03-01', 'A', 100)");
    db->execute("insert into pay values (2, '2004-02-10', 'A', 1000)");

    // "exec" statements, as the screens send them.
    auto rs = db->open("exec spPayTotals 1,'20040201','20040229','A'");
    EXPECT_EQ(rs->field("Cnt"), Value(2));
    EXPECT_EQ(rs->field("Total"), Value(15.0));
    rs = db->open(
        "EXEC dbo.spPayTotals @CompanyID = 2, @FromDate = '01/Feb/2004', @ToDate = '2004/02/29', @Type = "
        "'A'");
    EXPECT_EQ(rs->field("Total"), Value(1000.0));

    // A stored-procedure command: the return value first, then the declared parameters.
    auto cmd = db->command("spPayTotals", data::CommandType::StoredProc);
    auto& ps = cmd->parameters();
    ASSERT_EQ(ps.size(), 6u);
    EXPECT_EQ(ps[0].direction, data::ParamDirection::ReturnValue);
    EXPECT_EQ(ps[1].name, "@CompanyID");
    EXPECT_EQ(ps[2].type, Value::Type::Date);
    EXPECT_EQ(ps[5].direction, data::ParamDirection::InputOutput);
    cmd->setParameter(1, Value(1));
    cmd->setParameter(2, Value("20040201"));
    cmd->setParameter(3, Value(DateTime::ymd(2004, 3, 1)));
    cmd->setParameter(4, Value("A"));
    cmd->execute();
    EXPECT_EQ(cmd->parameter(5), Value(115.0));
    EXPECT_EQ(cmd->parameter(0), Value(0));
    try {
        cmd->setParameter(6, Value(1));
        FAIL();
    } catch (const common::Error& e) {
        EXPECT_EQ(e.number(), common::err::ItemNotFound);
    }
    // No row in the range: the output parameter is Null.
    cmd->setParameter(4, Value("Z"));
    cmd->execute();
    EXPECT_TRUE(cmd->parameter(5).isNull());

    // Failures as the server words them.
    EXPECT_EQ(errorText([&] { db->open("exec spNope 1"); }), "Could not find stored procedure 'spNope'.");
    EXPECT_EQ(errorText([&] { db->command("spNope", data::CommandType::StoredProc)->refreshParameters(); }),
              "Could not find stored procedure 'spNope'.");
    EXPECT_EQ(errorText([&] { db->open("exec spPayTotals 1,'20040201','20040229','A',1,2"); }),
              "Procedure or function spPayTotals has too many arguments specified.");
    EXPECT_EQ(errorText([&] { db->open("exec spPayTotals 1,'20040201'"); }),
              "Procedure or function 'spPayTotals' expects parameter '@ToDate', which was not supplied.");
    EXPECT_EQ(errorText([&] { db->open("exec spPayTotals 1,'someday','20040229','A'"); }),
              "Error converting data type varchar to datetime.");
}

TEST_F(SqliteTest, TextCommandsBindPositionallyAndReuseTheirStatement) {
    auto cmd = db->command(" insert into pay (CompanyID, PayDate, Kind, Amount) values (?, ?, ?, ?) ",
                           data::CommandType::Text);
    cmd->refreshParameters();
    ASSERT_EQ(cmd->parameters().size(), 4u);
    EXPECT_EQ(cmd->parameters()[1].type, Value::Type::Date);
    EXPECT_EQ(cmd->parameters()[3].type, Value::Type::Null);
    db->beginTrans();
    for (int i = 0; i < 5000; ++i)
        cmd->execute({Value(1), Value("14/Feb/2004"), Value(i % 2 ? "A" : "R"), Value(i * 0.5)});
    db->commitTrans();
    EXPECT_EQ(scalar("select count(*) from pay where PayDate='2004-02-14'"), Value(5000));
    EXPECT_EQ(scalar("select sum(Amount) from pay"), Value(0.5 * 4999 * 5000 / 2));
    EXPECT_NE(errorText([&] { cmd->execute({Value(1)}); }), "(no error)");
    // The schema can change under cached statements.
    db->execute("alter table pay add column Note text");
    cmd->execute({Value(1), Value("15/Feb/2004"), Value("A"), Value(1.0)});
    EXPECT_EQ(scalar("select count(*) from pay where PayDate >= '15/Feb/2004'"), Value(1));
}

TEST(SqliteOpen, ErrorsCarrySqlitesOwnMessage) {
    TempDir tmp;
    std::string msg = errorText([&] { data::sqlite::open(tmp.file("missing/none.db")); });
    EXPECT_NE(msg.find("unable to open database file"), std::string::npos) << msg;
    data::sqlite::OpenOptions o;
    o.create = true;
    auto db = data::sqlite::open(tmp.file("x.db"), o);
    EXPECT_EQ(errorText([&] { db->open("select * from nothing_here"); }), "no such table: nothing_here");
    EXPECT_TRUE(db->isOpen());
}

// The suite's statements, text for text, on the project's own schema, procedures and demo data.
TEST(SqliteSchema, SuiteStatementsRunOnTheProjectSchema) {
    TempDir tmp;
    data::sqlite::OpenOptions o;
    o.create = true;
    auto db = data::sqlite::open(tmp.file("demo.db"), o);
    data::sqlite::initialise(*db, true, testsupport::kDemoDay);
    data::TableNames n;
    data::AssignTableName(*db, n);
    EXPECT_EQ(n.pDepartment, "pDepartmentMaster");
    EXPECT_TRUE(n.pLoans.empty());

    // The browser's list, limited to a date window given as "yyyy/mm/dd".
    std::string list =
        std::string("select TransID, TransNo, TransDate, Case ") + "when TransType='P' then '" + "Payroll" +
        "' when TransType='A' then '" + "Salary Advances" + "' when TransType='R' then '" + "Reimbursements" +
        "' when TransType='S' then '" + "Savings" + "' when TransType='E' then '" + "Leave Encashments" +
        "' when TransType='H' then '" + "Holded Salaries" + "' when TransType='O' then '" + "Others" +
        "' End Type, dm.DepartmentName,  " + " case when Cancelled=1 then 'Yes' else 'No' end cancel, " +
        " case when Posted=1 then 'Yes' else 'No' end Posted " + " From " + n.paPayAccLinkHeader + " pa, " +
        n.pDepartment + " dm Where pa.CompanyID = dm.CompanyID and" + " pa.DepartmentID=dm.DepartmentID and" +
        " pa.companyid=" + "1";
    auto rs =
        db->open(list + " and TransDate>='2026/09/01'", data::CursorType::Keyset, data::LockType::Optimistic);
    ASSERT_EQ(rs->recordCount(), 2);
    EXPECT_EQ(rs->field("TransDate").type(), Value::Type::Date);
    rs = db->open(list + " and transID= 2  and  pa.CompanyID=1");
    EXPECT_EQ(rs->field("Type"), Value("Payroll"));
    EXPECT_EQ(rs->field("cancel"), Value("Yes"));
    EXPECT_EQ(rs->field("Posted"), Value("No"));
    rs = db->open("select tc.columnheader,tc.columnname from ptables t, " + n.ptablecolumns +
                  " tc where t.tableid = tc.tableid and tablename ='" + "paPayAccLinkHeader" +
                  "' and tc.tableid=60" + " order by columnid");
    EXPECT_EQ(rs->field("columnheader"), Value("Trans ID"));

    // The settings check: four salary accounts per currency in use, every setting with an account.
    Value a =
        db->open(
              "select count(1) from pCurrencyMaster where companyID= 1 and CurrencyID in(select distinct "
              "ecurrencyid from pemployee where eCompanyID=1)")
            ->field(0);
    Value b = db->open("select count(1) from paSalaryAccountsConfig where sacCompanyID=1")->field(0);
    EXPECT_EQ(b.toInt32(), 4 * a.toInt32());
    EXPECT_EQ(
        db->open(
              "select count(1) from vwPayAccLinkSettings where isnull(adcAccountID,0) = 0  and CompanyID=1")
            ->field(0),
        Value(0));

    // The latest payroll date of a month, or the transaction date when the month has none.
    auto latest = [&](const std::string& ymd, int month) {
        return db
            ->open("Select isnull(max(mppProcessedDate), '" + ymd +
                   "') from pMonthlyPayRollProcessing where month(mppProcessedDate) = " +
                   std::to_string(month) + " and year(mppProcessedDate) = 2026")
            ->field(0);
    };
    EXPECT_EQ(latest("20260915", 9), Value(DateTime::ymd(2026, 9, 28)));
    EXPECT_EQ(latest("20261115", 11), Value(DateTime::ymd(2026, 11, 15)));

    // Gathering through the procedures, as "exec" text.
    rs = db->open("exec spPAGetPayrollAccountDetails 1,'20260901','20260930',1");
    ASSERT_FALSE(rs->eof());
    EXPECT_EQ(rs->field("mppProcessedDate").type(), Value::Type::Date);
    EXPECT_NO_THROW(rs->field("CompExRate").toDouble());
    rs = db->open("exec spPAGetPaymentOthersDetails 1,'20260801','20261031',3,'H'");
    EXPECT_FALSE(rs->eof());
    EXPECT_GT(data::GetExchangeRate(*db, 1, 1, 2), 0);

    // The next entry number with the company's prefix.
    std::string P = db->open("SELECT Prefix FROM " + n.pprefix + " WHERE InterfaceID = 60 and companyid=1")
                        ->field("Prefix")
                        .toText();
    std::string L = std::to_string(P.size());
    rs = db->open("Select isnull(max(convert(int,right(TransNo,len(TransNo)-" + L + "))),0) from " +
                  n.paPayAccLinkHeader + " where CompanyID    = 1 and len(TransNo)>len('" + P + "') and " +
                  " isnumeric(isnull(right(TransNo,len(TransNo)-" + L +
                  "),0)) =1 and substring(TransNo,1,len('" + P + "'))='" + P + "'");
    EXPECT_EQ(rs->field(0), Value(5));

    // Reading a saved entry back joins five tables.
    rs = db->open(std::string("Select pa.DetailID, pa.DepartmentID, pa.RefTransID, pa.RefTransNo, ") +
                  " pa.RefTransType, pa.RefTransDate, pa.EmpID, pa.EmpName, pa.EmpNo, pa.AccountID," +
                  " pa.AccountDesc, pa.TransCurrSymbol, pa.AccCurrSymbol, pa.TransCurrID," +
                  " pa.AccCurrID, pa.RefTransAmount, pa.AccountAmount, pa.DeptAmount, pa.CompAmount," +
                  " pa.Credit, cm.CurrencyID, dm.DepCurrencyID, dc.Symbol DepSymbol,cc.Symbol ComSymbol " +
                  " from " + n.paPayAccLinkDetails + " pa, " + n.pCompanyMaster + " cm," + n.pDepartment +
                  " dm," + n.pCurrencyMaster + " dc," + n.pCurrencyMaster +
                  " cc where pa.CompanyID=cm.CompanyID and " +
                  " pa.CompanyID=dm.CompanyID and pa.DepartmentID = dm.DepartmentID and " +
                  " dm.CompanyID=dc.CompanyID and dm.DepCurrencyID = dc.CurrencyID and " +
                  " cm.CompanyID=cc.CompanyID and cm.CurrencyID = cc.CurrencyID and " + " pa.CompanyID=1" +
                  " and pa.TransID=1");
    ASSERT_FALSE(rs->eof());
    EXPECT_EQ(rs->field("RefTransDate").type(), Value::Type::Date);

    // A save that fails half-way leaves nothing behind.
    db->beginTrans();
    auto ins = db->command(" insert into " + n.paPayAccLinkHeader + " ( CompanyID," +
                               "TransID, DepartmentID, TransNo, TransDate, TransType, Remarks, Cancelled) " +
                               "values (?, ?, ?, ?, ?, ?, ?, ?) ",
                           data::CommandType::Text);
    ins->refreshParameters();
    ins->execute({Value(1), Value(99), Value(1), Value("PAL/99"), Value("15/Oct/2026"), Value("P"), Value(""),
                  Value(0)});
    db->execute("update pMonthlyPayRollProcessing set mppPosted=1 where mppCompanyID=1");
    EXPECT_EQ(db->open("select count(1) from " + n.paPayAccLinkHeader +
                       " where CompanyID=1 and TransDate='15/Oct/2026'")
                  ->field(0),
              Value(1));
    db->rollbackTrans();
    EXPECT_EQ(db->open("select count(1) from " + n.paPayAccLinkHeader + " where TransID=99")->field(0),
              Value(0));
    EXPECT_GT(
        db->open("select count(1) from pMonthlyPayRollProcessing where mppPosted=0")->field(0).toInt32(), 0);
}
