#include "ui/Form.h"

#include <algorithm>

#include "common/Conv.h"

namespace ui {

Form::Form(Toolkit& toolkit, std::string name, std::string caption)
    : toolkit_(toolkit), name_(std::move(name)), caption_(std::move(caption)) {}

Form::~Form() {
    // Controls go before the form's other members; none of them raises anything on the way.
    active_ = nullptr;
    order_.clear();
    owned_.clear();
}

void Form::setCaption(std::string v) { caption_ = std::move(v); }

Control* Form::find(const std::string& name) const {
    for (Control* c : order_)
        if (c->name() == name) return c;
    // Control names are not case-sensitive in the classic toolkit.
    for (Control* c : order_)
        if (common::EqualsNoCase(c->name(), name)) return c;
    return nullptr;
}

Control* Form::nextInTabOrder() const {
    if (order_.empty()) return nullptr;
    size_t n = order_.size();
    size_t start = n - 1;
    if (active_) {
        auto it = std::find(order_.begin(), order_.end(), active_);
        if (it != order_.end()) start = static_cast<size_t>(it - order_.begin());
    }
    for (size_t step = 1; step <= n; ++step) {
        Control* c = order_[(start + step) % n];
        if (c->tabStop() && c->reachable()) return c;
    }
    return nullptr;
}

bool Form::unload(int unloadMode) {
    int cancel = 0;
    Form_QueryUnload(cancel, unloadMode);
    if (cancel) return false;
    Form_Unload(cancel);
    if (cancel) return false;
    loaded = false;
    // The owner may move this form out of its slot; the object itself stays alive.
    if (unloader) unloader(*this, unloadMode);
    toolkit_.formUnloaded(*this);
    return true;
}

void Form::userClose() {
    userEvent([this] { unload(vbFormControlMenu); });
}

void Form::userKeyPress(int16_t keyAscii) {
    userEvent([this, keyAscii] {
        int16_t k = keyAscii;
        Form_KeyPress(k);
    });
}

void Form::userEvent(const std::function<void()>& fn) {
    try {
        fn();
    } catch (const common::Error& e) {
        toolkit_.showError(e);
    }
}

}  // namespace ui
