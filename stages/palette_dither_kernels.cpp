#include "stages/palette_dither_kernels.h"

#include "platform/target_clones.h"

namespace {

constexpr int kErrorLow = -256;
constexpr int kErrorHigh = 511;

constexpr int Held(int v, int low, int high) {
    if (v < low)
        return low;
    return v > high ? high : v;
}

// By the value of a channel: its share of the number of the cell. One read in place of two
// comparisons and a shift, which would stand in the chain.
struct CellShares {
    std::uint16_t m_of[3][kDitherValues];
};
constexpr CellShares MakeShares() {
    CellShares shares{};
    for (int i = 0; i < kDitherValues; ++i) {
        const int high = Held(i + kDitherLow, 0, 255) >> 4;
        for (int c = 0; c < 3; ++c)
            shares.m_of[c][i] = static_cast<std::uint16_t>(high << (8 - 4 * c));
    }
    return shares;
}
constexpr CellShares kShares = MakeShares();

// The generator's feedback: 16 bits, shifted up, with these turned when a bit has come to the top.
constexpr std::uint16_t kFeedback = 0x457;

int NextNoise(std::uint16_t* state) {
    *state = static_cast<std::uint16_t>(*state << 1);
    if (*state & 0x8000)
        *state ^= kFeedback;
    return *state;
}

}  // namespace

// What a pixel gets comes in two parts: `base` is known ahead, from its sample and from the line
// above; `rest` is what the pixel before it leaves, and ends the chain:
//
//     rest -> three shares -> their sum -> colour of the cell -> difference -> half -> rest
//
// Addresses are made from both parts, so that no addition stands before the read.
void DitherColorLine(const QLDitherLine& line, const QLDitherCell* cells) {
    const std::uint16_t* const shares[] = {
        kShares.m_of[0] - kDitherLow, kShares.m_of[1] - kDitherLow, kShares.m_of[2] - kDitherLow};
    const std::uint16_t* __restrict samples = line.m_samples;
    std::int16_t* __restrict errors = line.m_errors;
    std::uint8_t* __restrict indices = line.m_indices;
    const std::ptrdiff_t step = line.m_backward ? -1 : 1;
    auto x = line.m_backward ? static_cast<std::ptrdiff_t>(line.m_width) - 1 : 0;
    std::ptrdiff_t rest0 = line.m_carry[0];
    std::ptrdiff_t rest1 = line.m_carry[1];
    std::ptrdiff_t rest2 = line.m_carry[2];
    std::ptrdiff_t above0 = 0;
    std::ptrdiff_t above1 = 0;
    std::ptrdiff_t above2 = 0;
    const auto held = [](std::ptrdiff_t v) {
        return v < kErrorLow ? kErrorLow : v > kErrorHigh ? kErrorHigh : v;
    };
    for (std::size_t n = 0; n < line.m_width; ++n, x += step) {
        const std::uint16_t* s = samples + 3 * x;
        std::int16_t* e = errors + 3 * x;
        const std::ptrdiff_t base0 = (s[0] >> 8) + above0;
        const std::ptrdiff_t base1 = (s[1] >> 8) + above1;
        const std::ptrdiff_t base2 = (s[2] >> 8) + above2;
        const std::uint16_t* share0 = shares[0] + base0;
        const std::uint16_t* share1 = shares[1] + base1;
        const std::uint16_t* share2 = shares[2] + base2;
        const QLDitherCell& cell = cells[share0[rest0] + share1[rest1] + share2[rest2]];
        // One more than the error, so that a shift alone gives (err + 1) >> 1, which is err - half.
        const std::ptrdiff_t err0 = held(base0 + rest0) + 1 - cell.m_colors[0];
        const std::ptrdiff_t err1 = held(base1 + rest1) + 1 - cell.m_colors[1];
        const std::ptrdiff_t err2 = held(base2 + rest2) + 1 - cell.m_colors[2];
        above0 = e[0];
        above1 = e[1];
        above2 = e[2];
        rest0 = err0 >> 1;
        rest1 = err1 >> 1;
        rest2 = err2 >> 1;
        e[0] = static_cast<std::int16_t>((err0 - 1) >> 1);
        e[1] = static_cast<std::int16_t>((err1 - 1) >> 1);
        e[2] = static_cast<std::int16_t>((err2 - 1) >> 1);
        indices[x] = cell.m_index;
    }
    line.m_carry[0] = static_cast<std::int16_t>(rest0 + above0);
    line.m_carry[1] = static_cast<std::int16_t>(rest1 + above1);
    line.m_carry[2] = static_cast<std::int16_t>(rest2 + above2);
}

