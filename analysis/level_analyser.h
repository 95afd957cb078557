// The analyser of positive images: a ramp from a black code to a white code, a gamma per channel
// from the colour point of the midtones, limits of the output, and a gamma from the midtone level.
//
// Levels are what is stored, codes are worked out from them at each build and carry the rounding of
// whole levels. A highlight above 0 lowers the white code, one below 0 the output's white; a shadow
// below 0 raises the black code, one above 0 the output's black.
#pragma once

#include <array>
#include <span>

#include "analysis/tone_analyser.h"
#include "frame/attrib_store.h"
#include "frame/pixel_list.h"

class CLevelToneAnalyser : public CToneAnalyser, public CQLAttribStore {
  public:
    using Codes = std::array<std::int32_t, kChannels>;

    bool IsComplete() const override;
    void StartCollect() override;
    void BuildCurves() override;

    // Settles how much of the range the black controls span, by the tone mode and the expose flag.
    void SetSourceMode(std::int32_t mode);
    // The codes of light that become white in each channel, by the last BuildCurves; 1 and above.
    Codes WhitePoint() const;

    CBoundedBrightestList& BrightestList() { return m_brightest; }
    CDarkestPixelList& DarkestList() { return m_darkest; }

  protected:
    explicit CLevelToneAnalyser(QLAttribTree* tree);

    void RunAnalysis(QLAnalysisKind what) override;
    const CQLLut& Table(std::int32_t channel) const override { return m_lut[channel]; }
    void AnalyseLevels(QLAnalysisKind what);
    void AnalyseExposed();
    // What comes ahead of an analysis of exposure: gains, and the settings that it starts from.
    virtual void StartExposed();
    virtual void SearchExposedMidtone(double* level, double step) { SearchMidtone(level, step); }
    virtual void SearchColor(QLColorPoint* point, double step);
    void SearchColorWithin(QLColorPoint* point, double step, std::int64_t passes);
    void SearchMidtone(double* level, double step);
    double ColorCost(const QLColorPoint& point);
    double MidtoneCost(double level);

    // Levels to codes and back.
    static std::int32_t WhiteToLevel(std::int32_t code);
    static std::int32_t OutWhiteToLevel(std::int32_t code);
    std::int32_t BlackToLevel(std::int32_t code) const;
    std::int32_t OutBlackToLevel(std::int32_t code) const;
    void WhiteFromHighlight();
    void BlackFromShadow();
    void HighlightFromWhite();
    void ShadowFromBlack();

    // Colour points to channel values and back.
    void PointToRgb(std::int32_t index, QLColorPoint vector);
    void PointsToRgb();
    QLColorPoint RgbToPoint(std::int32_t index) const;

    // Steps of a build: the codes by the settings; the colour of the midtones behind what the
    // tables hold; the limits of the output and the midtone level behind some tables; m_temporary
    // behind some tables.
    void SettleCodes();
    void ComposeMidColor();
    void FinishTone(std::span<CQLLut> luts);
    void ComposeAll(std::span<CQLLut> luts);

    std::array<CQLLut, kChannels> m_lut;
    CBoundedBrightestList m_brightest;
    CDarkestPixelList m_darkest;
    // Of each colour point: how far a length of 1 moves the channels, and where it has moved them.
    std::array<double, 3> m_gain{0.5, 0.5, 0.03};
    std::array<Codes, 3> m_rgb;
    std::int32_t m_blackDivisor = 30;
    std::int32_t m_whiteCode = 0xffff;  // input that becomes full scale
    std::int32_t m_blackCode = 0;       // input that becomes 0
    std::uint16_t m_outBlack = 0;
    std::uint16_t m_outWhite = 0xffff;

  private:
    // The means of the statistics behind the tables. False when something is missing.
    bool RemappedMeans(std::array<double, kChannels>* means);
    std::int32_t FindWhite(const Codes& whiteRgb) const;
};
