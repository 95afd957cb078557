#include "pictures/tiff_reader.h"

#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "pictures/bitmap_layout.h"
#include "pictures/file_failure.h"

namespace {

// Wider rows would be a burden by themselves, and no scanner has them.
constexpr std::uint32_t kMaxTiffWidth = 1'000'000;

}  // namespace

// The library's handle on the file. What it would print is kept: the first line says why.
class CTiffReader::CLibrary {
  public:
    explicit CLibrary(const std::string& path) {
        std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(),
                                                                             TIFFOpenOptionsFree);
        if (!options)
            throw std::bad_alloc();
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), KeepError, this);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), KeepWarning, this);
        // Read, not mapped: a file that is cut meanwhile fails, and doesn't end the program. The
        // directory is looked for by its place.
        m_tiff.reset(TIFFOpenExt(path.c_str(), "rmh", options.get()));
        Check(m_tiff != nullptr);
    }

    TIFF* get() const { return m_tiff.get(); }

    void Check(bool done) const {
        if (!done || m_isCut)
            Fail(std::string("is a damaged TIFF file: ") +
                 (*m_words ? m_words : "a page can't be found"));
    }
    // The value of a tag, or what stands for one that is missing.
    template <typename T>
    T Field(std::uint32_t tag) const {
        T value = {};
        return TIFFGetFieldDefaulted(m_tiff.get(), tag, &value) ? value : T{};
    }

  private:
    // Data that lie beyond the end: also those of a lesser tag, which the library would do without,
    // mean that the file was cut.
    static bool IsCut(const std::string_view format) {
        return format.starts_with("IO error") || format.starts_with("Read error");
    }
    static int KeepError(TIFF*, void* self, const char*, const char* format, va_list arguments) {
        auto& library = *static_cast<CLibrary*>(self);
        char* const words = library.m_words;
        if (*words != 0)
            return 1;
        library.m_isCut = IsCut(format);
        if (library.m_isCut)
            format = "it ends early";
        std::vsnprintf(words, sizeof(library.m_words), format, arguments);
        // Texts of the file's may stand in it.
        std::replace_if(
            words, words + std::char_traits<char>::length(words),
            [](char letter) { return letter >= 0 && letter < ' '; }, ' ');
        return 1;
    }
    static int KeepWarning(TIFF* tiff, void* self, const char* module, const char* format,
                           va_list arguments) {
        return IsCut(format) ? KeepError(tiff, self, module, format, arguments) : 1;
    }

    struct CCloser {
        void operator()(TIFF* tiff) const { TIFFClose(tiff); }
    };
    std::unique_ptr<TIFF, CCloser> m_tiff;
    char m_words[160] = {};
    bool m_isCut = false;
};

namespace {

// Colours have 16 bits there.
std::vector<RGBQUAD> ReadPalette(TIFF* tiff, int bits) {
    std::uint16_t* red = nullptr;
    std::uint16_t* green = nullptr;
    std::uint16_t* blue = nullptr;
    std::vector<RGBQUAD> palette;
    if (!TIFFGetField(tiff, TIFFTAG_COLORMAP, &red, &green, &blue))
        return palette;
    for (DWORD i = 0; i < FullColorCount(bits); ++i)
        palette.push_back({static_cast<BYTE>(blue[i] >> 8), static_cast<BYTE>(green[i] >> 8),
                           static_cast<BYTE>(red[i] >> 8), 0});
    return palette;
}

std::int32_t PelsOf(float resolution, std::uint16_t unit) {
    const double perMeter = unit == RESUNIT_INCH         ? resolution * kInchesPerMeter
                            : unit == RESUNIT_CENTIMETER ? resolution * 100.0
                                                         : 0.0;
    // Also no number at all is none.
    return perMeter >= 1.0 && perMeter <= 1e8 ? static_cast<std::int32_t>(std::lround(perMeter))
                                              : 0;
}

}  // namespace

