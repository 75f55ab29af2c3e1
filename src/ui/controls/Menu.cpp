#include "ui/Controls.h"
#include "ui/controls/Support.h"

namespace ui {

using namespace detail;

MenuItem::MenuItem(Form& f, Menu& menu, std::string name, std::string caption)
    : Control(f, std::move(name), Kind::MenuItem, &menu), menu_(menu) {
    setCaption(std::move(caption));
    setTabStop(false);
    menu.items.push_back(this);
}

void MenuItem::userClick() {
    menu_.open = false;
    if (!visible() || !enabled()) return;
    userEvent([this] {
        if (Click) Click();
    });
}

Menu::Menu(Form& f, std::string name, std::string caption)
    : Control(f, std::move(name), Kind::Menu, nullptr) {
    setCaption(std::move(caption));
    setTabStop(false);
}

}  // namespace ui
