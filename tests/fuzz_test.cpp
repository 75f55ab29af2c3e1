// The fuzz targets' checks in the ordinary suite: every seed of the fuzz corpus.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "../fuzz/DateCheck.h"
#include "../fuzz/ScriptCheck.h"
#include "../fuzz/TsqlCheck.h"
#include "../fuzz/ValCheck.h"
#include "TestSupport.h"

namespace {

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
            try {
                t.check(testsupport::slurp(entry.path().string()));
            } catch (const std::exception& e) {  // a fuzzcheck::Violation, or anything else
                ADD_FAILURE() << entry.path() << ": " << e.what();
            }
            ++seeds;
        }
        EXPECT_GE(seeds, 3) << t.target << " has lost its seeds";
    }
}

}  // namespace
