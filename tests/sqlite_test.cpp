// The embedded database takes the suite's SQL Server statements unchanged.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <vector>

#include "TestSupport.h"
#include "common/Error.h"
#include "data/sqlite/SqliteConnection.h"

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
        db = data::sqlite::open(tmp.file("t.db"), {.procedureDir = {}, .create = true});
        db->execute(
            "create table paPayAccLinkHeader (CompanyID integer not null, TransID integer not null, "
            "DepartmentID integer, TransNo text collate nocase, TransDate date, TransType text, "
            "Remarks text collate nocase, Cancelled integer default 0, primary key (CompanyID, TransID))");
    }

    Value scalar(const std::string& sql) {
        auto rs = db->open(sql);
        return rs->eof() ? Value() : rs->field(0);
    }

    void header(int id, const std::string& no, const std::string& date, int company = 1) {
        auto cmd = db->command(
            " insert into paPayAccLinkHeader ( CompanyID,TransID, DepartmentID, TransNo, TransDate, "
            "TransType, Remarks, Cancelled) values (?, ?, ?, ?, ?, ?, ?, ?) ",
            data::CommandType::Text);
        cmd->refreshParameters();
        cmd->execute(
            {Value(company), Value(id), Value(1), Value(no), Value(date), Value("P"), Value(""), Value(0)});
    }

    TempDir tmp;
    data::ConnectionPtr db;
};

}  // namespace

TEST_F(SqliteTest, AdaptedFunctionsAnswerAsTheServer) {
    auto select = [&](const std::string& expression) { return scalar("select " + expression); };
    std::vector<std::pair<const char*, int>> numbers{
        {"len('ab  ')", 2},         {"isnumeric('1e5')", 1},        {"isnumeric('X1')", 0},
        {"isnumeric(null)", 0},     {"isnull(null, 5)", 5},         {"isnumeric('1.5.1')", 0},
        {"month('2004-02-14')", 2}, {"year('14/Feb/2004')", 2004},  {"CONVERT(INT, 12.9)", 12},
        {"convert(int, '  ')", 0},  {"convert( int , ' -7 ')", -7}, {"isnumeric(' 1,000.50 ')", 1}};
    for (const auto& [expression, expected] : numbers)
        EXPECT_EQ(select(expression), Value(expected)) << expression;
    EXPECT_EQ(select("LEN('Ünï')"), Value(3));  // characters, not bytes
    EXPECT_EQ(select("try_convert(int, '2147483647')"), Value(2147483647));
    // try_convert gives Null where convert fails.
    for (const char* null : {"len(null)", "try_convert(int, '1.5')", "try_convert(int, '3000000000')"})
        EXPECT_EQ(select(null), Value()) << null;
    // Text inside literals and comments is left alone.
    const std::vector<std::pair<const char*, const char*>> texts{
        {"right('abc', -1)", ""}, {"Right('a  ', 2)", "  "}, {"N'it''s'", "it's"}, {"'PAL/' + '7'", "PAL/7"}};
    for (const auto& [expression, expected] : texts)
        EXPECT_EQ(select(expression), Value(expected)) << expression;
    EXPECT_EQ(scalar("select 'isnull(len(right(x' -- convert(varchar, 1) *=\n"), Value("isnull(len(right(x"));
    // !< and !> keep their meaning; LIKE keeps its character classes without telling case apart.
    const std::vector<std::pair<const char*, int>> conditions{
        {"'12x' like '[0-9]%'", 1}, {"'Bcd' like '[a-c]C_'", 1}, {"'axb' like '[a]*%'", 0},
        {"a !< 1 and a !> 2", 1},   {"a !< 3 or a !> 1", 0},     {"'x12' like '[0-9]%'", 0}};
    for (auto [c, count] : conditions)
        EXPECT_EQ(select("count(*) from (select 2 as a) where " + std::string(c)), Value(count)) << c;
    // A failed conversion is an error naming the value, never 0.
    EXPECT_EQ(errorText([&] { select("convert(int, 'A1')"); }),
              "Conversion failed when converting the varchar value 'A1' to data type int.");
    EXPECT_EQ(errorText([&] { scalar("select convert(int, '99999999999')"); }),
              "The conversion of the varchar value '99999999999' overflowed an int column.");
    EXPECT_EQ(errorText([&] { scalar("select month('not a date')"); }),
              "Conversion failed when converting date and/or time from character string.");
    // The server compares text without regard to case also where one side is an expression.
    header(1, "X9", "01/Feb/2004");
    EXPECT_EQ(scalar("select count(*) from paPayAccLinkHeader where substring(TransNo,1,1)='x'"), Value(1));
}

