// A JPEG stream, row by row. What has a palette, single bits too, becomes gray or colour.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "pictures/library_calls.h"
#include "pictures/row_packer.h"
#include "platform/types.h"

class CJpegPacker final : public IRowPacker {
  public:
    static constexpr int kUsualQuality = 90;  // of 100

    // The palette is borrowed.
    CJpegPacker(const BITMAPINFOHEADER& picture, std::span<const RGBQUAD> palette, int quality,
                CPutBytes put);
    ~CJpegPacker() override;

    // Whether the stream has one sample a pixel, and not three.
    static bool IsGray(std::span<const RGBQUAD> palette);

    void Pack(std::uint8_t* row) override;
    void Finish() override;

  private:
    struct CParts;

    void Start(const BITMAPINFOHEADER& picture, int quality);

    const std::span<const RGBQUAD> m_palette;
    const std::size_t m_width;
    const bool m_isGray;
    std::vector<std::uint8_t> m_samples;  // of a row with a palette that isn't its pixels' gray
    CLibraryCalls m_calls;
    std::unique_ptr<CParts> m_parts;
};
