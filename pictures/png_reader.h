// PNG files, read row by row; interlaced ones are held whole.
#pragma once

#include <memory>
#include <vector>

#include "pictures/input_file.h"
#include "pictures/picture_reader.h"
#include "pictures/row_mapper.h"

class CPngReader final : public CPictureReader {
  public:
    // Throws as Fail does.
    explicit CPngReader(CInputFile file);
    ~CPngReader() override;

  private:
    class CLibrary;

    void ReadLine(std::uint8_t* target) override;
    void ReadPasses(int passes);

    CInputFile m_file;
    std::unique_ptr<CLibrary> m_library;
    CRowMapper m_mapper;
    std::vector<std::uint8_t> m_rows;  // one, or of an interlaced picture all
    std::size_t m_rowBytes = 0;
    bool m_isWhole = false;
};
