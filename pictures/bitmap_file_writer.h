// A bitmap file, bottom line first as all programs read it: bands are placed from its end on.
#pragma once

#include "pictures/band_writer.h"

class CBitmapFileWriter final : public CBandWriter {
  public:
    using CBandWriter::CBandWriter;

  private:
    void Start() override;
    void StoreBand(std::uint8_t* rows, std::int32_t count) override;
    void Complete() override {}

    // Where the rows begin, behind headers and colours.
    std::int64_t m_pixelOffset = 0;
};
