// Pages of TIFF files. Those in strips of plain pixels are read row by row; all others are decoded
// whole.
#pragma once

#include <memory>
#include <vector>

#include "pictures/input_file.h"
#include "pictures/picture_reader.h"
#include "pictures/row_mapper.h"
#include "pictures/tiff_pages.h"

class CTiffReader final : public CPictureReader {
  public:
    // Throws as Fail does. Pages count from 1.
    CTiffReader(const std::string& path, CInputFile file, int page);
    ~CTiffReader() override;

  private:
    class CLibrary;

    void ReadLine(std::uint8_t* target) override;
    // That the sides can be worked with, and all pixels lie within the file.
    void CheckPage();
    // False for pixels that have to be decoded whole.
    bool MakeMapper();
    void DecodeWhole();
    // Which way up the pixels lie that were decoded whole.
    void Orient();

    CInputFile m_file;
    std::unique_ptr<CLibrary> m_library;
    CRowMapper m_mapper;
    std::vector<std::uint8_t> m_row;
    // Of pages that are decoded whole: red, green, blue, alpha from the lowest byte on; where the
    // first pixel is, and how far the next one across and the next line are from there.
    std::vector<std::uint32_t> m_whole;
    std::int64_t m_first = 0;
    std::int64_t m_across = 0;
    std::int64_t m_along = 0;
};
