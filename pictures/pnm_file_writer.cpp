#include "pictures/pnm_file_writer.h"

#include <algorithm>
#include <string>

#include "pictures/pixel_rows.h"
#include "platform/bitmap_headers.h"
#include "platform/pixel_order.h"

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
    m_mapper = CRowMapper::Bitmap(m_info.biBitCount, Palette());
    m_kind = IsBlackAndWhite(Palette())   ? EKind::Bits
             : m_mapper.TargetBits() == 8 ? EKind::Grays
                                          : EKind::Colors;
    std::string header = "P" + std::to_string(static_cast<int>(m_kind)) + '\n' +
                         std::to_string(m_info.biWidth) + ' ' + std::to_string(m_info.biHeight) +
                         '\n';
    if (m_kind != EKind::Bits)
        header += "255\n";
    m_file.Append(header.data(), header.size());
}

// One past what was written.
std::uint8_t* CPnmFileWriter::ConvertRow(std::uint8_t* target, const std::uint8_t* row) const {
    const auto width = static_cast<std::size_t>(m_info.biWidth);
    if (m_kind == EKind::Bits) {
        std::uint8_t* const end = std::copy_n(row, (width + 7) / 8, target);
        // A set bit is black there, and none is set behind the last pixel.
        if (Palette()[1].rgbRed != 0)
            InvertBits(target, (width + 7) / 8);
        if (width % 8 != 0)
            end[-1] = static_cast<std::uint8_t>(end[-1] & 0xFF << (8 - width % 8));
        return end;
    }
    m_mapper.Map(target, row, m_info.biWidth);
    if (m_kind == EKind::Grays)
        return target + width;
    SwapRedBlue(target, 3 * width);
    return target + 3 * width;
}

// Rows lie close together there, with red first: three bytes a pixel are the most.
void CPnmFileWriter::StoreBand(std::uint8_t* rows, std::int32_t count) {
    m_rows.resize(static_cast<std::size_t>(m_info.biWidth) * 3 * static_cast<std::size_t>(count));
    std::uint8_t* end = m_rows.data();
    for (std::int32_t row = 0; row < count; ++row, rows += Stride())
        end = ConvertRow(end, rows);
    m_file.Append(m_rows.data(), static_cast<std::size_t>(end - m_rows.data()));
}
