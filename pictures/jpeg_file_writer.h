// JPEG files, row by row as they come.
#pragma once

#include <optional>

#include "pictures/band_writer.h"
#include "pictures/jpeg_packer.h"

class CJpegFileWriter final : public CBandWriter {
  public:
    using CBandWriter::CBandWriter;

  private:
    bool WritesForward() const override { return true; }
    void Start() override;
    void StoreBand(std::uint8_t* rows, std::int32_t count) override;
    void Complete() override;

    std::optional<CJpegPacker> m_packer;
};
