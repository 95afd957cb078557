#include "pictures/pix_file_writer.h"

#include <cstring>

#include "pictures/file_failure.h"
#include "pictures/palette_kind.h"

// The whole page in memory, as the encoders want it. Its lines come from outside, so nothing is set
// to 0 first.
void CPixFileWriter::Start() {
    setMsgSeverity(L_SEVERITY_NONE);
    // Colours take a word each.
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

void CPixFileWriter::StoreBand(std::uint8_t* rows, std::int32_t count) {
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

void CPixFileWriter::FinishPixels() {
    if (m_info.biBitCount == 24)
        return;
    pixEndianByteSwap(m_pix.get());
    // A set bit is black to Leptonica, and 8 bits are a gray, unless a palette says otherwise.
    const EPaletteKind kind = KindOf(Palette());
    if (kind == EPaletteKind::WhiteIsSet)
        pixInvert(m_pix.get(), m_pix.get());
    else if (kind == EPaletteKind::Colors)
        AttachPalette();
}

// The palette belongs to the image from here on.
void CPixFileWriter::AttachPalette() {
    PIXCMAP* colors = pixcmapCreate(m_info.biBitCount);
    if (!colors)
        throw std::bad_alloc();
    for (const RGBQUAD& color : Palette())
        pixcmapAddColor(colors, color.rgbRed, color.rgbGreen, color.rgbBlue);
    pixSetColormap(m_pix.get(), colors);
}

void CPixFileWriter::Complete() {
    FinishPixels();
    StorePage(m_pix.get());
    m_pix.reset();
}

CEncodedBytes EncodeJpeg(PIX* pix) {
    constexpr int kQuality = 90;     // of 100
    constexpr int kMaxSide = 65500;  // the library's own bound

    if (pixGetWidth(pix) > kMaxSide || pixGetHeight(pix) > kMaxSide)
        Fail("would be larger than the " + std::to_string(kMaxSide) +
             " pixels a side that JPEG compression can do");
    // JPEG knows grays and colours only.
    CPixPtr plain;
    if (pixGetColormap(pix) || pixGetDepth(pix) == 1) {
        plain.reset(pixGetColormap(pix) ? pixRemoveColormap(pix, REMOVE_CMAP_BASED_ON_SRC)
                                        : pixConvertTo8(pix, 0));
        if (plain && pixGetDepth(plain.get()) < 8)
            plain.reset(pixConvertTo8(plain.get(), 0));
        if (!plain)
            throw std::bad_alloc();
        pix = plain.get();
    }
    l_uint8* bytes = nullptr;
    CEncodedBytes encoded;
    const int failed = pixWriteMemJpeg(&bytes, &encoded.size, pix, kQuality, 0);
    encoded.bytes.reset(bytes);
    if (failed || !bytes)
        throw std::bad_alloc();
    return encoded;
}
