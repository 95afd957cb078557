#include "tools/geometry_text.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "tools/text_values.h"

namespace {

struct CUnitRow {
    const char* name;
    ScanArea::Unit unit;
    double scale;  // of that unit in this one
};
constexpr CUnitRow kUnits[] = {
    {"mm", ScanArea::Unit::Millimeters, 1},
    {"cm", ScanArea::Unit::Millimeters, 10},
    {"in", ScanArea::Unit::Inches, 1},
    {"px", ScanArea::Unit::Pixels, 1},
};

// Upright, in millimetres.
struct CPaperRow {
    const char* name;
    double width;
    double height;
};
constexpr CPaperRow kPapers[] = {
    {"a3", 297, 420},
    {"a4", 210, 297},
    {"a5", 148, 210},
    {"a6", 105, 148},
    {"b4", 250, 353},
    {"b5", 176, 250},
    {"b6", 125, 176},
    {"letter", 215.9, 279.4},
    {"legal", 215.9, 355.6},
    {"executive", 184.15, 266.7},
    {"statement", 139.7, 215.9},
    {"tabloid", 279.4, 431.8},
};

std::string WithoutBlanks(std::string_view text) {
    std::string bare(text);
    std::erase_if(bare, [](unsigned char c) { return std::isspace(c) != 0; });
    return bare;
}

// In two numbers a blank would vanish: "1 0,20" is no 10.
bool HasSplitNumber(std::string_view text) {
    bool isBehindDigit = false;
    bool isBehindGap = false;
    for (const unsigned char c : text) {
        if (std::isspace(c)) {
            isBehindGap = isBehindDigit;
            continue;
        }
        const bool isPart = std::isdigit(c) || c == '.';
        if (isPart && isBehindGap)
            return true;
        isBehindDigit = isPart;
        isBehindGap = false;
    }
    return false;
}

// Four numbers that can be a window.
bool IsWindow(const std::optional<std::vector<double>>& numbers) {
    constexpr double kMost = 1e6;  // in any unit more than a scanner's glass
    return numbers && numbers->size() == 4 &&
           std::all_of(numbers->begin(), numbers->end(),
                       [](double n) { return n >= 0 && n <= kMost; });
}

// The unit is the end of the text, in any case; four numbers with commas stand ahead of it.
std::optional<ScanArea> ParseWindow(const std::string& text) {
    const std::string bare = WithoutBlanks(text);
    if (HasSplitNumber(text) || bare.size() < 2)
        return std::nullopt;
    const std::string numbers = bare.substr(0, bare.size() - 2);
    for (const CUnitRow& row : kUnits) {
        if (!EqualNoCase(bare.substr(numbers.size()), row.name))
            continue;
        const auto n = ParseReals(numbers);
        if (IsWindow(n))
            return ScanArea{(*n)[0] * row.scale, (*n)[1] * row.scale, (*n)[2] * row.scale,
                            (*n)[3] * row.scale, row.unit};
    }
    return std::nullopt;
}

// The way that the paper lies follows its name, behind a blank, '-' or '_'.
std::optional<ScanArea> FindPaper(const std::string& text) {
    std::string bare = WithoutBlanks(text);
    std::erase_if(bare, [](char c) { return c == '-' || c == '_'; });
    for (const CPaperRow& row : kPapers) {
        const std::string name = row.name;
        if (EqualNoCase(bare, name) || EqualNoCase(bare, name + "portrait"))
            return ScanArea{0, 0, row.width, row.height, ScanArea::Unit::Millimeters, name};
        if (EqualNoCase(bare, name + "landscape"))
            return ScanArea{
                0, 0, row.height, row.width, ScanArea::Unit::Millimeters, name + " landscape"};
    }
    return std::nullopt;
}

}  // namespace

std::optional<ScanArea> ParseArea(const std::string& text, std::string* error) {
    std::optional<ScanArea> area = ParseWindow(text);
    if (!area)
        area = FindPaper(text);
    if (!area)
        *error = "--area '" + text +
                 "': is neither of the form X,Y,W,H followed by mm, cm, in or px, such as "
                 "10,10,100,50mm, nor a paper such as a4";
    return area;
}

std::optional<ScanArea> ParsePaper(const std::string& text, std::string* error) {
    const std::optional<ScanArea> area = FindPaper(text);
    if (!area)
        *error = "--paper '" + text + "': is none of " + PaperNames() +
                 ", nor one of them with -landscape behind it";
    return area;
}

std::string PaperNames() {
    std::string names;
    for (const CPaperRow& row : kPapers)
        names += (names.empty() ? "" : ", ") + std::string(row.name);
    return names;
}

std::vector<std::string> PapersWithin(double width, double height) {
    std::vector<std::string> names;
    for (const CPaperRow& row : kPapers) {
        if (row.width < width + kPaperTolerance && row.height < height + kPaperTolerance)
            names.emplace_back(row.name);
    }
    return names;
}

std::optional<ScanResolution> ParseResolution(const std::string& text, std::string* error) {
    constexpr std::int64_t kMost = 1'000'000;  // dots per inch, more than any scanner's
    const std::size_t cross = text.find_first_of("xX");
    const auto across = ParseInteger(text.substr(0, cross));
    const auto along = cross == std::string::npos ? across : ParseInteger(text.substr(cross + 1));
    const auto isResolution = [](const std::optional<std::int64_t>& dpi) {
        return dpi && *dpi >= 1 && *dpi <= kMost;
    };
    if (isResolution(across) && isResolution(along))
        return ScanResolution(static_cast<LONG>(*across), static_cast<LONG>(*along));
    *error = "--resolution '" + text +
             "': is neither a number of dots per inch, such as 300, nor two, such as 300x600";
    return std::nullopt;
}
