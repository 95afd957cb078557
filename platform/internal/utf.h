// UTF-8 and UTF-16. Internal to the layer.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// The bytes of one character; a value that is none gives U+FFFD.
std::string Utf8FromCodePoint(char32_t c);

// Takes one character off the front. A byte or unit that begins none comes back as the lone
// surrogate or, for a byte, as 0xDC00 + the byte, which is no character either.
char32_t NextCodePoint(std::string_view& utf8);
char32_t NextCodePoint(std::u16string_view& utf16);

bool IsUtf8(std::string_view text);
bool IsUtf16(std::u16string_view text);

// Lossless for any bytes: what isn't UTF-8 becomes lone surrogates, and those the bytes again.
std::u16string Utf16FromBytes(std::string_view bytes);
std::string BytesFromUtf16(std::u16string_view utf16);

}  // namespace platform
