#include "stages/density_kernels.h"

#include <algorithm>
#include <array>

#include "frame/fixed_point.h"
#include "platform/target_clones.h"

namespace {

// Pixels that are worked on at a time, in three planes that stay in the first-level cache.
constexpr std::size_t kBlock = 256;

struct Planes {
    alignas(64) std::int32_t red[kBlock];
    std::int32_t green[kBlock];
    std::int32_t blue[kBlock];
};

// Products and sums wrap in 32 bits, so they are unsigned. Of what comes of them the bits stand for
// a signed number again, which is shifted down arithmetically.
inline std::int32_t Down(std::uint32_t product) {
    return static_cast<std::int32_t>(product) >> 10;
}

// What one difference does to a density, by the factor of its sign.
inline std::int32_t Change(std::int32_t difference, std::int32_t above, std::int32_t below) {
    const std::int32_t size = difference < 0 ? -difference : difference;
    const std::int32_t change = Down(static_cast<std::uint32_t>(size) *
                                     static_cast<std::uint32_t>(difference < 0 ? below : above));
    // By the mask of the sign: of a third comparison the compiler would make two products.
    const std::int32_t sign = difference >> 31;
    return (change ^ sign) - sign;
}

// The density of a channel by its differences from the other two. The sum of three changes of 22
// bits fits.
inline std::int32_t Corrected(std::int32_t x, std::int32_t first, std::int32_t second,
                              const std::int32_t* c) {
    return ClampSample(x + Change(first, c[0], c[1]) + Change(second, c[2], c[3]) +
                       Change(first + second, c[4], c[5]));
}

inline std::uint16_t Mixed(std::int32_t r, std::int32_t g, std::int32_t b, const std::int32_t* m) {
    return ClampSample(Down(static_cast<std::uint32_t>(r) * static_cast<std::uint32_t>(m[0]) +
                            static_cast<std::uint32_t>(g) * static_cast<std::uint32_t>(m[1]) +
                            static_cast<std::uint32_t>(b) * static_cast<std::uint32_t>(m[2])));
}

// Table reads are no work for vectors: these two are compiled once, two pixels or samples a
// turn, which then are under way at once.
void ReadPlanes(const std::uint16_t* __restrict samples, std::size_t count,
                const std::uint16_t* __restrict table, Planes* __restrict planes) {
    std::size_t i = 0;
    for (; i + 2 <= count; i += 2) {
        const std::uint16_t* pixel = samples + 3 * i;
        const std::int32_t r0 = table[pixel[0]];
        const std::int32_t g0 = table[pixel[1]];
        const std::int32_t b0 = table[pixel[2]];
        const std::int32_t r1 = table[pixel[3]];
        const std::int32_t g1 = table[pixel[4]];
        const std::int32_t b1 = table[pixel[5]];
        planes->red[i] = r0;
        planes->red[i + 1] = r1;
        planes->green[i] = g0;
        planes->green[i + 1] = g1;
        planes->blue[i] = b0;
        planes->blue[i + 1] = b1;
    }
    for (; i < count; ++i) {
        planes->red[i] = table[samples[3 * i]];
        planes->green[i] = table[samples[3 * i + 1]];
        planes->blue[i] = table[samples[3 * i + 2]];
    }
}

void MapPlanes(Planes* planes, std::size_t count, const std::uint16_t* table) {
    for (std::int32_t* plane : {planes->red, planes->green, planes->blue}) {
        std::size_t i = 0;
        for (; i + 2 <= count; i += 2) {
            const std::int32_t a = table[plane[i]];
            const std::int32_t b = table[plane[i + 1]];
            plane[i] = a;
            plane[i + 1] = b;
        }
        for (; i < count; ++i)
            plane[i] = table[plane[i]];
    }
}

NVQ_KERNEL void CorrectPlanes(Planes* __restrict planes, std::size_t count,
                              const std::int32_t (&factors)[18]) {
    const auto k = std::to_array(factors);
    for (std::size_t i = 0; i < count; ++i) {
        const std::int32_t r = planes->red[i], g = planes->green[i], b = planes->blue[i];
        const std::int32_t rg = r - g, rb = r - b, gb = g - b;
        planes->red[i] = Corrected(r, rg, rb, &k[0]);
        planes->green[i] = Corrected(g, -rg, gb, &k[6]);
        planes->blue[i] = Corrected(b, -rb, -gb, &k[12]);
    }
}

NVQ_KERNEL void MixPlanes(const Planes* __restrict planes, std::size_t count,
                          const std::int32_t (&matrix)[9], std::uint16_t* __restrict samples) {
    const auto m = std::to_array(matrix);
    for (std::size_t i = 0; i < count; ++i) {
        const std::int32_t r = planes->red[i], g = planes->green[i], b = planes->blue[i];
        samples[3 * i] = Mixed(r, g, b, &m[0]);
        samples[3 * i + 1] = Mixed(r, g, b, &m[3]);
        samples[3 * i + 2] = Mixed(r, g, b, &m[6]);
    }
}

}  // namespace

// Table reads apart from the arithmetic, so that all of that runs in vectors.
void CorrectDensity(std::uint16_t* samples, std::size_t pixels, const std::uint16_t* toDensity,
                    const std::uint16_t* fromDensity, const QLDensityFactors& factors) {
    Planes planes;
    for (std::size_t first = 0; first < pixels; first += kBlock) {
        const std::size_t count = std::min(kBlock, pixels - first);
        std::uint16_t* block = samples + 3 * first;
        ReadPlanes(block, count, toDensity, &planes);
        CorrectPlanes(&planes, count, factors.m_density);
        MapPlanes(&planes, count, fromDensity);
        MixPlanes(&planes, count, factors.m_post, block);
    }
}

// All three channels move by what the curve does to the lowest of them, whichever that is.
void BalanceDensity(std::uint16_t* samples, std::size_t pixels, const std::uint16_t* toDensity,
                    const std::uint16_t* fromDensity, const std::uint16_t* curve,
                    const std::int32_t* offsets) {
    const std::int32_t red = offsets[0], green = offsets[1], blue = offsets[2];
    for (std::size_t i = 0; i < pixels; ++i) {
        std::uint16_t* pixel = samples + 3 * i;
        const std::int32_t r = ClampSample(toDensity[pixel[0]] - red);
        const std::int32_t g = ClampSample(toDensity[pixel[1]] - green);
        const std::int32_t b = ClampSample(toDensity[pixel[2]] - blue);
        const std::int32_t lowest = std::min({r, g, b});
        const std::int32_t shift = curve[lowest] - lowest;
        pixel[0] = fromDensity[ClampSample(r + shift)];
        pixel[1] = fromDensity[ClampSample(g + shift)];
        pixel[2] = fromDensity[ClampSample(b + shift)];
    }
}
