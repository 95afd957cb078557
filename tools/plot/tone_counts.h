// How often each level occurs in a picture, by channel.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/types.h"

inline constexpr std::size_t kToneLevels = 256;

struct CToneCounts {
    using Levels = std::array<std::uint64_t, kToneLevels>;

    // Red, green, blue; or one of gray. Empty: nothing is known.
    std::vector<Levels> m_channels;

    bool IsEmpty() const { return m_channels.empty(); }
    // Pixels, as each channel has counted them.
    static std::uint64_t Total(const Levels& levels);
    // The mean level; 0 of nothing.
    static double Mean(const Levels& levels);
};

// Of gray alone, as the palettes of gray pictures and of line art are.
bool IsGray(std::span<const RGBQUAD> palette);

// Counts of a finer scale, a number of whole bins for each level, into those of levels. Empty for
// another size.
CToneCounts::Levels FoldLevels(std::span<const std::uint32_t> bins);

// Counts the rows of a bitmap of 1, 8 or 24 bits as they come; those of another one not at all.
class CToneCounter {
  public:
    // Forgets what was counted. A palette tells the level of an index; without one it is the index
    // itself.
    void Begin(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette);
    // Whole rows, each padded to 4 bytes.
    void Add(std::span<const std::uint8_t> rows);

    const CToneCounts& Counts() const { return m_counts; }

  private:
    void AddRow(const std::uint8_t* row);

    CToneCounts m_counts;
    std::size_t m_width = 0;
    std::size_t m_stride = 0;
    int m_bits = 0;
    std::array<std::array<std::uint8_t, kToneLevels>, 3> m_levelOf = {};  // of an index, by channel
};
