#include "stages/tone_sampling.h"

void CountPixels(const QLPixelRun& run, std::uint32_t* red, std::uint32_t* green,
                 std::uint32_t* blue) {
    const std::uint16_t* p = run.m_samples;
    const std::size_t g = run.Green();
    const std::size_t b = run.Blue();
    for (std::size_t i = 0; i < run.m_count; ++i, p += run.m_stride) {
        ++red[p[0] >> CQLHistogram::kToneShift];
        ++green[p[g] >> CQLHistogram::kToneShift];
        ++blue[p[b] >> CQLHistogram::kToneShift];
    }
}

void OfferDark(const QLPixelRun& run, CDarkestPixelList& list) {
    const std::uint16_t* p = run.m_samples;
    const std::size_t green = run.Green();
    const std::size_t blue = run.Blue();
    std::int32_t threshold = list.Threshold();
    for (std::size_t i = 0; i < run.m_count; ++i, p += run.m_stride) {
        if (std::int32_t{p[0]} + p[green] + p[blue] < threshold) {
            list.Offer(p[0], p[green], p[blue]);
            threshold = list.Threshold();
        }
    }
}
