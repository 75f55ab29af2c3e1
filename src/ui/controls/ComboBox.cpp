#include <cctype>

#include "common/Conv.h"
#include "common/TextOrder.h"
#include "common/Utf8.h"
#include "ui/Controls.h"
#include "ui/controls/Support.h"

namespace ui {

using namespace detail;

ComboBox::ComboBox(Form& f, std::string name, Control* container, Style style)
    : Control(f, std::move(name), Kind::ComboBox, container), style_(style) {}

void ComboBox::addItem(std::string text) {
    items_.push_back(Item{std::move(text), 0});
    changed(Change::Items, newIndex());
}

void ComboBox::clear() {
    items_.clear();
    listIndex_ = -1;
    text_.clear();
    changed(Change::Items);
}

const std::string& ComboBox::list(int index) const {
    if (index < 0 || index >= listCount()) {
        // Reading past the list gives an empty text, as the classic List property did.
        if (index >= -1) return emptyText();
        invalidIndex(typeName());
    }
    return items_[index].text;
}

int64_t ComboBox::itemData(int index) const {
    if (index < 0 || index >= listCount()) invalidIndex(typeName());
    return items_[index].data;
}

void ComboBox::setItemData(int index, int64_t data) {
    if (index < 0 || index >= listCount()) invalidIndex(typeName());
    items_[index].data = data;
    changed(Change::Items, index);
}

void ComboBox::setListIndex(int index) {
    if (index < -1 || index >= listCount()) invalidValue(typeName());
    if (index == listIndex_) return;
    listIndex_ = index;
    text_ = index >= 0 ? items_[index].text : std::string();
    changed(Change::Index, index);
    if (Click) Click();
}

void ComboBox::setText(std::string v) {
    if (style_ == Style::DropDownList) {
        // A drop-down list shows only its items: the text picks one, or none when empty.
        if (v.empty()) {
            setListIndex(-1);
            return;
        }
        for (int i = 0; i < listCount(); ++i)
            if (common::EqualsNoCase(items_[i].text, v)) {
                setListIndex(i);
                return;
            }
        throw common::Error(383, typeName(), "'Text' property is read-only");
    }
    if (v == text_) return;
    text_ = std::move(v);
    if (listIndex_ >= 0 && items_[listIndex_].text != text_) listIndex_ = -1;
    changed(Change::Text);
    if (Change) Change();
}

void ComboBox::setLocked(bool v) {
    if (locked_ == v) return;
    locked_ = v;
    changed(Change::Property);
}

void ComboBox::userSelect(int index) {
    if (!reachable() || locked_ || index < 0 || index >= listCount()) return;
    userEvent([this, index] {
        takeFocus(*this);
        listIndex_ = index;
        text_ = items_[index].text;
        changed(Change::Index, index);
        if (Click) Click();
    });
}

bool ComboBox::userSelectText(const std::string& text) {
    int found = -1;
    for (int i = 0; i < listCount() && found < 0; ++i)
        if (items_[i].text == text) found = i;
    for (int i = 0; i < listCount() && found < 0; ++i)
        if (common::EqualsNoCase(common::Trim(items_[i].text), common::Trim(text))) found = i;
    if (found < 0) return false;
    userSelect(found);
    return true;
}

void ComboBox::userKey(int16_t keyAscii) { typeKey(keyAscii, characterOf(keyAscii)); }

void ComboBox::userType(const std::string& text) {
    typeEach(text, [this](int16_t keyAscii, const std::string& character) { typeKey(keyAscii, character); });
}

void ComboBox::typeKey(int16_t keyAscii, const std::string& character) {
    if (!reachable()) return;
    userEvent([this, keyAscii, &character] {
        takeFocus(*this);
        int16_t shift = 0;
        int16_t code = keyCodeOf(keyAscii, shift);
        if (KeyDown) KeyDown(code, shift);
        int16_t k = keyAscii;
        if (!previewKeyPress(form(), k)) return;
        if (KeyPress) KeyPress(k);
        if (k == 0 || k == vbKeyReturn || k == vbKeyTab || locked_) return;
        if (style_ == Style::DropDownList) {
            // A letter moves to the next item that starts with it.
            if (k < 32) return;
            int n = listCount();
            for (int step = 1; step <= n; ++step) {
                int i = (listIndex_ + step + n) % n;
                if (!items_[i].text.empty() &&
                    std::toupper(static_cast<unsigned char>(items_[i].text[0])) == std::toupper(k)) {
                    if (i != listIndex_) {
                        listIndex_ = i;
                        text_ = items_[i].text;
                        changed(Change::Index, i);
                        if (Click) Click();
                    }
                    break;
                }
            }
            return;
        }
        // Backspace takes off the whole last character; a key KeyPress changed types its own.
        std::string next = text_;
        if (k == vbKeyBack) {
            if (!next.empty()) next.resize(common::utf8Offset(next, common::utf8Length(next) - 1));
        } else {
            next += k == keyAscii ? character : characterOf(k);
        }
        if (next == text_) return;
        text_ = std::move(next);
        if (listIndex_ >= 0 && items_[listIndex_].text != text_) listIndex_ = -1;
        changed(Change::Text);
        if (Change) Change();
    });
}

// The value StoreControlValues keeps and the comparison ControlsChanged makes.
std::string ComboBox::snapshot() const { return text(); }
bool ComboBox::differsFrom(const std::string& snapshot) const {
    return common::Trim(text()) != common::Trim(snapshot);
}

}  // namespace ui
