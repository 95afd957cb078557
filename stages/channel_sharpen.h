// Sharpening at the front of the chain, with a strength for each channel.
#pragma once

#include "stages/five_line.h"
#include "stages/sharpen_response.h"

class CChannelSharpenStage final : public CFiveLineStage {
  public:
    explicit CChannelSharpenStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnAfterOpen() override;
    QLStatus OnAfterClose() override;

  private:
    static constexpr std::size_t kChannels = 3;

    std::int32_t FilterLine(std::uint16_t* out, const std::uint16_t* line0,
                            const std::uint16_t* line1, const std::uint16_t* line2,
                            const std::uint16_t* line3, const std::uint16_t* line4) override;

    // In percent, of red, green and blue; gray goes by green.
    std::int32_t m_strength[kChannels] = {};
    CSharpenResponse m_response;
};
