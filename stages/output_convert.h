// From the internal form to the layout that the sink asks for: samples drop to 8 bits, the colour
// order turns for bitmap rows, rows are packed or padded.
#pragma once

#include "frame/stage_bases.h"

// The target is one delivery layout of QLImageFormat, set when the chain's tail is built. Samples
// are truncated to 8 bits, not rounded. Bytes that pad a row stay as the caller's buffer had them,
// where the layout doesn't say otherwise.
class COutputConvertStage final : public CNewLineStage {
  public:
    explicit COutputConvertStage(QLAttribTree* tree) : CNewLineStage(tree) { m_active = true; }

    void SetTargetLayout(std::uint32_t layout);

    QLStatus OnFormatChanged() override;
    QLStatus TransformColor(QLColorQuery* query) override;
    QLStatus OnAfterOpen() override;

  private:
    bool IsDeepLayout() const;
    std::int32_t RowBytes() const override;
    void WriteLines(const CQLLineBuffer& source, std::int32_t lines, std::uint8_t* target) override;
    void ConvertColor(const std::uint16_t* source, std::int32_t lines, std::uint8_t* target);
    void ConvertGray(const std::uint16_t* source, std::int32_t lines, std::uint8_t* target);
    void ConvertNibbles(const std::uint16_t* source, std::int32_t lines, std::uint8_t* target);
    void ConvertIndexed(const std::uint8_t* source, std::int32_t lines, std::uint8_t* target);
    void ConvertBilevel(const std::uint8_t* source, std::int32_t lines, std::uint8_t* target);
    // `bytes` of each input line, from the input's stride to the given step.
    void CopyLines(const std::uint8_t* source, std::int32_t lines, std::uint8_t* target,
                   std::int32_t bytes, std::int32_t targetStep);

    std::uint32_t m_targetLayout = QL_LAYOUT_AS_IS;
};
