// Five-line smoothing: each pixel becomes the weighed mean of itself and its eight neighbours.
#pragma once

#include "stages/five_line.h"

class CSmoothStage final : public CFiveLineStage {
  public:
    explicit CSmoothStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnAfterOpen() override;

  private:
    std::int32_t FilterLine(std::uint16_t* out, const std::uint16_t* line0,
                            const std::uint16_t* line1, const std::uint16_t* line2,
                            const std::uint16_t* line3, const std::uint16_t* line4) override;

    bool m_smoothOn = false;
};
