// Stages that carry tone corrections: one table read a sample, in place, on the internal form. They
// differ in how their tables are built from attributes. Attribute changes only mark tables stale;
// they are rebuilt at the next open, never on the line path.
#pragma once

#include <memory>

#include "frame/lut.h"
#include "frame/stage.h"

class CLutStage : public CQLFilterStage {
  public:
    explicit CLutStage(QLAttribTree* tree) : CQLFilterStage(tree) { m_active = true; }

    QLStatus TransformColor(QLColorQuery* query) override;
    // First the stages downstream, from the tail up to here, then this stage's inverse look-up.
    QLStatus MapColorTableBack(QLColorTable* table) override;
    // First this stage, then those downstream.
    QLStatus MapColorTable(QLColorTable* table) override;
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) override;

  protected:
    enum Channel { kRed, kGreen, kBlue, kGray, kChannels };

    // All samples through the gray table.
    static constexpr std::uint16_t kModeSingle = 1;
    // Colour lines through a table per channel, gray lines through the gray table.
    static constexpr std::uint16_t kModePerChannel = 3;

    QLStatus ApplyLuts(std::int32_t lines, CQLLineBuffer* buffer) const;
    // Makes the first `count` tables that are missing. `made` tells whether any was.
    QLStatus NeedTables(int count, bool* made = nullptr);
    // Blends the first `count` tables from the identity below a window of input values into what
    // they hold above it. Centre and width in 1/256 of the table.
    void Splice(int count, std::int32_t center, std::int32_t width);

    std::unique_ptr<CQLLut> m_lut[kChannels];
    std::uint16_t m_lutMode = kModeSingle;

  private:
    // The table that a plane of a colour table goes through; null when there is none.
    const CQLLut* PlaneLut(int plane) const;
};

// The encoding of the finished image: sRGB, or gamma 1.8 when the curve select attribute is set.
class CEncodingCurveStage final : public CLutStage {
  public:
    explicit CEncodingCurveStage(QLAttribTree* tree);

    std::uint64_t GetAttrib(std::int32_t id) override;
    void OnAttribNotify(std::int32_t id) override;

  private:
    void BuildCurve();

    bool m_gammaMode = false;
};

// Levels of reflective originals: black point, gamma and gain of each channel, and a gray curve.
class CToneLevelsStage final : public CLutStage {
  public:
    explicit CToneLevelsStage(QLAttribTree* tree);

    void OnAttribNotify(std::int32_t id) override;
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;

  private:
    void RebuildLevels();

    double m_gamma[3] = {1.0, 1.0, 1.0};
    double m_black[3] = {};  // on an 8-bit scale
    double m_gain[3] = {1.0, 1.0, 1.0};
    double m_grayBlack = 0.0;
    double m_grayGain = 1.0;
    double m_grayGamma = 1.0;
    std::int32_t m_spliceCenter = 0;
    std::int32_t m_spliceWidth = 0;
    bool m_dirty = true;
};

// Curves of negative film, before colour is worked out in density. Gray lines pass.
class CChannelCurveStage final : public CLutStage {
  public:
    explicit CChannelCurveStage(QLAttribTree* tree);

    void OnAttribNotify(std::int32_t id) override;
    QLStatus OnBeforeOpen() override;

  private:
    void RebuildCurves();

    bool m_dirty = true;
    double m_black[3] = {};  // on the 16-bit scale
    double m_gain[3] = {1.0, 1.0, 1.0};
    double m_gamma[3] = {1.0, 1.0, 1.0};
};

// Curves of slides, and a pull of dark pixels towards neutral. Gray lines pass.
class CDarkNeutralStage final : public CLutStage {
  public:
    explicit CDarkNeutralStage(QLAttribTree* tree);

    void OnAttribNotify(std::int32_t id) override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) override;

  private:
    void RebuildDark();

    bool m_neutralOn = true;
    bool m_neutralHold = false;
    bool m_dirty = true;
    std::int32_t m_darkLimit = 436;  // mean sample below which pixels are pulled
    double m_gamma[3] = {1.0, 1.0, 1.0};
    double m_gain[3] = {1.0, 1.0, 1.0};
    double m_black[3] = {};  // on the 16-bit scale
    std::int32_t m_spliceCenter = 0;
    std::int32_t m_spliceWidth = 0;
    double m_blackOffset = 0.0;
};
