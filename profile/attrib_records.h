// The per-model tables as records. They leave the driver byte for byte as private properties, which
// the engine and other programs read, so their layouts are fixed, and padding is part of them and
// always 0. "valid" is 1 in a record that has been filled, from whichever source.
#pragma once

#include <cstddef>
#include <cstdint>

// Colour matrix, three rows of three, for linear light: red from red, green and blue, and so on. A
// row that adds up to 1 keeps grays gray.
struct ScanMatrix {
    double m_values[9];
};
static_assert(sizeof(ScanMatrix) == 72);

// Matrix of negatives, three rows of six.
struct NegMatrix {
    double m_values[18];
};
static_assert(sizeof(NegMatrix) == 144);

// Tone coefficients of one source, each for red, green and blue.
struct CoeffRecord {
    std::uint8_t m_valid;
    std::uint8_t m_reserved[7];
    double m_offset[3];
    double m_gain[3];  // the slope, for negatives
    double m_gamma[3];
    double m_densityStep;  // of negatives, 0 elsewhere
};
static_assert(sizeof(CoeffRecord) == 88);
static_assert(offsetof(CoeffRecord, m_offset) == 8);
static_assert(offsetof(CoeffRecord, m_gain) == 32);
static_assert(offsetof(CoeffRecord, m_gamma) == 56);
static_assert(offsetof(CoeffRecord, m_densityStep) == 80);

// Sharpening at five levels and smoothing, in the older form. Nothing in the engine reads it.
struct SharpSmoothRecord {
    std::uint8_t m_valid;
    std::uint8_t m_reserved1[3];
    std::int32_t m_sharp[5];
    std::int32_t m_smooth;
    std::int32_t m_minSmooth;
    std::uint8_t m_scannerLacksBWSharpening;
    std::uint8_t m_reserved2[3];
};
static_assert(sizeof(SharpSmoothRecord) == 36);
static_assert(offsetof(SharpSmoothRecord, m_sharp) == 4);
static_assert(offsetof(SharpSmoothRecord, m_smooth) == 24);
static_assert(offsetof(SharpSmoothRecord, m_minSmooth) == 28);
static_assert(offsetof(SharpSmoothRecord, m_scannerLacksBWSharpening) == 32);

// The same with strength and noise apart.
struct SharpSmooth2Record {
    std::uint8_t m_valid;
    std::uint8_t m_useKestrinSmooth;
    std::uint8_t m_useKestrinSharp;
    std::uint8_t m_reserved1[5];
    double m_sharpStrength[5];
    double m_sharpNoise[5];
    double m_smoothNoise;
    double m_smoothSmooth;
    double m_sharpSmooth;
    double m_sharpClip;
    std::uint8_t m_scannerLacksBWSharpening;
    std::uint8_t m_reserved2[7];
};
static_assert(sizeof(SharpSmooth2Record) == 128);
static_assert(offsetof(SharpSmooth2Record, m_sharpStrength) == 8);
static_assert(offsetof(SharpSmooth2Record, m_sharpNoise) == 48);
static_assert(offsetof(SharpSmooth2Record, m_smoothNoise) == 88);
static_assert(offsetof(SharpSmooth2Record, m_sharpClip) == 112);
static_assert(offsetof(SharpSmooth2Record, m_scannerLacksBWSharpening) == 120);

// What dark values say of one kind of source.
struct DarkValueSet {
    std::int32_t m_linearizeBreakPoint;
    std::int32_t m_linearizeSmoothingRange;
    std::int32_t m_matrixBreakPoint;
    std::int32_t m_matrixSmoothingRange;
};
static_assert(sizeof(DarkValueSet) == 16);

// The shorter, older view of the dark values.
struct DarkValuesLegacyRecord {
    std::uint8_t m_valid;
    std::uint8_t m_reserved1[3];
    DarkValueSet m_print;
    DarkValueSet m_slide;
    std::uint8_t m_reserved2[4];
    double m_maxFlatbedExposureSlope;  // a whole number
};
static_assert(sizeof(DarkValuesLegacyRecord) == 48);
static_assert(offsetof(DarkValuesLegacyRecord, m_print) == 4);
static_assert(offsetof(DarkValuesLegacyRecord, m_slide) == 20);
static_assert(offsetof(DarkValuesLegacyRecord, m_maxFlatbedExposureSlope) == 40);

struct DarkValuesRecord {
    DarkValuesLegacyRecord m_legacy;
    DarkValueSet m_adf;
};
static_assert(sizeof(DarkValuesRecord) == 64);
static_assert(offsetof(DarkValuesRecord, m_adf) == 48);

// What scans of this model begin with, and what it is like.
struct DefaultsRecord {
    std::uint8_t m_valid;
    std::uint8_t m_reserved1[3];
    std::int32_t m_defaultPhotoResolution;  // dots per inch
    std::int32_t m_defaultXPAResolution;
    std::uint8_t m_negativeCapable;
    std::uint8_t m_XPAneedsAutoMirror;
    std::uint8_t m_reserved2[2];
    std::int32_t m_grayChannel;  // 1: weighed from all three colours, as television does
    std::int32_t m_highlight;
    std::int32_t m_adfShadow;
    std::uint8_t m_scannerGammaFixed;  // samples come encoded for a screen (sRGB), not linear
    std::uint8_t m_enhancedColorByDefault;
    std::uint8_t m_reserved3[2];
    std::int32_t m_lidColor;  // gray of the lid, 0 to 255
    std::int32_t m_adfLidColor;
};
static_assert(sizeof(DefaultsRecord) == 40);
static_assert(offsetof(DefaultsRecord, m_defaultPhotoResolution) == 4);
static_assert(offsetof(DefaultsRecord, m_negativeCapable) == 12);
static_assert(offsetof(DefaultsRecord, m_XPAneedsAutoMirror) == 13);
static_assert(offsetof(DefaultsRecord, m_grayChannel) == 16);
static_assert(offsetof(DefaultsRecord, m_scannerGammaFixed) == 28);
static_assert(offsetof(DefaultsRecord, m_enhancedColorByDefault) == 29);
static_assert(offsetof(DefaultsRecord, m_lidColor) == 32);
static_assert(offsetof(DefaultsRecord, m_adfLidColor) == 36);

// Conversion to gray: weights of red, green and blue, then the gray curve.
struct GrayRecord {
    std::uint8_t m_valid;
    std::uint8_t m_reserved[7];
    double m_matrix[3];
    double m_offset;
    double m_gain;
    double m_gamma;
};
static_assert(sizeof(GrayRecord) == 56);
static_assert(offsetof(GrayRecord, m_matrix) == 8);
static_assert(offsetof(GrayRecord, m_offset) == 32);

// Uses of an exclusion area.
inline constexpr std::uint32_t kAutocropExclusion = 1;
inline constexpr std::uint32_t kFeederLidExclusion = 16;

// A part of the bed that automatic cropping leaves out.
struct ExclusionArea {
    std::uint32_t m_usage;
    std::uint32_t m_top;
    std::uint32_t m_left;
    std::uint32_t m_bottom;
    std::uint32_t m_right;
};
static_assert(sizeof(ExclusionArea) == 20);

// Rows stand in ascending order of resolution; each applies up to and including its resolution.
struct JpegRow {
    std::uint32_t m_resolution;
    std::uint32_t m_enable;
    std::uint32_t m_qualityFactor;
};
static_assert(sizeof(JpegRow) == 12);

// What a slide or a negative begins with.
struct DefaultSelection {
    std::uint32_t m_values[4];
};
static_assert(sizeof(DefaultSelection) == 16);
