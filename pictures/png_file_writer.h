// PNG files, row by row as they come.
#pragma once

#include <memory>

#include "pictures/band_writer.h"
#include "pictures/library_calls.h"

class CPngFileWriter final : public CBandWriter {
  public:
    CPngFileWriter(const std::string& path, EFileKind kind, const CPictureOptions& options);
    ~CPngFileWriter() override;

  private:
    struct CParts;

    bool WritesForward() const override { return true; }
    void Start() override;
    void StoreBand(std::uint8_t* rows, std::int32_t count) override;
    void Complete() override;

    CLibraryCalls m_calls;
    std::unique_ptr<CParts> m_parts;
};