CTiffReader::CTiffReader(const std::string& path, CInputFile file, int page)
    : m_file(std::move(file)) {
    const std::vector<std::uint64_t> pages = FindTiffPages(m_file, page);
    if (pages.size() < static_cast<std::size_t>(page))
        Fail("has " + std::to_string(pages.size()) + " pages");
    m_library = std::make_unique<CLibrary>(path);
    TIFF* const tiff = m_library->get();
    m_library->Check(TIFFSetSubDirectory(tiff, pages.back()) != 0);
    CheckPage();
    m_info.m_width = static_cast<std::int32_t>(m_library->Field<std::uint32_t>(TIFFTAG_IMAGEWIDTH));
    m_info.m_height =
        static_cast<std::int32_t>(m_library->Field<std::uint32_t>(TIFFTAG_IMAGELENGTH));
    const auto unit = m_library->Field<std::uint16_t>(TIFFTAG_RESOLUTIONUNIT);
    m_info.m_xPelsPerMeter = PelsOf(m_library->Field<float>(TIFFTAG_XRESOLUTION), unit);
    m_info.m_yPelsPerMeter = PelsOf(m_library->Field<float>(TIFFTAG_YRESOLUTION), unit);
    if (MakeMapper())
        m_row.resize(static_cast<std::size_t>(TIFFScanlineSize64(tiff)));
    else
        DecodeWhole();
    m_info.m_bitsPerPixel = m_mapper.TargetBits();
}

CTiffReader::~CTiffReader() = default;

void CTiffReader::CheckPage() {
    const auto width = m_library->Field<std::uint32_t>(TIFFTAG_IMAGEWIDTH);
    const auto height = m_library->Field<std::uint32_t>(TIFFTAG_IMAGELENGTH);
    const std::uint32_t maxHeight = std::numeric_limits<std::int32_t>::max();
    if (width < 1 || width > kMaxTiffWidth || height < 1 || height > maxHeight) {
        Fail("is a TIFF file of " + std::to_string(width) + " x " + std::to_string(height) +
             " pixels; 1 to " + std::to_string(kMaxTiffWidth) + " x 1 to " +
             std::to_string(maxHeight) + " are read");
    }
    TIFF* const tiff = m_library->get();
    const std::uint32_t parts =
        TIFFIsTiled(tiff) ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff);
    const auto size = static_cast<std::uint64_t>(m_file.Size());
    m_library->Check(parts > 0);
    for (std::uint32_t i = 0; i < parts; ++i) {
        const std::uint64_t offset = TIFFGetStrileOffset(tiff, i);
        const std::uint64_t bytes = TIFFGetStrileByteCount(tiff, i);
        if (offset > size || bytes > size - offset)
            Fail("is a damaged TIFF file: it ends early");
        if (offset == 0 || bytes == 0)
            Fail("is a damaged TIFF file: pixels are missing");
    }
}

bool CTiffReader::MakeMapper() {
    TIFF* const tiff = m_library->get();
    const auto field = [this](std::uint32_t tag) -> int {
        return m_library->Field<std::uint16_t>(tag);
    };
    const int bits = field(TIFFTAG_BITSPERSAMPLE);
    const int samples = field(TIFFTAG_SAMPLESPERPIXEL);
    std::uint16_t photometric = 0;  // it has no default
    if (!TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric) || TIFFIsTiled(tiff) ||
        (samples > 1 && field(TIFFTAG_PLANARCONFIG) != PLANARCONFIG_CONTIG) ||
        field(TIFFTAG_ORIENTATION) != ORIENTATION_TOPLEFT ||
        field(TIFFTAG_SAMPLEFORMAT) != SAMPLEFORMAT_UINT)
        return false;
    const bool isIndexed = samples == 1 && (bits == 1 || bits == 2 || bits == 4 || bits == 8);
    if (photometric == PHOTOMETRIC_RGB && samples == 3 && (bits == 8 || bits == 16))
        m_mapper = CRowMapper(bits == 8 ? EPixelLayout::Rgb : EPixelLayout::Rgb16);
    else if (photometric == PHOTOMETRIC_MINISBLACK && samples == 1 && bits == 16)
        m_mapper = CRowMapper(EPixelLayout::Gray16);
    else if (photometric == PHOTOMETRIC_PALETTE && isIndexed)
        m_mapper = CRowMapper(bits, ReadPalette(tiff, bits));
    else if (photometric <= PHOTOMETRIC_MINISBLACK && isIndexed)
        m_mapper = CRowMapper::Gray(bits, photometric == PHOTOMETRIC_MINISWHITE);
    else
        return false;
    return true;
}

