#include "profile/profile_lines.h"

#include <charconv>
#include <limits>

namespace {

constexpr std::string_view kSeparators = " ,\t\n\r";

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Of a number that lies outside what a double holds: is it too large, or too near to 0?
bool IsTooLarge(std::string_view number) {
    int power = 0;  // of ten, of the first digit that isn't 0
    bool isBehindPoint = false;
    bool hasBegun = false;
    std::size_t i = 0;
    for (; i < number.size() && (IsDigit(number[i]) || number[i] == '.'); ++i) {
        if (number[i] == '.') {
            isBehindPoint = true;
            continue;
        }
        hasBegun = hasBegun || number[i] != '0';
        if (hasBegun && !isBehindPoint)
            ++power;
        else if (!hasBegun && isBehindPoint)
            --power;
    }
    // The exponent itself may have more digits than a number holds; its sign then decides.
    int exponent = 0;
    if (i < number.size()) {
        ++i;  // 'e'
        const bool isNegative = number[i] == '-';
        if (isNegative || number[i] == '+')
            ++i;
        const char* end = number.data() + number.size();
        if (std::from_chars(number.data() + i, end, exponent).ec != std::errc())
            return !isNegative;
        if (isNegative)
            exponent = -exponent;
    }
    return std::int64_t{power} + exponent > 0;
}

}  // namespace

// What has no line feed at the end of the text isn't given out, unless a whole piece is there.
bool CProfileLines::NextLine() {
    if (m_ended)
        ++m_number;
    m_ended = false;
    m_line = {};
    std::size_t length = 0;
    while (!m_ended && length < kMaxLine) {
        const char c = m_next[length];
        if (c == 0)
            return false;
        ++length;
        m_ended = c == '\n';
    }
    m_line = {m_next, length};
    m_next += length;
    return true;
}

std::string_view CProfileLines::NextToken() {
    const std::size_t first = m_line.find_first_not_of(kSeparators);
    if (first == std::string_view::npos) {
        m_line = {};
        return {};
    }
    m_line.remove_prefix(first);
    const std::string_view token = m_line.substr(0, m_line.find_first_of(kSeparators));
    m_line.remove_prefix(token.size());
    return token;
}

double ParseProfileNumber(std::string_view token, std::size_t* used) {
    if (used)
        *used = 0;
    // The library's own parser knows no plus sign, and may know other names than digits.
    const bool isSigned = !token.empty() && (token[0] == '-' || token[0] == '+');
    const std::string_view digits = token.substr(isSigned ? 1 : 0);
    // Infinities and not-a-number have names: they aren't numbers here.
    if (digits.empty() || !(IsDigit(digits[0]) || digits[0] == '.'))
        return 0;
    double value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error == std::errc::invalid_argument)
        return 0;
    const auto length = static_cast<std::size_t>(end - digits.data());
    // It doesn't tell which way: an infinity is out of every range, while a 0 is in most.
    if (error == std::errc::result_out_of_range)
        value = IsTooLarge(digits.substr(0, length)) ? std::numeric_limits<double>::infinity() : 0;
    if (used)
        *used = length + (isSigned ? 1 : 0);
    return token[0] == '-' ? -value : value;
}
