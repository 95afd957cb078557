#include "pictures/pnm_file_writer.h"

#include <algorithm>
#include <string>

#include "platform/bitmap_headers.h"

namespace {

// In either order.
bool IsBlackAndWhite(std::span<const RGBQUAD> palette) {
    return palette.size() == 2 && std::ranges::all_of(palette, IsGray) &&
           palette[0].rgbRed + palette[1].rgbRed == 0xFF &&
           (palette[0].rgbRed == 0 || palette[1].rgbRed == 0);
}

}  // namespace

// The simplest form that holds every pixel. The header is text: kind, sides, and the value of white
// where there is one.
void CPnmFileWriter::Start() {
    m_kind = m_info.biBitCount == 24                  ? EKind::Colors
             : IsBlackAndWhite(Palette())             ? EKind::Bits
             : std::ranges::all_of(Palette(), IsGray) ? EKind::Grays
                                                      : EKind::Colors;
    std::string header = "P" + std::to_string(static_cast<int>(m_kind)) + '\n' +
                         std::to_string(m_info.biWidth) + ' ' + std::to_string(m_info.biHeight) +
                         '\n';
    if (m_kind != EKind::Bits)
        header += "255\n";
    m_file.WriteAt(header.data(), header.size(), 0);
    m_written = static_cast<std::int64_t>(header.size());
}

// One past what was written.
std::uint8_t* CPnmFileWriter::ConvertRow(std::uint8_t* target, const std::uint8_t* row) const {
    const auto width = static_cast<std::size_t>(m_info.biWidth);
    if (m_kind == EKind::Bits) {
        // A set bit is black there, and none is set behind the last pixel.
        const std::uint8_t flip = Palette()[1].rgbRed == 0 ? 0 : 0xFF;
        target = std::transform(row, row + (width + 7) / 8, target, [flip](std::uint8_t bits) {
            return static_cast<std::uint8_t>(bits ^ flip);
        });
        if (width % 8 != 0)
            target[-1] = static_cast<std::uint8_t>(target[-1] & 0xFF << (8 - width % 8));
        return target;
    }
    for (std::size_t x = 0; x < width; ++x) {
        RGBQUAD color = {};
        if (m_info.biBitCount == 24)
            color = {row[3 * x], row[3 * x + 1], row[3 * x + 2], 0};
        else
            color = Palette()[m_info.biBitCount == 8 ? row[x] : row[x / 8] >> (7 - x % 8) & 1];
        *target++ = color.rgbRed;
        if (m_kind == EKind::Colors) {
            *target++ = color.rgbGreen;
            *target++ = color.rgbBlue;
        }
    }
    return target;
}

// Rows lie close together there, with red first: three bytes a pixel are the most.
void CPnmFileWriter::StoreBand(std::uint8_t* rows, std::int32_t count) {
    m_rows.resize(static_cast<std::size_t>(m_info.biWidth) * 3 * static_cast<std::size_t>(count));
    std::uint8_t* end = m_rows.data();
    for (std::int32_t row = 0; row < count; ++row, rows += Stride())
        end = ConvertRow(end, rows);
    const auto bytes = static_cast<std::size_t>(end - m_rows.data());
    m_file.WriteAt(m_rows.data(), bytes, m_written);
    m_written += static_cast<std::int64_t>(bytes);
}
