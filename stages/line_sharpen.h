// Sharpens along the line, with no look at the lines above and below.
#pragma once

#include "frame/stage_bases.h"
#include "stages/line_sharpen_kernels.h"

class CLineSharpenStage final : public CNewLineStage {
  public:
    explicit CLineSharpenStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnAfterOpen() override;

  private:
    void WriteLines(const CQLLineBuffer& source, std::int32_t lines, std::uint8_t* target) override;

    std::int32_t m_strength = 0;                      // 0 off, 1 or 2
    decltype(&SharpenLineByFive) m_kernel = nullptr;  // of the image that is open
};
