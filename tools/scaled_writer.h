// Pages on their way to a file, at the resolution that they are to have.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "pictures/picture_writer.h"
#include "tools/page_scale.h"

// Makes pages smaller as far as their scale says, and hands everything on to another writer.
class CScaledWriter final : public CPictureWriter {
  public:
    CScaledWriter(std::unique_ptr<CPictureWriter> writer, const CPageScale& scale)
        : m_writer(std::move(writer)), m_scale(scale) {}

    bool Begin(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette) override;
    bool Write(const std::uint8_t* bytes, std::size_t length) override;
    bool Finish() override { return Keep(m_writer->Finish()); }
    bool EndPage() override { return Keep(m_writer->EndPage()); }
    bool DropPage() override { return Keep(m_writer->DropPage()); }

  private:
    bool WriteRow(const std::uint8_t* row);
    bool Keep(bool done) {
        if (!done)
            m_error = m_writer->Error();
        return done;
    }

    const std::unique_ptr<CPictureWriter> m_writer;
    const CPageScale m_scale;
    std::optional<CAreaMean> m_mean;   // of the present page, if it is made smaller
    std::size_t m_stride = 0;          // of a row that comes
    std::vector<std::uint8_t> m_part;  // of a row that has come in part
    std::vector<std::uint8_t> m_row;   // that goes on, with its padding
};
