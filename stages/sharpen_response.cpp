#include "stages/sharpen_response.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "frame/fixed_point.h"
#include "frame/try_new.h"

namespace {

constexpr std::int32_t kMiddle = 65536;  // of a table, the entry of the difference 0
constexpr std::int32_t kFactorBits = 32;

void FillCurve(CQLLut* curve, double slope) {
    for (std::int32_t i = 0; i < CQLLut::kFullSize; ++i) {
        const std::int32_t response =
            std::min<std::int32_t>(TruncToI32(slope * i), kMostSharpenResponse);
        curve->Set(i, static_cast<std::uint16_t>(response));
    }
}

// The least factor that reaches every entry of a curve: first where it steps up. Fractions with
// denominators below 65536 lie at least 2^-32 apart, so that 32 bits can tell them from each other.
// Where slope * i comes so near to a whole number that the product in reals was rounded, it may
// exceed another entry, and no factor does.
std::optional<std::uint32_t> FactorOf(const CQLLut& curve) {
    std::uint64_t factor = 0;
    for (std::int32_t i = 1; i < CQLLut::kFullSize; ++i) {
        if (curve.At(i) != curve.At(i - 1)) {
            const auto index = static_cast<std::uint64_t>(i);
            const std::uint64_t entry = std::uint64_t{curve.At(i)} << kFactorBits;
            factor = std::max(factor, (entry + index - 1) / index);
        }
    }
    if (curve.At(0) != 0 || factor >> kFactorBits != 0)
        return std::nullopt;
    for (std::int32_t i = 0; i < CQLLut::kFullSize; ++i) {
        const std::uint64_t product = factor * static_cast<std::uint64_t>(i) >> kFactorBits;
        if (std::min<std::uint64_t>(product, kMostSharpenResponse) != curve.At(i))
            return std::nullopt;
    }
    return static_cast<std::uint32_t>(factor);
}

}  // namespace

double SharpenSlope(std::int32_t strength, const QLImageFormat& format) {
    double slope = std::pow(std::abs(static_cast<double>(strength)) / 100.0, 1.5);
    if (strength < 0)
        slope *= -0.5;
    if (format.m_sharpenBoostOn)
        slope *= std::sqrt(format.m_sharpenBoost);
    return slope;
}

bool CSharpenResponse::Build(std::span<const double> slopes) {
    Release();
    std::unique_ptr<CQLLut> strengthCurves[kChannels];
    m_isProduct = true;
    for (std::size_t k = 0; k < slopes.size(); ++k) {
        strengthCurves[k] = CQLLut::MakeFull();
        if (!strengthCurves[k])
            return false;
        FillCurve(strengthCurves[k].get(), std::abs(slopes[k]));
        const std::optional<std::uint32_t> factor = FactorOf(*strengthCurves[k]);
        m_isProduct = m_isProduct && factor;
        for (std::size_t i = k; i < kSharpenRun; i += slopes.size()) {
            m_factors.high[i] = static_cast<std::uint16_t>(factor.value_or(0) >> 16);
            m_factors.low[i] = static_cast<std::uint16_t>(factor.value_or(0));
            m_factors.flip[i] = slopes[k] < 0 ? 0xFFFF : 0;
        }
    }
    for (std::size_t k = 0; k < slopes.size() && !m_isProduct; ++k) {
        if (!FillTable(k, *strengthCurves[k], slopes[k] < 0))
            return false;
    }
    return true;
}

bool CSharpenResponse::FillTable(std::size_t channel, const CQLLut& strengthCurve, bool softens) {
    m_response[channel] = TryNewRaw<std::int32_t>(2 * kMiddle);
    if (!m_response[channel])
        return false;
    for (std::int32_t d = 0; d < kMiddle; ++d) {
        const std::int32_t response = softens ? -strengthCurve.At(d) : strengthCurve.At(d);
        m_response[channel][kMiddle + d] = response;
        m_response[channel][kMiddle - 1 - d] = -response;
    }
    return true;
}

void CSharpenResponse::Release() {
    for (auto& response : m_response)
        response.reset();
}

void CSharpenResponse::Apply(const std::uint16_t* up, const std::uint16_t* centre,
                             const std::uint16_t* down, std::uint16_t* out,
                             const QLImageFormat& format) const {
    const auto pixels = static_cast<std::size_t>(format.m_width);
    const std::size_t channels = format.m_samplesPerPixel;
    if (m_isProduct)
        return SharpenByFactor(up, centre, down, out, pixels, channels, m_factors);
    const std::int32_t* responses[kChannels];
    for (std::size_t k = 0; k < kChannels; ++k)
        responses[k] = (m_response[k] ? m_response[k] : m_response[0]).get() + kMiddle;
    SharpenByTable(up, centre, down, out, pixels, channels, responses);
}
