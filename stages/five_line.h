// The base of all stages that need the lines above and below the one that they write.
#pragma once

#include <cstdint>

#include "frame/stage.h"

// Keeps a ring of five lines, which it pulls one at a time, and calls FilterLine for each line of
// the image with the two above and the two below. Beyond the top and the bottom of the image stand
// its first and its last line again.
//
// What moves the ring on from one line to the next is done at the start of the next one: for n
// lines no more than n + 2 have to be there. When there are fewer, the lines that can be made are
// delivered, and the next pull goes on from there.
class CFiveLineStage : public CQLFilterStage {
  public:
    explicit CFiveLineStage(QLAttribTree* tree);

    QLStatus Read(std::int32_t* lines, CQLLineBuffer* buffer) override;
    // A derived stage settles m_passThrough, and then calls this one, which lets images of fewer
    // than three lines pass whatever was settled.
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterClose() override;
    std::int32_t HeldLines() const override;
    void OnEndOfInput() override { m_inputEnded = true; }

  protected:
    // Writes the line in the middle, line2, to `out`. Lines are m_inFormat.m_bytesPerLine bytes of
    // samples; line0 is the uppermost. Gives the steps of the ring to the next output line: 1.
    virtual std::int32_t FilterLine(std::uint16_t* out, const std::uint16_t* line0,
                                    const std::uint16_t* line1, const std::uint16_t* line2,
                                    const std::uint16_t* line3, const std::uint16_t* line4) = 0;

    // No image for a kernel of neighbours: fewer than five pixels or lines, or packed pixels.
    bool IsTooSmallOrPacked() const;

    bool m_passThrough = true;  // lines go through untouched

  private:
    static constexpr std::size_t kRing = 5;

    // Brings the ring to the next output line. False in `*ready` when its lines aren't all there
    // yet, or when there is no such line.
    QLStatus Advance(bool* ready);
    QLStatus Fill(bool* ready);
    QLStatus Step(bool* ready);
    // Pulls the next line into `target`; below the bottom of the image that is a copy of `last`.
    QLStatus PullLine(CQLLineBuffer* target, const CQLLineBuffer* last, bool* ready);
    void CopyLine(CQLLineBuffer* target, const CQLLineBuffer* source) const;

    CQLLineBuffer m_buffers[kRing];
    CQLLineBuffer* m_ring[kRing];  // m_buffers in the order of the lines; 2 is the middle
    std::int32_t m_outLines = 0;   // produced in this image
    std::int32_t m_inLines = 0;    // received in this image
    std::int32_t m_pending = 0;    // ring steps to make ahead of the next output line
    std::int32_t m_tailCount = 0;  // lines beyond the bottom that were put into the ring
    bool m_inputEnded = false;     // no more lines come, whatever height was announced
};
