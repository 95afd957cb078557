#include "analysis/negative_analyser.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "analysis/neighbour_search.h"
#include "frame/fixed_point.h"

namespace {

constexpr std::int32_t kRange = CQLHistogram::kSampleRange;
// The density that midtone level 0 stands for; a level is a hundredth of density.
constexpr double kMidDensity = 0.35;
constexpr double kDensityStep = 0.02;
constexpr std::int32_t kMostSteps = 50;
// Density by which a colour point of length 1 shifts a channel.
constexpr double kHueDensity = 0.3;
// A colour setting of (0, 0) still shifts the three curves apart, as the layers of colour film ask.
constexpr QLColorPoint kHueBias{0.1, -0.15};
// Where the mean of a well exposed positive lies.
constexpr double kBandTop = 0.25666666666666665;
constexpr double kBandBottom = 0.23555555555555555;
// Codes up to the first count as black, codes above the others as white.
constexpr std::int32_t kBlackCode = 0x189;
constexpr std::int32_t kWhiteCodeColor = 0xe666;  // 0.9 of the scale
constexpr std::int32_t kWhiteCodeMono = 0xd999;   // 0.85

double StepOr(double filmStep, double usual) {
    return filmStep != 0.0 ? filmStep : usual;
}

CFilmCurveLut FilmTable(std::span<const QLFilmRow, kFilmRows> rows, double step) {
    return {CQLLut::kFullSize, rows.data(), step, kFilmRows, kFilmPivotRow};
}

double MeanOf(const std::array<double, 3>& values) {
    return (values[0] + values[1] + values[2]) / 3.0;
}

}  // namespace

CNegativeToneAnalyser::CNegativeToneAnalyser(double filmStep)
    : m_brightest(10),
      m_darkest(10, kSampleMax),
      m_lut{FilmTable(FilmTableA(), StepOr(filmStep, kFilmStepA)),
            FilmTable(FilmTableA(), StepOr(filmStep, kFilmStepA)),
            FilmTable(FilmTableA(), StepOr(filmStep, kFilmStepA))},
      m_lutMono(FilmTable(FilmTableB(), StepOr(filmStep, kFilmStepB))) {}

bool CNegativeToneAnalyser::IsComplete() const {
    return CToneAnalyser::IsComplete() && OrNull(m_lutMono) && m_brightest.Capacity() != 0 &&
           m_darkest.Capacity() != 0;
}

void CNegativeToneAnalyser::StartCollect() {
    CToneAnalyser::StartCollect();
    m_brightest.Clear();
    m_darkest.Clear();
}

// ---- Settings

void CNegativeToneAnalyser::SetFilmStep(double step) {
    for (CFilmCurveLut& lut : m_lut)
        lut.SetStep(StepOr(step, kFilmStepA));
    m_lutMono.SetStep(StepOr(step, kFilmStepB));
    m_dirty = true;
}

void CNegativeToneAnalyser::SetSampleMode(std::int32_t mode) {
    if (mode != m_sampleMode)
        m_dirty = true;
    m_sampleMode = mode;
}

void CNegativeToneAnalyser::SetExposureShift(double density) {
    m_exposureShift = density;
    m_dirty = true;
}

void CNegativeToneAnalyser::SetChannelShift(std::int32_t channel, double density) {
    m_channelShift[channel] = density;
    m_dirty = true;
}

double CNegativeToneAnalyser::MidtoneDensity() const {
    return Midtone() / 100.0 + kMidDensity;
}

// A search may pass the limits of a level on its way; what passes 16 bits wraps.
void CNegativeToneAnalyser::SetMidtoneDensity(double density) {
    m_levels.m_midtone = static_cast<std::int16_t>(TruncToI32((density - kMidDensity) * 100.0));
    m_dirty = true;
}

// Far from the middle both ends of the curve are bent along, so that they don't clip.
void CNegativeToneAnalyser::SetLinkedDensity(double density) {
    SetMidtoneDensity(density);
    const std::int32_t level = Midtone();
    if (level <= 0) {
        SetHighlight(CQLLut::Remap(level, -20, -80, 0, 30));
        SetShadow(CQLLut::Remap(level, -20, -80, 0, 30));
    } else {
        SetHighlight(CQLLut::Remap(level, 20, 50, 0, -25));
        SetShadow(CQLLut::Remap(level, 20, 50, 0, -20));
    }
}

// ---- Tables

// A colour negative's orange mask keeps blue dark. Once found, the kind of film stays.
bool CNegativeToneAnalyser::IsColorFilm() {
    if (m_sampleMode == QL_SAMPLE_COLOR || m_sampleMode == QL_SAMPLE_MONO) {
        m_monoFilm = m_sampleMode == QL_SAMPLE_MONO;
        return !m_monoFilm;
    }
    const double red = m_hist[0].MeanScaled(kRange);
    const double blue = m_hist[2].MeanScaled(kRange);
    m_monoFilm =
        red != 0.0 && (blue / red > 3.0 || m_hist[2].CumulativePercentAt(4000, kRange) < 97.0);
    m_sampleMode = m_monoFilm ? QL_SAMPLE_MONO : QL_SAMPLE_COLOR;
    return !m_monoFilm;
}

