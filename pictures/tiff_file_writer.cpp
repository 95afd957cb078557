#include "pictures/tiff_file_writer.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <utility>

#include "pictures/file_failure.h"
#include "pictures/palette_kind.h"

// The file as the library reads and writes it: from a place that moves. Nothing is thrown through
// it; the first failure is kept.
class CTiffFileWriter::CAccess {
  public:
    explicit CAccess(CPendingFile& file) : m_file(file) {}

    const std::string& Failure() const { return m_failure; }
    void Drop() { m_isDropped = true; }

    static tmsize_t Read(thandle_t self, void* target, tmsize_t bytes) {
        auto& access = *static_cast<CAccess*>(self);
        const auto left = std::max<std::int64_t>(access.m_size - access.m_place, 0);
        const auto count = static_cast<std::size_t>(std::min<std::int64_t>(bytes, left));
        return access.Move(count, [&] { access.m_file.ReadAt(target, count, access.m_place); });
    }
    static tmsize_t Write(thandle_t self, void* source, tmsize_t bytes) {
        auto& access = *static_cast<CAccess*>(self);
        const auto count = static_cast<std::size_t>(bytes);
        return access.Move(count, [&] { access.m_file.WriteAt(source, count, access.m_place); });
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

    CPendingFile& m_file;
    std::int64_t m_place = 0;
    std::int64_t m_size = 0;
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
        Fail("can't be written; TIFF files hold up to 4 GiB");
}

// Once for all pages. Its messages would go to the terminal, between the program's own.
void CTiffFileWriter::Open() {
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
    m_access = std::make_shared<CAccess>(m_file);
    m_tiff.reset(TIFFClientOpen("", "w", m_access.get(), CAccess::Read, CAccess::Write,
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
    // Strips of the library's own size, some kilobytes: readers needn't take a page at once.
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(file, 0));
    Check(true);
}

// Black and white is packed as faxes are, where a set bit is black; all else without loss.
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
    TIFFSetField(file, TIFFTAG_COMPRESSION,
                 isBits ? COMPRESSION_CCITTFAX4 : COMPRESSION_ADOBE_DEFLATE);
    if (kind == EPaletteKind::Colors)
        DescribePalette();
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

// The rows are changed where they lie: red comes first there.
void CTiffFileWriter::StoreBand(std::uint8_t* rows, std::int32_t count) {
    for (std::int32_t row = 0; row < count; ++row, rows += Stride()) {
        if (m_info.biBitCount == 24) {
            for (std::size_t i = 0; i < static_cast<std::size_t>(m_info.biWidth); ++i)
                std::swap(rows[3 * i], rows[3 * i + 2]);
        } else if (m_isInverted) {
            std::transform(rows, rows + Stride(), rows,
                           [](std::uint8_t bits) { return static_cast<std::uint8_t>(~bits); });
        }
        Check(TIFFWriteScanline(m_tiff.get(), rows, static_cast<std::uint32_t>(m_line + row), 0) >=
              0);
    }
}

void CTiffFileWriter::Complete() {
    Check(TIFFWriteDirectory(m_tiff.get()) != 0);
}

void CTiffFileWriter::CompletePages() {
    // Each page is in the file since it was whole; what a given up one left lies unused.
    m_tiff.reset();
}
