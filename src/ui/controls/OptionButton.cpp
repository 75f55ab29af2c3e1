#include "common/Conv.h"
#include "ui/Controls.h"
#include "ui/controls/Support.h"

namespace ui {

using namespace detail;

OptionButton::OptionButton(Form& f, std::string name, std::string caption, Control* container)
    : Control(f, std::move(name), Kind::OptionButton, container) {
    setCaption(std::move(caption));
}

void OptionButton::setValue(bool v) {
    if (v == value_) return;
    value_ = v;
    changed(Change::Value);
    if (!v) return;
    // Option buttons of one container form a group: one selected at a time.
    for (Control* c : form().controls()) {
        if (c == this || c->kind() != Kind::OptionButton || c->container() != container()) continue;
        auto* other = static_cast<OptionButton*>(c);
        if (other->value_) {
            other->value_ = false;
            other->changed(Change::Value);
        }
    }
    if (Click) Click();
}

void OptionButton::userSet(bool v) {
    // The user can select an option button, never clear one.
    if (!reachable() || !v) return;
    userEvent([this] {
        takeFocus(*this);
        setValue(true);
    });
}

void OptionButton::userKey(int16_t keyAscii) {
    if (!reachable()) return;
    userEvent([this, keyAscii] {
        takeFocus(*this);
        int16_t k = keyAscii;
        if (!previewKeyPress(form(), k)) return;
        if (KeyPress) KeyPress(k);
        if (k == 32) setValue(true);
    });
}

namespace {
// An option button's value as a number, as the classic Boolean converts: True is -1.
double optionNumber(const OptionButton& o) { return o.value() ? -1.0 : 0.0; }
}  // namespace

// The value StoreControlValues keeps and the comparison ControlsChanged makes.
std::string OptionButton::snapshot() const { return common::NumberText(optionNumber(*this)); }
bool OptionButton::differsFrom(const std::string& snapshot) const {
    return optionNumber(*this) != common::Val(snapshot);
}

}  // namespace ui
