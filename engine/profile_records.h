// The per-model tables as they reach the engine: binary item properties of fixed layout. The first
// byte of each record is 1 when the record has been filled.
#pragma once

#include <cstdint>

// Tone coefficients of one source.
struct QLCoeffRecord {
    std::uint8_t m_valid = 0;
    double m_black[3] = {0.0, 0.0, 0.0};
    double m_gain[3] = {1.0, 1.0, 1.0};
    double m_gamma[3] = {1.0, 1.0, 1.0};
    double m_tenth = 0.0;  // density step of negatives, 0 elsewhere
};
static_assert(sizeof(QLCoeffRecord) == 88);

// Conversion to gray: weights of red, green, blue, then the gray curve.
struct QLGrayRecord {
    std::uint8_t m_valid = 0;
    double m_weights[3] = {0.3, 0.59, 0.11};
    double m_black = 0.0;
    double m_gain = 1.0;
    double m_gamma = 1.0;
};
static_assert(sizeof(QLGrayRecord) == 56);

// The profile's defaults. The engine reads m_srgbOutput, m_engineFlag28 and the two lid colours.
struct QLProfileDefaults {
    std::uint8_t m_valid = 0;
    std::uint32_t m_photoResolution = 0;
    std::uint32_t m_adapterResolution = 0;
    std::uint8_t m_negativeCapable = 0;
    std::uint8_t m_adapterNeedsMirror = 0;
    std::uint32_t m_grayChannel = 0;
    std::uint32_t m_highlight = 0;
    std::uint32_t m_feederShadow = 0;
    std::uint8_t m_srgbOutput = 0;  // the source's samples are encoded already
    std::uint8_t m_engineFlag28 = 0;
    std::uint32_t m_lidColor = 0;
    std::uint32_t m_feederLidColor = 0;
};
static_assert(sizeof(QLProfileDefaults) == 40);
