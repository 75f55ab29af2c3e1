// Hostile input: quotes, semicolons, comment markers, non-ASCII letters and 4,000-character
// texts in every free text reach the database exactly, never as part of a statement's text;
// an entry that fails to load leaves nothing behind.
#include <algorithm>

#include "journal/frmJournalDetails.h"
#include "linking/frmcancell.h"
#include "linking_fixture.h"

namespace linkingtest {
namespace {

namespace det = linking::det;

// ASCII only, so that its 4,000 characters are 4,000 bytes; no blank at either end, since
// texts are trimmed on their way in.
std::string longText() {
    const std::string unit = "O'Neil said \"stop\"; -- then /* nothing */ ";
    std::string s;
    while (s.size() < 4000) s += unit;
    s.resize(4000);
    s.back() = 'Z';
    return s;
}

// What every free text is tried with.
std::vector<std::string> hostileTexts() {
    return {"O'Brien's advance", "x', Remarks='changed', Cancelled=0 where 1=1 --",
            "a; delete from paPayAccLinkHeader; -- \"not\" /* a comment */",
            "Zürich – Ærøskøbing, 東京, Łódź", longText()};
}

std::string withoutApostrophes(std::string s) {
    s.erase(std::remove(s.begin(), s.end(), '\''), s.end());
    return s;
}

class BadInputTest : public LinkingTest {
protected:
    void SetUp() override {
        LinkingTest::SetUp();
        raw->execute("update psettings set noofpreviousdays=0 where companyid=1");
    }

    bool linkingOpen() const { return module->isLoaded("frmPayrollAccountsLinking"); }
    int newestEntry() { return count("select max(TransID) from paPayAccLinkHeader where CompanyID=1"); }

    // Selects the entry's browser row and presses Delete, answering Yes.
    linking::frmcancell& openCancel(int transId) {
        const int row = browserRow(transId);
        EXPECT_GT(row, 0) << "entry " << transId << " not in the browser";
        browser().flexMaster.userSelectCell(row, 0);
        toolkit.answers = {ui::vbYes};
        browser().CmdDelete.userClick();
        return module->frmcancell();
    }

    bool statementsContain(const std::string& text) const {
        for (const auto& s : trace->statements())
            if (s.find(text) != std::string::npos) return true;
        return false;
    }
};

TEST_F(BadInputTest, RemarksReachTheHeaderExactlyAsTypedOrPasted) {
    const auto texts = hostileTexts();
    const std::string before =
        rows("select CompanyID, TransID, Remarks, Cancelled from paPayAccLinkHeader order by 1, 2");
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
        EXPECT_EQ(scalar("select Remarks from paPayAccLinkHeader where CompanyID=1 and TransID=" +
                         std::to_string(newestEntry()))
                      .joinText(),
                  texts[i]);
        EXPECT_FALSE(statementsContain(texts[i])) << "the remarks went into a statement's text";
    }
    // Editing binds the remarks too.
    const int last = newestEntry();
    auto& f = openEdit(last);
    f.txtRemarks.userPaste(texts[1]);
    f.cmdOk.userClick();
    ASSERT_FALSE(linkingOpen()) << lastMessage();
    EXPECT_EQ(
        scalar("select Remarks from paPayAccLinkHeader where CompanyID=1 and TransID=" + std::to_string(last))
            .joinText(),
        texts[1]);
    // Nothing else changed: the entries there were, and one new entry per text.
    EXPECT_EQ(
        rows("select CompanyID, TransID, Remarks, Cancelled from paPayAccLinkHeader where TransID<" +
             std::to_string(last - static_cast<int>(texts.size()) + 1) + " or CompanyID<>1 order by 1, 2"),
        before);
    EXPECT_EQ(count("select count(*) from paPayAccLinkHeader where CompanyID=1 and TransID>=" +
                    std::to_string(last - static_cast<int>(texts.size()) + 1)),
              static_cast<int>(texts.size()));
    EXPECT_TRUE(toolkit.errors.empty());
}

TEST_F(BadInputTest, CancellationReasonIsStoredAsTypedOrPastedAndTouchesOnlyItsEntry) {
    const auto texts = hostileTexts();
    for (size_t i = 0; i < texts.size(); ++i)
        raw->execute(
            "insert into paPayAccLinkHeader (CompanyID, TransID, DepartmentID, TransNo, TransDate, "
            "TransType, Remarks, Cancelled) values (1, " +
            std::to_string(601 + i) + ", 9, 'PAL/" + std::to_string(601 + i) +
            "', '2026-11-01', 'P', 'r', 0)");
    const std::string others =
        "select CompanyID, TransID, Remarks, Cancelled, cancelremarks from paPayAccLinkHeader where TransID "
        "not between 601 and 700 order by 1, 2";
    const std::string othersBefore = rows(others);
    std::string expected;
    for (size_t i = 0; i < texts.size(); ++i) {
        const bool typed = i % 2 == 1;
        SCOPED_TRACE("text " + std::to_string(i) + (typed ? ", typed" : ", pasted"));
        auto& c = openCancel(601 + static_cast<int>(i));
        ASSERT_EQ(toolkit.topForm(), &c);
        if (typed)
            c.txtreason.userType(texts[i]);
        else
            c.txtreason.userPaste(texts[i]);
        c.cmdok.userClick();
        ASSERT_FALSE(module->isLoaded("frmcancell")) << lastMessage();
        // A typed apostrophe never arrives; a pasted one is kept.
        expected +=
            std::to_string(601 + i) + "|1|" + (typed ? withoutApostrophes(texts[i]) : texts[i]) + "|\n";
        EXPECT_EQ(
            rows("select TransID, Cancelled, cancelremarks from paPayAccLinkHeader where CompanyID=1 and "
                 "TransID between 601 and 700 and Cancelled=1 order by TransID"),
            expected);
        EXPECT_EQ(count("select count(*) from paPayAccLinkHeader where TransID between 601 and 700 and "
                        "Cancelled=0 and cancelremarks is null"),
                  static_cast<int>(texts.size() - i - 1));
        EXPECT_EQ(rows(others), othersBefore);
    }
    EXPECT_TRUE(toolkit.errors.empty());
}

}  // namespace
}  // namespace linkingtest
