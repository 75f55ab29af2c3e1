#pragma once
// All that a screen asks of its surroundings. The Qt front end, the script runner and the
// test toolkit implement it.
#include <cstdint>
#include <string>

#include "common/Error.h"

namespace report {
struct Voucher;
}

namespace ui {

class Form;
class Control;
class Menu;

// Message box styles and answers, with the classic values so that screens read as written.
inline constexpr int vbOKOnly = 0, vbOKCancel = 1, vbYesNoCancel = 3, vbYesNo = 4;
inline constexpr int vbCritical = 16, vbQuestion = 32, vbExclamation = 48, vbInformation = 64;
inline constexpr int vbDefaultButton1 = 0, vbDefaultButton2 = 256, vbDefaultButton3 = 512;
inline constexpr int vbOK = 1, vbCancel = 2, vbYes = 6, vbNo = 7;

struct MessageBoxRequest {
    std::string text;
    int style = vbOKOnly;  // buttons + icon + default button
    std::string title;
    int buttons() const { return style & 7; }
    int icon() const { return style & 0x70; }
    int defaultButton() const { return style & 0x300; }
};

class Toolkit {
public:
    virtual ~Toolkit() = default;
    // Shows the box and returns the answer (vbOK, vbYes, vbNo, ...).
    virtual int msgBox(const MessageBoxRequest& request) = 0;
    // Shows the form modally; returns when the form has been unloaded.
    virtual void showModal(Form& form) = 0;
    // Told by the forms' owner when a form has been loaded or unloaded (a modal loop ends).
    virtual void formLoaded(Form& form) = 0;
    virtual void formUnloaded(Form& form) = 0;
    // SendKeys: "{TAB}" moves the focus to the next control of the active form.
    virtual void sendKeys(const std::string& keys) = 0;
    // The hourglass pointer while long work runs.
    virtual void setBusy(bool busy) = 0;
    // Opens the help file; says so when it does not exist.
    virtual void showHelp(const std::string& helpFile) = 0;
    // Pops up a menu over the active form; returns when it closes (headless: at once, the
    // menu stays open for the next click).
    virtual void popupMenu(Form& form, Menu& menu) = 0;
    // An error that no handler caught: shown with its number and description; the session
    // goes on.
    virtual void showError(const common::Error& error) = 0;
    // A control took the focus (front ends move their focus along).
    virtual void focusChanged(Control& control) = 0;
    // Print: shows the voucher of a saved entry (read from the database by the screen) in a
    // print preview, from which the user prints it or saves it as PDF; returns when the
    // preview closes. The front end lays the voucher out and changes nothing in it.
    virtual void previewVoucher(const report::Voucher& voucher) = 0;
};

}  // namespace ui
