#include "sane-toolkit/plain_text.h"

#include <algorithm>

#include "platform/text.h"

std::string PlainText(const char* text) {
    constexpr std::size_t kMostUnits = 100;
    constexpr char16_t kLineSeparator = 0x2028;
    constexpr char16_t kParagraphSeparator = 0x2029;

    std::u16string wide = WideFromText(text ? text : "");
    std::ranges::replace_if(
        wide,
        [](char16_t c) {
            return c < u' ' || (c >= 0x7F && c <= 0x9F) || c == kLineSeparator ||
                   c == kParagraphSeparator;
        },
        u' ');
    wide.erase(0, wide.find_first_not_of(u' '));
    wide.resize(std::min(wide.size(), kMostUnits));
    // Not half of a sign that takes two units.
    if (!wide.empty() && (wide.back() & 0xFC00) == 0xD800)
        wide.pop_back();
    wide.erase(wide.find_last_not_of(u' ') + 1);
    return TextFromWide(wide.c_str());
}
