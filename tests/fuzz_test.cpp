// The fuzz targets' checks in the ordinary suite: every seed of the fuzz corpus, and the
// sandbox the statement target runs in.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
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

}  // namespace
