#include "pictures/bitmap_file_writer.h"

#include <algorithm>

void CBitmapFileWriter::Start() {
    BITMAPFILEHEADER file = {};
    file.bfType = BITMAP_FILE_TYPE;
    file.bfSize = BitmapSizeField(PixelOffset() + ImageBytes());
    file.bfOffBits = static_cast<DWORD>(PixelOffset());
    BITMAPINFOHEADER info = {};
    info.biSize = sizeof(info);
    info.biWidth = m_info.biWidth;
    info.biHeight = m_info.biHeight;
    info.biPlanes = 1;
    info.biBitCount = m_info.biBitCount;
    info.biSizeImage = BitmapSizeField(ImageBytes());
    info.biXPelsPerMeter = m_info.biXPelsPerMeter;
    info.biYPelsPerMeter = m_info.biYPelsPerMeter;
    info.biClrUsed = m_info.biClrUsed;
    info.biClrImportant = m_info.biClrImportant;
    m_file.WriteAt(&file, sizeof(file), 0);
    m_file.WriteAt(&info, sizeof(info), sizeof(file));
    m_file.WriteAt(Palette().data(), Palette().size_bytes(), sizeof(file) + sizeof(info));
}

void CBitmapFileWriter::StoreBand(std::uint8_t* rows, std::int32_t count) {
    std::uint8_t* first = rows;
    std::uint8_t* last = rows + Stride() * static_cast<std::size_t>(count - 1);
    for (; first < last; first += Stride(), last -= Stride())
        std::swap_ranges(first, first + Stride(), last);
    const std::int64_t rowsBelow = std::int64_t{m_info.biHeight} - m_line - count;
    m_file.WriteAt(rows, Stride() * static_cast<std::size_t>(count),
                   PixelOffset() + rowsBelow * static_cast<std::int64_t>(Stride()));
}
