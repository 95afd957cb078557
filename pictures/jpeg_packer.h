// A JPEG stream, row by row. What has a palette, single bits too, becomes gray or colour.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "pictures/library_calls.h"
#include "pictures/row_mapper.h"
#include "pictures/row_packer.h"
#include "platform/types.h"

class CJpegPacker final : public IRowPacker {
  public:
    static constexpr int kUsualQuality = 90;  // of 100

    CJpegPacker(const BITMAPINFOHEADER& picture, std::span<const RGBQUAD> palette, int quality,
                CPutBytes put);
    ~CJpegPacker() override;

    // One sample a pixel, and not three.
    bool IsGray() const { return m_mapper.TargetBits() == 8; }

    void Pack(std::uint8_t* row) override;
    void Finish() override;

  private:
    struct CParts;

    void Start(const BITMAPINFOHEADER& picture, int quality);

    const CRowMapper m_mapper;
    std::vector<std::uint8_t> m_samples;  // of a row
    const std::int32_t m_width;
    CLibraryCalls m_calls;
    std::unique_ptr<CParts> m_parts;
};
