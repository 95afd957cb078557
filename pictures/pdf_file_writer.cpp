#include "pictures/pdf_file_writer.h"

#include <cairo-pdf.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "pictures/file_failure.h"

namespace {

struct CPatternDeleter {
    void operator()(cairo_pattern_t* pattern) const { cairo_pattern_destroy(pattern); }
};
using CPatternPtr = std::unique_ptr<cairo_pattern_t, CPatternDeleter>;

// What a page shows. Cairo reads it when the page is shown: until then it has to stay.
struct CPageParts {
    CPixPtr m_pix;
    std::vector<CCairoSurfacePtr> m_images;
};

// PDF measures in points. A page without a resolution is taken for a scan of the usual 300 dpi:
// 72 pixels an inch, which viewers would assume, make sheets of a metre.
double PointsPerPixel(int dpi) {
    constexpr double kPointsPerInch = 72;
    constexpr int kUnknownDpi = 300;

    return kPointsPerInch / (dpi > 0 ? dpi : kUnknownDpi);
}

// An image that cairo couldn't make is one too, with the failure as its state.
cairo_surface_t* Keep(CPageParts* parts, cairo_surface_t* image) {
    parts->m_images.emplace_back(image);
    if (cairo_surface_status(image) != CAIRO_STATUS_SUCCESS)
        throw std::bad_alloc();
    return image;
}

// The image's first pixel comes to the origin. A mask lets the colour through that is set.
void Paint(cairo_t* context, cairo_surface_t* image, bool isMask) {
    const CPatternPtr pattern(cairo_pattern_create_for_surface(image));
    // Pixels stay what they are: viewers shall not smooth them.
    cairo_pattern_set_filter(pattern.get(), CAIRO_FILTER_NEAREST);
    if (isMask) {
        cairo_mask(context, pattern.get());
        return;
    }
    cairo_set_source(context, pattern.get());
    cairo_paint(context);
}

// The pixels where they lie, in pieces as large as cairo's images can be.
void PaintPixels(cairo_t* context, PIX* pix, cairo_format_t format, CPageParts* parts) {
    constexpr int kMostPixels = 32736;  // of cairo's 32767, what begins each piece with a word

    const int depth = pixGetDepth(pix);
    const auto wordsPerLine = static_cast<std::size_t>(pixGetWpl(pix));
    for (int y = 0; y < pixGetHeight(pix); y += kMostPixels) {
        for (int x = 0; x < pixGetWidth(pix); x += kMostPixels) {
            l_uint32* const first = pixGetData(pix) + wordsPerLine * static_cast<std::size_t>(y) +
                                    static_cast<std::size_t>(x / (32 / depth));
            cairo_surface_t* const image =
                Keep(parts, cairo_image_surface_create_for_data(
                                reinterpret_cast<unsigned char*>(first), format,
                                std::min(pixGetWidth(pix) - x, kMostPixels),
                                std::min(pixGetHeight(pix) - y, kMostPixels), 4 * pixGetWpl(pix)));
            cairo_save(context);
            cairo_translate(context, x, y);
            Paint(context, image, format == CAIRO_FORMAT_A1);
            cairo_restore(context);
        }
    }
}

// All words of an image, padding included.
std::span<l_uint32> WordsOf(PIX* pix) {
    return {pixGetData(pix),
            static_cast<std::size_t>(pixGetWpl(pix)) * static_cast<std::size_t>(pixGetHeight(pix))};
}

// Neighbours change places, then pairs, and so on up to the halves of the word.
l_uint32 ReverseBits(l_uint32 word) {
    word = (word & 0x55555555) << 1 | (word >> 1 & 0x55555555);
    word = (word & 0x33333333) << 2 | (word >> 2 & 0x33333333);
    word = (word & 0x0F0F0F0F) << 4 | (word >> 4 & 0x0F0F0F0F);
    word = (word & 0x00FF00FF) << 8 | (word >> 8 & 0x00FF00FF);
    return word << 16 | word >> 16;
}

// Cairo's colours go from 0 to 1.
void SetColor(cairo_t* context, PIXCMAP* colors, int index) {
    int red = 0;
    int green = 0;
    int blue = 0;
    pixcmapGetColor(colors, index, &red, &green, &blue);
    cairo_set_source_rgb(context, red / 255.0, green / 255.0, blue / 255.0);
}

// The set bits are a stencil in one colour, over the other colour.
void PaintBits(cairo_t* context, PIX* pix, CPageParts* parts) {
    PIXCMAP* const colors = pixGetColormap(pix);
    if (colors) {
        SetColor(context, colors, 0);
        cairo_paint(context);
        SetColor(context, colors, 1);
    } else {
        // A set bit is black to Leptonica; the page is white by itself.
        cairo_set_source_rgb(context, 0, 0, 0);
    }
    // A word's first pixel is the highest bit to Leptonica, and to cairo the one that comes first
    // on the machine.
    if constexpr (std::endian::native == std::endian::little)
        std::ranges::transform(WordsOf(pix), WordsOf(pix).begin(), ReverseBits);
    PaintPixels(context, pix, CAIRO_FORMAT_A1, parts);
}

// Unchanged: a palette of colours means a drawing, whose edges JPEG would blur.
void PaintPalette(cairo_t* context, PIX* pix, CPageParts* parts) {
    parts->m_pix.reset(pixRemoveColormap(pix, REMOVE_CMAP_TO_FULL_COLOR));
    if (!parts->m_pix)
        throw std::bad_alloc();
    // Red is a word's highest byte to Leptonica, to cairo the second one.
    const std::span<l_uint32> words = WordsOf(parts->m_pix.get());
    std::ranges::transform(words, words.begin(), [](l_uint32 word) { return word >> 8; });
    PaintPixels(context, parts->m_pix.get(), CAIRO_FORMAT_RGB24, parts);
}

// PDF files hold JPEG streams as they are, with a size of their own; of the image that carries one
// only the outline counts, so a single pixel is stretched over the page.
void PaintJpeg(cairo_t* context, PIX* pix, CPageParts* parts) {
    CEncodedBytes encoded = EncodeJpeg(pix);
    cairo_surface_t* const carrier =
        Keep(parts, cairo_image_surface_create(CAIRO_FORMAT_RGB24, 1, 1));
    l_uint8* const bytes = encoded.bytes.get();
    if (cairo_surface_set_mime_data(carrier, CAIRO_MIME_TYPE_JPEG, bytes, encoded.size, lept_free,
                                    bytes) != CAIRO_STATUS_SUCCESS)
        throw std::bad_alloc();
    (void)encoded.bytes.release();  // the carrier's from here on
    cairo_scale(context, pixGetWidth(pix), pixGetHeight(pix));
    Paint(context, carrier, false);
}

}  // namespace

