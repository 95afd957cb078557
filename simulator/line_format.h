// From the sensor's light to the bytes that a device sends.
//
// A sample goes through these steps, those that a scan doesn't ask for left out:
//   colour matrix, noise, one channel out of three, tone map, depth.
// Light has 16 bits. An 8-bit sample is light / 257, rounded; 255 x 257 is full scale. A 16-bit
// sample is the light, low byte first. A 1-bit sample is 1, white, when its 8-bit one is 128 or
// more; the first pixel is the highest bit.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "simulator/medium.h"

// The tone map of a device: one table a colour. Light is scaled to an entry's number, light x
// length / 65536, and the entry's value to light, value x 65535 / largest value, rounded.
class CToneMap {
  public:
    // Of tables as SetTonemap gets them, low bytes first; entries above the largest value count as
    // it.
    CToneMap(std::uint32_t length, std::uint32_t largest, std::uint32_t entrySize, const void* red,
             const void* green, const void* blue);

    std::uint16_t Map(std::size_t color, std::uint32_t light) const {
        return m_tables[color][static_cast<std::size_t>(std::uint64_t{light} * m_length / 65536)];
    }

  private:
    const std::uint32_t m_length;
    std::array<std::vector<std::uint16_t>, 3> m_tables;
};

enum class EChannel { Color, Ntsc, Red, Green, Blue, DeviceGray };

struct CLineFormatSettings {
    EChannel m_channel = EChannel::Color;
    std::uint32_t m_bits = 8;             // 1, 8 or 16 a sample
    const CToneMap* m_toneMap = nullptr;  // borrowed; null: none
    bool m_hasMatrix = false;
    std::array<double, 9> m_matrix = {};
    std::uint32_t m_noise = 0;  // largest error of a sample, in steps of 8 bits
    std::uint32_t m_seed = 0;
};

class CLineFormat {
  public:
    // `light`: of the medium whose values ConvertValues gets, or null.
    CLineFormat(const CLineFormatSettings& settings, const CLightTables* light);

    std::size_t LineBytes(std::uint32_t pixels) const;
    // `light` is used up.
    void Convert(std::uint32_t line, std::uint16_t* light, std::uint32_t pixels,
                 std::uint8_t* out) const;

    // 8-bit colour without matrix and noise: values of the medium go through one table.
    bool HasValueTables() const { return m_hasValueTables; }
    // In place; nothing to do when the tables change nothing.
    void ConvertValues(std::uint8_t* rgb, std::uint32_t pixels) const;

  private:
    void ApplyMatrix(std::uint16_t* rgb, std::uint32_t pixels) const;
    void AddNoise(std::uint32_t line, std::uint16_t* rgb, std::uint32_t pixels) const;
    void PickChannel(std::uint16_t* rgb, std::uint32_t pixels) const;
    void ApplyToneMap(std::uint16_t* samples, std::size_t count) const;

    const CLineFormatSettings m_settings;
    bool m_hasValueTables = false;
    bool m_valuesStay = false;
    std::array<std::array<std::uint8_t, 256>, 3> m_values = {};
};
