#include "pictures/bitmap_file_writer.h"

#include <algorithm>

void CBitmapFileWriter::Start() {
    // What other programs may have put into the header beside size and colours isn't kept.
    BITMAPINFOHEADER info = MakeInfoHeader(m_info.biWidth, m_info.biHeight, m_info.biBitCount);
    info.biXPelsPerMeter = m_info.biXPelsPerMeter;
    info.biYPelsPerMeter = m_info.biYPelsPerMeter;
    info.biClrImportant = m_info.biClrImportant;
    const BITMAPFILEHEADER file = MakeFileHeader(info, ImageBytes());
    m_pixelOffset = file.bfOffBits;
    m_file.WriteAt(&file, sizeof(file), 0);
    m_file.WriteAt(&info, sizeof(info), sizeof(file));
    m_file.WriteAt(Palette().data(), Palette().size_bytes(), sizeof(file) + sizeof(info));
}

// The image comes with its top row first, and its file begins with the bottom row: a band is turned
// round, and goes to where as many rows are free below it as the image still has.
void CBitmapFileWriter::StoreBand(std::uint8_t* rows, std::int32_t count) {
    std::uint8_t* first = rows;
    std::uint8_t* last = rows + Stride() * static_cast<std::size_t>(count - 1);
    for (; first < last; first += Stride(), last -= Stride())
        std::swap_ranges(first, first + Stride(), last);
    const std::int64_t rowsBelow = std::int64_t{m_info.biHeight} - m_line - count;
    m_file.WriteAt(rows, Stride() * static_cast<std::size_t>(count),
                   m_pixelOffset + rowsBelow * static_cast<std::int64_t>(Stride()));
}
