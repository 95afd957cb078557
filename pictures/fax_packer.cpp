#include "pictures/fax_packer.h"

#include <tiffio.h>

#include <exception>
#include <utility>

// A file of one strip, as the library writes it. Its rows alone are wanted: they begin behind the
// header, and come in order.
class CFaxPacker::COutput {
  public:
    explicit COutput(CPutBytes put) : m_put(std::move(put)) {}

    void Drop() { m_isDropped = true; }
    void Rethrow() {
        if (m_failure)
            std::rethrow_exception(std::exchange(m_failure, nullptr));
    }

    static tmsize_t Read(thandle_t, void*, tmsize_t) { return -1; }
    static tmsize_t Write(thandle_t self, void* bytes, tmsize_t count) {
        return static_cast<COutput*>(self)->Take(bytes, count);
    }
    static toff_t Seek(thandle_t self, toff_t offset, int whence) {
        const auto& output = *static_cast<COutput*>(self);
        return whence == SEEK_SET ? offset : output.m_size + offset;
    }
    static toff_t Size(thandle_t self) { return static_cast<COutput*>(self)->m_size; }
    static int Close(thandle_t) { return 0; }

  private:
    static constexpr toff_t kHeaderBytes = 8;

    tmsize_t Take(const void* bytes, tmsize_t count) noexcept {
        if (m_isDropped)
            return count;
        try {
            if (m_size >= kHeaderBytes)
                m_put(bytes, static_cast<std::size_t>(count));
        } catch (...) {
            m_failure = std::current_exception();
            return -1;
        }
        m_size += static_cast<toff_t>(count);
        return count;
    }

    const CPutBytes m_put;
    toff_t m_size = 0;
    std::exception_ptr m_failure;
    bool m_isDropped = false;  // of what comes, nothing is wanted
};

void CFaxPacker::CCloser::operator()(tiff* file) const {
    static_cast<COutput*>(TIFFClientdata(file))->Drop();
    TIFFClose(file);
}

CFaxPacker::CFaxPacker(std::int32_t width, std::int32_t height, CPutBytes put)
    : m_output(std::make_unique<COutput>(std::move(put))) {
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
    m_tiff.reset(TIFFClientOpen("", "w", m_output.get(), COutput::Read, COutput::Write,
                                COutput::Seek, COutput::Close, COutput::Size, nullptr, nullptr));
    if (!m_tiff)
        throw std::bad_alloc();
    TIFF* const file = m_tiff.get();
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(width));
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(height));
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, 1);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
    TIFFSetField(file, TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX4);
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(height));
}

CFaxPacker::~CFaxPacker() = default;

void CFaxPacker::Check(bool done) const {
    m_output->Rethrow();
    if (!done)
        Fail("can't be packed as faxes are");
}

void CFaxPacker::Pack(std::uint8_t* row) {
    Check(TIFFWriteScanline(m_tiff.get(), row, m_line++, 0) >= 0);
}

void CFaxPacker::Finish() {
    Check(TIFFFlushData(m_tiff.get()) != 0);
}
