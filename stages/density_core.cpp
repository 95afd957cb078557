#include "stages/density_core.h"

#include <algorithm>

#include "frame/fixed_point.h"
#include "frame/try_new.h"
#include "stages/lut_kernels.h"

namespace {

template <std::size_t Count>
void ToFactors(const double* numbers, std::int32_t (&factors)[Count]) {
    for (std::size_t i = 0; i < Count; ++i)
        factors[i] = RoundToI32(numbers[i] * 1024.0);
}

}  // namespace

CDensityColorCore::CDensityColorCore(CQLAttribStore& attribs) {
    const auto* density = WordPointer<const double>(attribs.GetValue(QL_ATTR_DENSITY_MATRIX));
    const auto* post = WordPointer<const double>(attribs.GetValue(QL_ATTR_POST_MATRIX));
    if (!density || !post)
        return;
    ToFactors(density, m_factors.m_density);
    ToFactors(post, m_factors.m_post);
}

bool CDensityColorCore::IsNeutral() const {
    return std::ranges::equal(m_factors.m_density, kNeutral.m_density) &&
           std::ranges::equal(m_factors.m_post, kNeutral.m_post);
}

bool CDensityColorCore::Ready() {
    if (!m_tables.Ready())
        return false;
    if (!IsNeutral() || m_roundTrip)
        return true;
    m_roundTrip = TryNewRaw<std::uint16_t>(CDensityTables::kEntries);
    for (std::int32_t i = 0; m_roundTrip && i < CDensityTables::kEntries; ++i)
        m_roundTrip[i] = m_tables.FromDensity(m_tables.ToDensity(i));
    return m_roundTrip != nullptr;
}

void CDensityColorCore::Apply(std::uint16_t* r, std::uint16_t* g, std::uint16_t* b) const {
    std::uint16_t pixel[] = {*r, *g, *b};
    ApplyPixels(pixel, 1);
    *r = pixel[0];
    *g = pixel[1];
    *b = pixel[2];
}

void CDensityColorCore::ApplyPixels(std::uint16_t* samples, std::size_t pixels) const {
    if (m_roundTrip)
        return MapSamples(samples, 3 * pixels, m_roundTrip.get());
    CorrectDensity(samples, pixels, m_tables.Forward(), m_tables.Inverse(), m_factors);
}
