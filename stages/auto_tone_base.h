// What the three automatic tone stages share. Each owns the analyser of its kind of original and
// has two jobs: in an analysis pass it feeds pixels to the analyser and lets it find exposure and
// colour at the end of the pass; in every pass it applies the analyser's tables.
//
// A request (QL_ATTR_AUTO_TONE, QL_ATTR_AUTO_COLOR) stands until a pass has brought the whole image
// and something to look at. What was found reaches the image with the next open.
#pragma once

#include <algorithm>
#include <array>
#include <span>

#include "analysis/tone_analyser.h"
#include "frame/rect.h"
#include "stages/lut_stage.h"
#include "stages/tone_sampling.h"

class CAutoToneBase : public CLutStage {
  public:
    explicit CAutoToneBase(QLAttribTree* tree);

    // False when there was no memory for the analyser.
    bool IsComplete() { return Analyser().IsComplete(); }
    // The image is treated as gray.
    bool GrayInput() const { return m_grayInput; }
    void SetGrayInput(bool gray) { m_grayInput = gray; }
    // The exposure variant of the analysis. Setting it also lets the next reset of the tone go to
    // the defaults instead of what was found before. May be told again and again.
    bool ExposeFlag() { return Analyser().ExposeFlag(); }
    void SetExposeFlag(bool on);
    // A request that no pass has served.
    bool HasRequest() const { return m_wantTone || m_wantColor; }
    void DropRequest() { m_wantTone = m_wantColor = false; }
    // Builds the analyser's tables and takes them for the lines.
    void RefreshLuts();

    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterClose() override;

  protected:
    virtual CToneAnalyser& Analyser() = 0;
    // The table of gray lines; null where those pass.
    virtual const CQLLut* GrayLut() { return nullptr; }
    // What the analyser has to know ahead of a build.
    virtual void SettleAnalyser() {}
    // What is done to lines ahead of sampling and tables.
    virtual void PrepareLines(std::uint16_t*, std::size_t) {}
    // Feeds the line `y` of the image to the analyser, as far as it is looked at.
    virtual void SampleLine(const QLPixelRun& line, std::int32_t y) = 0;
    // Where an analysis of colour starts from: what the last one found, unless the exposure variant
    // came between.
    virtual void RestoreBeforeColor();
    virtual void RestoreOnReset() { Analyser().RestoreColor(m_keepOnReset); }
    // The ids under which levels are announced, in this order.
    virtual std::span<const std::int32_t> LevelIds() const;

    bool WantsTone() const { return m_wantTone; }
    void Request(bool color) {
        m_wantTone = true;
        m_wantColor = color;
    }
    // The window of the attribute without its border, or the whole image without its own.
    QLRect WindowInside() const;
    bool HasRect() const { return m_hasRect; }
    const QLRect& OuterRect() const { return m_outerRect; }

    QLRect m_innerRect;  // what is looked at; its edges belong to it

    // The levels as the user sees them: behind an inversion light and dark have changed places.
    std::int32_t White();
    std::int32_t Black();
    std::int32_t Mid();
    void SetWhite(std::int32_t level);
    void SetBlack(std::int32_t level);
    void SetMid(std::int32_t level);

    // The rows that all three have, for a stage S.
    template <typename S>
    static constexpr auto SharedRows();

  private:
    QLStatus ProcessPixels(std::uint16_t* samples, std::size_t count) final;
    bool EndsWithTables() const final { return true; }
    void Sample(const std::uint16_t* samples, std::size_t count);
    void AnnounceLevels();
    void AnnounceHue();
    void TakeRect(const QLRect* rect);
    void TakeToneRequest(bool on) { m_wantTone = TakesOver(m_wantTone) ? on : m_wantTone; }
    void TakeColorRequest(bool on) { m_wantColor = TakesOver(m_wantColor) ? on : m_wantColor; }
    // Whether an announcement may replace a request that stands so.
    virtual bool TakesOver([[maybe_unused]] bool stands) const { return true; }
    void TakeInvert(bool on);
    void ResetTone();
    void ResetColor();
    double HueX() { return Analyser().Point(QL_POINT_MID).x; }
    double HueY() { return Analyser().Point(QL_POINT_MID).y; }
    void SetHueX(double x) { SetHue({x, HueY()}); }
    void SetHueY(double y) { SetHue({HueX(), y}); }
    void SetHue(QLColorPoint point) { Analyser().SetPoint(point, QL_POINT_MID); }

    std::int32_t m_linesSeen = 0;  // of this pass
    std::int32_t m_lineNo = 0;     // inside the image
    bool m_wantTone = false;
    bool m_wantColor = false;
    bool m_hasRect = false;
    bool m_keepOnReset = false;
    bool m_grayInput = false;
    bool m_inverted = false;
    QLRect m_outerRect;  // the window of the attribute without its border
};

template <typename S>
constexpr auto CAutoToneBase::SharedRows() {
    using B = CAutoToneBase;
    using R = QLRowsOf<S>;
    constexpr double kLevel = CToneAnalyser::kMostLevel;
    return std::array<QLAttribRow, 11>{
        R::Provides(QL_ATTR_AUTO_WHITE)
            .template Reads<&B::White>()
            .template Writes<&B::SetWhite>()
            .Clamps(-kLevel, kLevel),
        R::Provides(QL_ATTR_AUTO_BLACK)
            .template Reads<&B::Black>()
            .template Writes<&B::SetBlack>()
            .Clamps(-kLevel, kLevel),
        R::Provides(QL_ATTR_AUTO_MID)
            .template Reads<&B::Mid>()
            .template Writes<&B::SetMid>()
            .Clamps(-kLevel, kLevel),
        // Each write keeps the length of the colour point within 1.
        R::Provides(QL_ATTR_HUE_X)
            .template Reads<&B::HueX>()
            .template Writes<&B::SetHueX>()
            .Range(-1, 1),
        R::Provides(QL_ATTR_HUE_Y)
            .template Reads<&B::HueY>()
            .template Writes<&B::SetHueY>()
            .Range(-1, 1),
        R::Follows(QL_ATTR_ANALYSIS_RECT).template Writes<&B::TakeRect>(),
        // Heard of, and not taken over from before: a stage that comes new wants nothing.
        R::Listens(QL_ATTR_AUTO_TONE).template Writes<&B::TakeToneRequest>(),
        R::Listens(QL_ATTR_AUTO_COLOR).template Writes<&B::TakeColorRequest>(),
        R::Listens(QL_ATTR_RESET_TONE).template Calls<&B::ResetTone>(),
        R::Listens(QL_ATTR_RESET_COLOR).template Calls<&B::ResetColor>(),
        R::Follows(QL_ATTR_INVERT).template Writes<&B::TakeInvert>(),
    };
}

// Rows of a stage behind those that it shares with others.
template <std::size_t Shared, std::size_t Own>
constexpr std::array<QLAttribRow, Shared + Own> JoinRows(
    const std::array<QLAttribRow, Shared>& shared, const std::array<QLAttribRow, Own>& own) {
    std::array<QLAttribRow, Shared + Own> rows;
    std::copy(shared.begin(), shared.end(), rows.begin());
    std::copy(own.begin(), own.end(), rows.begin() + Shared);
    return rows;
}
