#include "stages/destreak.h"

#include <algorithm>

#include "frame/try_new.h"

namespace {

constexpr std::int32_t kFewestPixels = 9;
constexpr std::size_t kRingLines = 5;
constexpr std::size_t kMiddle = 2;

struct ModeRow {
    double strength;
    std::int32_t spacing;
};
// From a resolution on, in dots per inch: for work modes 1 and 2.
constexpr struct {
    std::int32_t dpi;
    ModeRow modes[2];
} kResolutions[] = {
    {1201, {{4.0, 1}, {2.5, 3}}},  {601, {{2.0, 1}, {2.0, 2}}},    {301, {{1.0, 1}, {2.0, 1}}},
    {201, {{0.5, 1}, {1.0, 1}}},   {151, {{0.333, 1}, {0.75, 1}}}, {101, {{0.25, 1}, {0.5, 1}}},
    {76, {{0.16, 1}, {0.375, 1}}},
};
constexpr ModeRow kLeast[] = {{0.125, 1}, {0.25, 1}};

std::int32_t HeldMode(std::int32_t mode) {
    return mode >= 0 && mode <= QL_MOST_STREAK_REMOVAL ? mode : 0;
}

}  // namespace

std::span<const QLAttribRow> CDestreakStage::Rows() {
    using S = CDestreakStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Follows(QL_ATTR_DESTREAK_A).Writes<&S::SetTmaMode>().Range(0, QL_MOST_STREAK_REMOVAL),
        R::Follows(QL_ATTR_DESTREAK_B).Writes<&S::SetOtherMode>().Range(0, QL_MOST_STREAK_REMOVAL),
        R::Follows(QL_ATTR_DESTREAK_C).Writes<&S::SetSharpenChannel>().Range(0, QL_STREAK_CHANNELS),
        R::Follows(QL_ATTR_DESTREAK_D).Writes<&S::SetDetailChannel>().Range(0, QL_STREAK_CHANNELS),
        R::Follows(QL_ATTR_DESTREAK_E).Writes<&S::SetDiffLimit>().Range(0, QL_MOST_STREAK_LIMIT),
        R::Follows(QL_ATTR_DESTREAK_F).Writes<&S::SetLevelLimit>().Range(0, QL_MOST_STREAK_LIMIT),
    };
    return rows;
}

CDestreakStage::CDestreakStage(QLAttribTree* tree)
    : CFiveLineStage(tree), m_settings(ReadStreakSettings()) {
    AttachRows(this);
}

void CDestreakStage::SetTmaMode(std::int32_t mode) {
    m_tmaMode = HeldMode(mode);
}

void CDestreakStage::SetOtherMode(std::int32_t mode) {
    m_otherMode = HeldMode(mode);
}

// Channels are counted from 1 here; anything but a channel is off.
void CDestreakStage::SetSharpenChannel(std::int32_t channel) {
    m_sharpenOn = channel >= 1 && channel <= QL_STREAK_CHANNELS;
    if (m_sharpenOn)
        m_sharpenChannel = channel - 1;
}

void CDestreakStage::SetDetailChannel(std::int32_t channel) {
    m_destreakOn = channel >= 1 && channel <= QL_STREAK_CHANNELS;
    if (m_destreakOn)
        m_detailChannel = channel - 1;
}

void CDestreakStage::TakeResolution(std::int32_t mode, std::int32_t dpi) {
    const auto* row = std::find_if(std::begin(kResolutions), std::end(kResolutions),
                                   [dpi](const auto& r) { return dpi >= r.dpi; });
    const ModeRow& chosen = (row == std::end(kResolutions) ? kLeast : row->modes)[mode - 1];
    m_strength = chosen.strength;
    m_spacing = chosen.spacing;
}

QLStatus CDestreakStage::OnAfterOpen() {
    const std::int32_t mode = GetValue(QL_ATTR_TMA) != 0 ? m_tmaMode : m_otherMode;
    m_passThrough = !m_sharpenOn || mode == 0 ||
                    m_inFormat.m_bytesPerSample != sizeof(std::uint16_t) ||
                    m_inFormat.m_width < kFewestPixels;
    const QLStatus status = CFiveLineStage::OnAfterOpen();
    if (status != QL_OK || m_passThrough)
        return status;
    TakeResolution(mode, m_inFormat.m_xResolution);
    TakeChannels();
    return AllocateLines() ? QL_OK : QL_ERR_NO_MEMORY;
}

// The detail channel follows from the one that is sharpened by; what was asked for counts where
// that leaves a choice.
void CDestreakStage::TakeChannels() {
    const bool color = m_inFormat.m_samplesPerPixel == QL_STREAK_CHANNELS;
    m_rebuilds = m_destreakOn && color;
    m_reference = color ? static_cast<std::size_t>(m_sharpenChannel) : 0;
    m_fromThird = m_sharpenChannel == 2 || (m_sharpenChannel == 1 && m_detailChannel == 2);
    m_limits = {m_settings.m_restriction, m_diffLimit, m_levelLimit};
}

