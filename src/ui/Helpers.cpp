#include "ui/Helpers.h"

#include <string>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Value.h"

namespace ui {

void SendTabOnEnter(Toolkit& toolkit, int16_t& keyCode) {
    if (keyCode == vbKeyReturn) toolkit.sendKeys("{TAB}");
}

void StoreControlValues(Form& form) {
    for (Control* c : form.controls())
        if (c->holdsValue()) c->Tag = c->snapshot();
}

bool ControlsChanged(Form& form) {
    for (Control* c : form.controls())
        if (c->holdsValue() && c->differsFrom(c->Tag)) return true;
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
