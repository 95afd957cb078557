// PNG and TIFF files, which Leptonica writes from the whole image.
#pragma once

#include "pictures/band_writer.h"
#include "pictures/leptonica.h"

enum class EEncoding { Png, Tiff };

class CEncodedFileWriter final : public CBandWriter {
  public:
    CEncodedFileWriter(const std::string& path, EEncoding encoding)
        : CBandWriter(path), m_encoding(encoding) {}

  private:
    void Start() override;
    void StoreBand(std::uint8_t* rows, std::int32_t count) override;
    void Complete() override;

    // Leaves plain black and white and plain gray without a palette.
    void FinishPixels();
    void AttachPalette();

    EEncoding m_encoding;
    CPixPtr m_pix;
};
