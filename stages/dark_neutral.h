// Curves of slides, and a pull of dark pixels towards neutral. Gray lines pass.
#pragma once

#include "stages/lut_stage.h"

class CDarkNeutralStage final : public CLutStage {
  public:
    explicit CDarkNeutralStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnAfterOpen() override;

  private:
    QLStatus ProcessPixels(std::uint16_t* samples, std::size_t count) override;
    QLStatus RebuildDark();

    bool m_neutralOn = true;
    bool m_neutralHold = false;
    bool m_dirty = true;
    // Mean sample below which pixels are pulled, on the 16-bit scale: two thirds of a percent.
    std::int32_t m_darkLimit = 436;
    double m_gamma[3] = {1.0, 1.0, 1.0};
    double m_gain[3] = {1.0, 1.0, 1.0};
    double m_black[3] = {};  // on the 16-bit scale
    std::int32_t m_spliceCenter = 0;
    std::int32_t m_spliceWidth = 0;
    double m_blackOffset = 0.0;
};
