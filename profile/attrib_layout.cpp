#include "profile/attrib_layout.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <span>
#include <type_traits>

#include "profile/attrib_records.h"

namespace {

enum class Kind : std::uint8_t {
    Real,
    WholeReal,  // a double that holds a whole number
    Integer,    // 32 bits; none is large enough for the sign to matter
    Byte,
};

// Numbers that stand one behind the other in the text as in the record.
struct Run {
    std::size_t offset;
    std::size_t count;
    Kind kind;
};

struct Layout {
    std::size_t bytes = 0;
    bool hasValid = false;  // byte 0 tells that the record has been filled
    std::span<const Run> runs = {};
    std::span<const double> fallback = {};
};

template <class Field>
constexpr Kind KindOf() {
    using Element = std::remove_all_extents_t<Field>;
    if (sizeof(Element) == 1)
        return Kind::Byte;
    return std::is_same_v<Element, double> ? Kind::Real : Kind::Integer;
}

// From `first` to `last`, all of one kind.
#define NVQ_RUN(record, first, last)                                                    \
    {                                                                                   \
        offsetof(record, first),                                                        \
            (offsetof(record, last) + sizeof(record::last) - offsetof(record, first)) / \
                sizeof(std::remove_all_extents_t<decltype(record::first)>),             \
            KindOf<decltype(record::first)>()                                           \
    }

constexpr Run kMatrix[] = {NVQ_RUN(ScanMatrix, m_values, m_values)};
constexpr Run kNegMatrix[] = {NVQ_RUN(NegMatrix, m_values, m_values)};
constexpr Run kCoeffs[] = {NVQ_RUN(CoeffRecord, m_offset, m_gamma)};
constexpr Run kNegCoeffs[] = {NVQ_RUN(CoeffRecord, m_offset, m_densityStep)};
constexpr Run kShortCoeffs[] = {NVQ_RUN(CoeffRecord, m_offset, m_offset),
                                NVQ_RUN(CoeffRecord, m_gamma, m_gamma)};
// In the text minsmooth stands before smooth, in the record behind it.
constexpr Run kSharpSmooth[] = {
    NVQ_RUN(SharpSmoothRecord, m_sharp, m_sharp),
    NVQ_RUN(SharpSmoothRecord, m_minSmooth, m_minSmooth),
    NVQ_RUN(SharpSmoothRecord, m_smooth, m_smooth),
    NVQ_RUN(SharpSmoothRecord, m_scannerLacksBWSharpening, m_scannerLacksBWSharpening),
};
constexpr Run kSharpSmooth2[] = {
    NVQ_RUN(SharpSmooth2Record, m_useKestrinSmooth, m_useKestrinSharp),
    NVQ_RUN(SharpSmooth2Record, m_sharpStrength, m_sharpClip),
    NVQ_RUN(SharpSmooth2Record, m_scannerLacksBWSharpening, m_scannerLacksBWSharpening),
};
constexpr Run kExposureSlope = {offsetof(DarkValuesLegacyRecord, m_maxFlatbedExposureSlope), 1,
                                Kind::WholeReal};
constexpr std::size_t kDarkFields = sizeof(DarkValueSet) / sizeof(std::int32_t);
constexpr Run kPrintAndSlide = {offsetof(DarkValuesLegacyRecord, m_print), 2 * kDarkFields,
                                Kind::Integer};
constexpr Run kDarkValues2[] = {kPrintAndSlide,
                                {offsetof(DarkValuesRecord, m_adf), kDarkFields, Kind::Integer},
                                kExposureSlope};
constexpr Run kDarkValues[] = {kPrintAndSlide, kExposureSlope};
constexpr Run kDefaults[] = {
    NVQ_RUN(DefaultsRecord, m_defaultPhotoResolution, m_defaultXPAResolution),
    NVQ_RUN(DefaultsRecord, m_negativeCapable, m_XPAneedsAutoMirror),
    NVQ_RUN(DefaultsRecord, m_grayChannel, m_adfShadow),
    NVQ_RUN(DefaultsRecord, m_scannerGammaFixed, m_enhancedColorByDefault),
    NVQ_RUN(DefaultsRecord, m_lidColor, m_adfLidColor),
};
constexpr Run kGray[] = {NVQ_RUN(GrayRecord, m_matrix, m_gamma)};
constexpr Run kSelection[] = {NVQ_RUN(DefaultSelection, m_values, m_values)};

#undef NVQ_RUN

// What stands in a table that the profile doesn't give, in the order of the text.
constexpr double kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
// clang-format off
constexpr double kNegMatrixFallback[18] = {
    0.315,  -0.1,   0.112,  -0.086, 0, 0,
    -0.078, -0.289, -0.136, -0.245, 0, 0,
    -0.066, -0.227, 0.043,  0.005,  0, 0,
};
// clang-format on
// Offsets, gains, gammas: a curve that changes nothing. Negatives have their density step behind.
constexpr double kCoeffsFallback[9] = {0, 0, 0, 1, 1, 1, 1, 1, 1};
constexpr double kNegCoeffsFallback[10] = {0, 0, 0, 1, 1, 1, 1, 1, 1, 0.065};
// The older form knows no gains.
constexpr double kShortCoeffsFallback[6] = {0, 0, 0, 1, 1, 1};
// sharp0 to sharp4, minsmooth, smooth, scannerLacksBWSharpening.
constexpr double kSharpSmoothFallback[8] = {15, 25, 40, 45, 45, 0, 8, 1};
// The two flags; strengths; noises; smoothNoise, smoothSmooth, sharpSmooth, sharpClip; the flag.
constexpr double kSharpSmooth2Fallback[17] = {0, 0, 0.5, 1, 1.5, 2, 2.5, 4, 4,
                                              5, 5, 5,   5, 1,   0, 70,  1};
// Break points and ranges of print, slide and feeder, all 0; then the slope.
constexpr double kDarkValuesFallback[9] = {0, 0, 0, 0, 0, 0, 0, 0, 100};
constexpr double kDarkValues2Fallback[13] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 100};
constexpr double kDefaultsFallback[11] = {200, 200, 0, 0, 1, 1200, 1000, 0, 0, 235, 235};
// Weights of red, green and blue in luminance; then offset, gain, gamma.
constexpr double kGrayFallback[6] = {0.30, 0.59, 0.11, 0, 1, 1};
constexpr double kSelectionFallback[4] = {};

