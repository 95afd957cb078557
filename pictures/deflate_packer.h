// Rows in a deflated stream.
#pragma once

#include <zlib.h>

#include <cstddef>
#include <vector>

#include "pictures/library_calls.h"
#include "pictures/packing_effort.h"
#include "pictures/row_packer.h"

class CDeflatePacker final : public IRowPacker {
  public:
    CDeflatePacker(std::size_t rowBytes, const PackingEffort& effort, CPutBytes put);
    ~CDeflatePacker() override { deflateEnd(&m_stream); }

    void Pack(std::uint8_t* row) override { Run(row, m_rowBytes, Z_NO_FLUSH); }
    void Finish() override { Run(nullptr, 0, Z_FINISH); }

  private:
    void Run(std::uint8_t* bytes, std::size_t count, int flush);

    const std::size_t m_rowBytes;
    const CPutBytes m_put;
    z_stream m_stream = {};
    std::vector<std::uint8_t> m_packed = std::vector<std::uint8_t>(kPackedPartBytes);
};
