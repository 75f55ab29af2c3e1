#pragma once
// What the control kinds share: the classic toolkit's errors for a bad index or value, and
// the steps every user action takes (focus, the form's key preview, typed characters).
// Private to the control models' sources.
#include <cstdint>
#include <string>

#include "common/Error.h"
#include "common/Utf8.h"
#include "ui/Controls.h"
#include "ui/Form.h"

namespace ui::detail {

// The errors the classic controls raised for a bad index or value.
[[noreturn]] inline void invalidValue(const std::string& source) {
    throw common::Error(380, source, "Invalid property value");
}
[[noreturn]] inline void invalidIndex(const std::string& source) {
    throw common::Error(381, source, "Invalid property array index");
}
[[noreturn]] inline void outOfBounds(const std::string& source) {
    throw common::Error(35600, source, "Index out of bounds");
}

// The key code that goes with a typed character (KeyDown/KeyUp see codes, KeyPress sees
// characters): letters are their capital, the period and minus keys their own codes.
inline int16_t keyCodeOf(int16_t ascii, int16_t& shift) {
    shift = 0;
    if (ascii >= 'a' && ascii <= 'z') return static_cast<int16_t>(ascii - 32);
    if (ascii >= 'A' && ascii <= 'Z') {
        shift = 1;
        return ascii;
    }
    if (ascii == '.') return 190;
    if (ascii == '-') return 189;
    return ascii;
}

inline const std::string& emptyText() {
    static const std::string empty;
    return empty;
}

inline bool isCharacterKey(int16_t k) { return k == vbKeyBack || k == vbKeyReturn || k == 27 || k == 32; }

// A user action first moves the focus to the control, as a click or a keystroke does.
inline void takeFocus(Control& c) {
    if (!c.hasFocus() && c.tabStop()) c.setFocus();
}
// With KeyPreview the form sees a key press before the control; 0 cancels it.
inline bool previewKeyPress(Form& f, int16_t& k) {
    if (f.keyPreview) f.Form_KeyPress(k);
    return k != 0;
}
// A code beyond ASCII stands for that character (the classic KeyAscii of a code page).
inline std::string characterOf(int16_t keyAscii) {
    const auto code = static_cast<char32_t>(static_cast<uint16_t>(keyAscii));
    return code < 0x80 ? std::string(1, static_cast<char>(code)) : common::utf8Encode(code);
}
// Text typed a key per character: the key's code (a '?' beyond 16 bits, as the classic
// KeyAscii has it) and the whole character, whatever its length in UTF-8.
template <class TypeKey>
void typeEach(const std::string& text, TypeKey&& typeKey) {
    const std::string valid = common::validUtf8(text);
    for (size_t pos = 0; pos < valid.size();) {
        const size_t at = pos;
        const char32_t c = common::utf8Next(valid, pos);
        typeKey(static_cast<int16_t>(c < 0x8000 ? c : U'?'), valid.substr(at, pos - at));
    }
}

}  // namespace ui::detail