bool CDestreakStage::AllocateLines() {
    const auto width = static_cast<std::size_t>(m_inFormat.m_width);
    const std::size_t samples = width * m_inFormat.m_samplesPerPixel;
    const std::size_t lines = m_rebuilds ? kRingLines : 1;
    m_rootLine = TryNewRaw<std::uint16_t>(lines * samples);
    m_result = TryNewRaw<std::uint16_t>(samples);
    m_smoothLine = TryNewRaw<std::int32_t>(width);
    m_terms = TryNewRaw<std::int32_t>(width);
    m_shares = TryNewRaw<std::int32_t>(m_rebuilds ? width : 0);
    m_means = TryNewRaw<std::int32_t>(m_rebuilds ? samples : 0);
    if (!m_rootLine || !m_result || !m_smoothLine || !m_terms || !m_shares || !m_means)
        return false;
    // With one line it is the middle one.
    for (std::size_t i = 0; i < kRingLines; ++i)
        m_roots[i] = m_rootLine.get() + (m_rebuilds ? i * samples : 0);
    m_haveRoots = false;
    return true;
}

QLStatus CDestreakStage::OnAfterClose() {
    m_rootLine.reset();
    m_result.reset();
    m_smoothLine.reset();
    m_terms.reset();
    m_shares.reset();
    m_means.reset();
    return CFiveLineStage::OnAfterClose();
}

std::uint16_t* CDestreakStage::Plane(std::uint16_t* line, std::size_t channel) const {
    return line + channel * static_cast<std::size_t>(m_inFormat.m_width);
}

// The rooted lines turn with the ring, and only the lowest is new.
void CDestreakStage::RootLines(const std::uint16_t* const (&lines)[kRingLines]) {
    const auto width = static_cast<std::size_t>(m_inFormat.m_width);
    std::size_t first = 0;
    if (!m_rebuilds) {
        RootLine(lines[kMiddle], m_roots[kMiddle], width, m_inFormat.m_samplesPerPixel);
        return;
    }
    if (m_haveRoots) {
        std::rotate(m_roots, m_roots + 1, m_roots + kRingLines);
        first = kRingLines - 1;
    }
    for (std::size_t i = first; i < kRingLines; ++i)
        RootLine(lines[i], m_roots[i], width, QL_STREAK_CHANNELS);
    m_haveRoots = true;
}

// A window's mean is the sum of its columns' shares, each of which was truncated. Only those of the
// first window but its last column are divided together: what they lost less by that is carried
// along the line.
const std::int32_t* CDestreakStage::TakeMeans(std::size_t channel, std::size_t first,
                                              std::size_t last) {
    const auto width = static_cast<std::size_t>(m_inFormat.m_width);
    const auto size = static_cast<std::size_t>(m_settings.m_meanSize);
    const std::uint16_t* planes[kRingLines] = {};
    for (std::size_t i = 0; i < size; ++i)
        planes[i] = Plane(m_roots[kMiddle - size / 2 + i], channel);
    ColumnShares(planes, m_settings.m_meanSize, m_shares.get(), width);
    std::int32_t sum = 0;
    std::int32_t rest = 0;
    for (std::size_t x = first - size / 2; x < first + size / 2; ++x) {
        for (std::size_t i = 0; i < size; ++i)
            sum += planes[i][x];
        rest -= m_shares[x];
    }
    rest += sum / (m_settings.m_meanSize * m_settings.m_meanSize);
    std::int32_t* means = m_means.get() + channel * width;
    WindowMeans(m_shares.get(), m_settings.m_meanSize, rest, means, first, last);
    return means;
}

void CDestreakStage::RebuildChannels(std::size_t first, std::size_t last) {
    QLStreakPlanes planes = {};
    for (std::size_t k = 0; k < QL_STREAK_CHANNELS; ++k) {
        planes.roots[k] = Plane(m_roots[kMiddle], k);
        planes.means[k] = TakeMeans(k, first, last);
        planes.out[k] = Plane(m_result.get(), k);
    }
    if (m_fromThird) {
        RebuildFromThird(planes, m_terms.get(), m_limits, first, last);
        return;
    }
    for (std::size_t k = 0; k < QL_STREAK_CHANNELS; ++k) {
        RebuildPlane(planes.means[k], planes.means[m_reference], planes.roots[m_reference],
                     m_terms.get(), planes.out[k], first, last);
    }
}

std::int32_t CDestreakStage::FilterLine(std::uint16_t* out, const std::uint16_t* line0,
                                        const std::uint16_t* line1, const std::uint16_t* line2,
                                        const std::uint16_t* line3, const std::uint16_t* line4) {
    const auto width = static_cast<std::size_t>(m_inFormat.m_width);
    const std::size_t channels = m_inFormat.m_samplesPerPixel;
    const auto spacing = static_cast<std::size_t>(m_spacing);
    std::copy_n(line2, width * channels, out);
    // Behind the ends, which stay: none where the kernel is wider than the line.
    const std::size_t first = 2 * spacing;
    if (width <= 2 * first)
        return 1;
    const std::size_t last = width - first;
    RootLines({line0, line1, line2, line3, line4});
    const std::uint16_t* plane = Plane(m_roots[kMiddle], m_reference);
    SmoothRoots(plane, m_smoothLine.get(), width, spacing);
    SharpenTerms(plane, m_smoothLine.get(), m_terms.get(), width, spacing, m_strength);
    if (m_rebuilds) {
        RebuildChannels(first, last);
    } else {
        for (std::size_t k = 0; k < channels; ++k)
            AddTerms(Plane(m_roots[kMiddle], k), m_terms.get(), Plane(m_result.get(), k), first,
                     last);
    }
    SquareLine(m_result.get(), out, width, channels, first, last);
    return 1;
}
