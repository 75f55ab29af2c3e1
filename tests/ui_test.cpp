// The suite's keystroke check of amount boxes, on a small form of the test's own.
#include <gtest/gtest.h>

#include <string>

#include "suite/CommonModule.h"
#include "ui/Form.h"
#include "ui/Headless.h"

namespace {

using namespace ui;

class EntryForm : public Form {
public:
    explicit EntryForm(Toolkit& tk) : Form(tk, "frmEntry", "Entry") {}
    TextBox& txtRemarks = add<TextBox>("txtRemarks");
};

TEST(SuiteTest, TextValidateNumLetsThroughAmountsOnly) {
    HeadlessToolkit toolkit;
    suite::clsCommonGen gen;
    EntryForm f(toolkit);
    auto& box = f.txtRemarks;
    auto key = [&](const std::string& text, char k, int selStart = -1, int selLength = 0) {
        box.setText(text);
        box.setSelStart(selStart < 0 ? static_cast<int>(text.size()) : selStart);
        box.setSelLength(selLength);
        int16_t code = static_cast<int16_t>(k);
        gen.TextValidateNum(box, code, 20, 2);
        return code;
    };
    EXPECT_EQ(key("12", '.'), '.');
    EXPECT_EQ(key("12.5", '0'), '0');
    EXPECT_EQ(key("12.50", '1'), 0) << "a third decimal";
    EXPECT_EQ(key("12.50", '1', 0), '1') << "a digit before the point is fine";
    EXPECT_EQ(key("12.5", '.'), 0) << "a second point";
    EXPECT_EQ(key("1234", '.', 1), 0) << "the point would leave three decimals";
    EXPECT_EQ(key("0.00", '7', 0, 4), '7') << "the selection is replaced";
    EXPECT_EQ(key("12345678901234567890", '1'), 0) << "past twenty characters";
    for (char k : {'a', '-', ' '}) EXPECT_EQ(key("12", k), 0) << k;
    for (int k : {vbKeyBack, vbKeyReturn}) EXPECT_EQ(key("12.50", static_cast<char>(k)), k);

    // As the amount box uses it: typed keys that fail the filter never reach the text.
    box.KeyPress = [&](int16_t& k) { gen.TextValidateNum(box, k, 20, 2); };
    box.setText("");
    box.userType("1a2.3.45x6");
    EXPECT_EQ(box.text(), "12.34");
}

}  // namespace
