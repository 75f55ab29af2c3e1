#include "ui/Headless.h"

#include <algorithm>
#include <filesystem>

#include "common/Conv.h"

namespace ui {

namespace {

std::string buttonsText(int buttons) {
    switch (buttons) {
        case vbOKOnly:
            return "OK";
        case vbOKCancel:
            return "OK/Cancel";
        case 2:
            return "Abort/Retry/Ignore";
        case vbYesNoCancel:
            return "Yes/No/Cancel";
        case vbYesNo:
            return "Yes/No";
        case 5:
            return "Retry/Cancel";
        default:
            return std::to_string(buttons);
    }
}

std::string answerText(int answer) {
    switch (answer) {
        case vbOK:
            return "OK";
        case vbCancel:
            return "Cancel";
        case 3:
            return "Abort";
        case 4:
            return "Retry";
        case 5:
            return "Ignore";
        case vbYes:
            return "Yes";
        case vbNo:
            return "No";
        default:
            return std::to_string(answer);
    }
}

// One transcript entry per line: line breaks inside a message are written as "\n".
std::string oneLine(const std::string& s) {
    std::string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\r') {
            if (i + 1 < s.size() && s[i + 1] == '\n') ++i;
            out += "\\n";
        } else if (s[i] == '\n') {
            out += "\\n";
        } else {
            out.push_back(s[i]);
        }
    }
    return out;
}

}  // namespace

Form* HeadlessToolkit::findForm(const std::string& name) const {
    for (auto it = stack_.rbegin(); it != stack_.rend(); ++it)
        if (common::EqualsNoCase((*it)->name(), name)) return *it;
    for (auto it = loaded_.rbegin(); it != loaded_.rend(); ++it)
        if (common::EqualsNoCase((*it)->name(), name)) return *it;
    return nullptr;
}

int HeadlessToolkit::msgBox(const MessageBoxRequest& request) {
    std::string line = "MSGBOX \"" + oneLine(request.title) + "\" \"" + oneLine(request.text) + "\" [" +
                       buttonsText(request.buttons()) + "]";
    int answer;
    if (request.buttons() == vbOKOnly) {
        answer = vbOK;
    } else if (!answers.empty()) {
        answer = answers.front();
        answers.pop_front();
    } else {
        messages.push_back({request, 0});
        transcript.push_back(line + " -> (no answer)");
        throw UnansweredMessageBox(request.text);
    }
    messages.push_back({request, answer});
    transcript.push_back(line + " -> " + answerText(answer));
    return answer;
}

void HeadlessToolkit::showModal(Form& form) {
    if (std::find(stack_.begin(), stack_.end(), &form) != stack_.end()) return;  // already shown
    stack_.push_back(&form);
    transcript.push_back("SHOW " + form.name() + ": " + oneLine(form.caption()));
    form.Form_Activate();
    if (onModal) onModal(form);
}

void HeadlessToolkit::formLoaded(Form& form) {
    if (std::find(loaded_.begin(), loaded_.end(), &form) == loaded_.end()) loaded_.push_back(&form);
}

void HeadlessToolkit::formUnloaded(Form& form) {
    transcript.push_back("UNLOAD " + form.name());
    loaded_.erase(std::remove(loaded_.begin(), loaded_.end(), &form), loaded_.end());
    if (focusForm_ == &form) focusForm_ = nullptr;
    if (openMenu && &openMenu->form() == &form) openMenu = nullptr;
    auto it = std::find(stack_.begin(), stack_.end(), &form);
    if (it == stack_.end()) return;
    bool wasTop = it + 1 == stack_.end();
    stack_.erase(it);
    // The form below a closed modal child becomes the active form again.
    if (wasTop && !stack_.empty()) stack_.back()->Form_Activate();
}

void HeadlessToolkit::sendKeys(const std::string& keys) {
    Form* form = topForm() ? topForm() : focusForm_;
    if (!form) return;
    std::string upper = common::UCase(keys);
    for (size_t pos = upper.find("{TAB}"); pos != std::string::npos; pos = upper.find("{TAB}", pos + 5)) {
        if (Control* next = form->nextInTabOrder()) next->setFocus();
    }
}

void HeadlessToolkit::setBusy(bool busy) { busy_ = busy; }

void HeadlessToolkit::showHelp(const std::string& helpFile) {
    lastHelpFile = helpFile;
    std::error_code ec;
    bool exists = std::filesystem::exists(helpFile, ec);
    transcript.push_back("HELP " + helpFile + (exists ? "" : " (not found)"));
}

void HeadlessToolkit::popupMenu(Form& form, Menu& menu) {
    (void)form;
    menu.open = true;
    openMenu = &menu;
}

void HeadlessToolkit::showError(const common::Error& error) {
    errors.push_back(error);
    transcript.push_back("ERROR " + std::to_string(error.number()) + ": " + oneLine(error.description()));
}

void HeadlessToolkit::focusChanged(Control& control) { focusForm_ = &control.form(); }

void HeadlessToolkit::previewVoucher(const report::Voucher& voucher) {
    previewedVouchers.push_back(voucher);
    transcript.push_back("PRINT PREVIEW " + voucher.entryNo + ": " + std::to_string(voucher.lines.size()) +
                         " lines");
}

}  // namespace ui
