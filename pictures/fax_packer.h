// Single bits as fax machines of group 4 pack them: one stream for the whole picture, row by row. A
// set bit is black.
#pragma once

#include <cstdint>
#include <memory>

#include "pictures/library_calls.h"
#include "pictures/row_packer.h"

struct tiff;

class CFaxPacker final : public IRowPacker {
  public:
    CFaxPacker(std::int32_t width, std::int32_t height, CPutBytes put);
    ~CFaxPacker() override;

    void Pack(std::uint8_t* row) override;
    void Finish() override;

  private:
    class COutput;

    struct CCloser {
        void operator()(tiff* file) const;
    };

    void Check(bool done) const;

    const std::unique_ptr<COutput> m_output;
    std::unique_ptr<tiff, CCloser> m_tiff;  // goes ahead of its output
    std::uint32_t m_line = 0;
};
