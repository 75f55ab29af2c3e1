#pragma once
// Everything the core does differently per control kind, in one table: the classic type
// name, the snapshot that "Save Changes?" compares, and what each of the script's user
// actions does to the kind. traitsOf names every Kind in one switch, so a kind added to the
// enum and not to the table does not compile; an action a kind does not take is left null,
// and the script says the kind takes no such action.
#include <string>

#include "ui/UserActions.h"

namespace ui {

// What a user action is given: the name the script used for the control, the rest of the
// line or the number it gave, and the front end that presses buttons.
struct ActionInput {
    const std::string& name;
    const std::string& text;
    int number;
    UserActions::Host& host;
};
using Action = void (*)(Control&, const ActionInput&);

struct KindTraits {
    std::string typeName;  // "TextBox", "DTPicker", "MSHFlexGrid": as the classic toolkit named it
    // Shown in a pop-up menu: reached while its menu is open, not through the form's layout.
    bool poppedUp = false;
    // The value StoreControlValues keeps in the Tag, and whether the control differs from it
    // now; null for the kinds a user does not edit.
    std::string (*snapshot)(const Control&) = nullptr;
    bool (*differsFrom)(const Control&, const std::string& snapshot) = nullptr;
    // The script's actions (UserActions): click, set, type, key (number: the code), check
    // (number: 0 or 1), dblclick, popup.
    Action click = nullptr, set = nullptr, type = nullptr, key = nullptr, check = nullptr, dblclick = nullptr,
           popup = nullptr;
};

const KindTraits& traitsOf(Kind kind);

}  // namespace ui
