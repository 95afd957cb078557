#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/handle.h"
#include "platform/internal/system_error.h"
#include "platform/internal/text_file.h"
#include "platform/module.h"

using platform::CompareNames;
using platform::Trimmed;

namespace {

// A larger file is no settings file; it would only cost memory.
constexpr std::size_t kMaxFileBytes = 1 << 20;

// Walks over the lines of a settings file that mean something.
class SettingsReader {
  public:
    explicit SettingsReader(std::string_view text) : m_rest(text) {}

    // False at the end. A line is either a section's head, with an empty key, or a key with its
    // value.
    bool Next() {
        while (!m_rest.empty()) {
            const std::string_view line = Trimmed(platform::NextLine(m_rest));
            if (line.empty() || line.front() == ';')
                continue;
            // A head without its closing bracket goes to the line's end.
            if (line.front() == '[') {
                section = Trimmed(line.substr(1, line.find(']') - 1));
                key = value = {};
                return true;
            }
            const std::size_t equals = line.find('=');
            key = Trimmed(line.substr(0, equals));
            if (equals == std::string_view::npos || key.empty())
                continue;
            value = Trimmed(line.substr(equals + 1));
            return true;
        }
        return false;
    }

    std::string_view section;
    std::string_view key;
    std::string_view value;

  private:
    std::string_view m_rest;
};

// One pair of either kind, which is there to keep blanks.
std::string_view Unquoted(std::string_view text) {
    const bool quoted = text.size() >= 2 && text.front() == text.back() &&
                        (text.front() == '"' || text.front() == '\'');
    return quoted ? text.substr(1, text.size() - 2) : text;
}

// Cuts the text to the buffer; `zeros` stand behind it, or as many of them as fit.
DWORD Store(std::string_view text, std::size_t zeros, LPSTR buffer, DWORD size) {
    const std::size_t room = size > zeros ? size - zeros : 0;
    const std::size_t stored = std::min(text.size(), room);
    std::copy_n(text.data(), stored, buffer);  // the text may be a view of nothing
    std::memset(buffer + stored, 0, std::min<std::size_t>(zeros, size - stored));
    return static_cast<DWORD>(stored);
}

std::string ListNames(SettingsReader reader, LPCSTR section) {
    std::string names;
    while (reader.Next()) {
        const bool isHead = reader.key.empty();
        if (!section && isHead)
            names.append(reader.section).push_back('\0');
        else if (section && !isHead && CompareNames(reader.section, section) == 0)
            names.append(reader.key).push_back('\0');
    }
    return names;
}

}  // namespace

DWORD GetPrivateProfileStringA(LPCSTR section, LPCSTR key, LPCSTR defaultText, LPSTR text,
                               DWORD size, LPCSTR fileName) {
    return platform::Contained<DWORD>(0, [&]() -> DWORD {
        if (!text || size == 0 || !fileName) {
            platform::Fail(ERROR_INVALID_PARAMETER);
            return 0;
        }
        // A file that can't be read counts as an empty one; the last error tells the difference.
        std::string content;
        const LONG error = platform::ReadTextFile(fileName, kMaxFileBytes, content);
        SetLastError(static_cast<DWORD>(error));
        if (error != ERROR_SUCCESS)
            content.clear();

        SettingsReader reader(content);
        if (!section || !key) {
            std::string names = ListNames(reader, section);
            return Store(names, 2, text, size);
        }
        // The first of two keys of one name counts.
        while (reader.Next()) {
            if (CompareNames(reader.section, section) == 0 && CompareNames(reader.key, key) == 0)
                return Store(Unquoted(reader.value), 1, text, size);
        }
        std::string_view fallback = defaultText ? defaultText : "";
        fallback = fallback.substr(0, fallback.find_last_not_of(' ') + 1);
        return Store(fallback, 1, text, size);
    });
}
