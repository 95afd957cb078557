#include "analysis/level_analyser.h"

#include <algorithm>

#include "analysis/neighbour_search.h"
#include "frame/fixed_point.h"

namespace {

constexpr std::int32_t kMidCode = 0x8000;  // of neutral midtones
constexpr std::int32_t kRange = CQLHistogram::kSampleRange;
// No build of a tone curve lifts the darkest tones by more than this.
constexpr double kMostSlope = 4.0;
// The white code that highlight 100 stands for, and the output's white of highlight -100.
constexpr std::int32_t kLowestWhite = 0x4000;
constexpr std::int32_t kLowestOutWhite = 0xc000;
// 18 percent of 65536: the mean of a well exposed image.
constexpr double kMidGray = 11796.48;

}  // namespace

CLevelToneAnalyser::CLevelToneAnalyser(QLAttribTree* tree)
    : CQLAttribStore(tree),
      m_lut{CQLLut(CQLLut::kFullSize, CQLLut::kPlain), CQLLut(CQLLut::kFullSize, CQLLut::kPlain),
            CQLLut(CQLLut::kFullSize, CQLLut::kPlain)},
      m_brightest(100, 52428),
      m_darkest(30, kSampleMax) {
    m_rgb[QL_POINT_WHITE].fill(kSampleMax);
    m_rgb[QL_POINT_MID].fill(kMidCode);
    m_rgb[QL_POINT_BLACK].fill(0);
}

bool CLevelToneAnalyser::IsComplete() const {
    return CToneAnalyser::IsComplete() && m_brightest.Capacity() != 0 && m_darkest.Capacity() != 0;
}

void CLevelToneAnalyser::StartCollect() {
    CToneAnalyser::StartCollect();
    m_brightest.Clear();
    m_darkest.Clear();
}

void CLevelToneAnalyser::SetSourceMode(std::int32_t mode) {
    constexpr std::int32_t kOtherSource = 7;
    constexpr std::int32_t kExposed = 10;
    constexpr std::int32_t kUsual = 30;
    const std::int32_t divisor = mode != 0 ? kOtherSource : (m_exposeFlag ? kExposed : kUsual);
    if (divisor != m_blackDivisor)
        m_dirty = true;
    m_blackDivisor = divisor;
}

// A density balance takes logarithms of these.
CLevelToneAnalyser::Codes CLevelToneAnalyser::WhitePoint() const {
    Codes white = m_rgb[QL_POINT_WHITE];
    const std::int32_t average = (white[0] + white[1] + white[2]) / 3;
    for (std::int32_t& code : white)
        code = std::max(code + kSampleMax + m_whiteCode - m_outWhite - average, 1);
    return white;
}

// ---- Levels and codes

std::int32_t CLevelToneAnalyser::WhiteToLevel(std::int32_t code) {
    return CQLLut::Remap(code, kLowestWhite, kSampleMax, kMostLevel, 0);
}

std::int32_t CLevelToneAnalyser::OutWhiteToLevel(std::int32_t code) {
    return CQLLut::Remap(code, kSampleMax, kLowestOutWhite, 0, -kMostLevel);
}

std::int32_t CLevelToneAnalyser::BlackToLevel(std::int32_t code) const {
    return CQLLut::Remap(code, 0, 0x10000 / m_blackDivisor, 0, -kMostLevel);
}

std::int32_t CLevelToneAnalyser::OutBlackToLevel(std::int32_t code) const {
    return CQLLut::Remap(code, 0x20000 / m_blackDivisor, 0, kMostLevel, 0);
}

void CLevelToneAnalyser::WhiteFromHighlight() {
    m_whiteCode = kSampleMax;
    m_outWhite = kSampleMax;
    if (Highlight() < 0)
        m_outWhite =
            ClampSample(CQLLut::Remap(Highlight(), -kMostLevel, 0, kLowestOutWhite, kSampleMax));
    else
        m_whiteCode = CQLLut::Remap(Highlight(), 0, kMostLevel, kSampleMax, kLowestWhite);
}

void CLevelToneAnalyser::BlackFromShadow() {
    m_blackCode = 0;
    m_outBlack = 0;
    if (Shadow() <= 0)
        m_blackCode = CQLLut::Remap(Shadow(), -kMostLevel, 0, 0x10000 / m_blackDivisor, 0);
    else
        m_outBlack =
            ClampSample(CQLLut::Remap(Shadow(), 0, kMostLevel, 0, 0x20000 / m_blackDivisor));
}

