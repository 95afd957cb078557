// The tables that a profile may have: name, count and range of the values of each, in one table.
#pragma once

#include <cstddef>
#include <cstdint>

// One for each key.
enum class ScanTable : std::uint8_t {
    Slide,
    Flatbed,
    Adf,
    Post,
    Neg6x3,
    NegCoeffs,
    SlideCoeffs,
    FlatbedCoeffs2,
    FlatbedCoeffs,  // the older form
    AdfCoeffs,
    SharpSmooth,
    SharpSmooth2,
    DarkValues2,
    DarkValues,  // the older form
    Defaults,
    Gray,
    SlideSelection,
    NegSelection,
    ExclusionAreas,
    Jpeg24,
    Jpeg8,
    Jpeg1,
    FlatbedMaxPix,
    AdfMaxPix,
    FlatbedCoeffsMaxPix,
    SharpSmoothMaxPix,
    Count,
};

// Both ends belong to a range.
struct ScanTableFacts {
    const char* m_key;
    std::uint16_t m_count;  // values
    double m_low;
    double m_high;
    // A list begins with its count of rows, which the fields above tell of; then all values
    // together must lie from 0 to the row's end. 0 for what is no list.
    std::uint16_t m_rowCount;
    double m_rowHigh;
};

// In the order of ScanTable.
inline constexpr ScanTableFacts kScanTables[] = {
    {"SLIDE", 9, -5, 5, 0, 0},
    {"FB", 9, -5, 5, 0, 0},
    {"ADF", 9, -5, 5, 0, 0},
    {"POST", 9, -5, 5, 0, 0},
    {"NEG6X3", 18, -5, 5, 0, 0},
    {"NEGCOEFFS", 10, -5, 5, 0, 0},
    {"SLIDECOEFFS", 9, -5, 5, 0, 0},
    {"FBCOEFFS_2", 9, 0, 1000, 0, 0},
    {"FBCOEFFS", 6, 0, 1000, 0, 0},
    {"ADFCOEFFS", 9, 0, 1000, 0, 0},
    {"SHARP_SMOOTH", 8, -100, 100, 0, 0},
    {"SHARP_SMOOTH_2", 17, -100, 150, 0, 0},
    {"DARK_VALUES_2", 13, 0, 1000, 0, 0},
    {"DARK_VALUES", 9, 0, 1000, 0, 0},
    {"DEFAULTS", 11, 0, 2000, 0, 0},
    {"GRAY", 6, -5, 5, 0, 0},
    {"SLIDE_DEFAULT_SELECTION", 4, 0, 5000, 0, 0},
    {"NEG_DEFAULT_SELECTION", 4, 0, 5000, 0, 0},
    {"EXCLUSION_AREAS", 1, 0, 1000, 5, 5000},
    {"JPEG_QFACTOR_24", 1, 0, 1000, 3, 10000},
    {"JPEG_QFACTOR_8", 1, 0, 1000, 3, 10000},
    {"JPEG_QFACTOR_1", 1, 0, 1000, 3, 10000},
    {"FB_MAXPIX", 9, -5, 5, 0, 0},
    {"ADF_MAXPIX", 9, -5, 5, 0, 0},
    {"FBCOEFFS_MAXPIX", 6, 0, 1000, 0, 0},
    {"SHARP_SMOOTH_MAXPIX", 8, -100, 100, 0, 0},
};
inline constexpr std::size_t kScanTableCount = static_cast<std::size_t>(ScanTable::Count);
static_assert(sizeof(kScanTables) / sizeof(kScanTables[0]) == kScanTableCount);

// The most values that a table without rows has.
inline constexpr std::size_t kMaxTableValues = 18;

constexpr const ScanTableFacts& FactsOf(ScanTable table) {
    return kScanTables[static_cast<std::size_t>(table)];
}

// What became of a key of the profile.
enum class ScanTableOutcome : std::uint8_t {
    Missing,
    TooFew,      // the text ends before the values do
    OutOfRange,  // a value lies outside its range
    Superseded,  // the older form of a table that is there in its newer form
    Used,
};

// What a person who writes a profile wants to know of a table.
struct ScanTableReport {
    ScanTableOutcome m_outcome = ScanTableOutcome::Missing;
    // The key's line; out of range, the value's. Lines count from 1.
    std::uint32_t m_line = 0;
    std::uint16_t m_read = 0;    // values in the text
    std::uint16_t m_wanted = 0;  // values that the table has
    std::uint16_t m_index = 0;   // of the value out of range, from 0
    double m_value = 0;          // and what it is
    double m_low = 0;
    double m_high = 0;
};
