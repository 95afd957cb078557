#include "tools/plot/tone_counts.h"

#include <algorithm>
#include <numeric>

#include "platform/bitmap_headers.h"

std::uint64_t CToneCounts::Total(const Levels& levels) {
    return std::accumulate(levels.begin(), levels.end(), std::uint64_t{0});
}

double CToneCounts::Mean(const Levels& levels) {
    const std::uint64_t total = Total(levels);
    double sum = 0;
    for (std::size_t level = 0; level < levels.size(); ++level)
        sum += static_cast<double>(level) * static_cast<double>(levels[level]);
    return total == 0 ? 0 : sum / static_cast<double>(total);
}

bool IsGray(std::span<const RGBQUAD> palette) {
    return std::ranges::all_of(palette, [](const RGBQUAD& color) { return IsGray(color); });
}

CToneCounts::Levels FoldLevels(std::span<const std::uint32_t> bins) {
    CToneCounts::Levels levels = {};
    const std::size_t each = bins.size() / kToneLevels;
    if (each == 0 || bins.size() % kToneLevels != 0)
        return levels;
    for (std::size_t i = 0; i < bins.size(); ++i)
        levels[i / each] += bins[i];
    return levels;
}

void CToneCounter::Begin(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette) {
    m_bits = info.biBitCount;
    m_width = static_cast<std::size_t>(std::max<LONG>(info.biWidth, 0));
    const bool isKnown = m_bits == 1 || m_bits == 8 || m_bits == 24;
    m_stride = isKnown ? static_cast<std::size_t>(BitmapStride(info)) : 0;
    m_counts.m_channels.assign(m_bits == 24 || !IsGray(palette) ? 3 : 1, {});
    for (std::size_t i = 0; i < kToneLevels; ++i) {
        const auto level = static_cast<std::uint8_t>(i);
        const RGBQUAD color = i < palette.size() ? palette[i] : RGBQUAD{level, level, level, 0};
        m_levelOf[0][i] = color.rgbRed;
        m_levelOf[1][i] = color.rgbGreen;
        m_levelOf[2][i] = color.rgbBlue;
    }
}

void CToneCounter::AddRow(const std::uint8_t* row) {
    CToneCounts::Levels* const channels = m_counts.m_channels.data();
    if (m_bits == 24) {
        for (std::size_t x = 0; x < m_width; ++x, row += 3) {
            for (std::size_t c = 0; c < 3; ++c)
                ++channels[2 - c][row[c]];  // blue comes first
        }
        return;
    }
    for (std::size_t x = 0; x < m_width; ++x) {
        const std::size_t index = m_bits == 1 ? row[x / 8] >> (7 - x % 8) & 1 : row[x];
        for (std::size_t c = 0; c < m_counts.m_channels.size(); ++c)
            ++channels[c][m_levelOf[c][index]];
    }
}

void CToneCounter::Add(std::span<const std::uint8_t> rows) {
    for (; m_stride > 0 && rows.size() >= m_stride; rows = rows.subspan(m_stride))
        AddRow(rows.data());
}
