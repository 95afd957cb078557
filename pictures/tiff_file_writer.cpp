#include "pictures/tiff_file_writer.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "pictures/file_failure.h"
#include "pictures/palette_kind.h"
#include "pictures/pixel_rows.h"
#include "platform/pixel_order.h"

namespace {

// Rows of a page above which the file gets the form with 64-bit places: below, whatever packing
// makes of noise, it fits the common one, which every program reads.
constexpr std::int64_t kMostCommonBytes = std::int64_t{1} << 31;

}  // namespace

// The file as the library reads and writes it: from a place that moves. Nothing is thrown through
// it; the first failure is kept. What a page changes of those before it, which is the link to it,
// is noted.
class CTiffFileWriter::CAccess {
  public:
    explicit CAccess(CPendingFile& file) : m_file(file) {}

    const std::string& Failure() const { return m_failure; }
    void Drop() { m_isDropped = true; }

    // All pages up to here are whole.
    void KeepPages() {
        m_keptSize = m_size;
        m_changed.clear();
    }
    // Back to what was kept; the library has no more to say then. Throws.
    void TakeBack() {
        Drop();
        for (auto change = m_changed.rbegin(); change != m_changed.rend(); ++change)
            m_file.WriteAt(change->m_bytes.data(), change->m_bytes.size(), change->m_place);
        m_file.GoTo(m_keptSize);
        m_file.CutOff();
    }

    static tmsize_t Read(thandle_t self, void* target, tmsize_t bytes) {
        auto& access = *static_cast<CAccess*>(self);
        const auto left = std::max<std::int64_t>(access.m_size - access.m_place, 0);
        const auto count = static_cast<std::size_t>(std::min<std::int64_t>(bytes, left));
        return access.Move(count, [&] { access.m_file.ReadAt(target, count, access.m_place); });
    }
    static tmsize_t Write(thandle_t self, void* source, tmsize_t bytes) {
        auto& access = *static_cast<CAccess*>(self);
        const auto count = static_cast<std::size_t>(bytes);
        return access.Move(count, [&] {
            access.NoteChange(count);
            access.m_file.WriteAt(source, count, access.m_place);
        });
    }
    // A place behind the end is no failure: what is written there makes the file longer.
    static toff_t Seek(thandle_t self, toff_t offset, int whence) {
        auto& access = *static_cast<CAccess*>(self);
        const std::int64_t from = whence == SEEK_SET   ? 0
                                  : whence == SEEK_CUR ? access.m_place
                                                       : access.m_size;
        access.m_place = from + static_cast<std::int64_t>(offset);
        return static_cast<toff_t>(access.m_place);
    }
    static toff_t Size(thandle_t self) {
        return static_cast<toff_t>(static_cast<CAccess*>(self)->m_size);
    }
    // The file stays open: it is the writer's, who puts it in place.
    static int Close(thandle_t) { return 0; }

  private:
    template <typename TAction>
    tmsize_t Move(std::size_t count, TAction action) {
        std::string failure;
        if (m_isDropped || !RunGuarded(&failure, action)) {
            if (m_failure.empty())
                m_failure = failure;
            return -1;
        }
        m_place += static_cast<std::int64_t>(count);
        m_size = std::max(m_size, m_place);
        return static_cast<tmsize_t>(count);
    }

    // Ahead of a write.
    void NoteChange(std::size_t count) {
        const auto kept = std::min(static_cast<std::int64_t>(count), m_keptSize - m_place);
        if (kept <= 0)
            return;
        CChange change = {m_place, std::vector<std::uint8_t>(static_cast<std::size_t>(kept))};
        m_file.ReadAt(change.m_bytes.data(), change.m_bytes.size(), m_place);
        m_changed.push_back(std::move(change));
    }

    struct CChange {
        std::int64_t m_place;
        std::vector<std::uint8_t> m_bytes;  // that were there
    };

    CPendingFile& m_file;
    std::int64_t m_place = 0;
    std::int64_t m_size = 0;
    std::int64_t m_keptSize = 0;
    std::vector<CChange> m_changed;
    std::string m_failure;
    bool m_isDropped = false;  // the file is going: nothing more is written
};

// Closing writes what the library still holds, and the file may be gone by then.
void CTiffFileWriter::CCloser::operator()(tiff* file) const {
    static_cast<CAccess*>(TIFFClientdata(file))->Drop();
    TIFFClose(file);
}

void CTiffFileWriter::Check(bool done) const {
    if (!m_access->Failure().empty())
        Fail(m_access->Failure());
    if (!done)
        Fail("can't be written; a TIFF file of several pages holds up to 4 GiB");
}

// Once for all pages. Its messages would go to the terminal, between the program's own.
void CTiffFileWriter::Open() {
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
    const char* const mode = ImageBytes() > kMostCommonBytes ? "w8" : "w";
    m_access = std::make_shared<CAccess>(m_file);
    m_tiff.reset(TIFFClientOpen("", mode, m_access.get(), CAccess::Read, CAccess::Write,
                                CAccess::Seek, CAccess::Close, CAccess::Size, nullptr, nullptr));
    if (!m_tiff)
        throw std::bad_alloc();
}

