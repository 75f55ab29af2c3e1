#pragma once
// Texts are UTF-8 everywhere in the models. Editing counts characters (code points), never
// bytes, so that no edit can cut a character in half.
#include <cstddef>
#include <string>
#include <string_view>

namespace common {

// The number of characters of a valid UTF-8 text.
size_t utf8Length(std::string_view text);
// The byte offset at which character number index starts (the text's size past its end).
size_t utf8Offset(std::string_view text, size_t index);
// The text with every byte that does not belong to a well-formed character replaced by
// U+FFFD, so what reaches the database is always valid UTF-8.
std::string validUtf8(std::string_view text);
// One character in UTF-8; a surrogate or a value past U+10FFFF becomes U+FFFD.
std::string utf8Encode(char32_t c);
// The length in bytes of the well-formed character at text[pos], 0 when the bytes there form none.
size_t utf8CharLength(std::string_view text, size_t pos);
// Decodes the character at text[pos] (the text must be valid) and moves pos past it.
char32_t utf8Next(std::string_view text, size_t& pos);
// The text as it may go to a terminal: control characters (C0 but those in keep, DEL, C1)
// and bytes that form no character are written as \xNN or \uNNNN, so a name or remark can
// never move the cursor, recolour the screen or send the terminal a command.
std::string terminalText(std::string_view text, std::string_view keep = {});

// UTF-16, as SQL Server counts lengths and the wide ODBC functions carry text. Bytes that form
// no character, and lone surrogates coming back, become U+FFFD.
std::u16string toUtf16(std::string_view text);
std::string fromUtf16(std::u16string_view text);
// The number of UTF-16 units of a valid UTF-8 text: a character past U+FFFF takes two.
size_t utf16Length(std::string_view text);

}  // namespace common
