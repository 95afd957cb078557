// What is wrong with a profile's text, told to who wrote it: the driver reads past all of it
// without a word, and takes built-in values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "profile/attrib_tables.h"

struct CProfileFinding {
    bool m_isError = false;    // else a remark
    std::uint32_t m_line = 0;  // 0: of the whole text
    std::string m_text;
};

// In the order of their lines.
std::vector<CProfileFinding> CheckProfileText(const std::string& text);

// Why a table isn't taken from the profile, with line, value and range.
std::string DescribeFault(const ScanTableReport& report);
// The shortest digits that give the number.
std::string ShortNumber(double value);
