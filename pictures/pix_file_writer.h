// Files that Leptonica helps to encode, page by page: a page is held in memory until it is whole.
#pragma once

#include "pictures/band_writer.h"
#include "pictures/leptonica.h"

class CPixFileWriter : public CBandWriter {
  protected:
    using CBandWriter::CBandWriter;

    // The whole page: 1 or 8 bits, with a palette unless it is plain black and white or plain gray,
    // or 32 bits.
    virtual void StorePage(PIX* pix) = 0;

  private:
    void Start() final;
    void StoreBand(std::uint8_t* rows, std::int32_t count) final;
    void Complete() final;

    // Leaves plain black and white and plain gray without a palette.
    void FinishPixels();
    void AttachPalette();

    CPixPtr m_pix;
};

// What Leptonica has encoded, its to free.
struct CEncodedBytes {
    std::unique_ptr<l_uint8, CLeptDeleter> bytes;
    std::size_t size = 0;
};
// Gray and colour as a JPEG stream.
CEncodedBytes EncodeJpeg(PIX* pix);
