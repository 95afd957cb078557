// Uncompressed bitmap files of up to 4 GiB, read in bands of rows.
#pragma once

#include <vector>

#include "pictures/bitmap_layout.h"
#include "pictures/input_file.h"
#include "pictures/picture_reader.h"
#include "pictures/row_mapper.h"
#include "platform/types.h"

class CBitmapReader final : public CPictureReader {
  public:
    // Throws as Fail does. Nothing is allocated by what a header says before the file has been
    // found to be long enough for it.
    explicit CBitmapReader(CInputFile file);

  private:
    void ReadLine(std::uint8_t* target) override;
    // In this order: each check relies on those before it.
    void ReadHeaders();
    void CheckInfo() const;
    void CheckMasks() const;
    void CheckExtent() const;
    void CheckPlaces() const;
    CRowMapper MakeMapper() const;
    // Reads the next band of rows.
    void FillBand();

    // Behind the headers, and the masks that belong to them.
    std::int64_t HeadersEnd() const;
    std::int64_t Stride() const { return BitmapStride(m_infoHeader); }
    std::int64_t Height() const { return BitmapLines(m_infoHeader); }

    CInputFile m_file;
    BITMAPFILEHEADER m_fileHeader = {};
    BITMAPINFOHEADER m_infoHeader = {};
    CRowMapper m_mapper;
    std::vector<std::uint8_t> m_band;  // rows in file order
    std::int32_t m_bandLines = 0;
    std::int32_t m_bandUsed = 0;
};
