#include "frame/line_buffer.h"
#include "frame/try_new.h"

#include <algorithm>
#include <cstring>

bool CQLLineBuffer::Resize(std::int32_t lines, std::int32_t extraBytes) {
    // Stages ask before every pull; nearly always the size stands, and so do the contents.
    if (lines == m_lines && m_format->m_bytesPerLine == m_stride && m_data)
        return true;
    if (lines < 0 || m_external)
        return false;
    // Given up before the new block is asked for, so that the two never take memory together.
    m_owned.reset();
    m_data = nullptr;
    m_lines = 0;
    m_stride = 0;
    if (lines == 0)
        return true;
    const std::int32_t stride = m_format->m_bytesPerLine;
    if (stride < 0 || extraBytes < 0)
        return false;
    const std::size_t bytes = static_cast<std::size_t>(lines) * static_cast<std::size_t>(stride);
    m_owned = TryNewRaw<std::uint8_t>(bytes + static_cast<std::size_t>(extraBytes));
    if (!m_owned)
        return false;
    m_data = m_owned.get();
    m_lines = lines;
    m_stride = stride;
    // White in gray and colour: a line that nobody writes looks like paper.
    std::memset(m_data, 0xFF, bytes);
    return true;
}

bool CQLLineBuffer::HasRoom(std::int32_t lines, std::int32_t rowBytes) const {
    return m_data && std::int64_t{lines} * rowBytes <= std::int64_t{m_lines} * m_stride;
}

std::uint8_t* CQLLineBuffer::LinePointer(std::int32_t y) const {
    if (!m_data || m_lines < 1)
        return nullptr;
    return m_data + static_cast<std::size_t>(std::clamp(y, 0, m_lines - 1)) *
                        static_cast<std::size_t>(m_stride);
}

// Clamped to the block: at its border, neighbours that lie outside are the nearest pixel inside.
std::uint8_t* CQLLineBuffer::PixelPointer(std::int32_t x, std::int32_t y) const {
    std::uint8_t* line = LinePointer(y);
    if (!line)
        return nullptr;
    const std::int32_t column = std::clamp(x, 0, std::max(m_format->m_width - 1, 0));
    return line + static_cast<std::size_t>(column) * m_format->m_bytesPerPixel;
}

// Finished halftone rows are not among the types that are addressed by pixel.
std::uint8_t* CQLLineBuffer::BytePointer(std::int32_t x, std::int32_t y) const {
    const std::uint32_t type = m_format->m_pixelType;
    if (type != QL_PIXEL_BILEVEL && type != QL_PIXEL_BILEVEL_ROWS && type != QL_PIXEL_HALFTONE)
        return PixelPointer(x, y);
    std::uint8_t* line = LinePointer(y);
    return line ? line + std::clamp(x, 0, std::max(m_format->m_width - 1, 0)) / 8 : nullptr;
}
