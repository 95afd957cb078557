#include "tools/scaled_writer.h"

#include <algorithm>

#include "platform/bitmap_headers.h"

namespace {

// Which value of a bilevel page is the darker one.
std::uint8_t InkOf(std::span<const RGBQUAD> palette) {
    const auto light = [](const RGBQUAD& c) { return c.rgbRed + c.rgbGreen + c.rgbBlue; };
    return palette.size() > 1 && light(palette[1]) < light(palette[0]) ? 1 : 0;
}

}  // namespace

bool CScaledWriter::Begin(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette) {
    const BITMAPINFOHEADER result = m_scale.HeaderOf(info);
    m_mean.reset();
    m_part.clear();
    if (m_scale.Reduces()) {
        m_stride = static_cast<std::size_t>(BitmapStride(info));
        m_row.assign(static_cast<std::size_t>(BitmapStride(result)), 0);
        m_mean.emplace(info.biBitCount, InkOf(palette), info.biWidth, m_scale.Across(info.biWidth),
                       m_scale.Along(info.biHeight));
    }
    return Keep(m_writer->Begin(result, palette));
}

// Runs may begin and end within a row.
bool CScaledWriter::Write(const std::uint8_t* bytes, std::size_t length) {
    if (!m_mean)
        return Keep(m_writer->Write(bytes, length));
    while (length > 0) {
        if (m_part.empty() && length >= m_stride) {
            if (!WriteRow(bytes))
                return false;
            bytes += m_stride;
            length -= m_stride;
            continue;
        }
        const std::size_t taken = std::min(m_stride - m_part.size(), length);
        m_part.insert(m_part.end(), bytes, bytes + taken);
        bytes += taken;
        length -= taken;
        if (m_part.size() < m_stride)
            continue;
        if (!WriteRow(m_part.data()))
            return false;
        m_part.clear();
    }
    return true;
}

bool CScaledWriter::WriteRow(const std::uint8_t* row) {
    const std::span<const std::uint8_t> made = m_mean->Add(row);
    if (made.empty())
        return true;
    std::ranges::copy(made, m_row.begin());
    return Keep(m_writer->Write(m_row.data(), m_row.size()));
}
