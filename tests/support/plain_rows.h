// Test pictures as samples, and samples as the bitmap rows that the engine delivers.
#pragma once

#include <functional>

#include "tests/support/engine_rig.h"
#include "tests/support/noise_lines.h"

// Samples of 16 bits, red first.
inline std::vector<int> RedFirst(const CTestPicture& picture) {
    std::vector<int> samples;
    for (std::size_t i = 0; i < picture.m_pixels.size(); ++i)
        samples.push_back(picture.m_pixels[picture.m_bits == 24 ? i / 3 * 3 + 2 - i % 3 : i] << 8);
    return samples;
}

// Rows with the top line first: of samples, or of one bit for each where `bit` says which are set.
// An inversion takes the bits behind a line's last pixel along. Bytes that fill a row up hold what
// fresh lines hold, 0xFF.
inline Bytes BitmapRows(const std::vector<int>& samples, std::size_t width, std::size_t channels,
                        bool inverts, const std::function<bool(std::size_t)>& bit = {}) {
    const std::size_t rowBytes = bit ? (width + 7) / 8 : width * channels;
    Bytes packed;
    for (std::size_t start = 0; start < samples.size(); start += width * channels) {
        Bytes row(rowBytes);
        for (std::size_t i = 0; i < width * channels; ++i) {
            if (bit)
                row[i / 8] |= bit(start + i) ? 0x80 >> i % 8 : 0;
            else
                row[channels == 3 ? i / 3 * 3 + 2 - i % 3 : i] =
                    static_cast<std::uint8_t>(samples[start + i] >> 8);
        }
        for (std::uint8_t& byte : row)
            packed.push_back(static_cast<std::uint8_t>(inverts ? ~byte : byte));
    }
    return Padded(packed, rowBytes, 0xFF);
}
