// The simulator's settings files: "[section]" and "key=value" lines, read strictly, so that a
// misspelt line is named and not passed over.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct CIniEntry {
    std::string m_section;
    std::string m_key;
    std::string m_value;
    int m_line = 0;
};

class CIniFile {
  public:
    // Empty lines, those that begin with ';' or '#', and what stands behind a blank and a ';' mean
    // nothing; blanks around names and values are dropped. Throws CSimFailure with
    // OSTREL_OPEN_FAILED for any other line. `name` stands ahead of messages.
    CIniFile(std::string name, std::string_view text);

    const std::vector<CIniEntry>& Entries() const { return m_entries; }
    // The value that stands last; empty if there is none.
    std::string Find(std::string_view section, std::string_view key) const;

    // Throws the failure "name:line: what"; line 0 stands for the whole file.
    [[noreturn]] void Fail(int line, const std::string& what) const;

  private:
    std::string m_name;
    std::vector<CIniEntry> m_entries;
};

// The text with "key=value" in the section, in place of lines for that key; all others stay.
std::string WithIniValue(std::string_view text, std::string_view section, std::string_view key,
                         std::string_view value);

// The text of a settings file. Throws CSimFailure if it can't be read or is larger than 1 MiB.
std::string ReadSettingsText(const std::string& path);
