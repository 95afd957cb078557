// TIFF files of one page or several, compressed without loss, row by row as they come.
#pragma once

#include <memory>
#include <string>

#include "pictures/band_writer.h"

struct tiff;

class CTiffFileWriter final : public CBandWriter {
  public:
    explicit CTiffFileWriter(const std::string& path) : CBandWriter(path) {}

  private:
    struct CCloser {
        void operator()(tiff* file) const;
    };
    class CAccess;

    void Start() override;
    void StoreBand(std::uint8_t* rows, std::int32_t count) override;
    void Complete() override;
    bool HoldsPages() const override { return true; }
    void CompletePages() override;

    void Open();
    void DescribePixels();
    void DescribePalette();
    void Check(bool done) const;

    bool m_isInverted = false;  // bits, which are black where they are set
    std::shared_ptr<CAccess> m_access;
    std::unique_ptr<tiff, CCloser> m_tiff;  // goes ahead of its access to the file
};
