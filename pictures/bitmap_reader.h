// Bitmap files of 24 bits, or of 8 bits with a palette, read in bands of rows.
#pragma once

#include <array>
#include <vector>

#include "pictures/bitmap_layout.h"
#include "pictures/input_file.h"
#include "pictures/picture_reader.h"
#include "platform/types.h"

class CBitmapReader final : public CPictureReader {
  public:
    // Throws as Fail does. Nothing is allocated by what a header says before the file has been
    // found to be long enough for it.
    explicit CBitmapReader(CInputFile file);

    bool ReadLines(std::uint8_t* target, std::int32_t lines) override;

  private:
    // What becomes of a pixel: an 8-bit one may be an index into a palette of grays or of colours.
    enum class EMapping { None, Gray, Color };

    // In this order: each check relies on those before it.
    void ReadHeaders();
    void CheckInfo() const;
    void CheckExtent() const;
    void CheckPlaces() const;
    void TakePalette();
    // Reads the next band of rows.
    void FillBand();
    void ConvertRow(std::uint8_t* target, const std::uint8_t* row) const;

    std::int64_t Stride() const { return BitmapStride(m_infoHeader); }
    std::int64_t Height() const { return BitmapLines(m_infoHeader); }

    CInputFile m_file;
    BITMAPFILEHEADER m_fileHeader = {};
    BITMAPINFOHEADER m_infoHeader = {};
    EMapping m_mapping = EMapping::None;
    // Pixels beyond a short palette are black.
    std::array<RGBQUAD, kMaxBitmapColors> m_palette = {};

    std::vector<std::uint8_t> m_band;  // rows in file order
    std::int32_t m_bandLines = 0;
    std::int32_t m_bandUsed = 0;
};