void CLevelToneAnalyser::HighlightFromWhite() {
    SetHighlight(WhiteToLevel(m_whiteCode));
}

void CLevelToneAnalyser::ShadowFromBlack() {
    SetShadow(BlackToLevel(m_blackCode));
}

// ---- Colour points and channel values

// White moves against the vector: a channel whose white is lower comes out brighter. White and
// black keep the extreme channel at the end of the scale; midtones may pass their neutral value.
void CLevelToneAnalyser::PointToRgb(std::int32_t index, QLColorPoint vector) {
    m_dirty = true;
    LimitToUnit(&vector);
    const double gain = index == QL_POINT_WHITE ? -m_gain[index] : m_gain[index];
    std::array<double, kChannels> values = AxisWeights({vector.x * gain, vector.y * gain});
    for (double& value : values)
        value += 1.0;
    // Their sum is 3, so that the largest is 1 or more.
    const double largest = index == QL_POINT_MID ? 1.0 : std::ranges::max(values);
    const double scale = (index == QL_POINT_MID ? kMidCode : kSampleMax) / largest;
    for (std::int32_t c = 0; c < kChannels; ++c) {
        const std::int32_t code = RoundToI32(scale * std::max(values[c], 0.0));
        m_rgb[index][c] = index == QL_POINT_BLACK ? kSampleMax - code : code;
    }
}

void CLevelToneAnalyser::PointsToRgb() {
    for (std::int32_t i = 0; i < static_cast<std::int32_t>(m_points.size()); ++i)
        PointToRgb(i, m_points[i]);
}

QLColorPoint CLevelToneAnalyser::RgbToPoint(std::int32_t index) const {
    Codes values = m_rgb[index];
    if (index == QL_POINT_BLACK) {
        for (std::int32_t& value : values)
            value = kSampleMax - value;
    }
    const std::int32_t sum = values[0] + values[1] + values[2];
    if (sum == 0)
        return {};  // black has no colour
    const double red = 3.0 * values[0] / sum;
    const double green = 3.0 * values[1] / sum;
    const double gain = m_gain[index];
    QLColorPoint point{(red - 1.0) / gain, (1.0 - (red - 1.0) * 0.5 - green) / kColorAxisY / gain};
    if (index == QL_POINT_WHITE)
        point = {-point.x, -point.y};
    LimitToUnit(&point);
    return point;
}

// ---- Tables

void CLevelToneAnalyser::SettleCodes() {
    PointsToRgb();
    WhiteFromHighlight();
    BlackFromShadow();
}

void CLevelToneAnalyser::ComposeAll(std::span<CQLLut> luts) {
    for (CQLLut& lut : luts)
        lut.ComposeWith(m_temporary);
}

void CLevelToneAnalyser::ComposeMidColor() {
    const Codes& mid = m_rgb[QL_POINT_MID];
    if (std::ranges::count(mid, kMidCode) == kChannels)
        return;
    for (std::int32_t c = 0; c < kChannels; ++c) {
        m_temporary.BuildGammaLimited(mid[c] / 32768.0, kMostSlope);
        m_lut[c].ComposeWith(m_temporary);
    }
}

void CLevelToneAnalyser::FinishTone(std::span<CQLLut> luts) {
    if (m_outBlack != 0 || m_outWhite != kSampleMax) {
        m_temporary.SetIdentity();
        m_temporary.RemapValues(0, kSampleMax, m_outBlack, m_outWhite);
        ComposeAll(luts);
    }
    // Half the effect downwards: -100 is gamma 0.5, 100 gamma 2.
    const double level = Midtone() / 100.0;
    const double gain = level < 0.0 ? level / 2.0 : level;
    if (gain != 0.0) {
        m_temporary.BuildGammaLimited(gain + 1.0, kMostSlope);
        ComposeAll(luts);
    }
}