void CTiffFileWriter::Start() {
    if (!m_tiff)
        Open();
    TIFF* const file = m_tiff.get();
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(m_info.biWidth));
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(m_info.biHeight));
    TIFFSetField(file, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    const std::int32_t xDpi = DotsPerInch(m_info.biXPelsPerMeter);
    const std::int32_t yDpi = DotsPerInch(m_info.biYPelsPerMeter);
    if (xDpi > 0 && yDpi > 0) {
        TIFFSetField(file, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
        TIFFSetField(file, TIFFTAG_XRESOLUTION, static_cast<double>(xDpi));
        TIFFSetField(file, TIFFTAG_YRESOLUTION, static_cast<double>(yDpi));
    }
    DescribePixels();
    // A strip is a band: readers needn't take a page at once.
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(BandLines()));
    Check(true);
}

// A set bit of black and white is black there, as faxes have it.
void CTiffFileWriter::DescribePixels() {
    const EPaletteKind kind = KindOf(Palette());
    const bool isBits = kind == EPaletteKind::WhiteIsSet || kind == EPaletteKind::BlackIsSet;
    const int photometric = isBits                         ? PHOTOMETRIC_MINISWHITE
                            : kind == EPaletteKind::Grays  ? PHOTOMETRIC_MINISBLACK
                            : kind == EPaletteKind::Colors ? PHOTOMETRIC_PALETTE
                                                           : PHOTOMETRIC_RGB;
    TIFF* const file = m_tiff.get();
    m_isInverted = kind == EPaletteKind::WhiteIsSet;
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, kind == EPaletteKind::None ? 8 : m_info.biBitCount);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, kind == EPaletteKind::None ? 3 : 1);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, photometric);
    DescribePacking(m_info.biBitCount == 1,
                    kind == EPaletteKind::None || kind == EPaletteKind::Grays);
    if (kind == EPaletteKind::Colors)
        DescribePalette();
}

// Deflate at its quickest is faster than LZW, and nearly as small. Differences between neighbours
// are smaller than shades.
void CTiffFileWriter::DescribePacking(bool isBits, bool isShaded) {
    constexpr int kQuickest = 1;
    constexpr struct {
        ECompression m_choice;
        int m_tag;
    } kTags[] = {{ECompression::None, COMPRESSION_NONE},
                 {ECompression::Lzw, COMPRESSION_LZW},
                 {ECompression::Deflate, COMPRESSION_ADOBE_DEFLATE},
                 {ECompression::G4, COMPRESSION_CCITTFAX4}};

    const ECompression usual = isBits ? ECompression::G4 : ECompression::Deflate;
    const ECompression choice =
        m_options.m_compression == ECompression::Usual ? usual : m_options.m_compression;
    TIFF* const file = m_tiff.get();
    TIFFSetField(file, TIFFTAG_COMPRESSION, std::ranges::find(kTags, choice, [](const auto& row) {
                                                return row.m_choice;
                                            })->m_tag);
    const bool isDeflate = choice == ECompression::Deflate;
    if (isShaded && (isDeflate || choice == ECompression::Lzw))
        TIFFSetField(file, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    if (isDeflate && isShaded)
        TIFFSetField(file, TIFFTAG_ZIPQUALITY, kQuickest);
}

void CTiffFileWriter::DescribePalette() {
    // Colours of a palette have 16 bits there: 255 becomes 65535.
    constexpr std::uint16_t kTo16Bits = 257;

    std::array<std::array<std::uint16_t, kMaxBitmapColors>, 3> colors = {};
    for (std::size_t i = 0; i < Palette().size(); ++i) {
        const RGBQUAD& color = Palette()[i];
        colors[0][i] = static_cast<std::uint16_t>(color.rgbRed * kTo16Bits);
        colors[1][i] = static_cast<std::uint16_t>(color.rgbGreen * kTo16Bits);
        colors[2][i] = static_cast<std::uint16_t>(color.rgbBlue * kTo16Bits);
    }
    TIFFSetField(m_tiff.get(), TIFFTAG_COLORMAP, colors[0].data(), colors[1].data(),
                 colors[2].data());
}

// The rows are changed where they lie: red comes first there, and nothing stands between them.
void CTiffFileWriter::StoreBand(std::uint8_t* rows, std::int32_t count) {
    const auto width = static_cast<std::size_t>(m_info.biWidth);
    const auto bytes = static_cast<std::size_t>(BitmapRowBytes(m_info.biWidth, m_info.biBitCount));
    std::uint8_t* end = rows;
    const std::uint8_t* from = rows;
    for (std::int32_t row = 0; row < count; ++row, from += Stride(), end += bytes) {
        std::memmove(end, from, bytes);
        if (m_info.biBitCount == 24)
            SwapRedBlue(end, 3 * width);
        else if (m_isInverted)
            InvertBits(end, bytes);
    }
    const auto strip = static_cast<std::uint32_t>(m_line / BandLines());
    Check(TIFFWriteEncodedStrip(m_tiff.get(), strip, rows, end - rows) >= 0);
}

void CTiffFileWriter::Complete() {
    Check(TIFFWriteDirectory(m_tiff.get()) != 0);
    m_access->KeepPages();
}

void CTiffFileWriter::Drop() {
    m_access->TakeBack();
}

// Each page is in the file since it was whole.
void CTiffFileWriter::CompletePages() {
    m_tiff.reset();
}
