#include "ui/ControlKinds.h"

#include <stdexcept>

#include "common/DateTime.h"
#include "ui/Form.h"

namespace ui {

namespace {

[[noreturn]] void fail(const std::string& message) { throw ActionFailed{message}; }

template <class T>
std::string snapshotOf(const Control& c) {
    return static_cast<const T&>(c).snapshot();
}
template <class T>
bool differs(const Control& c, const std::string& snapshot) {
    return static_cast<const T&>(c).differsFrom(snapshot);
}
// The snapshot pair of a kind the user edits.
#define PAYACC_SNAPSHOT(T) .snapshot = snapshotOf<T>, .differsFrom = differs<T>

template <class T>
T& as(Control& c) {
    return static_cast<T&>(c);
}

// Keys that do not type a character: they reach a text box as a key down only.
bool isNavigationKey(int code) {
    return (code >= 33 && code <= 40) || code == 45 || code == vbKeyDelete || (code >= 112 && code <= 123);
}

void noItem(const ActionInput& in) { fail("no item \"" + quoteLine(in.text) + "\" in " + in.name); }

KindTraits label() { return {.typeName = "Label"}; }

KindTraits frame() { return {.typeName = "Frame"}; }

KindTraits commandButton() {
    return {.typeName = "CommandButton",
            .click = [](Control& c, const ActionInput& in) { in.host.press(as<CommandButton>(c)); },
            .key =
                [](Control& c, const ActionInput& in) {
                    if (in.number == vbKeyReturn || in.number == 32) in.host.press(as<CommandButton>(c));
                }};
}

KindTraits textBox() {
    return {.typeName = "TextBox",
            PAYACC_SNAPSHOT(TextBox),
            .set = [](Control& c, const ActionInput& in) { as<TextBox>(c).userPaste(in.text); },
            .type = [](Control& c, const ActionInput& in) { as<TextBox>(c).userType(in.text); },
            .key =
                [](Control& c, const ActionInput& in) {
                    const auto k = static_cast<int16_t>(in.number);
                    if (isNavigationKey(in.number))
                        as<TextBox>(c).userKeyDown(k);
                    else
                        as<TextBox>(c).userKey(k);
                }};
}

KindTraits comboBox() {
    return {.typeName = "ComboBox",
            PAYACC_SNAPSHOT(ComboBox),
            .set =
                [](Control& c, const ActionInput& in) {
                    auto& combo = as<ComboBox>(c);
                    if (combo.style() == ComboBox::Style::DropDownList) {
                        if (!combo.userSelectText(in.text)) noItem(in);
                    } else if (!combo.locked()) {
                        c.form().userEvent([&] {
                            if (!combo.hasFocus()) combo.setFocus();
                            combo.setText(in.text);
                        });
                    }
                },
            .type = [](Control& c, const ActionInput& in) { as<ComboBox>(c).userType(in.text); },
            .key = [](Control& c,
                      const ActionInput& in) { as<ComboBox>(c).userKey(static_cast<int16_t>(in.number)); }};
}

KindTraits checkBox() {
    return {.typeName = "CheckBox",
            PAYACC_SNAPSHOT(CheckBox),
            .click = [](Control& c, const ActionInput&) { as<CheckBox>(c).userClick(); },
            .key = [](Control& c,
                      const ActionInput& in) { as<CheckBox>(c).userKey(static_cast<int16_t>(in.number)); },
            .check = [](Control& c, const ActionInput& in) { as<CheckBox>(c).userSet(in.number); }};
}

KindTraits optionButton() {
    return {
        .typeName = "OptionButton",
        PAYACC_SNAPSHOT(OptionButton),
        .click = [](Control& c, const ActionInput&) { as<OptionButton>(c).userSet(true); },
        .key = [](Control& c,
                  const ActionInput& in) { as<OptionButton>(c).userKey(static_cast<int16_t>(in.number)); },
        .check = [](Control& c, const ActionInput& in) { as<OptionButton>(c).userSet(in.number == 1); }};
}

KindTraits datePicker() {
    return {
        .typeName = "DTPicker",
        PAYACC_SNAPSHOT(DatePicker),
        .set =
            [](Control& c, const ActionInput& in) {
                auto d = common::parseDayMonthYear(in.text);
                if (!d) fail("'" + quoteLine(in.text) + "' is not a date (dd/MM/yyyy)");
                as<DatePicker>(c).userSet(*d);
            },
        .key = [](Control& c,
                  const ActionInput& in) { as<DatePicker>(c).userKeyDown(static_cast<int16_t>(in.number)); }};
}

KindTraits listView() {
    return {
        .typeName = "ListView",
        .key = [](Control& c,
                  const ActionInput& in) { as<ListView>(c).userKeyDown(static_cast<int16_t>(in.number)); },
        .dblclick = [](Control& c, const ActionInput&) { as<ListView>(c).userDblClick(); },
        .popup = [](Control& c, const ActionInput&) { as<ListView>(c).userRightClick(); }};
}

KindTraits flexGrid() {
    return {
        .typeName = "MSHFlexGrid",
        .key = [](Control& c,
                  const ActionInput& in) { as<FlexGrid>(c).userKeyDown(static_cast<int16_t>(in.number)); },
        .dblclick = [](Control& c, const ActionInput&) { as<FlexGrid>(c).userDblClick(); }};
}

KindTraits menu() { return {.typeName = "Menu", .poppedUp = true}; }

KindTraits menuItem() {
    return {.typeName = "Menu", .poppedUp = true, .click = [](Control& c, const ActionInput& in) {
                auto& item = as<MenuItem>(c);
                if (!item.menu().open) fail("menu " + item.menu().name() + " is not open");
                if (!item.visible() || !item.enabled()) fail(in.name + " is not shown in its menu");
                item.userClick();
            }};
}

#undef PAYACC_SNAPSHOT

template <KindTraits (*Make)()>
const KindTraits& once() {
    static const KindTraits traits = Make();
    return traits;
}

}  // namespace

const KindTraits& traitsOf(Kind kind) {
    // No default: a kind missing here is a compile error (-Wswitch, warnings as errors).
    switch (kind) {
        case Kind::Label:
            return once<label>();
        case Kind::Frame:
            return once<frame>();
        case Kind::CommandButton:
            return once<commandButton>();
        case Kind::TextBox:
            return once<textBox>();
        case Kind::ComboBox:
            return once<comboBox>();
        case Kind::CheckBox:
            return once<checkBox>();
        case Kind::OptionButton:
            return once<optionButton>();
        case Kind::DatePicker:
            return once<datePicker>();
        case Kind::ListView:
            return once<listView>();
        case Kind::FlexGrid:
            return once<flexGrid>();
        case Kind::Menu:
            return once<menu>();
        case Kind::MenuItem:
            return once<menuItem>();
    }
    throw std::logic_error("control kind " + std::to_string(static_cast<int>(kind)) + " has no traits");
}

}  // namespace ui
