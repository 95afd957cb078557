#include "pictures/band_writer.h"

#include <algorithm>
#include <cstring>

#include "pictures/file_failure.h"
#include "platform/bitmap_white.h"

// Runs one step of the file if it is its turn. A step that fails takes the file with it, unless
// that has whole pages.
template <typename TAction>
bool CBandWriter::Try(EState expected, TAction action) {
    if (m_state != expected) {
        if (m_error.empty())
            m_error = "is written in the wrong order: begin, rows, finish";
        return false;
    }
    if (RunGuarded(&m_error, action))
        return true;
    if (m_page > 0 && (m_state == EState::Fresh || m_state == EState::Begun)) {
        m_state = EState::Broken;
        return false;
    }
    m_file.Discard();
    m_state = EState::Done;
    return false;
}

// The file is made by the first page that has passed its checks: a wrong header leaves none.
bool CBandWriter::Begin(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette) {
    return Try(EState::Fresh, [&] {
        if (m_page > 0 && !HoldsSeveralPages(m_kind))
            Fail("holds one page; .tif, .tiff and .pdf files hold several");
        CheckHeader(info, palette);
        TakeHeader(info, palette);
        if (m_page == 0)
            m_file.Create(WritesForward());
        Start();
        m_state = EState::Begun;
    });
}

// What goes beyond the image's last row is dropped: a caller need not know where it ends.
bool CBandWriter::Write(const std::uint8_t* bytes, std::size_t length) {
    return Try(EState::Begun, [&] {
        const auto left = static_cast<std::uint64_t>(m_bytesLeft);
        Feed(bytes, static_cast<std::int64_t>(std::min<std::uint64_t>(length, left)));
    });
}

bool CBandWriter::EndPage() {
    return Try(EState::Begun, [&] { CompletePage(); });
}

// A page may have broken before it began, or at its end.
bool CBandWriter::DropPage() {
    return Try(m_state == EState::Broken ? m_state : EState::Begun, [&] {
        m_state = EState::Broken;
        if (m_page == 0)
            Fail("has no whole page");
        Drop();
        m_state = EState::Ending;
    });
}

// Behind several pages the last one may have been ended already.
bool CBandWriter::Finish() {
    const bool isBetween = m_page > 0 && m_state == EState::Fresh;
    return Try(isBetween || m_state == EState::Ending ? m_state : EState::Begun, [&] {
        if (m_state == EState::Begun)
            CompletePage();
        m_state = EState::Ending;
        CompletePages();
        m_file.Publish();
        m_state = EState::Done;
    });
}

// Rows that never came are white, as a page is that wasn't scanned to its end.
void CBandWriter::CompletePage() {
    Feed(nullptr, m_bytesLeft);
    Complete();
    ++m_page;
    m_state = EState::Fresh;
}

void CBandWriter::CheckHeader(const BITMAPINFOHEADER& info,
                              std::span<const RGBQUAD> palette) const {
    const std::string bits = std::to_string(info.biBitCount);
    if (info.biBitCount != 1 && info.biBitCount != 8 && info.biBitCount != 24)
        Fail("would hold " + bits + " bits a pixel; images of 1, 8 or 24 bits are written");
    std::string error;
    if (!CheckPicture(m_kind, m_options, info.biWidth, info.biHeight, info.biBitCount, &error))
        Fail(error);
    if (info.biCompression != 0) {
        Fail("would hold rows compressed by method " + std::to_string(info.biCompression) +
             "; uncompressed rows (method 0) are written");
    }
    const DWORD colors = FullColorCount(info.biBitCount);
    if (colors != 0 && (palette.empty() || palette.size() > colors)) {
        Fail("would have a palette of " + std::to_string(palette.size()) + " colours; 1 to " +
             std::to_string(colors) + " go with " + bits + " bits a pixel");
    }
}

// Colours beyond a short palette are white. The band has as many whole rows as make up its usual
// size: one at least, and no more than the image has.
void CBandWriter::TakeHeader(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette) {
    const DWORD colors = FullColorCount(info.biBitCount);
    m_palette.fill({0xFF, 0xFF, 0xFF, 0});
    if (colors != 0)
        std::ranges::copy(palette, m_palette.begin());
    m_whiteByte = WhiteByte(info.biBitCount, palette);
    m_info = info;
    m_info.biClrUsed = colors;
    const std::int64_t stride = BitmapStride(info);
    const std::int64_t lines = std::clamp<std::int64_t>(kFileBandBytes / stride, 1, info.biHeight);
    m_stride = static_cast<std::size_t>(stride);
    m_band.resize(static_cast<std::size_t>(lines * stride));
    m_bytesLeft = ImageBytes();
    m_filled = 0;
    m_line = 0;
}

// Takes `length` bytes into the band, which are white when `bytes` is null, and stores every band
// that becomes full. The last one is short: it ends with the image.
void CBandWriter::Feed(const std::uint8_t* bytes, std::int64_t length) {
    while (length > 0) {
        const auto part = static_cast<std::size_t>(
            std::min(length, static_cast<std::int64_t>(m_band.size() - m_filled)));
        if (bytes) {
            std::memcpy(m_band.data() + m_filled, bytes, part);
            bytes += part;
        } else {
            std::memset(m_band.data() + m_filled, m_whiteByte, part);
        }
        m_filled += part;
        length -= static_cast<std::int64_t>(part);
        m_bytesLeft -= static_cast<std::int64_t>(part);
        if (m_filled == m_band.size() || m_bytesLeft == 0) {
            const auto count = static_cast<std::int32_t>(m_filled / m_stride);
            StoreBand(m_band.data(), count);
            m_line += count;
            m_filled = 0;
        }
    }
}
