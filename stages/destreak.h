// Removal of streaks: sharpens along the line, as far as that follows the picture's detail, and on
// request rebuilds two of the three channels from the third, the detail channel, and the local
// difference of colour, so that a streak in those two is gone. Works in the root domain, in which a
// step looks the same in light and in dark.
#pragma once

#include <memory>

#include "stages/destreak_kernels.h"
#include "stages/five_line.h"
#include "stages/streak_settings.h"

// What is written during an image counts from the next one on.
class CDestreakStage final : public CFiveLineStage {
  public:
    explicit CDestreakStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus OnAfterOpen() override;
    QLStatus OnAfterClose() override;

  private:
    std::int32_t FilterLine(std::uint16_t* out, const std::uint16_t* line0,
                            const std::uint16_t* line1, const std::uint16_t* line2,
                            const std::uint16_t* line3, const std::uint16_t* line4) override;

    void SetTmaMode(std::int32_t mode);
    void SetOtherMode(std::int32_t mode);
    void SetSharpenChannel(std::int32_t channel);
    void SetDetailChannel(std::int32_t channel);
    void SetDiffLimit(std::int32_t limit) { m_diffLimit = limit > 0 ? limit : 0; }
    void SetLevelLimit(std::int32_t limit) { m_levelLimit = limit > 0 ? limit : 0; }

    // Strength and spacing of a work mode, 1 or 2, at a resolution across.
    void TakeResolution(std::int32_t mode, std::int32_t dpi);
    void TakeChannels();
    bool AllocateLines();
    std::uint16_t* Plane(std::uint16_t* line, std::size_t channel) const;
    // Brings the rooted lines to the ring's present ones.
    void RootLines(const std::uint16_t* const (&lines)[5]);
    // Of pixels `first` to `last` - 1, as all that works on the middle line.
    const std::int32_t* TakeMeans(std::size_t channel, std::size_t first, std::size_t last);
    void RebuildChannels(std::size_t first, std::size_t last);

    double m_strength = 2.0;            // of the sharpening term
    std::int32_t m_spacing = 1;         // from tap to tap of the kernel, in pixels
    std::int32_t m_tmaMode = 0;         // work mode while the source is the adapter: 0 off, 1 or 2
    std::int32_t m_otherMode = 0;       // with other sources
    bool m_sharpenOn = true;            // the stage works at all
    std::int32_t m_sharpenChannel = 1;  // on which the sharpening term is computed
    bool m_destreakOn = false;          // channels are rebuilt
    std::int32_t m_detailChannel = 2;   // that is asked for
    std::int32_t m_diffLimit = 0;       // of a pixel from its mean, in roots
    std::int32_t m_levelLimit = 0;      // of a mean, in roots
    const QLStreakSettings m_settings;

    // From open to close; the lines in planes, with sizes in AllocateLines.
    bool m_rebuilds = false;      // colour, of which two channels are rebuilt
    bool m_fromThird = false;     // namely the first two, within limits
    std::size_t m_reference = 0;  // the channel that the sharpening term is computed on
    QLStreakLimits m_limits;
    std::unique_ptr<std::uint16_t[]> m_rootLine;   // one line, or the ring's five
    std::uint16_t* m_roots[5] = {};                // those lines, in the ring's order
    bool m_haveRoots = false;                      // they are those of the line before
    std::unique_ptr<std::uint16_t[]> m_result;     // the line that is being made
    std::unique_ptr<std::int32_t[]> m_smoothLine;  // the reference channel, in thousandths
    std::unique_ptr<std::int32_t[]> m_terms;
    std::unique_ptr<std::int32_t[]> m_shares;
    std::unique_ptr<std::int32_t[]> m_means;
};
