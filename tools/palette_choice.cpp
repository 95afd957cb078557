#include "tools/palette_choice.h"

#include <array>
#include <charconv>
#include <cstring>
#include <fstream>
#include <limits>
#include <string_view>

namespace {

constexpr char kFirstLine[] = "GIMP Palette";
constexpr std::size_t kMaxLine = 1024;  // bytes that are looked at; names are short
constexpr std::size_t kShownBytes = 40;

// A line as it can be shown: short, and without what a terminal would obey.
std::string Shown(std::string_view line) {
    std::string text(line.substr(0, kShownBytes));
    for (char& c : text)
        c = static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
    return line.size() > kShownBytes ? text + "..." : text;
}

std::string_view Trim(std::string_view text) {
    constexpr char kBlanks[] = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Three numbers with blanks between them; a name may follow behind another.
bool ParseColor(std::string_view line, std::array<int, 3>& color) {
    for (int& channel : color) {
        line = Trim(line);
        const char* end = line.data() + line.size();
        const auto [behind, failure] = std::from_chars(line.data(), end, channel);
        if (failure != std::errc() || channel < 0 || channel > 255)
            return false;
        if (behind != end && *behind != ' ' && *behind != '\t')
            return false;
        line.remove_prefix(static_cast<std::size_t>(behind - line.data()));
    }
    return true;
}

// A comment, an empty line, or what a head says of the palette as a whole.
bool IsSkipped(std::string_view line) {
    return line.empty() || line[0] == '#' || line.starts_with("Name:") ||
           line.starts_with("Columns:");
}

// What is wrong with the file, to stand behind its name; empty if nothing is.
std::string ReadColors(std::istream& in, QLPaletteTable* table) {
    InitIdentity(table);
    std::array<char, kMaxLine> buffer;
    for (int number = 1;; ++number) {
        in.getline(buffer.data(), buffer.size());
        const bool isLong = in.fail() && in.gcount() == std::streamsize(buffer.size() - 1);
        if (in.fail() && !isLong)
            break;
        const std::string_view line = Trim({buffer.data(), std::strlen(buffer.data())});
        const std::string where = "line " + std::to_string(number) + ": ";
        if (number == 1 && line != kFirstLine)
            return where + "'" + Shown(line) + "' is not the '" + kFirstLine +
                   "' that a palette begins with";
        if (number == 1 || (IsSkipped(line) && !(isLong && line.empty()))) {
            if (isLong) {
                in.clear();
                in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
            }
            continue;
        }
        std::array<int, 3> color = {};
        if (isLong || !ParseColor(line, color))
            return where + "'" + Shown(line) + "' is no colour (three numbers from 0 to 255)";
        if (table->m_count == QLPaletteTable::kMaxEntries)
            return where + "a palette has at most 256 colours";
        AddColor(table, color[0], color[1], color[2]);
    }
    return table->m_count == 0 ? "has no colours" : "";
}

}  // namespace

ScanPalette ToScanPalette(const CPaletteChoice& choice) {
    return {choice.m_kind, RecordOf(choice.m_colors)};
}

std::optional<CPaletteChoice> ParsePalette(const std::string& text, std::string* error) {
    CPaletteChoice choice;
    if (text == "system" || text == "cube" || text == "adaptive") {
        choice.m_kind = text == "system" ? QL_PALETTE_SYSTEM
                        : text == "cube" ? QL_PALETTE_CUBE
                                         : QL_PALETTE_ADAPTIVE;
        return choice;
    }
    choice.m_kind = QL_PALETTE_USER;
    if (text == "gray" || text == "grey") {
        FillGrayRamp(&choice.m_colors, QLPaletteTable::kMaxEntries);
        return choice;
    }
    std::ifstream in(text, std::ios::binary);
    if (!in) {
        *error = "--palette " + text +
                 ": is neither system, cube, gray or adaptive nor a file that can be read";
        return std::nullopt;
    }
    const std::string fault = ReadColors(in, &choice.m_colors);
    if (fault.empty())
        return choice;
    *error = "--palette " + text + ": " + fault;
    return std::nullopt;
}
