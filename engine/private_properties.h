// Ids of the driver's own item properties, beside the published ones.
#pragma once

#include <cstdint>

#include "stages/streak_settings.h"

// Settings are 32-bit integers, tables are bytes of the records in profile/attrib_records.h. TMA
// stands for the transparency adapter.
enum QLPrivateProperty : std::uint32_t {
    QL_PROP_TMA_SELECT = 71683,       // of the root item: 1 for the adapter
    QL_PROP_TMA_METHOD = 71684,       // 0 slides, 1 negatives
    QL_PROP_SCANNER_CHANNEL = 71685,  // 0 all three colours, 1 gray, 2 to 4 one sensor
    QL_PROP_EXPOSURE_METHOD = 71686,  // 0 brightness and contrast, 1 the three levels
    QL_PROP_ROTATION = 71687,         // degrees clockwise, 0, 90, 180 or 270
    QL_PROP_MIRROR = 71688,           // 1: each line from right to left
    // -100 to 100.
    QL_PROP_HIGHLIGHT_LEVEL = 71689,
    QL_PROP_SHADOW_LEVEL = 71690,
    QL_PROP_MIDTONE_LEVEL = 71691,
    QL_PROP_GAMMA = 71692,          // in 1/1000
    QL_PROP_HUE_X = 71693,          // in 1/100
    QL_PROP_HUE_Y = 71694,          // in 1/100
    QL_PROP_SHARPEN_LEVEL = 71695,  // 0 to 5
    QL_PROP_SATURATION = 71696,     // in 1/1000, 0 to 1500
    QL_PROP_DEFAULTS = 71698,       // DefaultsRecord
    // Colour, nine doubles by rows.
    QL_PROP_FLATBED_MATRIX = 71699,
    QL_PROP_SLIDE_MATRIX = 71700,
    QL_PROP_FEEDER_MATRIX = 71701,
    // Tone of each kind of original, CoeffRecord.
    QL_PROP_FLATBED_COEFFS = 71702,
    QL_PROP_FEEDER_COEFFS = 71703,
    QL_PROP_SLIDE_COEFFS = 71704,
    QL_PROP_SLIDE_COEFFS_B = 71705,
    QL_PROP_NEG_COEFFS = 71706,
    QL_PROP_GRAY = 71707,            // GrayRecord
    QL_PROP_DENSITY_MATRIX = 71708,  // of negatives, 18 doubles: three rows of six
    QL_PROP_POST_MATRIX = 71709,     // nine doubles by rows
    QL_PROP_SMOOTHING = 71722,       // 0 off, 1 of noise, 2 of all detail besides
    QL_PROP_STREAKS = 71723,         // removal of streaks, 0 off, 1 or 2
    QL_PROP_STREAK_DETAIL = 71724,   // the channel that others are rebuilt from, 1 to 3, or 0
    // Of the root item: why reading the last page failed before its end, as a result code; 0 for a
    // page that came whole or ended with its medium.
    QL_PROP_PAGE_RESULT = 71725,
    // Of colour images: 0 none, else a QLPaletteKind; QL_PALETTE_USER for the colours below.
    QL_PROP_PALETTE = 71720,
    QL_PROP_PALETTE_COLORS = 71721,  // PaletteRecord
};

// Turns that an image can take, clockwise; the first is none.
inline constexpr std::int32_t QL_TURNS[] = {0, 90, 180, 270};

// The palette that a client gives: red, green, blue of as many entries as it says.
struct PaletteRecord {
    std::uint32_t m_count;  // 1 to 256
    std::uint8_t m_colors[256][3];
};
static_assert(sizeof(PaletteRecord) == 772);