void CLevelToneAnalyser::BuildCurves() {
    if (!m_dirty)
        return;
    SettleCodes();
    const Codes& white = m_rgb[QL_POINT_WHITE];
    const Codes& black = m_rgb[QL_POINT_BLACK];
    const std::int32_t leastWhite = std::ranges::min(white);
    const std::int32_t mostBlack = std::ranges::max(black);
    for (std::int32_t c = 0; c < kChannels; ++c) {
        const std::int64_t above = std::int64_t{white[c] - leastWhite} * m_whiteCode / kSampleMax;
        m_lut[c].BuildClipRamp(black[c] - mostBlack + m_blackCode,
                               static_cast<std::int32_t>(above) + m_whiteCode);
    }
    ComposeMidColor();
    FinishTone(m_lut);
    m_dirty = false;
}

// ---- Analysis

void CLevelToneAnalyser::RunAnalysis(QLAnalysisKind what) {
    if (m_exposeFlag)
        AnalyseExposed();
    else
        AnalyseLevels(what);
}

// The white code: the brightest channel's, lowered where many pixels crowd below the peak or in the
// upper part of the scale, as they do on paper that is not quite white.
std::int32_t CLevelToneAnalyser::FindWhite(const Codes& whiteRgb) const {
    // Shares in percent of all pixels; the white code goes down by kStrong or by `weak`.
    struct Crowd {
        std::uint64_t manyNear;
        std::int32_t weak;
    };
    static constexpr Crowd kColorCrowd{36, 0xf00};
    static constexpr Crowd kGrayCrowd{56, 0x500};
    constexpr std::uint64_t kSomeNear = 19;
    constexpr std::uint64_t kManyInBand = 18;
    constexpr std::int32_t kStrong = 0x1e00;
    constexpr std::int32_t kLastBin = CQLHistogram::kToneBins - 1;

    const std::int32_t white = std::ranges::max(whiteRgb);
    Codes bin;
    for (std::int32_t c = 0; c < kChannels; ++c)
        bin[c] = whiteRgb[c] >> CQLHistogram::kToneShift;
    for (std::int32_t c = 0; c < kChannels; ++c) {
        if (bin[c] == 0)
            bin[c] = std::min(bin[(c + 1) % kChannels], bin[(c + 2) % kChannels]);
    }
    if (std::ranges::min(bin) == 0)
        bin[0] = 0xcc0;
    const auto saturated = static_cast<std::int32_t>(std::ranges::count(bin, kLastBin));
    const std::int32_t width = 500 + 12 * saturated;
    const std::int32_t peak = (bin[2] + 2 * bin[1] + 2 * bin[0]) / 5;
    const std::int32_t peakCode = peak << CQLHistogram::kToneShift;

    if (peakCode > 0x7fff) {
        const auto percent = [](std::uint64_t sum, std::uint64_t total) {
            return total == 0 ? 0 : sum * 100 / total;
        };
        const Crowd& crowd = m_gray ? kGrayCrowd : kColorCrowd;
        const CQLHistogram& green = m_hist[1];
        const std::uint64_t near = percent(green.Sum(peak - width, peak - 1), m_hist[0].Total());
        const std::uint64_t band = percent(green.Sum(3100, 3599), green.Total());
        if (near >= crowd.manyNear)
            return std::min(white, peakCode) - kStrong;
        if (near >= kSomeNear)
            return std::min(white, peakCode) - crowd.weak;
        if (band > kManyInBand && peak > 0xe10)
            return white - crowd.weak;
    }
    constexpr std::int32_t kDarkestWhite = 0xb332;  // 70 percent of full scale
    return std::max(white, kDarkestWhite);
}

void CLevelToneAnalyser::AnalyseLevels(QLAnalysisKind what) {
    Codes whiteRgb;
    Codes blackRgb;
    for (std::int32_t c = 0; c < kChannels; ++c) {
        whiteRgb[c] = m_hist[c].HighPercentileScaled(0.5, kRange);
        blackRgb[c] = m_hist[c].LowPercentileScaled(0.1, kRange);
    }
    constexpr std::int32_t kLightestBlack = 0x5e3;
    m_whiteCode = FindWhite(whiteRgb);
    m_blackCode = std::min(std::ranges::min(blackRgb), kLightestBlack);
    // The channels served to find what they have in common; the colour is that of the midtones.
    for (std::int32_t i = 0; i < static_cast<std::int32_t>(m_points.size()); ++i)
        PointToRgb(i, {});
    m_outBlack = 0;
    m_outWhite = kSampleMax;
    HighlightFromWhite();
    ShadowFromBlack();
    if (what != QL_ANALYSE_TONE) {
        QLColorPoint color;
        SearchColor(&color, 0.1);
        PointToRgb(QL_POINT_MID, {color.x / 3.0, color.y / 3.0});
    }
    for (std::int32_t i = 0; i < static_cast<std::int32_t>(m_points.size()); ++i)
        m_points[i] = RgbToPoint(i);
    SetMidtone(0);
    Rebuild();
}

