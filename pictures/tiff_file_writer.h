// TIFF files of one page or several, packed without loss, strip by strip as rows come. A page that
// breaks off is taken out of the file again.
#pragma once

#include <memory>
#include <string>

#include "pictures/band_writer.h"

struct tiff;

class CTiffFileWriter final : public CBandWriter {
  public:
    using CBandWriter::CBandWriter;

  private:
    struct CCloser {
        void operator()(tiff* file) const;
    };
    // The library's way to the file.
    class CAccess;

    void Start() override;
    void StoreBand(std::uint8_t* rows, std::int32_t count) override;
    void Complete() override;
    void Drop() override;
    void CompletePages() override;

    void Open();
    // What a pixel is, and how rows are packed.
    void DescribePixels();
    void DescribePacking(bool isBits, bool isShaded);
    void DescribePalette();
    // Throws the file's failure if there is one, else the library's if it isn't `done`.
    void Check(bool done) const;

    bool m_isInverted = false;  // bits, which are black where they are set
    std::shared_ptr<CAccess> m_access;
    std::unique_ptr<tiff, CCloser> m_tiff;  // goes ahead of its access to the file
};