constexpr Layout kMatrixLayout = {sizeof(ScanMatrix), false, kMatrix, kIdentity};
constexpr Layout kCoeffsLayout = {sizeof(CoeffRecord), true, kCoeffs, kCoeffsFallback};
constexpr Layout kShortCoeffsLayout = {sizeof(CoeffRecord), true, kShortCoeffs,
                                       kShortCoeffsFallback};
constexpr Layout kSharpSmoothLayout = {sizeof(SharpSmoothRecord), true, kSharpSmooth,
                                       kSharpSmoothFallback};
constexpr Layout kSelectionLayout = {sizeof(DefaultSelection), false, kSelection,
                                     kSelectionFallback};
constexpr Layout kList = {};

// In the order of ScanTable.
constexpr Layout kLayouts[] = {
    kMatrixLayout,                                                             // SLIDE
    kMatrixLayout,                                                             // FB
    kMatrixLayout,                                                             // ADF
    kMatrixLayout,                                                             // POST
    {sizeof(NegMatrix), false, kNegMatrix, kNegMatrixFallback},                // NEG6X3
    {sizeof(CoeffRecord), true, kNegCoeffs, kNegCoeffsFallback},               // NEGCOEFFS
    kCoeffsLayout,                                                             // SLIDECOEFFS
    kCoeffsLayout,                                                             // FBCOEFFS_2
    kShortCoeffsLayout,                                                        // FBCOEFFS
    kCoeffsLayout,                                                             // ADFCOEFFS
    kSharpSmoothLayout,                                                        // SHARP_SMOOTH
    {sizeof(SharpSmooth2Record), true, kSharpSmooth2, kSharpSmooth2Fallback},  // SHARP_SMOOTH_2
    {sizeof(DarkValuesRecord), true, kDarkValues2, kDarkValues2Fallback},      // DARK_VALUES_2
    {sizeof(DarkValuesRecord), true, kDarkValues, kDarkValuesFallback},        // DARK_VALUES
    {sizeof(DefaultsRecord), true, kDefaults, kDefaultsFallback},              // DEFAULTS
    {sizeof(GrayRecord), true, kGray, kGrayFallback},                          // GRAY
    kSelectionLayout,    // SLIDE_DEFAULT_SELECTION
    kSelectionLayout,    // NEG_DEFAULT_SELECTION
    kList,               // EXCLUSION_AREAS
    kList,               // JPEG_QFACTOR_24
    kList,               // JPEG_QFACTOR_8
    kList,               // JPEG_QFACTOR_1
    kMatrixLayout,       // FB_MAXPIX
    kMatrixLayout,       // ADF_MAXPIX
    kShortCoeffsLayout,  // FBCOEFFS_MAXPIX
    kSharpSmoothLayout,  // SHARP_SMOOTH_MAXPIX
};