void CLevelToneAnalyser::StartExposed() {
    m_gain = {0.5, 0.5, 0.1};
    ClearLevels();
    ClearPoints();
    BuildCurves();
}

void CLevelToneAnalyser::AnalyseExposed() {
    StartExposed();
    Codes& white = m_rgb[QL_POINT_WHITE];
    Codes& black = m_rgb[QL_POINT_BLACK];
    for (std::int32_t c = 0; c < kChannels; ++c) {
        white[c] = m_hist[c].HighPercentileScaled(2.0, kRange);
        black[c] = m_hist[c].LowPercentileScaled(0.1, kRange);
    }
    m_points[QL_POINT_WHITE] = RgbToPoint(QL_POINT_WHITE);
    PointToRgb(QL_POINT_MID, {});
    m_points[QL_POINT_BLACK] = RgbToPoint(QL_POINT_BLACK);
    m_whiteCode = std::max(std::ranges::max(white), m_lut[0].Size() / 4);
    for (std::int32_t& code : black)
        code /= 2;
    m_blackCode = std::ranges::max(black);
    HighlightFromWhite();
    ShadowFromBlack();
    SetMidtone(0);

    QLColorPoint color;
    SearchColor(&color, 0.1);
    PointToRgb(QL_POINT_MID, color);
    m_points[QL_POINT_MID] = RgbToPoint(QL_POINT_MID);
    double level = Midtone();
    SearchExposedMidtone(&level, 20.0);
    SetMidtone(TruncToI32(level));
    for (std::int32_t i = 0; i < static_cast<std::int32_t>(m_points.size()); ++i)
        m_points[i] = RgbToPoint(i);
    Rebuild();
}

// ---- Searches

bool CLevelToneAnalyser::RemappedMeans(std::array<double, kChannels>* means) {
    Rebuild();
    if (!RemapHistograms())
        return false;
    for (std::int32_t c = 0; c < kChannels; ++c)
        (*means)[c] = m_work[c].MeanScaled(kRange);
    return true;
}

// Gray world: how far the channels' means are apart.
double CLevelToneAnalyser::ColorCost(const QLColorPoint& point) {
    m_points[QL_POINT_MID] = point;
    std::array<double, kChannels> means;
    return RemappedMeans(&means) ? Spread(means) : 0.0;
}

double CLevelToneAnalyser::MidtoneCost(double level) {
    SetMidtone(TruncToI32(level));
    std::array<double, kChannels> means;
    const double cost = RemappedMeans(&means) ? SquaresAround(means, kMidGray) : 0.0;
    m_dirty = true;
    return cost;
}

void CLevelToneAnalyser::SearchColor(QLColorPoint* point, double step) {
    SearchColorWithin(point, step, 1000);
}

void CLevelToneAnalyser::SearchColorWithin(QLColorPoint* point, double step, std::int64_t passes) {
    constexpr double kFinestStep = 0.01;
    std::array<double, 2> at{point->x, point->y};
    SearchNeighbours(
        &at, step,
        [passes](std::int64_t pass, double now) { return pass < passes && now >= kFinestStep; },
        [this](const std::array<double, 2>& trial) {
            return ColorCost({trial[0], trial[1]});
        });
    *point = {at[0], at[1]};
    ColorCost(*point);
}

// One walk up and one down, each as long as it gets better. A trial that is as good as the best is
// undone, and the same trial would follow: there the walk may as well end.
void CLevelToneAnalyser::SearchMidtone(double* level, double step) {
    const std::int32_t entry = Midtone();
    double best = MidtoneCost(*level);
    const auto improves = [&](double trial) {
        const double cost = MidtoneCost(trial);
        if (!(cost < best))
            return false;
        best = cost;
        *level = trial;
        return true;
    };
    while (improves(*level + step) && *level < kMostLevel - step) {
    }
    while (improves(*level - step) && *level > -kMostLevel + 2.0 * step) {
    }
    SetMidtone(entry);
}
