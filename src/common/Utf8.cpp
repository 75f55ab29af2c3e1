#include "common/Utf8.h"

#include <cstdint>
#include <cstdio>

namespace common {

namespace {

bool continuation(unsigned char b) { return (b & 0xC0) == 0x80; }

// The length of the well-formed character at text[pos], or 0 when the bytes there are not
// one (a stray continuation byte, an overlong form, a surrogate, past U+10FFFF, cut short).
size_t wellFormed(std::string_view text, size_t pos) {
    const auto at = [&](size_t i) { return static_cast<unsigned char>(text[pos + i]); };
    const size_t left = text.size() - pos;
    const unsigned char b = at(0);
    if (b < 0x80) return 1;
    size_t n = 0;
    unsigned char lo = 0x80, hi = 0xBF;  // the range of the second byte
    if (b >= 0xC2 && b <= 0xDF) {
        n = 2;
    } else if (b >= 0xE0 && b <= 0xEF) {
        n = 3;
        if (b == 0xE0) lo = 0xA0;
        if (b == 0xED) hi = 0x9F;
    } else if (b >= 0xF0 && b <= 0xF4) {
        n = 4;
        if (b == 0xF0) lo = 0x90;
        if (b == 0xF4) hi = 0x8F;
    } else {
        return 0;
    }
    if (left < n || at(1) < lo || at(1) > hi) return 0;
    for (size_t i = 2; i < n; ++i)
        if (!continuation(at(i))) return 0;
    return n;
}

}  // namespace

size_t utf8CharLength(std::string_view text, size_t pos) {
    return pos < text.size() ? wellFormed(text, pos) : 0;
}

size_t utf8Length(std::string_view text) {
    size_t n = 0;
    for (unsigned char b : text)
        if (!continuation(b)) ++n;
    return n;
}

size_t utf8Offset(std::string_view text, size_t index) {
    size_t pos = 0;
    for (; pos < text.size() && index > 0; --index) {
        ++pos;
        while (pos < text.size() && continuation(static_cast<unsigned char>(text[pos]))) ++pos;
    }
    return pos;
}

std::string validUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t pos = 0; pos < text.size();) {
        if (size_t n = wellFormed(text, pos); n > 0) {
            out.append(text.substr(pos, n));
            pos += n;
        } else {
            out += "\xEF\xBF\xBD";
            ++pos;
        }
    }
    return out;
}

std::string utf8Encode(char32_t c) {
    std::string out;
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
    return out;
}

char32_t utf8Next(std::string_view text, size_t& pos) {
    const auto b = static_cast<unsigned char>(text[pos++]);
    if (b < 0x80) return b;
    int more = b >= 0xF0 ? 3 : b >= 0xE0 ? 2 : 1;
    char32_t c = b & (0x3F >> more);
    for (; more > 0 && pos < text.size(); --more)
        c = (c << 6) | (static_cast<unsigned char>(text[pos++]) & 0x3F);
    return c;
}

std::string terminalText(std::string_view text, std::string_view keep) {
    std::string out;
    out.reserve(text.size());
    char escape[12];
    for (size_t pos = 0; pos < text.size();) {
        const size_t n = wellFormed(text, pos);
        const auto b = static_cast<unsigned char>(text[pos]);
        if (n == 0 || ((b < 0x20 || b == 0x7F) && keep.find(text[pos]) == std::string_view::npos)) {
            std::snprintf(escape, sizeof escape, "\\x%02X", b);
            out += escape;
            ++pos;
        } else if (n == 2 && b == 0xC2 && static_cast<unsigned char>(text[pos + 1]) < 0xA0) {
            std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned char>(text[pos + 1]));
            out += escape;
            pos += 2;
        } else {
            out.append(text.substr(pos, n));
            pos += n;
        }
    }
    return out;
}

std::u16string toUtf16(std::string_view text) {
    const std::string valid = validUtf8(text);
    std::u16string out;
    out.reserve(valid.size());
    for (size_t pos = 0; pos < valid.size();) {
        char32_t c = utf8Next(valid, pos);
        if (c >= 0x10000) {
            c -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (c >> 10));
            out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
        } else {
            out += static_cast<char16_t>(c);
        }
    }
    return out;
}

std::string fromUtf16(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF)
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
        out += utf8Encode(c);  // a lone surrogate becomes U+FFFD
    }
    return out;
}

size_t utf16Length(std::string_view text) {
    size_t n = 0;
    for (unsigned char b : text) n += continuation(b) ? 0 : b >= 0xF0 ? 2 : 1;
    return n;
}

}  // namespace common
