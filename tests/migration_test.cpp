// A database made by the first released build, brought up by the numbered scripts, is the
// database a fresh init makes: every table, column, index, view and trigger and the table
// mapping. The embedded procedures live in the program, so with the schema alike they read
// alike.
#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "TestSupport.h"
#include "common/Error.h"
#include "data/sqlite/Migrations.h"
#include "data/sqlite/SqliteConnection.h"

namespace {

data::ConnectionPtr memoryDatabase() {
    data::sqlite::OpenOptions options;
    options.create = true;
    return data::sqlite::open(":memory:", options);
}

// Every row of a statement, fields joined by tabs.
std::vector<std::string> rows(data::Connection& c, const std::string& sql) {
    std::vector<std::string> out;
    auto rs = c.open(sql);
    for (; !rs->eof(); rs->moveNext()) {
        std::string line;
        for (int i = 0; i < rs->fieldCount(); ++i) line += (i ? "\t" : "") + rs->field(i).joinText();
        out.push_back(line);
    }
    return out;
}

// The schema's objects by type and name, their texts without comments and spacing: a
// column, a constraint, a collation or a view's body that differs shows here.
std::map<std::string, std::string> schema(data::Connection& c) {
    std::map<std::string, std::string> out;
    for (const std::string& row :
         rows(c, "select type || ' ' || name, sql from sqlite_master where sql is not null")) {
        const size_t tab = row.find('\t');
        std::string sql = std::regex_replace(row.substr(tab + 1), std::regex("--[^\n]*"), "");
        sql = std::regex_replace(sql, std::regex("\\s+"), " ");
        sql = std::regex_replace(std::regex_replace(sql, std::regex("\\( "), "("), std::regex(" \\)"), ")");
        out[row.substr(0, tab)] = sql;
    }
    return out;
}

}  // namespace

TEST(MigrationTest, TheFirstReleasedSchemaMigratesToWhatInitMakes) {
    auto old = memoryDatabase();
    data::sqlite::runScript(*old,
                            testsupport::slurp(PAYACC_SOURCE_DIR "/tests/fixtures/first_release_schema.sql"),
                            "first release");
    // A script that fails half-way leaves the database as it was, the scripts before it too.
    const auto before = schema(*old);
    old->execute("create table ixPaymentCompanyDate (x)");
    EXPECT_THROW(data::sqlite::upgrade(*old), common::Error);
    old->execute("drop table ixPaymentCompanyDate");
    EXPECT_EQ(schema(*old), before);
    EXPECT_EQ(rows(*old, "select count(*) from linktable"), std::vector<std::string>{"1"});

    EXPECT_TRUE(data::sqlite::upgrade(*old));
    EXPECT_FALSE(data::sqlite::upgrade(*old)) << "a current database is left alone";
    auto fresh = memoryDatabase();
    data::sqlite::initialise(*fresh, false);
    EXPECT_EQ(schema(*old), schema(*fresh));
    EXPECT_GT(schema(*fresh).size(), 40u);
    for (const char* sql :
         {"select * from linktable order by tablename", "select * from ptables order by tableid",
          "select * from ptablecolumns order by tableid, columnid", "select Version from paPayAccLinkSchema",
          "PRAGMA user_version"})
        EXPECT_EQ(rows(*old, sql), rows(*fresh, sql)) << sql;
    EXPECT_EQ(rows(*old, "select TransNo, Remarks from paPayAccLinkHeader"),
              std::vector<std::string>{"PAL/7\tkept"});

    // The SQL Server scripts carry the same numbers and names; a new server database starts at
    // the newest.
    for (const data::sqlite::Migration& m : data::sqlite::migrations())
        EXPECT_NE(testsupport::slurp(PAYACC_SOURCE_DIR "/db/sqlserver/migrations/" + m.name + ".sql")
                      .find("UPDATE paPayAccLinkSchema SET Version = " + std::to_string(m.number) + ";"),
                  std::string::npos)
            << m.name;
    EXPECT_NE(testsupport::slurp(PAYACC_SOURCE_DIR "/db/sqlserver/schema.sql")
                  .find("INSERT INTO paPayAccLinkSchema (Version) VALUES (" +
                        std::to_string(data::sqlite::newestSchemaVersion()) + ");"),
              std::string::npos);
}
