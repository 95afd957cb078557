// Reflects each line left to right as it passes.
#pragma once

#include <memory>

#include "frame/stage_bases.h"

// The user's mirror and one that the source asks for cancel each other. In the chain it stands
// ahead of tone and threshold, on 16-bit lines; bilevel lines are mirrored as well, pixel by pixel.
class CMirrorStage final : public CInPlaceStage {
  public:
    explicit CMirrorStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterClose() override;

  private:
    bool IsMirrored() const { return m_forced != m_mirror; }
    void SetMirror(bool on);
    void SetRect(const QLRect* rect);
    void Toggle() { m_mirror = !m_mirror; }
    void TakeOff() { m_mirror = false; }
    void OnSource();
    QLStatus ProcessPixels(std::uint16_t* samples, std::size_t count) override;

    bool m_mirror = false;
    bool m_forced = false;
    QLRect m_mirrorRect;                      // kept for writers of its attribute
    std::unique_ptr<std::uint16_t[]> m_line;  // a copy of the line that is written anew
};
