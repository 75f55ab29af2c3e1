#include "common/Conv.h"
#include "common/DateTime.h"
#include "ui/Controls.h"
#include "ui/controls/Support.h"

namespace ui {

using namespace detail;

DatePicker::DatePicker(Form& f, std::string name, Control* container)
    : Control(f, std::move(name), Kind::DatePicker, container) {}

void DatePicker::setValue(const common::DateTime& v) {
    if (v == value_) return;
    value_ = v;
    changed(Change::Value);
    if (Change) Change();
}

void DatePicker::userSet(const common::DateTime& v) {
    if (!reachable()) return;
    userEvent([this, v] {
        takeFocus(*this);
        setValue(v);
    });
}

void DatePicker::userKeyDown(int16_t keyCode) {
    if (!reachable()) return;
    userEvent([this, keyCode] {
        takeFocus(*this);
        int16_t code = keyCode;
        if (KeyDown) KeyDown(code, 0);
    });
}

// The value StoreControlValues keeps and the comparison ControlsChanged makes.
std::string DatePicker::snapshot() const { return common::generalDate(value()); }
// Only the leading number of the formatted date counts (the day, as dates are written day
// first): a new month on the same day is not a change.
bool DatePicker::differsFrom(const std::string& snapshot) const {
    return common::Val(common::generalDate(value())) != common::Val(snapshot);
}

}  // namespace ui
