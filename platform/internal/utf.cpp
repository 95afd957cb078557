#include "platform/internal/utf.h"

#include <cstdint>

namespace platform {
namespace {

// What can't be written at all.
constexpr char32_t kReplacement = 0xFFFD;
// The lower half of the surrogates from 0xDC80 to 0xDCFF stands for bytes that are no UTF-8: no
// text has them alone, and so bytes go over into wide text and back without a loss.
constexpr char32_t kStrayByte = 0xDC00;  // plus 0x80 to 0xFF

constexpr bool IsHighSurrogate(char32_t c) {
    return c >= 0xD800 && c < 0xDC00;
}
constexpr bool IsLowSurrogate(char32_t c) {
    return c >= 0xDC00 && c < 0xE000;
}
constexpr bool IsSurrogate(char32_t c) {
    return c >= 0xD800 && c < 0xE000;
}
constexpr bool IsStrayByte(char32_t c) {
    return c >= kStrayByte + 0x80 && c <= kStrayByte + 0xFF;
}

// What the first byte of a character tells about it.
struct Lead {
    int trailing;       // bytes that follow
    char32_t bits;      // the character's bits in the first byte
    char32_t smallest;  // that needs this length
};

Lead ReadLead(std::uint8_t byte) {
    // Up to 7 bits in one byte, 11 in two, 16 in three, 21 in four.
    if (byte < 0x80)
        return {0, byte, 0};
    if (byte >= 0xC0 && byte < 0xE0)
        return {1, byte & 0x1Fu, 0x80};
    if (byte >= 0xE0 && byte < 0xF0)
        return {2, byte & 0x0Fu, 0x800};
    if (byte >= 0xF0 && byte < 0xF8)
        return {3, byte & 0x07u, 0x10000};
    return {-1, 0, 0};
}

}  // namespace

std::string Utf8FromCodePoint(char32_t c) {
    // Neither is a character.
    if (IsSurrogate(c) || c > 0x10FFFF)
        c = kReplacement;
    // Six bits of the character in each of the bytes that follow.
    const auto tail = [c](int shift) { return static_cast<char>(0x80 | ((c >> shift) & 0x3F)); };
    if (c < 0x80)
        return {static_cast<char>(c)};
    if (c < 0x800)
        return {static_cast<char>(0xC0 | c >> 6), tail(0)};
    if (c < 0x10000)
        return {static_cast<char>(0xE0 | c >> 12), tail(6), tail(0)};
    return {static_cast<char>(0xF0 | c >> 18), tail(12), tail(6), tail(0)};
}

char32_t NextCodePoint(std::string_view& utf8) {
    const auto first = static_cast<std::uint8_t>(utf8.front());
    const Lead lead = ReadLead(first);
    // Good stays true as long as every byte that should follow does.
    char32_t c = lead.bits;
    bool good = lead.trailing >= 0 && utf8.size() > static_cast<std::size_t>(lead.trailing);
    for (int i = 1; good && i <= lead.trailing; ++i) {
        const auto byte = static_cast<std::uint8_t>(utf8[static_cast<std::size_t>(i)]);
        good = (byte & 0xC0) == 0x80;
        c = c << 6 | (byte & 0x3Fu);
    }
    // Longer forms than needed are refused: they would be two spellings of one character.
    good = good && c >= lead.smallest && c <= 0x10FFFF && !IsSurrogate(c);
    // Of a wrong sequence only the first byte goes, so that what follows gets its own chance.
    utf8.remove_prefix(good ? static_cast<std::size_t>(lead.trailing) + 1 : 1);
    return good ? c : kStrayByte + first;
}

char32_t NextCodePoint(std::u16string_view& utf16) {
    const char32_t first = utf16.front();
    utf16.remove_prefix(1);
    if (!IsHighSurrogate(first) || utf16.empty() || !IsLowSurrogate(utf16.front()))
        return first;
    const char32_t second = utf16.front();
    utf16.remove_prefix(1);
    // Ten bits from each half of a pair.
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        if (IsSurrogate(NextCodePoint(text)))
            return false;
    }
    return true;
}

bool IsUtf16(std::u16string_view text) {
    while (!text.empty()) {
        if (IsSurrogate(NextCodePoint(text)))
            return false;
    }
    return true;
}

std::u16string Utf16FromBytes(std::string_view bytes) {
    std::u16string utf16;
    // Never more units than bytes.
    utf16.reserve(bytes.size());
    while (!bytes.empty()) {
        const char32_t c = NextCodePoint(bytes);
        if (c >= 0x10000) {
            utf16 += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            utf16 += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            utf16 += static_cast<char16_t>(c);
        }
    }
    return utf16;
}

std::string BytesFromUtf16(std::u16string_view utf16) {
    std::string bytes;
    bytes.reserve(utf16.size());
    while (!utf16.empty()) {
        const char32_t c = NextCodePoint(utf16);
        if (IsStrayByte(c))
            bytes += static_cast<char>(c - kStrayByte);
        else
            bytes += Utf8FromCodePoint(c);
    }
    return bytes;
}

}  // namespace platform
