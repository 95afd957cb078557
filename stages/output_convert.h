// From the internal form to the layout that the sink asks for: samples drop to 8 bits, the colour
// order turns for bitmap rows, rows are packed or padded.
#pragma once

#include "frame/stage.h"

// The target is one delivery layout of QLImageFormat, set when the chain's tail is built. Samples
// are truncated to 8 bits, not rounded. Bytes that pad a row stay as the caller's buffer had them,
// where the layout doesn't say otherwise.
class COutputConvertStage final : public CQLFilterStage {
  public:
    explicit COutputConvertStage(QLAttribTree* tree)
        : CQLFilterStage(tree), m_inLines(&m_inFormat) {}

    void SetTargetLayout(std::uint32_t layout);

    QLStatus Read(std::int32_t* lines, CQLLineBuffer* buffer) override;
    QLStatus OnFormatChanged() override;
    QLStatus TransformColor(QLColorQuery* query) override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterClose() override;
    bool IsActive() const override { return true; }

  private:
    // True when the buffer has room for the converted lines.
    bool Fits(std::int32_t lines, const CQLLineBuffer* buffer) const;
    void Convert(std::int32_t lines, CQLLineBuffer* buffer);
    void ConvertColor(std::int32_t lines, std::uint8_t* target);
    void ConvertGray(std::int32_t lines, std::uint8_t* target);
    void ConvertNibbles(std::int32_t lines, std::uint8_t* target);
    void ConvertIndexed(std::int32_t lines, std::uint8_t* target);
    void ConvertBilevel(std::int32_t lines, std::uint8_t* target);
    // `bytes` of each input line, from and to the given steps.
    void CopyLines(std::int32_t lines, std::uint8_t* target, std::int32_t bytes,
                   std::int32_t targetStep);

    std::uint32_t m_targetLayout = QL_LAYOUT_AS_IS;
    CQLLineBuffer m_inLines;
};
