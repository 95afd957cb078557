#include "sane-backend/sane_rows.h"

#include <algorithm>

#include "platform/pixel_order.h"

namespace {

// Entries of gray palettes are gray, so that any of their colours would do.
int LightOf(const RGBQUAD& color) {
    return color.rgbGreen;
}

}  // namespace

std::optional<CSaneRows> CSaneRows::For(const ScanPage& page) {
    const WORD bits = page.info.biBitCount;
    if (!page.topDown || (bits != 1 && bits != 8 && bits != 24))
        return std::nullopt;
    return CSaneRows(page);
}

CSaneRows::CSaneRows(const ScanPage& page) : m_stride(page.stride) {
    const int bits = page.info.biBitCount;
    m_parameters.format = bits == 24 ? SANE_FRAME_RGB : SANE_FRAME_GRAY;
    m_parameters.last_frame = SANE_TRUE;
    m_parameters.pixels_per_line = page.info.biWidth;
    m_parameters.lines = page.info.biHeight;
    m_parameters.depth = bits == 1 ? 1 : 8;
    m_parameters.bytes_per_line = (page.info.biWidth * bits + 7) / 8;
    for (std::size_t i = 0; i < m_grays.size(); ++i)
        m_grays[i] = static_cast<SANE_Byte>(i < page.palette.size() ? LightOf(page.palette[i]) : i);
    const bool isFirstDarker =
        page.palette.size() < 2 || LightOf(page.palette[0]) <= LightOf(page.palette[1]);
    m_flip = isFirstDarker ? 0xFF : 0;
}

void CSaneRows::Convert(const BYTE* rows, LONG count, std::vector<SANE_Byte>& out) const {
    const auto bytes = static_cast<std::size_t>(m_parameters.bytes_per_line);
    out.resize(bytes * static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i)
        ConvertRow(rows + i * m_stride, out.data() + i * bytes);
}

void CSaneRows::ConvertRow(const BYTE* row, SANE_Byte* out) const {
    const auto bytes = static_cast<std::size_t>(m_parameters.bytes_per_line);
    if (m_parameters.format == SANE_FRAME_RGB) {
        std::copy_n(row, bytes, out);
        SwapRedBlue(out, bytes);
    } else if (m_parameters.depth == 8) {
        std::transform(row, row + bytes, out, [this](BYTE v) { return m_grays[v]; });
    } else {
        std::transform(row, row + bytes, out,
                       [this](BYTE v) { return static_cast<SANE_Byte>(v ^ m_flip); });
        // White behind the last pixel.
        if (const int used = m_parameters.pixels_per_line % 8; used != 0)
            out[bytes - 1] = static_cast<SANE_Byte>(out[bytes - 1] & (0xFF << (8 - used)));
    }
}
