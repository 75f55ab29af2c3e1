#include "ui/Helpers.h"

#include <string>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Value.h"

namespace ui {

namespace {

// An option button's value as a number, as the classic Boolean converts: True is -1.
double optionNumber(const OptionButton& o) { return o.value() ? -1.0 : 0.0; }

}  // namespace

void SendTabOnEnter(Toolkit& toolkit, int16_t& keyCode) {
    if (keyCode == vbKeyReturn) toolkit.sendKeys("{TAB}");
}

void StoreControlValues(Form& form) {
    for (Control* c : form.controls()) {
        const std::string& type = c->typeName();
        if (type == "TextBox") {
            c->Tag = static_cast<TextBox*>(c)->text();
        } else if (type == "ComboBox") {
            c->Tag = static_cast<ComboBox*>(c)->text();
        } else if (type == "CheckBox") {
            c->Tag = std::to_string(static_cast<CheckBox*>(c)->value());
        } else if (type == "OptionButton") {
            c->Tag = common::NumberText(optionNumber(*static_cast<OptionButton*>(c)));
        } else if (type == "DTPicker") {
            c->Tag = common::generalDate(static_cast<DatePicker*>(c)->value());
        }
    }
}

bool ControlsChanged(Form& form) {
    for (Control* c : form.controls()) {
        const std::string& type = c->typeName();
        bool differs = false;
        if (type == "TextBox") {
            differs = common::Trim(static_cast<TextBox*>(c)->text()) != common::Trim(c->Tag);
        } else if (type == "ComboBox") {
            differs = common::Trim(static_cast<ComboBox*>(c)->text()) != common::Trim(c->Tag);
        } else if (type == "CheckBox") {
            differs = static_cast<CheckBox*>(c)->value() != common::Val(c->Tag);
        } else if (type == "OptionButton") {
            differs = optionNumber(*static_cast<OptionButton*>(c)) != common::Val(c->Tag);
        } else if (type == "DTPicker") {
            // Only the leading number of the formatted date counts (the day, as dates are
            // written day first): a new month on the same day is not a change.
            differs =
                common::Val(common::generalDate(static_cast<DatePicker*>(c)->value())) != common::Val(c->Tag);
        }
        if (differs) return true;
    }
    return false;
}

void RenumberRows(ListView& list) {
    // The counter is a byte: a long list overflows before any row is touched.
    uint8_t count = common::CByte(list.count());
    for (int n = 1; n <= count; ++n) list.setText(n, std::to_string(n));
}

double BalanceAmount(const ListView& postingDetails, int deptAmountColumn) {
    if (postingDetails.count() == 0) return 0;
    int16_t count = common::CInt(postingDetails.count());
    double sum = 0;
    for (int16_t row = 1; row <= count; ++row) {
        sum += common::Val(postingDetails.cell(row, deptAmountColumn));
        if (row == count) break;  // the 16-bit counter must not step past the last row
    }
    return sum;
}

bool TransIDInList(const ListView& transactions, int32_t id, int transIdColumn) {
    int32_t count = transactions.count();
    for (int32_t row = 1; row <= count; ++row)
        if (common::Value(transactions.cell(row, transIdColumn)).toInt32() == id) return true;
    return false;
}

}  // namespace ui
