// A portable anymap file: bits, grays or colours behind a line of text.
#pragma once

#include "pictures/band_writer.h"
#include "pictures/row_mapper.h"

class CPnmFileWriter final : public CBandWriter {
  public:
    using CBandWriter::CBandWriter;

  private:
    bool WritesForward() const override { return true; }
    // The numbers of the forms in the file's first two bytes, "P4" to "P6".
    enum class EKind { Bits = 4, Grays = 5, Colors = 6 };

    void Start() override;
    void StoreBand(std::uint8_t* rows, std::int32_t count) override;
    void Complete() override {}
    // Puts a row into the file's form.
    std::uint8_t* ConvertRow(std::uint8_t* target, const std::uint8_t* row) const;

    EKind m_kind = EKind::Colors;
    CRowMapper m_mapper;
    std::vector<std::uint8_t> m_rows;  // of a band, in the file's form
};
