// Writes the list of all settings that are numbers into the document that has it, or, with
// "--check", says whether the document has it as the table is now.
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "simulator/setting_rows.h"

namespace {

// The list stands between these two lines.
constexpr const char* kBegin = "<!-- settings: made by describe_settings -->\n";
constexpr const char* kEnd = "<!-- end of settings -->\n";

std::string Choices(const CSettingRow& row) {
    std::string names = row.choices;
    names.pop_back();  // the blank behind the last
    for (std::size_t i = 0; (i = names.find(' ', i)) != std::string::npos; i += 2)
        names.replace(i, 1, ", ");
    return names;
}

std::string ValuesOf(const CSettingRow& row) {
    const std::string range = std::to_string(row.least) + " to " + std::to_string(LargestOf(row));
    switch (row.kind) {
        case ESetting::Depths:
            return "8, 16, or both";
        case ESetting::ByteList:
            return "up to " + std::to_string(row.most) + " of 0 to 255";
        case ESetting::Rgb:
            return "red, green, blue";
        case ESetting::Dpi:
            return range + ", or two as in 300x600";
        case ESetting::Choice:
            return Choices(row);
        default:
            return range;
    }
}

// A list's default is too long for a column, and what it means tells it.
std::string DefaultOf(const CSettingRow& row) {
    if (row.initial)
        return row.kind == ESetting::ByteList ? "" : row.initial;
    if (row.kind == ESetting::Choice)
        return Choices(row).substr(0, Choices(row).find(','));
    return row.kind == ESetting::Dpi || row.kind == ESetting::Depths || row.least > 0 ? "" : "0";
}

std::string Table() {
    std::ostringstream out;
    const char* section = "";
    for (const CSettingRow& row : SettingRows()) {
        if (std::strcmp(section, row.section) != 0)
            out << (*section ? "\n" : "") << "`[" << row.section
                << "]`\n\n| key | values | default | meaning |\n|---|---|---|---|\n";
        section = row.section;
        out << "| `" << row.key << "` | " << ValuesOf(row) << " | " << DefaultOf(row) << " | "
            << (row.about ? row.about : "") << " |\n";
    }
    return out.str();
}

}  // namespace

int main(int argc, char** argv) {
    const bool checks = argc == 3 && std::strcmp(argv[1], "--check") == 0;
    if (argc != 2 && !checks) {
        std::cerr << "usage: describe_settings [--check] DOCUMENT\n";
        return 2;
    }
    const char* path = argv[argc - 1];
    std::ifstream in(path, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(in), {});
    const std::size_t begin = text.find(kBegin);
    const std::size_t end = text.find(kEnd);
    if (begin == std::string::npos || end == std::string::npos || end < begin) {
        std::cerr << path << ": has no place for the settings\n";
        return 1;
    }
    const std::string before = text;
    const std::size_t from = begin + std::strlen(kBegin);
    text.replace(from, end - from, '\n' + Table() + '\n');
    if (checks && text != before)
        std::cerr << path << ": is not as the table of settings; run describe_settings on it\n";
    if (checks)
        return text == before ? 0 : 1;
    return std::ofstream(path, std::ios::binary) << text ? 0 : 1;
}
