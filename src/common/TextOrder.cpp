#include "common/TextOrder.h"

#include <locale.h>
#include <wctype.h>

#include "common/Conv.h"
#include "common/Utf8.h"

namespace common {

namespace {

// The C library's Unicode tables, independent of the process's own locale setting.
locale_t unicodeCtype() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
    return locale;
}

}  // namespace

void foldCase(std::string_view text, std::string& out) {
    out.clear();
    const locale_t locale = unicodeCtype();
    for (size_t pos = 0; pos < text.size();) {
        const char c = text[pos];
        if (static_cast<unsigned char>(c) < 0x80) {
            out += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
            ++pos;
            continue;
        }
        const size_t n = utf8CharLength(text, pos);
        if (n == 0 || locale == static_cast<locale_t>(nullptr)) {
            out.append(text.substr(pos, n == 0 ? 1 : n));
            pos += n == 0 ? 1 : n;
            continue;
        }
        size_t next = pos;
        const char32_t ch = utf8Next(text, next);
        out += utf8Encode(static_cast<char32_t>(towlower_l(static_cast<wint_t>(ch), locale)));
        pos += n;
    }
}

std::string foldCase(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    foldCase(text, out);
    return out;
}

int compareNatural(std::string_view a, std::string_view b) {
    size_t i = 0, j = 0;
    int zeros = 0;  // the first difference in leading zeros, for a tie
    while (i < a.size() && j < b.size()) {
        if (IsDigit(a[i]) && IsDigit(b[j])) {
            const size_t startA = i, startB = j;
            while (i < a.size() && a[i] == '0') ++i;
            while (j < b.size() && b[j] == '0') ++j;
            const size_t digitsA = i, digitsB = j;
            while (i < a.size() && IsDigit(a[i])) ++i;
            while (j < b.size() && IsDigit(b[j])) ++j;
            // More significant digits make a larger number; as many compare digit by digit.
            if (i - digitsA != j - digitsB) return i - digitsA < j - digitsB ? -1 : 1;
            if (const int c = a.substr(digitsA, i - digitsA).compare(b.substr(digitsB, j - digitsB)); c != 0)
                return c < 0 ? -1 : 1;
            if (zeros == 0 && digitsA - startA != digitsB - startB)
                zeros = digitsA - startA < digitsB - startB ? -1 : 1;
            continue;
        }
        // UTF-8 bytes compare as their code points do.
        const auto x = static_cast<unsigned char>(a[i]), y = static_cast<unsigned char>(b[j]);
        if (x != y) return x < y ? -1 : 1;
        ++i, ++j;
    }
    if (i < a.size() || j < b.size()) return i < a.size() ? 1 : -1;
    return zeros;
}

PrefixMatch::PrefixMatch(std::string_view prefix) : folded_(foldCase(prefix)), length_(utf8Length(prefix)) {}

bool PrefixMatch::operator()(std::string_view text) {
    // Folding keeps the number of characters, not always of bytes: fold as many characters.
    foldCase(text.substr(0, utf8Offset(text, length_)), scratch_);
    return scratch_.compare(0, folded_.size(), folded_) == 0 && scratch_.size() >= folded_.size();
}

}  // namespace common