void DitherGrayLine(const QLDitherLine& line, const QLDitherCell* grays) {
    const std::uint16_t* __restrict samples = line.m_samples;
    std::int16_t* __restrict errors = line.m_errors;
    std::uint8_t* __restrict indices = line.m_indices;
    const std::ptrdiff_t step = line.m_backward ? -1 : 1;
    auto x = line.m_backward ? static_cast<std::ptrdiff_t>(line.m_width) - 1 : 0;
    std::ptrdiff_t rest = line.m_carry[0];
    std::ptrdiff_t above = 0;
    for (std::size_t n = 0; n < line.m_width; ++n, x += step) {
        const std::ptrdiff_t base = (samples[x] >> 8) + above;
        const QLDitherCell* from = grays - kDitherLow + base;
        const QLDitherCell& cell = from[rest];
        const int err =
            Held(static_cast<int>(base + rest), kErrorLow, kErrorHigh) - cell.m_colors[0];
        above = errors[x];
        rest = (err + 1) >> 1;
        errors[x] = static_cast<std::int16_t>(err >> 1);
        indices[x] = cell.m_index;
    }
    line.m_carry[0] = static_cast<std::int16_t>(rest + above);
}

// As the formulas have it. Colour goes through its channels in the direction of the line.
void DitherNoisyLine(const QLDitherLine& line, int channels, const QLDitherCell* cells,
                     std::uint16_t mask, std::uint16_t* state) {
    for (std::size_t n = 0; n < line.m_width; ++n) {
        const std::size_t x = line.m_backward ? line.m_width - 1 - n : n;
        const std::size_t at = x * static_cast<std::size_t>(channels);
        int values[3];
        int place = 0;
        for (int i = 0; i < channels; ++i) {
            const int c = line.m_backward ? channels - 1 - i : i;
            values[c] =
                Held((line.m_samples[at + static_cast<std::size_t>(c)] >> 8) + line.m_carry[c],
                     kErrorLow, kErrorHigh);
            // In 16 bits, as all of this: noise of the upper half of its range is negative.
            const auto noisy = static_cast<std::int16_t>(values[c] + (NextNoise(state) & mask));
            const int t = Held(noisy, 0, 255) - kDitherLow;
            place += channels == 1 ? t : kShares.m_of[c][t];
        }
        const QLDitherCell& cell = cells[place];
        line.m_indices[x] = cell.m_index;
        for (int c = 0; c < channels; ++c) {
            std::int16_t& left = line.m_errors[at + static_cast<std::size_t>(c)];
            const int err = values[c] - cell.m_colors[c];
            line.m_carry[c] = static_cast<std::int16_t>(err - (err >> 1) + left);
            left = static_cast<std::int16_t>(err >> 1);
        }
    }
}

NVQ_KERNEL void GrayOfColors(const std::uint16_t* __restrict samples, std::size_t pixels,
                             std::uint16_t* __restrict grays) {
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::uint32_t sum =
            77u * samples[3 * i] + 151u * samples[3 * i + 1] + 28u * samples[3 * i + 2];
        grays[i] = static_cast<std::uint16_t>(sum >> 8);
    }
}

void PackIndexBits(const std::uint8_t* indices, std::size_t width, std::uint8_t* bits) {
    for (std::size_t start = 0; start < width; start += 8) {
        unsigned byte = 0;
        for (std::size_t x = start; x < width && x < start + 8; ++x)
            byte |= (indices[x] & 1u) << (7 - (x - start));
        *bits++ = static_cast<std::uint8_t>(byte);
    }
}
