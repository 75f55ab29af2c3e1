// The month-end checks through FreeTDS and the TDS responder: every statement as SQL Server
// gets it (dates in its own form, no TRY_CONVERT below level 110), answering as the embedded
// database answers the same data directly.
#include <gtest/gtest.h>

#include "../TestSupport.h"
#include "support/TdsResponder.h"

namespace {

TEST(OdbcMonthEnd, StatusAuditAndTraceAnswerOverTheWireAsOnTheFile) {
    testsupport::TempDir tmp;
    const std::string server = testsupport::copyDb(testsupport::demoTemplate(), tmp.file("server.db"));
    // A payment never flagged, as the classic component left them, and a number it cannot count past.
    data::sqlite::open(server)->execute(
        "update pPaymentHeader set phPosted=0 where phPaymentID=101; "
        "update paPayAccLinkHeader set TransNo='PAL/1,000' where CompanyID=1 and TransID=2");
    testsupport::TdsResponder responder(server);
    for (int level : {150, 100}) {
        responder.setCompatibilityLevel(level);
        for (const std::string args :
             {"status --from 01/08/2026 --to 31/10/2026", "audit", "trace --run 31"}) {
            SCOPED_TRACE(args + ", level " + std::to_string(level));
            const auto file = testsupport::runProgram(tmp.path(), args + " --db server.db");
            const auto wire = testsupport::runProgram(
                tmp.path(), args + " --odbc '" + responder.connectionString() + "'", "LANG=C LC_ALL=C");
            EXPECT_EQ(wire.status, file.status) << wire.err;
            EXPECT_EQ(wire.out, file.out);
            EXPECT_NE(file.out.find(args == "audit" ? "2 finding(s)" : "PAL/"), std::string::npos)
                << file.out;
        }
    }
}

}  // namespace
