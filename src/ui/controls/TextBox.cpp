#include <algorithm>

#include "common/Conv.h"
#include "common/Utf8.h"
#include "ui/Controls.h"
#include "ui/controls/Support.h"

namespace ui {

using namespace detail;

TextBox::TextBox(Form& f, std::string name, Control* container)
    : Control(f, std::move(name), Kind::TextBox, container) {}

int TextBox::length() const { return static_cast<int>(common::utf8Length(text_)); }

size_t TextBox::fitting(const std::string& text) const {
    if (!maxLengthInUtf16) return common::utf8Offset(text, static_cast<size_t>(maxLength));
    size_t units = 0, pos = 0;
    while (pos < text.size()) {
        size_t next = pos;
        units += common::utf8Next(text, next) >= 0x10000 ? 2 : 1;
        if (units > static_cast<size_t>(maxLength)) break;
        pos = next;
    }
    return pos;
}

void TextBox::setText(std::string v) {
    v = common::validUtf8(v);
    if (v == text_) return;
    text_ = std::move(v);
    selStart_ = 0;
    selLength_ = 0;
    changed(Change::Text);
    if (Change) Change();
}

void TextBox::setLocked(bool v) {
    if (locked_ == v) return;
    locked_ = v;
    changed(Change::Property);
}

void TextBox::setSelStart(int v) {
    selStart_ = std::clamp(v, 0, length());
    selLength_ = std::min(selLength_, length() - selStart_);
    changed(Change::Selection);
}

void TextBox::setSelLength(int v) {
    selLength_ = std::clamp(v, 0, length() - selStart_);
    changed(Change::Selection);
}

bool TextBox::refuseNul(const std::string& text) {
    if (text.find('\0') == std::string::npos) return false;
    MessageBoxRequest box;
    box.text = kNulRefused;
    box.style = vbOKOnly + vbInformation;
    box.title = form().messageTitle;
    form().toolkit().msgBox(box);
    return true;
}

void TextBox::userKey(int16_t keyAscii) { typeKey(keyAscii, characterOf(keyAscii)); }

void TextBox::typeKey(int16_t keyAscii, const std::string& character) {
    if (!reachable()) return;
    userEvent([this, keyAscii, &character] {
        if (!hasFocus()) {
            // Clicking into a box puts the caret after its text; GotFocus may select it all.
            selStart_ = length();
            selLength_ = 0;
            setFocus();
        }
        int16_t shift = 0;
        int16_t code = keyCodeOf(keyAscii, shift);
        if (KeyDown) KeyDown(code, shift);
        int16_t k = keyAscii;
        if (previewKeyPress(form(), k) && KeyPress) KeyPress(k);
        if (k != 0 && k != vbKeyReturn && k != vbKeyTab && !locked_) {
            const int chars = length();
            int start = std::clamp(selStart_, 0, chars);
            int len = std::clamp(selLength_, 0, chars - start);
            if (k == vbKeyBack && len == 0 && start > 0) {
                --start;
                len = 1;
            }
            std::string typed;
            if (k != vbKeyBack)
                typed = k == keyAscii ? character : common::utf8Encode(static_cast<uint16_t>(k));
            const size_t from = common::utf8Offset(text_, static_cast<size_t>(start));
            const size_t to = common::utf8Offset(text_, static_cast<size_t>(start + len));
            std::string next = text_.substr(0, from) + typed + text_.substr(to);
            if (!typed.empty()) ++start;
            bool fits = maxLength <= 0 || fitting(next) == next.size() || k == vbKeyBack;
            if (fits && next != text_) {
                text_ = std::move(next);
                selStart_ = start;
                selLength_ = 0;
                changed(Change::Text);
                if (Change) Change();
            }
        }
        if (KeyUp) KeyUp(code, shift);
    });
}

void TextBox::userType(const std::string& text) {
    if (reachable() && refuseNul(text)) return;
    typeEach(text, [this](int16_t keyAscii, const std::string& character) { typeKey(keyAscii, character); });
}

void TextBox::userPaste(const std::string& text) {
    if (!reachable()) return;
    userEvent([this, &text] {
        takeFocus(*this);
        if (locked_ || refuseNul(text)) return;
        std::string v = common::validUtf8(text);
        if (maxLength > 0) v.resize(fitting(v));
        if (v == text_) return;
        text_ = std::move(v);
        selStart_ = length();
        selLength_ = 0;
        changed(Change::Text);
        if (Change) Change();
    });
}

void TextBox::userKeyDown(int16_t keyCode) {
    if (!reachable()) return;
    userEvent([this, keyCode] {
        takeFocus(*this);
        int16_t code = keyCode;
        if (KeyDown) KeyDown(code, 0);
        if (code == vbKeyDelete && !locked_) {
            const int chars = length();
            int start = std::clamp(selStart_, 0, chars);
            int len = std::clamp(selLength_, 0, chars - start);
            if (len == 0 && start < chars) len = 1;
            if (len > 0) {
                const size_t from = common::utf8Offset(text_, static_cast<size_t>(start));
                text_.erase(from, common::utf8Offset(text_, static_cast<size_t>(start + len)) - from);
                selStart_ = start;
                selLength_ = 0;
                changed(Change::Text);
                if (Change) Change();
            }
        }
        if (KeyUp) KeyUp(code, 0);
    });
}

// The value StoreControlValues keeps and the comparison ControlsChanged makes.
std::string TextBox::snapshot() const { return text(); }
bool TextBox::differsFrom(const std::string& snapshot) const {
    return common::Trim(text()) != common::Trim(snapshot);
}

}  // namespace ui
