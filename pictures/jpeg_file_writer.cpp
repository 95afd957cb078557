#include "pictures/jpeg_file_writer.h"

void CJpegFileWriter::Start() {
    m_packer.emplace(m_info, Palette(), m_options.m_quality.value_or(CJpegPacker::kUsualQuality),
                     [this](const void* bytes, std::size_t count) { m_file.Append(bytes, count); });
}

void CJpegFileWriter::StoreBand(std::uint8_t* rows, std::int32_t count) {
    for (std::int32_t row = 0; row < count; ++row, rows += Stride())
        m_packer->Pack(rows);
}

void CJpegFileWriter::Complete() {
    m_packer->Finish();
}
