#include "pictures/png_reader.h"

#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <string>
#include <string_view>

#include "pictures/bitmap_layout.h"
#include "pictures/file_failure.h"

// The library's own state. It leaves its functions by long jumps, which pass over no object of ours
// here: what runs inside Do are calls of the library alone.
class CPngReader::CLibrary {
  public:
    CLibrary() : m_png(png_create_read_struct(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning)) {
        m_header = m_png ? png_create_info_struct(m_png) : nullptr;
        if (!m_header) {
            png_destroy_read_struct(&m_png, nullptr, nullptr);
            throw std::bad_alloc();
        }
    }
    ~CLibrary() { png_destroy_read_struct(&m_png, &m_header, nullptr); }
    CLibrary(const CLibrary&) = delete;
    CLibrary& operator=(const CLibrary&) = delete;

    template <typename TAction>
    void Do(TAction action) {
        if (setjmp(png_jmpbuf(m_png)) != 0)
            Fail(std::string("is a damaged PNG file: ") + m_words);
        action(m_png, m_header);
    }

    png_structp Png() const { return m_png; }
    png_infop Header() const { return m_header; }

  private:
    // The library runs out of file in words of its own.
    static void OnError(png_structp png, png_const_charp words) {
        auto* library = static_cast<CLibrary*>(png_get_error_ptr(png));
        const std::string_view text(words);
        const bool isEnd = text == "Read Error" || text == "Not enough image data";
        std::snprintf(library->m_words, sizeof(library->m_words), "%s",
                      isEnd ? "it ends early" : words);
        png_longjmp(png, 1);
    }
    static void OnWarning(png_structp, png_const_charp) {}

    png_structp m_png;
    png_infop m_header;
    char m_words[120] = {};
};

namespace {

// Wider rows would be a burden by themselves, and no scanner has them.
constexpr png_uint_32 kMaxPngWidth = 1'000'000;  // pixels

void CheckWidth(png_uint_32 width) {
    if (width > kMaxPngWidth)
        Fail("is a PNG file of " + std::to_string(width) + " pixels across; those are read up to " +
             std::to_string(kMaxPngWidth));
}

// Of rows as they come, with all that has been asked of the library.
CRowMapper MapperOf(png_structp png, png_infop header) {
    const int bits = png_get_bit_depth(png, header);
    switch (png_get_color_type(png, header)) {
        case PNG_COLOR_TYPE_PALETTE: {
            png_colorp colors = nullptr;
            int count = 0;
            png_get_PLTE(png, header, &colors, &count);
            std::vector<RGBQUAD> palette;
            for (int i = 0; i < count; ++i)
                palette.push_back({colors[i].blue, colors[i].green, colors[i].red, 0});
            return {bits, palette};
        }
        case PNG_COLOR_TYPE_RGB:
            return CRowMapper(EPixelLayout::Rgb);
        case PNG_COLOR_TYPE_RGB_ALPHA:
            return CRowMapper(EPixelLayout::RgbAlpha);
        case PNG_COLOR_TYPE_GRAY_ALPHA:
            return CRowMapper(EPixelLayout::GrayAlpha);
        default:
            return CRowMapper::Gray(bits);
    }
}

}  // namespace

CPngReader::CPngReader(CInputFile file)
    : m_file(std::move(file)), m_library(std::make_unique<CLibrary>()) {
    std::FILE* const stream = m_file.Stream();
    std::rewind(stream);
    int passes = 1;
    m_library->Do([&](png_structp png, png_infop header) {
        png_init_io(png, stream);
        // As high as a header can say: rows come one by one.
        png_set_user_limits(png, INT32_MAX, INT32_MAX);
        png_read_info(png, header);
    });
    CheckWidth(png_get_image_width(m_library->Png(), m_library->Header()));
    m_library->Do([&](png_structp png, png_infop header) {
        png_set_strip_16(png);
        // Colours that stand for what is transparent become an alpha.
        if (png_get_valid(png, header, PNG_INFO_tRNS))
            png_set_expand(png);
        passes = png_set_interlace_handling(png);
        png_read_update_info(png, header);
    });
    const png_structp png = m_library->Png();
    const png_infop header = m_library->Header();
    m_mapper = MapperOf(png, header);
    m_info.m_width = static_cast<std::int32_t>(png_get_image_width(png, header));
    m_info.m_height = static_cast<std::int32_t>(png_get_image_height(png, header));
    m_info.m_bitsPerPixel = m_mapper.TargetBits();
    // 0 without a resolution, or without its unit.
    m_info.m_xPelsPerMeter =
        static_cast<std::int32_t>(png_get_x_pixels_per_meter(png, header) & INT32_MAX);
    m_info.m_yPelsPerMeter =
        static_cast<std::int32_t>(png_get_y_pixels_per_meter(png, header) & INT32_MAX);
    m_rowBytes = png_get_rowbytes(png, header);
    if (passes > 1)
        ReadPasses(passes);
    else
        m_rows.resize(m_rowBytes);
}

CPngReader::~CPngReader() = default;

// Every pass brings some pixels of all rows.
void CPngReader::ReadPasses(int passes) {
    const auto height = static_cast<std::size_t>(m_info.m_height);
    if (m_rowBytes > static_cast<std::size_t>(kMaxDecodedBytes) / height) {
        Fail("is an interlaced PNG file of " + std::to_string(m_info.m_width) + " x " +
             std::to_string(height) + " pixels; those are read up to 2 GiB of pixels");
    }
    m_rows.resize(m_rowBytes * height);
    m_isWhole = true;
    m_library->Do([&](png_structp png, png_infop) {
        for (int pass = 0; pass < passes; ++pass) {
            for (std::size_t line = 0; line < height; ++line)
                png_read_row(png, m_rows.data() + line * m_rowBytes, nullptr);
        }
        png_read_end(png, nullptr);
    });
}

// Behind the last line stands the rest of the file: only then it is known to be whole.
void CPngReader::ReadLine(std::uint8_t* target) {
    const bool isLast = m_nextLine + 1 == m_info.m_height;
    if (!m_isWhole) {
        m_library->Do([&](png_structp png, png_infop) {
            png_read_row(png, m_rows.data(), nullptr);
            if (isLast)
                png_read_end(png, nullptr);
        });
    }
    const std::size_t place = m_isWhole ? static_cast<std::size_t>(m_nextLine) * m_rowBytes : 0;
    m_mapper.Map(target, m_rows.data() + place, m_info.m_width);
}
