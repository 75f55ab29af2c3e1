#include "common/Conv.h"
#include "ui/Controls.h"
#include "ui/controls/Support.h"

namespace ui {

using namespace detail;

CheckBox::CheckBox(Form& f, std::string name, std::string caption, Control* container)
    : Control(f, std::move(name), Kind::CheckBox, container) {
    setCaption(std::move(caption));
}

void CheckBox::setValue(int v) {
    if (v < 0 || v > 2) invalidValue(typeName());
    if (v == value_) return;
    value_ = v;
    changed(Change::Value);
    if (Click) Click();
}

void CheckBox::userSet(int v) {
    if (!reachable() || v < 0 || v > 1) return;
    userEvent([this, v] {
        takeFocus(*this);
        setValue(v);
    });
}

void CheckBox::userKey(int16_t keyAscii) {
    if (!reachable()) return;
    userEvent([this, keyAscii] {
        takeFocus(*this);
        int16_t k = keyAscii;
        if (!previewKeyPress(form(), k)) return;
        if (KeyPress) KeyPress(k);
        if (k == 32) setValue(value_ == 1 ? 0 : 1);
    });
}

// The value StoreControlValues keeps and the comparison ControlsChanged makes.
std::string CheckBox::snapshot() const { return std::to_string(value()); }
bool CheckBox::differsFrom(const std::string& snapshot) const { return value() != common::Val(snapshot); }

}  // namespace ui
