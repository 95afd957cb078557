// Pictures of the kinds that no other reader takes, decoded whole by Leptonica.
#pragma once

#include "pictures/leptonica.h"
#include "pictures/picture_reader.h"

class CDecodedReader final : public CPictureReader {
  public:
    // Throws as Fail does.
    CDecodedReader(const std::string& path, std::int64_t fileSize);

    // The kinds, for people.
    static constexpr char kKinds[] = "JPEG 2000, WebP or PNM";

  private:
    void ReadLine(std::uint8_t* target) override;
    // Brings all that Leptonica knows down to plain gray or plain colour.
    void Simplify(bool isGrayWithAlpha);

    CPixPtr m_pix;  // 8 bits without a palette, or 32
};
