// Text boxes that edit whole characters and refuse NUL, typed and pasted on the screens.
#include <string>

#include "TestSupport.h"
#include "common/Utf8.h"
#include "data/TableNames.h"
#include "linking/frmPayrollAccountsLinking.h"

namespace {

class ScreenGuardTest : public testsupport::ModuleTest {};

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
    // A NUL, typed or pasted, is refused with a message and the text stays as it was.
    const std::string kept = remarks.text();
    remarks.userType(std::string("b\0c", 3));
    remarks.userPaste(std::string("b\0c", 3));
    EXPECT_EQ(remarks.text(), kept);
    ASSERT_EQ(toolkit.messages.size(), 2u);
    const ui::MessageBoxRequest& m = toolkit.messages[1].request;
    EXPECT_EQ(m.text, "This field cannot hold the character NUL (code 0), so the text was left as it was.");
    EXPECT_EQ(m.title + " " + std::to_string(m.style), "Payroll Accounts Linking 64");
    EXPECT_TRUE(toolkit.errors.empty());
}

}  // namespace
