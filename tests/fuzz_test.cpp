// The fuzz targets' checks in the ordinary suite: every seed of the fuzz corpus, and sweeps
// over the edges that random inputs seldom hit (half cents, the 16-bit limits, leap days, the
// ends of the date range).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cfloat>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>

#include "../fuzz/DateCheck.h"
#include "../fuzz/ScriptCheck.h"
#include "../fuzz/TsqlCheck.h"
#include "../fuzz/ValCheck.h"

namespace {

template <class Check>
void expectHolds(Check&& check, const std::string& what) {
    try {
        check();
    } catch (const fuzzcheck::Violation& v) {
        ADD_FAILURE() << what << ": " << v.what();
    } catch (const std::exception& e) {
        ADD_FAILURE() << what << ": unexpected exception: " << e.what();
    }
}

TEST(FuzzSeeds, EverySeedKeepsItsTargetsInvariants) {
    const struct {
        const char* target;
        void (*check)(std::string_view);
    } targets[] = {{"val_fuzz", fuzzcheck::checkValInput},
                   {"date_fuzz", fuzzcheck::checkDateInput},
                   {"tsql_adapter_fuzz", fuzzcheck::checkTsqlInput},
                   {"script_fuzz", fuzzcheck::checkScriptInput}};
    for (const auto& t : targets) {
        int seeds = 0;
        for (const auto& entry : std::filesystem::directory_iterator(std::string(PAYACC_SOURCE_DIR) +
                                                                     "/fuzz/corpus/" + t.target)) {
            std::ifstream in(entry.path(), std::ios::binary);
            std::stringstream bytes;
            bytes << in.rdbuf();
            expectHolds([&] { t.check(bytes.str()); }, entry.path().string());
            ++seeds;
        }
        EXPECT_GE(seeds, 3) << t.target << " has lost its seeds";
    }
}

// The statements a fuzzer comes up with commit, change the schema, name files and never end;
// each input must still start from the demo data, and nothing may reach the disk.
TEST(FuzzSandbox, EveryStatementStartsFromTheSameDataAndStaysInMemory) {
    auto& sandbox = fuzzcheck::SqlSandbox::instance();
    auto count = [&](const std::string& table) {
        return sandbox.connection().open("select count(*) from " + table)->field(0).toInt32();
    };
    const int users = count("pusers"), headers = count("paPayAccLinkHeader");
    ASSERT_GT(users, 0);

    const std::filesystem::path file = std::filesystem::temp_directory_path() /
                                       ("payacc-fuzz-attached-" + std::to_string(::getpid()) + ".db");
    std::filesystem::remove(file);
    const std::string inputs[] = {
        "delete from pusers; commit",
        "delete from pusers; commit; begin",
        "rollback; delete from paPayAccLinkHeader",
        "drop table pusers",
        "create temp trigger t after insert on pusers begin delete from paPayAccLinkHeader; end",
        "insert into pusers(userid, username) values (999, 'x')",
        "attach database '" + file.string() + "' as other",
        "commit; vacuum into '" + file.string() + "'",
        "pragma foreign_keys=1; create table if not exists extra(d date)",
        "with recursive c(x) as (select 1 union all select x + 1 from c) select x, zeroblob(5000) from c",
        "select * from pusers where userid = ?",
    };
    for (const std::string& sql : inputs) {
        expectHolds([&] { fuzzcheck::checkTsqlInput(sql); }, sql);
        EXPECT_EQ(count("pusers"), users) << "after " << sql;
        EXPECT_EQ(count("paPayAccLinkHeader"), headers) << "after " << sql;
        EXPECT_FALSE(sandbox.connection().inTransaction()) << "after " << sql;
    }
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(FuzzInvariants, AmountsAtRoundingEdgesAndLimits) {
    const double edges[] = {0.0,
                            -0.0,
                            2.345,
                            0.005,
                            0.0049999999999999,
                            1.005,
                            0.125,
                            1234567.895,
                            999999999.995,
                            0.1 + 0.2,
                            1.0 / 3,
                            32767.5,
                            32767.49,
                            -32768.5,
                            -32768.51,
                            2147483647.5,
                            -2147483648.5,
                            123456789012345.6,
                            1e15,
                            1e21,
                            1e-5,
                            1e-300,
                            5e-324,
                            DBL_MAX,
                            DBL_MIN,
                            std::numeric_limits<double>::infinity(),
                            std::numeric_limits<double>::quiet_NaN()};
    for (double x : edges) {
        expectHolds([&] { fuzzcheck::checkNumber(x); }, "amount " + std::to_string(x));
        expectHolds([&] { fuzzcheck::checkNumber(-x); }, "amount " + std::to_string(-x));
    }
    // Every thousandth from -20 to 20: each is a half-cent question for Format2.
    for (int k = -20000; k <= 20000; ++k)
        expectHolds([&] { fuzzcheck::checkNumber(k / 1000.0); }, "amount " + std::to_string(k) + "/1000");
    for (const char* text : {"12abc", "1e5", "1,000.5", " &H10 ", "&HFFFF", "&O777", "-", "+.5", "5.", "1e",
                             "1e+", "- 5", "1d-2", "1E400", ",1", "1,", "$1", "\t7\t", " . "})
        expectHolds([&] { fuzzcheck::checkNumberText(text); }, std::string("text \"") + text + "\"");
}

TEST(FuzzInvariants, DatesAcrossLeapYearsAndTheEndsOfTheRange) {
    using common::DateTime;
    const DateTime starts[] = {DateTime::ymd(100, 1, 1), DateTime::ymd(1899, 11, 1),
                               DateTime::ymd(1999, 12, 1), DateTime::ymd(2100, 1, 15),
                               DateTime::ymd(9997, 10, 1)};
    for (const DateTime& start : starts) {
        for (int i = 0; i < 800; ++i) {
            DateTime d = common::addDays(start, i);
            if (i % 3 == 0) d.hour = 23, d.minute = 59, d.second = 58;
            const std::string what = common::isoDate(d);
            expectHolds([&] { fuzzcheck::checkDateForms(d); }, what);
            expectHolds([&] { fuzzcheck::checkDateArithmetic(d, i - 400, i % 50 - 25); }, what);
        }
    }
}

}  // namespace
