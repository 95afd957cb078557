#include "tools/process/picture_stream.h"

#include <algorithm>
#include <cstring>

#include "pictures/bitmap_layout.h"

CPictureStream::CPictureStream(CPictureReader& reader)
    : m_reader(reader),
      m_linesLeft(reader.Info().m_height),
      m_stride(static_cast<std::size_t>(
          BitmapStride(reader.Info().m_width, reader.Info().m_bitsPerPixel))) {
    WriteHeaders();
}

// Room for more bytes behind those that are there. What the engine has left moves to the front, so
// the buffer doesn't grow with the picture.
std::uint8_t* CPictureStream::Extend(std::size_t bytes) {
    if (m_begin != 0) {
        std::copy(m_bytes.begin() + static_cast<std::ptrdiff_t>(m_begin),
                  m_bytes.begin() + static_cast<std::ptrdiff_t>(m_end), m_bytes.begin());
        m_end -= m_begin;
        m_begin = 0;
    }
    if (m_bytes.size() < m_end + bytes)
        m_bytes.resize(m_end + bytes);
    std::uint8_t* room = m_bytes.data() + m_end;
    m_end += bytes;
    m_cbWritten += static_cast<std::uint32_t>(bytes);
    return room;
}

// A negative height: the lines come from the top, as from a scanner.
void CPictureStream::WriteHeaders() {
    const CPictureInfo& picture = m_reader.Info();
    BITMAPINFOHEADER info =
        MakeInfoHeader(picture.m_width, -picture.m_height, picture.m_bitsPerPixel);
    info.biXPelsPerMeter = picture.m_xPelsPerMeter;
    info.biYPelsPerMeter = picture.m_yPelsPerMeter;
    const BITMAPFILEHEADER file = MakeFileHeader(info, BitmapImageBytes(info));
    std::vector<RGBQUAD> grays(info.biClrUsed);
    FillGrayRamp(grays);
    std::memcpy(Extend(sizeof(file)), &file, sizeof(file));
    std::memcpy(Extend(sizeof(info)), &info, sizeof(info));
    if (!grays.empty())
        std::memcpy(Extend(grays.size() * sizeof(RGBQUAD)), grays.data(),
                    grays.size() * sizeof(RGBQUAD));
}

// Readers deliver bare lines; the stream's are padded to 4 bytes.
bool CPictureStream::AddBand(std::int32_t lines) {
    const std::int32_t count = std::min(lines, m_linesLeft);
    const std::size_t lineBytes = m_reader.LineBytes();
    std::uint8_t* row = Extend(m_stride * static_cast<std::size_t>(count));
    for (std::int32_t line = 0; line < count; ++line, row += m_stride) {
        if (!m_reader.ReadLines(row, 1))
            return false;
        std::memset(row + lineBytes, 0, m_stride - lineBytes);
    }
    m_linesLeft -= count;
    m_nLines += static_cast<std::uint32_t>(count);
    return true;
}

HRESULT CPictureStream::QueryInterface(REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    const bool known = iid == IID_IUnknown || iid == IID_IStream;
    *object = known ? static_cast<IStream*>(this) : nullptr;
    return known ? S_OK : E_NOINTERFACE;
}

// Fewer bytes than asked for are no failure: the engine comes again behind the next band.
HRESULT CPictureStream::Read(void* target, ULONG bytes, ULONG* read) {
    const std::size_t count = std::min<std::size_t>(bytes, m_end - m_begin);
    std::memcpy(target, m_bytes.data() + m_begin, count);
    m_begin += count;
    m_cbRead += static_cast<std::uint32_t>(count);
    if (read)
        *read = static_cast<ULONG>(count);
    return S_OK;
}
