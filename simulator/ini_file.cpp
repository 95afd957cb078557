#include "simulator/ini_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <utility>

#include "controller/toolkit.h"
#include "simulator/sim_failure.h"

namespace {

// A settings file has a few thousand bytes; whatever is larger is something else.
constexpr std::size_t kMaxBytes = 1 << 20;

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// A value without the remark behind it, which begins with a ';' that has a blank in front.
std::string_view WithoutRemark(std::string_view value) {
    for (std::size_t i = 1; i < value.size(); ++i) {
        if (value[i] == ';' && (value[i - 1] == ' ' || value[i - 1] == '\t'))
            return value.substr(0, i);
    }
    return value;
}

}  // namespace

// Lines are counted from 1 as editors do, since messages name them.
CIniFile::CIniFile(std::string name, std::string_view text) : m_name(std::move(name)) {
    std::string section;
    for (int number = 1; !text.empty(); ++number) {
        const std::size_t end = text.find('\n');
        const std::string_view line = Trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.empty() || line.front() == ';' || line.front() == '#')
            continue;
        if (line.front() == '[') {
            if (line.back() != ']' || line.size() < 3)
                Fail(number, "a section is a name in brackets");
            section = Trimmed(line.substr(1, line.size() - 2));
            continue;
        }
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos || equals == 0)
            Fail(number, "is neither a section nor \"key=value\"");
        if (section.empty())
            Fail(number, "stands ahead of the first section");
        m_entries.push_back({section, std::string(Trimmed(line.substr(0, equals))),
                             std::string(Trimmed(WithoutRemark(line.substr(equals + 1)))), number});
    }
}

// As everywhere here, the last of several lines counts.
std::string CIniFile::Find(std::string_view section, std::string_view key) const {
    std::string found;
    for (const CIniEntry& entry : m_entries) {
        if (entry.m_section == section && entry.m_key == key)
            found = entry.m_value;
    }
    return found;
}

// All that is wrong with a file ends as "can't be opened": the device isn't usable until somebody
// mends it.
void CIniFile::Fail(int line, const std::string& what) const {
    const std::string place = line > 0 ? m_name + ':' + std::to_string(line) : m_name;
    throw CSimFailure(OSTREL_OPEN_FAILED, place + ": " + what);
}

// The new line stands behind the head of the section's first part; a section that isn't there comes
// at the end.
std::string WithIniValue(std::string_view text, std::string_view section, std::string_view key,
                         std::string_view value) {
    const std::string head = '[' + std::string(section) + ']';
    const std::string added = std::string(key) + '=' + std::string(value) + '\n';
    std::string made;
    bool isInside = false;
    bool isAdded = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1);
        const std::string_view whole = text.substr(0, end + 1);
        const std::string_view line = Trimmed(whole.substr(0, whole.find('\n')));
        text.remove_prefix(whole.size());
        if (line.starts_with('['))
            isInside = line == head;
        const bool isKey = isInside && Trimmed(line.substr(0, line.find('='))) == key;
        if (!isKey)
            made += whole;
        if (line == head && !isAdded) {
            made += (whole.ends_with('\n') ? "" : "\n") + added;
            isAdded = true;
        }
    }
    if (isAdded)
        return made;
    made += made.empty() || made.ends_with('\n') ? "" : "\n";
    return made + (made.empty() ? "" : "\n") + head + '\n' + added;
}

std::string ReadSettingsText(const std::string& path) {
    std::error_code error;
    // A pipe that nobody writes would hold the program here.
    if (!std::filesystem::is_regular_file(path, error))
        throw CSimFailure(OSTREL_OPEN_FAILED, path + ": is no file that can be read");
    const auto size = std::filesystem::file_size(path, error);
    if (error || size > kMaxBytes)
        throw CSimFailure(OSTREL_OPEN_FAILED,
                          path + (error ? ": can't be read" : ": is larger than 1 MiB"));
    std::string text(static_cast<std::size_t>(size), 0);
    std::ifstream file(path, std::ios::binary);
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file.is_open() || file.bad())
        throw CSimFailure(OSTREL_OPEN_FAILED, path + ": can't be read");
    text.resize(static_cast<std::size_t>(file.gcount()));
    return text;
}
