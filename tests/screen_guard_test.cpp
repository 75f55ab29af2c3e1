// Text boxes that edit whole characters and refuse NUL, typed on the screens and through the
// component's entry as `payacclink script` runs it.
#include <algorithm>
#include <sstream>
#include <string>

#include "TestSupport.h"
#include "browser/FrmMaster.h"
#include "common/Utf8.h"
#include "data/TableNames.h"
#include "entry/qorPayrollAccounts.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "script/ScriptRunner.h"

namespace {

class ScreenGuardTest : public testsupport::ModuleTest {
protected:
    // Runs a script on the component as `payacclink script` does: its status, then its output.
    std::pair<int, std::string> script(const std::string& text) {
        entry::qorPayrollAccounts component(*module);
        component.strProjectKey = entry::kProjectKey;
        component.MsgboxTitle = module->session.msgTitle;
        component.ProcessDate = module->session.processDate;
        component.intUserID = module->session.userId;
        component.intCompanyID = 1;
        component.intInterfaceID = 60;
        component.setAdocon(trace);
        std::istringstream in(text);
        std::ostringstream out;
        script::ScriptRunner runner(toolkit, out);
        const int status = runner.run(in, [&] { component.Show(); });
        module->collect();
        return {status, out.str()};
    }
};

TEST_F(ScreenGuardTest, TextBoxesEditWholeCharacters) {
    data::AssignTableName(*trace, module->session.tables);
    auto& remarks = module->frmPayrollAccountsLinking().txtRemarks;
    const struct {
        std::string typed, afterBackspace, afterDelete, replaced;
    } cases[] = {
        // Arabic letters are two bytes each, the emoji four; "x" replaces characters 2 and 3.
        {"مرحبا", "مرحب", "رحب", "رx"},
        {"😀🎉✓", "😀🎉", "🎉", "🎉x"},
    };
    for (const auto& c : cases) {
        remarks.setText("");
        remarks.userType(c.typed);
        EXPECT_EQ(remarks.text(), c.typed);
        remarks.userKey(ui::vbKeyBack);
        EXPECT_EQ(remarks.text(), c.afterBackspace);
        remarks.setSelStart(0);
        remarks.userKeyDown(ui::vbKeyDelete);
        EXPECT_EQ(remarks.text(), c.afterDelete);
        remarks.setSelStart(1);
        remarks.setSelLength(2);
        remarks.userType("x");
        EXPECT_EQ(remarks.text(), c.replaced) << c.typed;
        EXPECT_EQ(common::validUtf8(remarks.text()), remarks.text()) << c.typed;
    }

    remarks.setText("");
    remarks.maxLength = 3;
    remarks.userType("😀😀😀😀");
    EXPECT_EQ(remarks.text(), "😀😀😀");
    remarks.userPaste("مرحبا");
    EXPECT_EQ(remarks.text(), "مرح");
    // Bytes that are no character never reach the model.
    remarks.userPaste("a\xC3");
    EXPECT_EQ(remarks.text(), "a\xEF\xBF\xBD");
    // An overlong "/" and an encoded surrogate are no characters either.
    for (const std::string bad : {"\xE0\x80\xAF", "\xED\xA0\x80"}) {
        remarks.userPaste("a" + bad);
        EXPECT_EQ(remarks.text().find(bad), std::string::npos);
        EXPECT_EQ(common::validUtf8(remarks.text()), remarks.text());
    }
    EXPECT_TRUE(toolkit.errors.empty());
}

TEST_F(ScreenGuardTest, NulIsRefusedWithAMessage) {
    // "#" stands for a NUL typed into the remarks: the text stays as it was.
    std::string text = R"(click cmdnew
type txtRemarks مرحبا
set txtRemarks a#b
expect-message This field cannot hold the character NUL (code 0), so the text was left as it was.
expect txtRemarks مرحبا
answer No
close
)";
    std::replace(text.begin(), text.end(), '#', '\0');
    const auto [status, out] = script(text);
    EXPECT_EQ(status, 0) << out;
    EXPECT_EQ(toolkit.messages.at(0).request.title, "Payroll Accounts Linking");
    EXPECT_EQ(toolkit.messages.at(0).request.style, ui::vbOKOnly + ui::vbInformation);
}

}  // namespace
