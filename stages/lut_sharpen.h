// The sharpening of all chains: a sample is moved away from its four neighbours by a response to
// how far it is from them.
#pragma once

#include "stages/sharpen.h"
#include "stages/sharpen_response.h"

class CLutSharpenStage final : public CSharpenStage {
  public:
    using CSharpenStage::CSharpenStage;

    QLStatus OnAfterOpen() override;
    QLStatus OnAfterClose() override;

  private:
    void ForceDefaultLevel() override;
    // One operation for gray and colour, whatever the variant of kernels.
    std::int32_t FilterLine(std::uint16_t* out, const std::uint16_t* line0,
                            const std::uint16_t* line1, const std::uint16_t* line2,
                            const std::uint16_t* line3, const std::uint16_t* line4) override;

    std::int32_t Strength();

    CSharpenResponse m_response;
};
