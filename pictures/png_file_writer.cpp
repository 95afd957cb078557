#include "pictures/png_file_writer.h"

#include <png.h>
#include <zlib.h>

#include <array>

#include "pictures/packing_effort.h"
#include "pictures/palette_kind.h"

// The library's records, and where its calls come back.
struct CPngFileWriter::CParts {
    CParts(CLibraryCalls& calls, CPendingFile& file) : m_calls(calls), m_file(file) {}
    ~CParts() { png_destroy_write_struct(&m_png, &m_info); }
    CParts(const CParts&) = delete;
    CParts& operator=(const CParts&) = delete;

    static CParts& Of(void* self) { return *static_cast<CParts*>(self); }

    static void OnError(png_structp png, png_const_charp words) {
        Of(png_get_error_ptr(png)).m_calls.Break(words);
    }
    static void OnWarning(png_structp, png_const_charp) {}
    static void OnBytes(png_structp png, png_bytep bytes, png_size_t count) {
        CParts& parts = Of(png_get_io_ptr(png));
        parts.m_calls.Callback([&parts, bytes, count] { parts.m_file.Append(bytes, count); });
    }
    static void OnFlush(png_structp) {}

    void Create() {
        m_png = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning);
        m_info = m_png ? png_create_info_struct(m_png) : nullptr;
        if (!m_info)
            m_calls.Break("not enough memory");
        png_set_write_fn(m_png, this, OnBytes, OnFlush);
    }
    void Describe(const BITMAPINFOHEADER& picture, std::span<const RGBQUAD> palette);

    CLibraryCalls& m_calls;
    CPendingFile& m_file;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
};

CPngFileWriter::CPngFileWriter(const std::string& path, EFileKind kind,
                               const CPictureOptions& options)
    : CBandWriter(path, kind, options), m_parts(std::make_unique<CParts>(m_calls, m_file)) {}

CPngFileWriter::~CPngFileWriter() = default;

// Inside a run of calls. The simplest form that holds every pixel; a gamma isn't told: the file
// says nothing of how its values stand to light.
void CPngFileWriter::CParts::Describe(const BITMAPINFOHEADER& picture,
                                      std::span<const RGBQUAD> palette) {
    const EPaletteKind kind = KindOf(palette);
    const int color = kind == EPaletteKind::None     ? PNG_COLOR_TYPE_RGB
                      : kind == EPaletteKind::Colors ? PNG_COLOR_TYPE_PALETTE
                                                     : PNG_COLOR_TYPE_GRAY;
    png_set_user_limits(m_png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(m_png, m_info, static_cast<png_uint_32>(picture.biWidth),
                 static_cast<png_uint_32>(picture.biHeight),
                 kind == EPaletteKind::None ? 8 : picture.biBitCount, color, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (kind == EPaletteKind::Colors) {
        std::array<png_color, kMaxBitmapColors> colors = {};
        for (std::size_t i = 0; i < palette.size(); ++i)
            colors[i] = {palette[i].rgbRed, palette[i].rgbGreen, palette[i].rgbBlue};
        png_set_PLTE(m_png, m_info, colors.data(), static_cast<int>(palette.size()));
    }
    if (picture.biXPelsPerMeter > 0 && picture.biYPelsPerMeter > 0) {
        png_set_pHYs(m_png, m_info, static_cast<png_uint_32>(picture.biXPelsPerMeter),
                     static_cast<png_uint_32>(picture.biYPelsPerMeter), PNG_RESOLUTION_METER);
    }
    const bool isShaded = kind == EPaletteKind::None || kind == EPaletteKind::Grays;
    const PackingEffort& effort = isShaded ? kShadedEffort : kPlainEffort;
    png_set_filter(m_png, PNG_FILTER_TYPE_BASE, isShaded ? PNG_FILTER_SUB : PNG_FILTER_NONE);
    png_set_compression_level(m_png, effort.level);
    png_set_compression_strategy(m_png, effort.strategy);
    png_set_compression_buffer_size(m_png, kPackedPartBytes);
    png_write_info(m_png, m_info);
    if (kind == EPaletteKind::None)
        png_set_bgr(m_png);
    if (kind == EPaletteKind::BlackIsSet)
        png_set_invert_mono(m_png);
}

void CPngFileWriter::Start() {
    m_calls.Run([this] {
        m_parts->Create();
        m_parts->Describe(m_info, Palette());
    });
}

void CPngFileWriter::StoreBand(std::uint8_t* rows, std::int32_t count) {
    const std::size_t stride = Stride();
    m_calls.Run([this, rows, count, stride] {
        for (std::int32_t row = 0; row < count; ++row)
            png_write_row(m_parts->m_png, rows + stride * static_cast<std::size_t>(row));
    });
}

void CPngFileWriter::Complete() {
    m_calls.Run([this] { png_write_end(m_parts->m_png, nullptr); });
}
