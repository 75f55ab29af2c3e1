#include "ui/Controls.h"
#include "ui/controls/Support.h"

namespace ui {

using namespace detail;

Label::Label(Form& f, std::string name, std::string caption, Control* container)
    : Control(f, std::move(name), Kind::Label, container) {
    setCaption(std::move(caption));
    setTabStop(false);
}

Frame::Frame(Form& f, std::string name, std::string caption, Control* container)
    : Control(f, std::move(name), Kind::Frame, container) {
    setCaption(std::move(caption));
    setTabStop(false);
}

CommandButton::CommandButton(Form& f, std::string name, std::string caption, Control* container)
    : Control(f, std::move(name), Kind::CommandButton, container) {
    setCaption(std::move(caption));
}

void CommandButton::userClick() {
    if (!reachable()) return;
    userEvent([this] {
        takeFocus(*this);
        if (Click) Click();
    });
}

}  // namespace ui
