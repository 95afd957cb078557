// Line kernels of error diffusion: lines of 16-bit samples become indices of a palette, and the
// error of each pixel goes half to the next one and half to the one below.
//
//     v    = sample / 256 + carry, held within -256 to 511
//     cell = of v held within 0 to 255 (colour: the high four bits of each channel)
//     err  = v - the cell's colour;  half = err >> 1
//     carry to the next pixel = (err - half) + what the line above left here;  left here = half
//
// One chain from pixel to pixel: its length in processor cycles, not the number of instructions,
// is what a pixel costs.
#pragma once

#include <cstddef>
#include <cstdint>

// A cell of the look-up: the entry of the palette that stands for it.
struct QLDitherCell {
    std::uint8_t m_colors[3] = {};  // red, green, blue
    std::uint8_t m_index = 0;
};

// Values that a pixel and its carry can make, before they are held: the carry is -511 to 511.
inline constexpr int kDitherLow = -512;
inline constexpr int kDitherValues = 1280;
// Cells of a colour are 16 x 16 x 16, red slowest.
inline constexpr int kDitherCells = 4096;

// What a walk along a line works on. `m_carry` goes from line to line as it stands.
struct QLDitherLine {
    const std::uint16_t* m_samples;
    std::size_t m_width;
    bool m_backward;         // from the last pixel to the first
    std::int16_t* m_errors;  // one a sample: what the line above left, and this one leaves
    std::int16_t* m_carry;   // one a channel
    std::uint8_t* m_indices;
};

// Colour lines; `cells` are kDitherCells.
void DitherColorLine(const QLDitherLine& line, const QLDitherCell* cells);
// Gray lines; `grays` are kDitherValues, from the value kDitherLow up. The error is that of red.
void DitherGrayLine(const QLDitherLine& line, const QLDitherCell* grays);
// Either, with noise on the value that chooses the cell: a step of the generator a sample, of which
// the bits of `mask` count. `channels` is 3 or 1, `cells` as above.
void DitherNoisyLine(const QLDitherLine& line, int channels, const QLDitherCell* cells,
                     std::uint16_t mask, std::uint16_t* state);

// Colour samples to gray: (77 r + 151 g + 28 b) / 256, truncated.
void GrayOfColors(const std::uint16_t* samples, std::size_t pixels, std::uint16_t* grays);

// Indices to bits, first pixel in bit 7, by the low bit of each; bits behind the last pixel are 0.
void PackIndexBits(const std::uint8_t* indices, std::size_t width, std::uint8_t* bits);