TEST_F(SqliteTest, SuiteDateTextsMeetDateColumnsAsIsoText) {
    header(1, "X1", "14/Feb/2004");
    header(2, "X2", "2004/02/15");
    header(3, "X3", "20040301");
    auto raw = [&](int id) {
        return scalar("select replace(TransDate, '-', '.') from paPayAccLinkHeader where TransID=" +
                      std::to_string(id));
    };
    for (auto [id, stored] : {std::pair{1, "2004.02.14"}, {2, "2004.02.15"}, {3, "2004.03.01"}})
        EXPECT_EQ(raw(id), Value(stored));

    EXPECT_EQ(scalar("select TransDate from paPayAccLinkHeader where TransID=1"),
              Value(DateTime::ymd(2004, 2, 14)));

    // A text column keeps a date-like literal as it is.
    db->execute("update paPayAccLinkHeader set Remarks='2004/02/14' where TransID=1");
    EXPECT_EQ(scalar("select count(*) from paPayAccLinkHeader where Remarks='2004/02/14'"), Value(1));

    // The update binds the date value itself; the time of day is kept only when there is one.
    auto upd =
        db->command(" update paPayAccLinkHeader set TransDate=?, Remarks=? where CompanyID=1 and transID=2",
                    data::CommandType::Text);
    upd->refreshParameters();
    EXPECT_EQ(upd->parameters().at(0).type, Value::Type::Date);
    upd->execute({Value(DateTime{2004, 2, 20, 10, 30, 0}), Value("changed")});
    EXPECT_EQ(raw(2), Value("2004.02.20 10:30:00"));
    EXPECT_EQ(scalar("select TransDate from paPayAccLinkHeader where TransID=2"),
              Value(DateTime{2004, 2, 20, 10, 30, 0}));

    // The latest date in a month, or the literal when none: both come back as dates.
    for (auto [month, latest] :
         {std::pair{2, Value(DateTime{2004, 2, 20, 10, 30, 0})}, {4, Value(DateTime::ymd(2004, 4, 15))}})
        EXPECT_EQ(scalar("Select isnull(max(TransDate), '20040415') from paPayAccLinkHeader where "
                         "month(TransDate) = " +
                         std::to_string(month) + " and year(TransDate) = 2004"),
                  latest);
}

// Every form of comparing a date column with a date text, as literal or parameter, in the
// suite's forms and as ISO text: each answers as SQL Server, which converts the text to a date.
// The period ends at noon on its last day: a day's text is its midnight there. "|1" is the
// server's count; "?" takes the next of the arguments.
TEST_F(SqliteTest, DateTextsCompareWithDateColumnsAsOnTheServer) {
    db->execute("create table period (FromDate date, ToDate datetime, Note text)");
    db->execute("insert into period values ('2026-10-01', '2026-10-31 12:00:00', '20261015')");
    const std::vector<Value> args{Value("20261015"), Value("20261001"), Value("2026-10-01"),
                                  Value("20261031")};
    size_t next = 0;
    for (const std::string form :
         {"'2026-10-15' between p.FromDate and p.ToDate|1", "'20261031' between FromDate and ToDate|1",
          "'20261101' between FromDate and ToDate|0", "'30/Sep/2026' not between FromDate and (ToDate)|1",
          "'20261015' between FromDate and '20261031'|1", "FromDate between '20261001' and '2026/10/01'|1",
          "ToDate not between '20261001' and '20261031'|1", "'2026-10-01' = FromDate|1",
          "FromDate <> '01/Oct/2026'|0", "FromDate !< '20261001'|1", "ToDate <= '2026-10-31 12:00'|1",
          "FromDate in ('20261002', '2026-10-01')|1", "FromDate not in ('20261001')|0",
          "isnull(ToDate, '20990101') > '20261031'|1", "(select max(ToDate) from period) >= '20261031'|1",
          "? between FromDate and ToDate|1", "FromDate between ? and ?|1", "ToDate > ?|1",
          // Text against text stays text, as on the server.
          "Note between '20261001' and '20261031'|1", "Note = '2026-10-15'|0"}) {
        const std::string where = form.substr(0, form.find('|'));
        std::vector<Value> bound;
        for (char c : where)
            if (c == '?') bound.push_back(args.at(next++));
        auto cmd = db->command("select count(*) from period p where " + where, data::CommandType::Text);
        EXPECT_EQ(cmd->execute(bound)->field(0), Value(std::stoi(form.substr(form.find('|') + 1)))) << where;
    }
}
