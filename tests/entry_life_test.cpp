// The example script of an entry's whole life, run through the host program as a person would
// run it, and the database it leaves behind.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "TestSupport.h"

namespace {

TEST(EntryLifeScript, NewSelectAllSaveEditSaveAndCancelEndWithTheRunsReleased) {
    testsupport::TempDir tmp;
    const std::string program = std::string(PAYACC_BINARY_DIR) + "/app/payacclink";
    const std::string db = tmp.file("life.db");
    const std::string script = std::string(PAYACC_SOURCE_DIR) + "/scripts/examples/entry_life.script";
    const std::string log = tmp.file("transcript.txt");
    ASSERT_EQ(std::system((program + " init " + db + " --demo --as-of " + testsupport::kDemoDayText + " > /dev/null").c_str()), 0);
    // The script's own expectations fail it with status 1 and a FAIL line.
    int status = std::system((program + " script " + script + " --db " + db + " --date 15/10/2026 > " + log).c_str());
    EXPECT_EQ(status, 0) << "see " << log;

    auto c = data::sqlite::open(db);
    auto rs = c->open("select TransNo, TransType, Remarks, Cancelled, cancelremarks from paPayAccLinkHeader "
                      "where CompanyID=1 and TransID=6");
    ASSERT_FALSE(rs->eof());
    EXPECT_EQ(rs->field("TransNo").joinText(), "PAL/6");
    EXPECT_EQ(rs->field("TransType").joinText(), "P");
    EXPECT_EQ(rs->field("Remarks").joinText(), "October payroll, Administration, checked");
    EXPECT_EQ(rs->field("Cancelled").toInt32(), 1);
    EXPECT_EQ(rs->field("cancelremarks").joinText(), "Linked twice by mistake");
    // The cancelled entry keeps its rows; its runs are free to be linked again.
    auto details = c->open("select count(*), count(distinct RefTransID) from paPayAccLinkDetails "
                           "where CompanyID=1 and TransID=6");
    EXPECT_GT(details->field(0).toInt32(), 0);
    EXPECT_EQ(details->field(0).toInt32(), 4 * details->field(1).toInt32());
    auto flags = c->open("select count(*) from pMonthlyPayRollProcessing where mppCompanyID=1 and mppPosted=1 "
                         "and mppProcessID in (select RefTransID from paPayAccLinkDetails where CompanyID=1 "
                         "and TransID=6)");
    EXPECT_EQ(flags->field(0).toInt32(), 0);
    auto balance = c->open("select round(sum(DeptAmount), 2), count(*) from paPayAccLinkPostingDetails "
                           "where CompanyID=1 and TransID=6");
    EXPECT_EQ(balance->field(0).toDouble(), 0.0);
    EXPECT_GT(balance->field(1).toInt32(), 0);
}

}  // namespace