void CPdfFileWriter::SetPageSize(double width, double height) {
    if (!m_document) {
        m_document.reset(
            cairo_pdf_surface_create_for_stream(CCairoOutput::Append, &m_output, width, height));
        // Old enough for every viewer, and it has all that pages need here.
        cairo_pdf_surface_restrict_to_version(m_document.get(), CAIRO_PDF_VERSION_1_4);
    } else if (width != m_width || height != m_height) {
        // After a change of size cairo 1.16 cuts the page's last part of a point off.
        cairo_pdf_surface_set_size(m_document.get(), std::ceil(width), std::ceil(height));
    }
    m_width = width;
    m_height = height;
}

// The page is drawn in pixels, each as large as its resolution says, across and along.
void CPdfFileWriter::StorePage(PIX* pix) {
    const double xScale = PointsPerPixel(pixGetXRes(pix));
    const double yScale = PointsPerPixel(pixGetYRes(pix));
    SetPageSize(pixGetWidth(pix) * xScale, pixGetHeight(pix) * yScale);
    CPageParts parts;
    const CCairoContextPtr context(cairo_create(m_document.get()));
    cairo_scale(context.get(), xScale, yScale);
    if (pixGetDepth(pix) == 1)
        PaintBits(context.get(), pix, &parts);
    else if (pixGetColormap(pix))
        PaintPalette(context.get(), pix, &parts);
    else
        PaintJpeg(context.get(), pix, &parts);
    // Here the parts are read and the page is written.
    cairo_show_page(context.get());
    m_output.Check(cairo_status(context.get()));
    m_output.Check(cairo_surface_status(m_document.get()));
}

// The table of objects stands at the end of a PDF file.
void CPdfFileWriter::CompletePages() {
    cairo_surface_finish(m_document.get());
    m_output.Check(cairo_surface_status(m_document.get()));
}
