#include "tools/page_name.h"

#include <charconv>
#include <system_error>

// The number goes between the two parts of the name.
CPageName::CPageName(std::string pattern) {
    std::string* text = &m_before;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') {
            *text += pattern[i];
            continue;
        }
        if (pattern.compare(i, 2, "%%") == 0) {
            *text += pattern[++i];
            continue;
        }
        constexpr std::size_t kMostDigits = 9;
        std::size_t width = 0;
        const char* const end = pattern.data() + pattern.size();
        const auto [stop, error] = std::from_chars(pattern.data() + i + 1, end, width);
        const bool isBare = error != std::errc();
        const char* const letter = isBare ? pattern.data() + i + 1 : stop;
        if (letter == end || *letter != 'd' || m_isNumbered || width > kMostDigits) {
            m_isFaulty = true;
            return;
        }
        m_isNumbered = true;
        m_width = isBare ? 0 : width;
        i = static_cast<std::size_t>(letter - pattern.data());
        text = &m_after;
    }
}

std::string CPageName::ForPage(int page) const {
    if (!m_isNumbered)
        return m_before;
    const std::string number = std::to_string(page);
    const std::size_t zeros = m_width > number.size() ? m_width - number.size() : 0;
    return m_before + std::string(zeros, '0') + number + m_after;
}
