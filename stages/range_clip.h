// Marks the ends of the tone range inside a rectangle of the image: what is nearly white becomes
// black, what is nearly black becomes white. A colour pixel is near an end if one of its samples
// is. Behind this stage the image may be inverted: then the two switches change places, so that
// each marks the end that people see.
#pragma once

#include "frame/stage_bases.h"

class CRangeClipStage final : public CInPlaceStage {
  public:
    explicit CRangeClipStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;

  private:
    void SetRect(const QLRect* rect);
    QLStatus ProcessPixels(std::uint16_t* samples, std::size_t count) override;

    bool m_clipHigh = false;
    bool m_clipLow = false;
    bool m_invert = false;
    QLRect m_clipRect;  // its ends lie behind the last line and column
    std::int32_t m_currentLine = 0;
};
