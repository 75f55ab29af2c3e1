// Hostile input: quotes, semicolons, comment markers, non-ASCII letters and texts as long as
// a box takes reach the database exactly, typed or pasted, and never as part of a statement's text.
#include "linking_fixture.h"

namespace linkingtest {
namespace {

class BadInputTest : public LinkingTest {};

TEST_F(BadInputTest, RemarksReachTheHeaderExactlyAsTypedOrPasted) {
    raw->execute("update psettings set noofpreviousdays=0 where companyid=1");
    // The long text fills a box (255), in ASCII so that characters are bytes, with no blank at
    // either end, since texts are trimmed on their way in.
    std::string longText;
    while (longText.size() < 254) longText += "O'Neil said \"stop\"; -- then /* nothing */ ";
    const std::vector<std::string> texts = {"O'Brien's advance",
                                            "x', Remarks='changed', Cancelled=0 where 1=1 --",
                                            "a; delete from paPayAccLinkHeader; -- \"not\" /* a comment */",
                                            "Zürich – Ærøskøbing, 東京, Łódź", longText.substr(0, 254) + "Z"};
    for (size_t i = 0; i < texts.size(); ++i) {
        SCOPED_TRACE("text " + std::to_string(i) + (i % 2 ? ", typed" : ", pasted"));
        addRun(9100 + static_cast<int>(i), 901 + static_cast<int>(i % 5), 1000 + static_cast<double>(i), 100,
               50);
        auto& f = openNew();
        gather(f, "Payroll", DateTime::ymd(2026, 11, 30));
        ASSERT_EQ(f.lvwTransactions.count(), 1);
        f.lvwTransactions.userToggle(1);
        if (i % 2)
            f.txtRemarks.userType(texts[i]);
        else
            f.txtRemarks.userPaste(texts[i]);
        trace->clear();
        f.cmdOk.userClick();
        ASSERT_FALSE(linkingOpen()) << lastMessage();
        const std::string id = std::to_string(6 + i);
        EXPECT_EQ(
            rows("select TransID, Remarks from paPayAccLinkHeader where CompanyID=1 and TransID>=" + id),
            id + "|" + texts[i] + "|\n")
            << "one new entry, its remarks as given";
        for (const auto& s : trace->statements())
            EXPECT_EQ(s.find(texts[i]), std::string::npos) << "the remarks went into a statement's text";
    }
    EXPECT_TRUE(toolkit.errors.empty());
}

}  // namespace
}  // namespace linkingtest
