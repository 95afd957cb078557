#include "pictures/encoded_file_writer.h"

#include <cstring>

#include "pictures/file_failure.h"

namespace {

bool IsAll(const RGBQUAD& color, BYTE value) {
    return color.rgbBlue == value && color.rgbGreen == value && color.rgbRed == value;
}

}  // namespace

void CEncodedFileWriter::Start() {
    setMsgSeverity(L_SEVERITY_NONE);
    const int depth = m_info.biBitCount == 24 ? 32 : m_info.biBitCount;
    const std::int64_t lineBytes = BitmapStride(m_info.biWidth, depth);
    if (lineBytes > kMaxDecodedBytes / m_info.biHeight) {
        Fail("would take " + std::to_string(lineBytes) + " bytes a line for " +
             std::to_string(m_info.biHeight) + " lines; " + std::to_string(kMaxDecodedBytes) +
             " bytes can be encoded, while .bmp files have no such bound");
    }
    m_pix.reset(pixCreateNoInit(m_info.biWidth, m_info.biHeight, depth));
    if (!m_pix)
        throw std::bad_alloc();
    pixSetResolution(m_pix.get(), DotsPerInch(m_info.biXPelsPerMeter),
                     DotsPerInch(m_info.biYPelsPerMeter));
}

void CEncodedFileWriter::StoreBand(std::uint8_t* rows, std::int32_t count) {
    const auto wordsPerLine = static_cast<std::size_t>(pixGetWpl(m_pix.get()));
    l_uint32* target = pixGetData(m_pix.get()) + wordsPerLine * static_cast<std::size_t>(m_line);
    for (std::int32_t row = 0; row < count; ++row, rows += Stride(), target += wordsPerLine) {
        if (m_info.biBitCount != 24) {
            // Both pad rows to 4 bytes; FinishPixels brings the bytes of a word in order.
            std::memcpy(target, rows, Stride());
            continue;
        }
        const std::uint8_t* pixel = rows;
        for (LONG x = 0; x < m_info.biWidth; ++x, pixel += 3) {
            target[x] = l_uint32{pixel[2]} << L_RED_SHIFT | l_uint32{pixel[1]} << L_GREEN_SHIFT |
                        l_uint32{pixel[0]} << L_BLUE_SHIFT;
        }
    }
}

void CEncodedFileWriter::FinishPixels() {
    if (m_info.biBitCount == 24)
        return;
    pixEndianByteSwap(m_pix.get());
    const std::span<const RGBQUAD> palette = Palette();
    if (m_info.biBitCount == 1) {
        // A set bit is black to Leptonica.
        if (IsAll(palette[0], 0) && IsAll(palette[1], 0xFF))
            pixInvert(m_pix.get(), m_pix.get());
        else if (!IsAll(palette[0], 0xFF) || !IsAll(palette[1], 0))
            AttachPalette();
        return;
    }
    for (std::size_t i = 0; i < palette.size(); ++i) {
        if (!IsAll(palette[i], static_cast<BYTE>(i))) {
            AttachPalette();
            return;
        }
    }
}

void CEncodedFileWriter::AttachPalette() {
    PIXCMAP* colors = pixcmapCreate(m_info.biBitCount);
    if (!colors)
        throw std::bad_alloc();
    for (const RGBQUAD& color : Palette())
        pixcmapAddColor(colors, color.rgbRed, color.rgbGreen, color.rgbBlue);
    pixSetColormap(m_pix.get(), colors);
}

// In memory: when a disk is full, Leptonica's writing to files may go unnoticed.
void CEncodedFileWriter::Complete() {
    FinishPixels();
    l_uint8* bytes = nullptr;
    std::size_t size = 0;
    int failed = 0;
    if (m_encoding == EEncoding::Png) {
        failed = pixWriteMemPng(&bytes, &size, m_pix.get(), 0.0f);
    } else {
        // Fax compression knows black and white only.
        const bool isFax = m_info.biBitCount == 1 && !pixGetColormap(m_pix.get());
        failed = pixWriteMemTiff(&bytes, &size, m_pix.get(), isFax ? IFF_TIFF_G4 : IFF_TIFF_ZIP);
    }
    const std::unique_ptr<l_uint8, CLeptDeleter> owned(bytes);
    if (failed || !bytes)
        throw std::bad_alloc();
    m_file.WriteAt(bytes, size, 0);
}
