#pragma once
// The toolkit's headless behaviour, shared by the GoogleTest suites and the script runner:
// message boxes answered from a queue and recorded, modal forms kept on a stack, focus
// moved by "{TAB}", a transcript of what a person would have seen.
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "report/Voucher.h"
#include "ui/Form.h"

namespace ui {

// A Yes/No (or OK/Cancel) box came up with no answer queued.
struct UnansweredMessageBox : std::runtime_error {
    explicit UnansweredMessageBox(const std::string& text) : std::runtime_error(text) {}
};

class HeadlessToolkit : public Toolkit {
public:
    struct ShownBox {
        MessageBoxRequest request;
        int answer = 0;
    };
    std::vector<ShownBox> messages;  // every box shown, in order
    std::deque<int> answers;         // answers for the next boxes that need one (vbYes, vbNo...)
    std::vector<std::string> transcript;
    std::vector<common::Error> errors;               // uncaught errors shown
    std::vector<report::Voucher> previewedVouchers;  // every voucher sent to print preview

    // Drives a form shown modally until it is unloaded. Without it, showModal returns at
    // once and the form stays open on the stack, to be driven by the test.
    std::function<void(Form&)> onModal;

    Form* topForm() const { return stack_.empty() ? nullptr : stack_.back(); }
    const std::vector<Form*>& stack() const { return stack_; }
    // Forms told loaded and not yet unloaded, in load order.
    const std::vector<Form*>& loadedForms() const { return loaded_; }
    // The loaded (or shown) form of that name, innermost modal form first; nullptr if none.
    Form* findForm(const std::string& name) const;
    bool busy() const { return busy_; }
    std::string lastHelpFile;
    Menu* openMenu = nullptr;
    const MessageBoxRequest* lastMessage() const {
        return messages.empty() ? nullptr : &messages.back().request;
    }

    int msgBox(const MessageBoxRequest& request) override;
    void showModal(Form& form) override;
    void formLoaded(Form& form) override;
    void formUnloaded(Form& form) override;
    void sendKeys(const std::string& keys) override;
    void setBusy(bool busy) override;
    void showHelp(const std::string& helpFile) override;
    void popupMenu(Form& form, Menu& menu) override;
    void showError(const common::Error& error) override;
    void focusChanged(Control& control) override;
    void previewVoucher(const report::Voucher& voucher) override;

private:
    std::vector<Form*> stack_;  // modal forms, innermost last
    std::vector<Form*> loaded_;
    Form* focusForm_ = nullptr;  // form of the control that took the focus last
    bool busy_ = false;
};

}  // namespace ui