// The library turns everything that it knows into red, green, blue and alpha.
void CTiffReader::DecodeWhole() {
    TIFF* const tiff = m_library->get();
    char why[1024] = {};
    if (!TIFFRGBAImageOK(tiff, why))
        Fail(std::string("is a TIFF file of a kind that can't be read: ") + why);
    const std::int64_t pixels = std::int64_t{m_info.m_width} * m_info.m_height;
    if (pixels > kMaxDecodedBytes / 4) {
        Fail("is a TIFF file of " + std::to_string(m_info.m_width) + " x " +
             std::to_string(m_info.m_height) + " pixels; at most " +
             std::to_string(kMaxDecodedBytes / 4) + " of its kind are read");
    }
    m_whole.resize(static_cast<std::size_t>(pixels));
    const auto orientation = m_library->Field<std::uint16_t>(TIFFTAG_ORIENTATION);
    m_library->Check(TIFFReadRGBAImageOriented(tiff, static_cast<std::uint32_t>(m_info.m_width),
                                               static_cast<std::uint32_t>(m_info.m_height),
                                               m_whole.data(), orientation, 1) != 0);
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric);
    const bool isGray = photometric <= PHOTOMETRIC_MINISBLACK;
    m_mapper = CRowMapper(isGray ? EPixelLayout::GrayWeighed : EPixelLayout::RgbWeighed);
    m_row.resize(static_cast<std::size_t>(std::max(m_info.m_width, m_info.m_height)) * 4);
    Orient();
}

void CTiffReader::Orient() {
    // By the tag's value: where the first row of the file is in the picture, and its first column.
    constexpr struct {
        bool isSwapped;  // rows of the file go down the picture
        bool isFromLastRow;
        bool isFromLastColumn;
    } kWays[] = {
        {false, false, false}, {false, false, true}, {false, true, true}, {false, true, false},
        {true, false, false},  {true, true, false},  {true, true, true},  {true, false, true},
    };
    const unsigned orientation = m_library->Field<std::uint16_t>(TIFFTAG_ORIENTATION);
    const auto& way = kWays[orientation >= 1 && orientation <= 8 ? orientation - 1 : 0];
    const std::int64_t width = m_info.m_width;
    m_first = (way.isFromLastRow ? (m_info.m_height - 1) * width : 0) +
              (way.isFromLastColumn ? width - 1 : 0);
    m_across = way.isFromLastColumn ? -1 : 1;
    m_along = way.isFromLastRow ? -width : width;
    if (way.isSwapped) {
        std::swap(m_across, m_along);
        std::swap(m_info.m_width, m_info.m_height);
        std::swap(m_info.m_xPelsPerMeter, m_info.m_yPelsPerMeter);
    }
}

void CTiffReader::ReadLine(std::uint8_t* target) {
    if (m_whole.empty()) {
        m_library->Check(TIFFReadScanline(m_library->get(), m_row.data(),
                                          static_cast<std::uint32_t>(m_nextLine), 0) >= 0);
    } else {
        std::int64_t place = m_first + m_nextLine * m_along;
        for (std::size_t x = 0; x < static_cast<std::size_t>(m_info.m_width); ++x) {
            std::memcpy(m_row.data() + 4 * x, &m_whole[static_cast<std::size_t>(place)], 4);
            place += m_across;
        }
    }
    m_mapper.Map(target, m_row.data(), m_info.m_width);
}
