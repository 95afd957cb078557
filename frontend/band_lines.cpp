#include "frontend/band_lines.h"

#include <algorithm>
#include <limits>

#include "frontend/scan_lines.h"
#include "platform/bitmap_headers.h"
#include "platform/pixel_order.h"

bool CBandLines::IsScaling() const {
    return m_sizes.xRes != m_sizes.scanXRes || m_sizes.yRes != m_sizes.scanYRes;
}

// The band holds lines as they come, and as they lie side by side with bitmap rows. Without scaling
// they become the rows, at whose stride they lie then; the scaler wants them at their own.
HRESULT CBandLines::Allocate(const BandSizes& sizes) {
    m_sizes = sizes;
    const auto bits = static_cast<std::int32_t>(sizes.depth);
    const auto scanStride = static_cast<DWORD>(BitmapStride(sizes.scanWidth, bits));
    m_scanBytes = static_cast<DWORD>(BitmapRowBytes(sizes.scanWidth, bits));
    m_bmpBytes = static_cast<DWORD>(BitmapRowBytes(sizes.bmpWidth, bits));
    m_bmpStride = static_cast<DWORD>(BitmapStride(sizes.bmpWidth, bits));
    m_lineStride = IsScaling() ? scanStride : m_bmpStride;
    if (m_scanBytes == 0)
        return E_FAIL;
    m_band = AllocateTaskArray<BYTE>(std::uint64_t{kBandLines} * std::max(m_bmpStride, scanStride));
    if (!m_band)
        return E_OUTOFMEMORY;
    if (!IsScaling())
        return S_OK;
    // What a band gives, one row that the remainders of bands before add up to, and one to spare.
    const std::uint64_t lines = std::uint64_t{kBandLines} * sizes.yRes / sizes.scanYRes + 2;
    const std::uint64_t bytes = lines * m_bmpStride;
    if (bytes <= static_cast<std::uint64_t>(std::numeric_limits<LONG>::max()))
        m_scaled = AllocateTaskArray<BYTE>(bytes);
    if (!m_scaled)
        return E_OUTOFMEMORY;
    // The scaler writes pixels alone, so the ends of rows stay as they are now.
    WhitenLineEnds(m_scaled.get(), static_cast<DWORD>(lines), m_bmpStride, m_bmpBytes);
    return S_OK;
}

BandRows CBandLines::MakeRows(DWORD lines) {
    ArrangeLines(lines);
    BandRows rows = {m_band.get(), lines};
    if (IsScaling()) {
        rows = {m_scaled.get(), ScaledLines(lines)};
        if (rows.count > 0)
            BilinearInterp(m_band.get(), m_scaled.get(), m_sizes.scanWidth, m_sizes.bmpWidth, lines,
                           rows.count, m_sizes.depth);
    }
    m_linesDelivered += rows.count;
    return rows;
}

// Blue first, and lines at the band's stride. Without scaling they are bitmap rows then: cut where
// the scan is wider, white behind it where the bitmap is.
void CBandLines::ArrangeLines(DWORD lines) {
    BYTE* band = m_band.get();
    const DWORD bytes = lines * m_scanBytes;
    if (m_sizes.depth == 24)
        SwapRedBlue(band, bytes);
    if (m_lineStride < m_scanBytes)
        CutScanLines(band, lines, m_lineStride, m_scanBytes);
    else
        PadScanLines(band, static_cast<LONG>(bytes), static_cast<LONG>(m_lineStride),
                     static_cast<LONG>(m_scanBytes));
    if (!IsScaling())
        WhitenLineEnds(band, lines, m_lineStride, std::min(m_scanBytes, m_bmpBytes));
}

// 20 lines of 300 dpi are 13 1/3 rows of 200 dpi: 13, and the third is carried on. A row is made of
// it when more than a whole one has come together. No band delivers beyond the page.
DWORD CBandLines::ScaledLines(DWORD lines) {
    const double exact = static_cast<double>(lines) * m_sizes.yRes / m_sizes.scanYRes;
    auto rows = static_cast<DWORD>(std::uint64_t{lines} * m_sizes.yRes / m_sizes.scanYRes);
    m_scaleRemainder += exact - rows;
    if (m_scaleRemainder > 1.0) {
        ++rows;
        m_scaleRemainder -= 1.0;
    }
    return std::min(rows, m_sizes.numberOfLines - m_linesDelivered);
}
