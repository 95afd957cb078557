// Takes the noise of the sensor back: pulls each sample a limited step towards the mean of its
// eight neighbours.
#pragma once

#include "stages/five_line.h"

class CNoiseSmoothStage final : public CFiveLineStage {
  public:
    explicit CNoiseSmoothStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnAfterOpen() override;

  private:
    std::int32_t FilterLine(std::uint16_t* out, const std::uint16_t* line0,
                            const std::uint16_t* line1, const std::uint16_t* line2,
                            const std::uint16_t* line3, const std::uint16_t* line4) override;

    // The most by which a sample differs from its neighbours through noise, in 4095ths of full
    // scale.
    std::uint16_t m_limitOn = 4;   // 0: no smoothing at all
    std::uint16_t m_limitOff = 0;  // while m_useOn is false
    bool m_useOn = true;
    std::int32_t m_limit = 0;  // of this image, in the units of its kernel
};
