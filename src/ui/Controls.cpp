#include "ui/Controls.h"

#include <algorithm>

#include "ui/ControlKinds.h"
#include "ui/Form.h"

namespace ui {

Control::Control(Form& form, std::string name, Kind kind, Control* container)
    : form_(form), name_(std::move(name)), kind_(kind), container_(container) {}

const std::string& Control::typeName() const { return traitsOf(kind_).typeName; }

bool Control::holdsValue() const { return traitsOf(kind_).snapshot != nullptr; }

std::string Control::snapshot() const {
    const auto& traits = traitsOf(kind_);
    return traits.snapshot ? traits.snapshot(*this) : std::string();
}

bool Control::differsFrom(const std::string& snapshot) const {
    const auto& traits = traitsOf(kind_);
    return traits.differsFrom && traits.differsFrom(*this, snapshot);
}

Control::~Control() = default;

void Control::setEnabled(bool v) {
    if (enabled_ == v) return;
    enabled_ = v;
    changed(Change::Property);
}

void Control::setVisible(bool v) {
    if (visible_ == v) return;
    visible_ = v;
    changed(Change::Property);
}

bool Control::reachable() const {
    for (const Control* c = this; c; c = c->container_)
        if (!c->enabled_ || !c->visible_) return false;
    return true;
}

std::string Control::unreachableReason() const {
    for (const Control* c = this; c; c = c->container_) {
        if (c->enabled_ && c->visible_) continue;
        const std::string state = c->visible_ ? "disabled" : "hidden";
        return c == this ? name_ + " is " + state : name_ + " is in " + c->name_ + ", which is " + state;
    }
    return {};
}

void Control::setCaption(std::string v) {
    if (caption_ == v) return;
    caption_ = std::move(v);
    changed(Change::Property);
}

void Control::setToolTipText(std::string v) {
    if (toolTip_ == v) return;
    toolTip_ = std::move(v);
    changed(Change::Property);
}

void Control::setFocus() {
    // A control the user cannot reach cannot hold the focus; the request is dropped rather
    // than raised so that a handler's last "put the focus back" step never fails.
    if (!reachable()) return;
    Control* previous = form_.activeControl();
    if (previous == this) return;
    form_.setActiveControl(this);
    if (previous && previous->LostFocus) previous->LostFocus();
    form_.toolkit().focusChanged(*this);
    if (GotFocus) GotFocus();
}

bool Control::hasFocus() const { return form_.activeControl() == this; }

int Control::addListener(Listener l) {
    int id = nextListener_++;
    listeners_.emplace_back(id, std::move(l));
    return id;
}

void Control::removeListener(int id) {
    auto it = std::find_if(listeners_.begin(), listeners_.end(), [id](auto& p) { return p.first == id; });
    if (it != listeners_.end()) listeners_.erase(it);
}

void Control::changed(Change c, int row, int col) {
    // By index: a listener may add or remove listeners while being told.
    for (size_t i = 0; i < listeners_.size(); ++i) {
        auto l = listeners_[i].second;
        if (l) l(*this, c, row, col);
    }
}

void Control::userEvent(const std::function<void()>& fn) { form_.userEvent(fn); }

}  // namespace ui
