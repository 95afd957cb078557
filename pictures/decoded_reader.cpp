#include "pictures/decoded_reader.h"

#include <algorithm>

#include "pictures/bitmap_layout.h"
#include "pictures/file_failure.h"

namespace {

constexpr std::uint32_t kWhite = 0xFFFFFF00u;  // as Leptonica lays out red, green, blue, alpha

// The kinds whose size can be learnt without decoding them; null for all others.
const char* FormatName(int format) {
    switch (format) {
        case IFF_JP2:
            return "JPEG 2000";
        case IFF_WEBP:
            return "WebP";
        case IFF_PNM:
            return "PNM";
        default:
            return nullptr;
    }
}

// What can be learnt of a picture before it is decoded.
struct HeaderInfo {
    int format = IFF_UNKNOWN;
    const char* name = nullptr;
    int width = 0;
    int height = 0;
    int bits = 0;  // a sample
    int samples = 0;
    int hasPalette = 0;
};

// By the file's first bytes, not by its name.
HeaderInfo ReadHeader(const std::string& path) {
    HeaderInfo header;
    if (findFileFormat(path.c_str(), &header.format) == 0)
        header.name = FormatName(header.format);
    if (!header.name)
        Fail("is no " + ReadableKinds() + " file; those are read");
    if (pixReadHeader(path.c_str(), nullptr, &header.width, &header.height, &header.bits,
                      &header.samples, &header.hasPalette) != 0 ||
        header.width < 1 || header.height < 1)
        Fail(std::string("has a damaged ") + header.name + " header");
    return header;
}

// Keeps a header from making Leptonica take memory for an image that can't be there.
void CheckSize(const HeaderInfo& header, std::int64_t fileSize) {
    const std::string size =
        std::to_string(header.width) + " x " + std::to_string(header.height) + " pixels";
    // Leptonica holds colours in words of 32 bits, also those that a palette stands for.
    const int bytesPerPixel =
        header.samples > 1 || header.hasPalette ? 4 : std::max(header.bits / 8, 1);
    const std::int64_t mostPixels = kMaxDecodedBytes / bytesPerPixel;
    if (std::int64_t{header.width} * header.height > mostPixels) {
        Fail("is a " + std::string(header.name) + " file of " + size + "; at most " +
             std::to_string(mostPixels) + " pixels of its kind are read");
    }
    // A sample takes a letter at least where PNM files are text, and its bits where they aren't.
    const std::int64_t leastBytes = (std::int64_t{header.width} * std::min(header.bits, 8) + 7) /
                                    8 * header.height * header.samples;
    if (header.format == IFF_PNM && fileSize < leastBytes)
        Fail("is a PNM file of " + size + ", which its " + std::to_string(fileSize) +
             " bytes can't hold");
}

}  // namespace

CDecodedReader::CDecodedReader(const std::string& path, std::int64_t fileSize) {
    // Its messages would go to the terminal, between the program's own; so would those of the
    // libraries that it hands on.
    setMsgSeverity(L_SEVERITY_NONE);
    leptSetStderrHandler([](const char*) {});
    const HeaderInfo header = ReadHeader(path);
    CheckSize(header, fileSize);
    m_pix.reset(pixRead(path.c_str()));
    if (!m_pix)
        Fail(std::string("holds damaged or incomplete ") + header.name + " data");
    Simplify(header.samples == 2);
    m_info.m_width = pixGetWidth(m_pix.get());
    m_info.m_height = pixGetHeight(m_pix.get());
    m_info.m_bitsPerPixel = pixGetDepth(m_pix.get()) == 32 ? 24 : 8;
    m_info.m_xPelsPerMeter = PelsPerMeter(pixGetXRes(m_pix.get()));
    m_info.m_yPelsPerMeter = PelsPerMeter(pixGetYRes(m_pix.get()));
}

// Two forms are left: words of red, green and blue, and bytes of gray. What is transparent lies on
// white paper; gray with transparency comes from Leptonica as colours that are all the same.
void CDecodedReader::Simplify(bool isGrayWithAlpha) {
    int isColor = pixGetDepth(m_pix.get()) == 32 && !isGrayWithAlpha;
    if (PIXCMAP* palette = pixGetColormap(m_pix.get())) {
        pixcmapHasColor(palette, &isColor);
        m_pix.reset(pixRemoveColormap(m_pix.get(), REMOVE_CMAP_BASED_ON_SRC));
    }
    if (m_pix && pixGetDepth(m_pix.get()) == 32 && pixGetSpp(m_pix.get()) == 4)
        m_pix.reset(pixAlphaBlendUniform(m_pix.get(), kWhite));
    if (m_pix && isColor)
        m_pix.reset(pixConvertTo32(m_pix.get()));
    else if (m_pix && pixGetDepth(m_pix.get()) == 32)  // red, green and blue are the same
        m_pix.reset(pixGetRGBComponent(m_pix.get(), COLOR_GREEN));
    else if (m_pix)
        m_pix.reset(pixConvertTo8(m_pix.get(), 0));
    if (!m_pix)
        throw std::bad_alloc();
}

void CDecodedReader::ReadLine(std::uint8_t* target) {
    // Pixels of 8 bits stand four in a word, the first one in its highest byte.
    const l_uint32* words =
        pixGetData(m_pix.get()) +
        static_cast<std::size_t>(m_nextLine) * static_cast<std::size_t>(pixGetWpl(m_pix.get()));
    for (std::int32_t x = 0; x < m_info.m_width; ++x) {
        if (m_info.m_bitsPerPixel == 8) {
            *target++ = static_cast<std::uint8_t>(GET_DATA_BYTE(words, x));
            continue;
        }
        *target++ = static_cast<std::uint8_t>(words[x] >> L_BLUE_SHIFT);
        *target++ = static_cast<std::uint8_t>(words[x] >> L_GREEN_SHIFT);
        *target++ = static_cast<std::uint8_t>(words[x] >> L_RED_SHIFT);
    }
}
