// From the rows of a bitmap to those of SANE: red first, packed, black as 1 in single bits.
#pragma once

#include <sane/sane.h>

#include <array>
#include <optional>
#include <vector>

#include "service/scan_sink.h"

class CSaneRows {
  public:
    // Nothing for a page that SANE has no form for: bottom row first, or pixels of other bits than
    // 1, 8 and 24.
    static std::optional<CSaneRows> For(const ScanPage& page);

    const SANE_Parameters& Parameters() const { return m_parameters; }
    // Replaces `out` by `count` rows of the page.
    void Convert(const BYTE* rows, LONG count, std::vector<SANE_Byte>& out) const;

  private:
    explicit CSaneRows(const ScanPage& page);

    void ConvertRow(const BYTE* row, SANE_Byte* out) const;

    SANE_Parameters m_parameters = {};
    std::size_t m_stride = 0;
    // Of pixels of 8 bits: the gray of an entry of the palette. Of single bits: which of the two is
    // black.
    std::array<SANE_Byte, 256> m_grays = {};
    SANE_Byte m_flip = 0;
};
