#include "stages/density_core.h"

#include "frame/fixed_point.h"

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

void CDensityColorCore::Apply(std::uint16_t* r, std::uint16_t* g, std::uint16_t* b) const {
    std::uint16_t pixel[] = {*r, *g, *b};
    ApplyPixels(pixel, 1);
    *r = pixel[0];
    *g = pixel[1];
    *b = pixel[2];
}

void CDensityColorCore::ApplyPixels(std::uint16_t* samples, std::size_t pixels) const {
    CorrectDensity(samples, pixels, m_tables.Forward(), m_tables.Inverse(), m_factors);
}