// Each table's runs and fallback hold as many numbers as the table has in the text.
constexpr bool CountsAgree() {
    for (std::size_t i = 0; i < kScanTableCount; ++i) {
        std::size_t count = 0;
        for (const Run& run : kLayouts[i].runs)
            count += run.count;
        const std::size_t wanted = kScanTables[i].m_rowCount != 0 ? 0 : kScanTables[i].m_count;
        if (count != wanted || kLayouts[i].fallback.size() != wanted)
            return false;
    }
    return true;
}
static_assert(std::size(kLayouts) == kScanTableCount && CountsAgree());

const Layout& LayoutOf(ScanTable table) {
    return kLayouts[static_cast<std::size_t>(table)];
}

std::size_t SizeOf(Kind kind) {
    switch (kind) {
        case Kind::Byte:
            return 1;
        case Kind::Integer:
            return sizeof(std::int32_t);
        case Kind::Real:
        case Kind::WholeReal:
            break;
    }
    return sizeof(double);
}

// Ranges end at a few thousand, so that an integer always holds the number.
void PutNumber(Kind kind, double number, std::byte* field) {
    if (kind == Kind::Real || kind == Kind::WholeReal) {
        const double real = kind == Kind::Real ? number : std::trunc(number);
        std::memcpy(field, &real, sizeof(real));
        return;
    }
    const auto integer = static_cast<std::int32_t>(number);
    if (kind == Kind::Byte)
        *field = static_cast<std::byte>(integer & 0xFF);
    else
        std::memcpy(field, &integer, sizeof(integer));
}

double TakeNumber(Kind kind, const std::byte* field) {
    double real = 0;
    std::int32_t integer = 0;
    switch (kind) {
        case Kind::Byte:
            return std::to_integer<int>(*field);
        case Kind::Integer:
            std::memcpy(&integer, field, sizeof(integer));
            return integer;
        case Kind::Real:
        case Kind::WholeReal:
            std::memcpy(&real, field, sizeof(real));
            break;
    }
    return real;
}

}  // namespace

std::size_t RecordBytes(ScanTable table) {
    return LayoutOf(table).bytes;
}

const double* FallbackOf(ScanTable table) {
    return LayoutOf(table).fallback.data();
}

void PutNumbers(ScanTable table, const double* numbers, void* record) {
    const Layout& layout = LayoutOf(table);
    auto* bytes = static_cast<std::byte*>(record);
    if (layout.hasValid)
        *bytes = std::byte{1};
    for (const Run& run : layout.runs) {
        for (std::size_t i = 0; i < run.count; ++i)
            PutNumber(run.kind, *numbers++, bytes + run.offset + i * SizeOf(run.kind));
    }
}

std::vector<double> TakeNumbers(ScanTable table, const void* record) {
    const auto* bytes = static_cast<const std::byte*>(record);
    std::vector<double> numbers;
    for (const Run& run : LayoutOf(table).runs) {
        for (std::size_t i = 0; i < run.count; ++i)
            numbers.push_back(TakeNumber(run.kind, bytes + run.offset + i * SizeOf(run.kind)));
    }
    return numbers;
}