void CNegativeToneAnalyser::BuildCurves() {
    if (!m_dirty)
        return;
    m_dirty = false;
    const bool color = IsColorFilm();
    const QLColorPoint& mid = Point(QL_POINT_MID);
    const QLColorPoint hue =
        color ? QLColorPoint{mid.x + kHueBias.x, mid.y + kHueBias.y} : Point(QL_POINT_WHITE);
    Densities shifts = AxisWeights(hue);
    for (double& shift : shifts)
        shift *= kHueDensity;
    if (color)
        BuildColorCurves(shifts);
    else
        BuildMonoCurves(shifts);
}

void CNegativeToneAnalyser::BuildColorCurves(const Densities& shifts) {
    for (std::int32_t c = 0; c < kChannels; ++c) {
        m_lut[c].BuildCurveGamma(m_channelShift[c] + MidtoneDensity() + m_exposureShift + shifts[c],
                                 Highlight() / 100.0, Shadow() / 100.0, 1.0);
    }
}

void CNegativeToneAnalyser::BuildMonoCurves(const Densities& shifts) {
    m_lutMono.BuildCurve(MidtoneDensity() + m_exposureShift, Highlight() / 100.0, Shadow() / 100.0);
    for (std::int32_t c = 0; c < kChannels; ++c) {
        m_lut[c].AssignFrom(m_lutMono);
        m_lut[c].ForgetArguments();
        m_temporary.MarkEdited();
        m_temporary.BuildGamma(2.0 * shifts[c] + 1.0);
        m_lut[c].ComposeWith(m_temporary);
    }
}

// ---- Analysis

void CNegativeToneAnalyser::RunAnalysis(QLAnalysisKind /*what*/) {
    // The exposure variant starts from cleared settings: a usual analysis ahead of it would leave
    // nothing behind.
    if (m_exposeFlag)
        AnalyseExposed();
    else
        AnalyseFilm();
}

void CNegativeToneAnalyser::AnalyseFilm() {
    SetHighlight(0);
    SetShadow(0);
    if (IsColorFilm())
        AnalyseColor();
    else
        AnalyseMono();
    SetMidtone(Midtone());  // back within its limits
}

// Levels alone; no colour but that of the film itself.
void CNegativeToneAnalyser::AnalyseExposed() {
    ClearLevels();
    ClearPoints();
    BuildCurves();
    AnalyseFilm();
    ClearPoints();
    BuildCurves();
}

CNegativeToneAnalyser::Measure CNegativeToneAnalyser::MeasureColor(double density) {
    SetMidtoneDensity(density);
    BuildCurves();
    RemapHistograms();
    Densities black;
    Densities white;
    Densities mean;
    for (std::int32_t c = 0; c < kChannels; ++c) {
        black[c] = m_work[c].CumulativePercentAt(kBlackCode, kRange);
        white[c] = m_work[c].CumulativePercentAt(kWhiteCodeColor, kRange);
        mean[c] = m_work[c].MeanScaled(kRange);
    }
    const double light = 0.3 * mean[0] + 0.59 * mean[1] + 0.11 * mean[2];
    return {MeanOf(black), 100.0 - std::ranges::max(white), light / 65536.0};
}

// The three channels of black and white film are alike: red stands for them.
CNegativeToneAnalyser::Measure CNegativeToneAnalyser::MeasureMono(double density) {
    SetMidtoneDensity(density + m_exposureShift);
    BuildCurves();
    m_work[0].RemapFrom(m_lut[0], m_hist[0]);
    return {m_work[0].CumulativePercentAt(kBlackCode, kRange),
            100.0 - m_work[0].CumulativePercentAt(kWhiteCodeMono, kRange),
            m_work[0].MeanScaled(kRange) / 65536.0};
}

void CNegativeToneAnalyser::StepTo(Search* search, double density) {
    search->m_density = density;
    SetLinkedDensity(density);
    search->m_seen = (this->*search->m_measureAt)(density);
}

// Steps while that is wanted. A walk that has used up all steps has led nowhere.
template <typename Wanted>
void CNegativeToneAnalyser::Walk(Search* search, double step, double fallback,
                                 const Wanted& wanted) {
    while (search->m_steps < kMostSteps && wanted(search->m_seen)) {
        StepTo(search, search->m_density + step);
        ++search->m_steps;
    }
    if (search->m_steps == kMostSteps)
        search->m_density = fallback;
}

// Less density makes the positive darker, more makes it lighter.
void CNegativeToneAnalyser::WalkIntoBand(Search* search) {
    const double start = search->m_density;
    Walk(search, -kDensityStep, start, [](const Measure& seen) { return seen.m_mean > kBandTop; });
    Walk(search, kDensityStep, start,
         [](const Measure& seen) { return seen.m_mean < kBandBottom; });
}

