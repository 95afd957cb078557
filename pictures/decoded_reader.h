// Pictures of other kinds than bitmap files, decoded whole by Leptonica.
#pragma once

#include "pictures/leptonica.h"
#include "pictures/picture_reader.h"

class CDecodedReader final : public CPictureReader {
  public:
    // Throws as Fail does.
    CDecodedReader(const std::string& path, std::int64_t fileSize);

    bool ReadLines(std::uint8_t* target, std::int32_t lines) override;

  private:
    // Brings all that Leptonica knows down to plain gray or plain colour.
    void Simplify(bool isGrayWithAlpha);

    CPixPtr m_pix;  // 8 bits without a palette, or 32
};
