#include "service/page_rows.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "platform/bitmap_headers.h"
#include "platform/bitmap_white.h"

namespace {

// Pixels; with the deepest of the depths a row stays within 32 bits of bytes.
constexpr LONG kMaxWidth = 1 << 24;
constexpr WORD kDepths[] = {1, 4, 8, 16, 24, 32, 48};

// A header that can be followed: bytes of the palette stand with it, and nothing else does.
bool IsSound(const BITMAPINFOHEADER& info, std::size_t bytes) {
    return IsPlainInfo(info) && info.biWidth <= kMaxWidth &&
           std::find(std::begin(kDepths), std::end(kDepths), info.biBitCount) !=
               std::end(kDepths) &&
           bytes == sizeof(info) + info.biClrUsed * sizeof(RGBQUAD);
}

ULONGLONG RowBits(const BITMAPINFOHEADER& info) {
    return static_cast<ULONGLONG>(info.biWidth) * info.biBitCount;
}

}  // namespace

CPageRows::Result CPageRows::Take(std::span<const BYTE> bytes) {
    return m_begun ? TakeRows(bytes) : TakeHeader(bytes);
}

// A negative height means that the first row is the top one.
CPageRows::Result CPageRows::TakeHeader(std::span<const BYTE> bytes) {
    BITMAPINFOHEADER& info = m_page.info;
    if (bytes.size() < sizeof(info))
        return Result::Nonsense;
    std::memcpy(&info, bytes.data(), sizeof(info));
    if (!IsSound(info, bytes.size()))
        return Result::Nonsense;
    m_page.topDown = info.biHeight < 0;
    info.biHeight = std::abs(info.biHeight);
    m_page.stride = static_cast<std::size_t>(BitmapStride(info));
    m_page.palette.resize(info.biClrUsed);
    if (info.biClrUsed > 0)
        std::memcpy(m_page.palette.data(), bytes.data() + sizeof(info),
                    bytes.size() - sizeof(info));
    m_begun = true;
    return m_sink.BeginPage(m_page) ? Result::GoOn : Result::Stop;
}

// A row that ended within the last run is completed first, then whole rows go on as they are,
// without a copy; what is left waits for the next run.
CPageRows::Result CPageRows::TakeRows(std::span<const BYTE> bytes) {
    m_received += bytes.size();
    if (m_received > m_page.stride * static_cast<ULONGLONG>(m_page.info.biHeight))
        return Result::Nonsense;
    if (!m_partRow.empty()) {
        const std::size_t missing = std::min(m_page.stride - m_partRow.size(), bytes.size());
        m_partRow.insert(m_partRow.end(), bytes.begin(),
                         bytes.begin() + static_cast<std::ptrdiff_t>(missing));
        bytes = bytes.subspan(missing);
        if (m_partRow.size() < m_page.stride)
            return Result::GoOn;
        if (const Result result = Deliver(m_partRow.data(), 1); result != Result::GoOn)
            return result;
        m_partRow.clear();
    }
    const std::size_t whole = bytes.size() / m_page.stride;
    if (const Result result = Deliver(bytes.data(), whole); result != Result::GoOn)
        return result;
    bytes = bytes.subspan(whole * m_page.stride);
    m_partRow.assign(bytes.begin(), bytes.end());
    return Result::GoOn;
}

CPageRows::Result CPageRows::Deliver(const BYTE* rows, std::size_t count) {
    if (count == 0)
        return Result::GoOn;
    m_delivered += static_cast<LONG>(count);
    return m_sink.Rows(rows, static_cast<LONG>(count)) ? Result::GoOn : Result::Stop;
}

// Drivers fill up the end of a page that the scanner broke off with white bytes, and don't pad
// those rows.
CPageRows::Result CPageRows::Finish(HRESULT result) {
    const auto height = static_cast<ULONGLONG>(m_page.info.biHeight);
    if (!m_begun || m_received < RowBits(m_page.info) / 8 * height)
        return Result::Nonsense;
    const BYTE white = WhiteByte(m_page.info.biBitCount, m_page.palette);
    while (m_delivered < m_page.info.biHeight) {
        m_partRow.resize(m_page.stride, white);
        if (const Result taken = Deliver(m_partRow.data(), 1); taken != Result::GoOn)
            return taken;
        m_partRow.clear();
    }
    m_page.result = result;
    return m_sink.EndPage(m_page) ? Result::GoOn : Result::Stop;
}