// First the mean comes into its band, then the clipped shares at both ends are balanced.
void CNegativeToneAnalyser::AnalyseMono() {
    ResetColor();
    Search search{&CNegativeToneAnalyser::MeasureMono, kMidDensity};
    search.m_seen = MeasureMono(search.m_density);
    WalkIntoBand(&search);
    search.m_seen = MeasureMono(search.m_density);
    const double inBand = search.m_density;
    Walk(&search, -kDensityStep, inBand, [](const Measure& seen) {
        return seen.m_bottom + 1.0 < seen.m_top || (seen.m_top > 0.15 && seen.m_bottom <= 0.0);
    });
    Walk(&search, kDensityStep, inBand, [](const Measure& seen) {
        return seen.m_top + 4.0 < seen.m_bottom || (seen.m_bottom > 0.0 && seen.m_top <= 0.0);
    });
    SetMidtoneDensity(search.m_density + m_exposureShift);
    BuildCurves();
}

void CNegativeToneAnalyser::AnalyseColor() {
    Densities offsets{};
    SearchColor(&offsets, 0.2);
    BuildCurves();
    Search search{&CNegativeToneAnalyser::MeasureColor, kMidDensity};
    search.m_seen = MeasureColor(search.m_density);
    WalkIntoBand(&search);
    StepTo(&search, search.m_density);
    if (search.m_steps < kMostSteps)
        BalanceClipping(&search);
    SetLinkedDensity(search.m_density);
    BuildCurves();
    SearchColor(&offsets, search.m_density < 0.08 ? 0.05 : 0.2);
}

// Twice as much black as white: what is lost in the shadows shows less.
void CNegativeToneAnalyser::BalanceClipping(Search* search) {
    for (std::int32_t i = 0; i < kMostSteps; ++i) {
        const double white = 2.0 * search->m_seen.m_top;
        const double black = search->m_seen.m_bottom;
        if (std::abs(white - black) <= 1.0)
            return;
        StepTo(search, search->m_density + (white <= black ? kDensityStep : -kDensityStep));
    }
}

// ---- Colour

// Shifts of the channels become the colour point that shifts them so; the rating is how far the
// means of the positive are apart, in density.
double CNegativeToneAnalyser::ColorCost(const Densities& offsets) {
    const double mean = MeanOf(offsets);
    const double x = (mean - offsets[0]) / kHueDensity - kHueBias.x;
    const double y = (-0.5 * x - (mean - offsets[1]) / kHueDensity) / kColorAxisY - kHueBias.y;
    QLColorPoint point{x, y};
    SetPoint(point, QL_POINT_MID);
    BuildCurves();
    if (!RemapHistograms())
        return 0.0;
    Densities density;
    for (std::int32_t c = 0; c < kChannels; ++c)
        density[c] = CodeToDensity(TruncToI32(m_work[c].MeanScaled(kRange)));
    return Spread(density);
}

void CNegativeToneAnalyser::SearchColor(Densities* offsets, double step) {
    constexpr double kFinestStep = 0.02;
    SearchNeighbours(
        offsets, step, [](std::int64_t, double now) { return now > kFinestStep; },
        [this](const Densities& trial) { return ColorCost(trial); });
    FindBrightDensity();
    PullToBrightest(offsets);
    ColorCost(*offsets);
}

// Too dark an image has no bright pixels to go by.
void CNegativeToneAnalyser::FindBrightDensity() {
    constexpr double kTooDark = 8191.0;
    Densities bright;
    m_brightest.Average(&bright[0], &bright[1], &bright[2]);
    m_brightDensity = {};
    if (std::ranges::min(bright) <= kTooDark)
        return;
    for (double& value : bright)
        value = CodeToDensity(TruncToI32(value));
    const double mean = MeanOf(bright);
    for (std::int32_t c = 0; c < kChannels; ++c)
        m_brightDensity[c] = bright[c] - mean;
}

// A gray mean is pulled towards the colour of the brightest pixels, the harder the further apart
// the two are; green is held back from going up and red from going down.
void CNegativeToneAnalyser::PullToBrightest(Densities* offsets) {
    Densities& shift = *offsets;
    const double mean = MeanOf(shift);
    Densities apart;
    for (std::int32_t c = 0; c < kChannels; ++c) {
        shift[c] -= mean;
        apart[c] = shift[c] - m_brightDensity[c];
    }
    const double red = apart[0] - (apart[1] + apart[2]);
    const double green = apart[1] - (apart[0] + apart[2]);
    if (green > 0.0)
        shift[1] -= green * 0.35;
    if (red < 0.0)
        shift[0] -= red * 0.6;
    double squares = 0.0;
    for (std::int32_t c = 0; c < kChannels; ++c) {
        const double distance = shift[c] - m_brightDensity[c];
        squares += distance * distance;
    }
    const double keep = std::clamp(1.0 - std::sqrt(squares) * 3.0, 0.3, 1.0);
    for (std::int32_t c = 0; c < kChannels; ++c)
        shift[c] = shift[c] * keep + (1.0 - keep) * m_brightDensity[c];
}
