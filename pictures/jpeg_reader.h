// JPEG files, read row by row; of progressive ones the library holds all coefficients.
#pragma once

#include <memory>
#include <vector>

#include "pictures/input_file.h"
#include "pictures/picture_reader.h"
#include "pictures/row_mapper.h"

class CJpegReader final : public CPictureReader {
  public:
    // Throws as Fail does.
    explicit CJpegReader(CInputFile file);
    ~CJpegReader() override;

  private:
    class CLibrary;

    void ReadLine(std::uint8_t* target) override;

    CInputFile m_file;
    std::unique_ptr<CLibrary> m_library;
    CRowMapper m_mapper;
    std::vector<std::uint8_t> m_row;
};
