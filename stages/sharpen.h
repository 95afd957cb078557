// The base of sharpening: its level, and a family of fixed kernels for stages that don't bring
// their own.
#pragma once

#include "stages/five_line.h"
#include "stages/sharpen_kernels.h"

// Levels that have fixed kernels, from 1 on.
inline constexpr std::int32_t kKernelLevels = 4;

class CSharpenStage : public CFiveLineStage {
  public:
    explicit CSharpenStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    // Lets pass what has no neighbourhood: images of fewer than 5 pixels or lines, packed lines.
    // Whether it sharpens at all, a derived stage has settled in m_passThrough before.
    QLStatus OnAfterOpen() override;

  protected:
    using Line = const std::uint16_t*;

    static constexpr std::int32_t kDefaultLevel = 2;

    // Asks the kernel of the form and of m_variant.
    std::int32_t FilterLine(std::uint16_t* out, Line line0, Line line1, Line line2, Line line3,
                            Line line4) override;

    // As FilterLine. Plain: the level's kernel for all samples. Detail: the same, but for samples
    // that lie on the mean of those to their left and right. Tones: weaker the darker a sample is,
    // with two sets of breaks; in colour, what is too dark to be sharpened is softened.
    virtual std::int32_t SharpenGrayPlain(std::uint16_t* out, Line line0, Line line1, Line line2,
                                          Line line3, Line line4);
    virtual std::int32_t SharpenGrayDetail(std::uint16_t* out, Line line0, Line line1, Line line2,
                                           Line line3, Line line4);
    virtual std::int32_t SharpenGrayToneA(std::uint16_t* out, Line line0, Line line1, Line line2,
                                          Line line3, Line line4);
    virtual std::int32_t SharpenGrayToneB(std::uint16_t* out, Line line0, Line line1, Line line2,
                                          Line line3, Line line4);
    virtual std::int32_t SharpenColorPlain(std::uint16_t* out, Line line0, Line line1, Line line2,
                                           Line line3, Line line4);
    virtual std::int32_t SharpenColorDetail(std::uint16_t* out, Line line0, Line line1, Line line2,
                                            Line line3, Line line4);
    virtual std::int32_t SharpenColorToneA(std::uint16_t* out, Line line0, Line line1, Line line2,
                                           Line line3, Line line4);
    virtual std::int32_t SharpenColorToneB(std::uint16_t* out, Line line0, Line line1, Line line2,
                                           Line line3, Line line4);
    // Brings the level to its default, and tells of it when it was another.
    virtual void ForceDefaultLevel();

    bool m_applyDefault = false;  // the level is the default, until another one is set
    std::int32_t m_variant = 1;   // of the fixed kernels: 2 and 3 tones, 4 detail, else plain
    std::int32_t m_level = 0;
    std::int32_t m_previousLevel = 0;  // for derived stages; these ones don't go back to it

  private:
    using Kernel = decltype(SharpenByTone);

    void SetLevel(std::int32_t level);
    void SetApply(bool apply);
    // The level's row of a table. Levels without one copy the line.
    std::int32_t Run(Kernel* kernel, const QLToneSteps (&levels)[kKernelLevels], std::uint16_t* out,
                     Line up, Line centre, Line down) const;
};
