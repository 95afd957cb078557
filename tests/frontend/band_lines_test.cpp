// From the lines that a scanner delivers to rows, band by band.

#include "frontend/band_lines.h"

#include <gtest/gtest.h>

#include "tests/support/noise_lines.h"
#include "tests/support/plain_scaler.h"

namespace {

struct Case {
    BandSizes sizes;
    std::size_t lines;               // of the scan
    std::vector<std::size_t> bands;  // rows that each gives; empty: its lines
};

// What the rows must be, from the samples: blue first, scaled or fitted to the width with white.
Bytes Expected(const Case& c, const Bytes& scan) {
    const std::size_t samples = c.sizes.depth / 8;
    Bytes lines = scan;
    for (std::size_t i = 0; samples == 3 && i < lines.size(); i += 3)
        std::swap(lines[i], lines[i + 2]);
    const std::size_t bytes = c.sizes.bmpWidth * samples;
    if (!c.bands.empty())
        return Padded(PlainScaled(lines, c.sizes.scanWidth, samples, c.sizes.bmpWidth, c.bands),
                      bytes, 0xFF);
    Bytes fitted;
    for (std::size_t i = 0; i < c.lines * bytes; ++i) {
        const std::size_t x = i % bytes;
        const std::size_t scanned = c.sizes.scanWidth * samples;
        fitted.push_back(x < scanned ? lines[i / bytes * scanned + x] : 0xFF);
    }
    return Padded(fitted, bytes, 0xFF);
}

void ExpectRows(const Case& c) {
    SCOPED_TRACE(testing::Message() << c.sizes.scanWidth << " to " << c.sizes.bmpWidth);
    CBandLines band;
    ASSERT_EQ(band.Allocate(c.sizes), S_OK);
    const Bytes scan = Noise(c.lines * band.LineBytes());
    Bytes got;
    for (std::size_t line = 0, number = 0; line < c.lines; line += kBandLines, ++number) {
        const std::size_t lines = std::min<std::size_t>(kBandLines, c.lines - line);
        std::memcpy(band.Buffer(), scan.data() + line * band.LineBytes(), lines * band.LineBytes());
        const BandRows rows = band.MakeRows(static_cast<DWORD>(lines));
        EXPECT_EQ(rows.count, c.bands.empty() ? lines : c.bands[number]);
        got.insert(got.end(), rows.bytes, rows.bytes + rows.count * band.Stride());
    }
    EXPECT_TRUE(got == Expected(c, scan));
}

TEST(BandLines, BecomeRowsOfAnyWidthAndScale) {
    for (const DWORD depth : {24u, 8u}) {
        // A bitmap that is wider than the scan, by its padding or by much, is white there; a
        // narrower one takes the left of the lines.
        for (const DWORD width : {1u, 60u, 61u, 62u, 200u})
            ExpectRows({{depth, 61, width, 45, 300, 300, 300, 300}, 45, {}});
        ExpectRows({{depth, 1, 1, 1, 75, 75, 75, 75}, 1, {}});
        // 13 1/3 rows a band: the third passes 1 by the last bits of a third. No more than the page
        // has.
        ExpectRows({{depth, 60, 40, 40, 200, 200, 300, 300}, 60, {13, 13, 14}});
        ExpectRows({{depth, 60, 40, 26, 200, 200, 300, 300}, 60, {13, 13, 0}});
        // In one direction, also to another width, and upwards.
        ExpectRows({{depth, 61, 100, 30, 300, 150, 300, 300}, 60, {10, 10, 10}});
        ExpectRows({{depth, 60, 40, 45, 200, 300, 300, 300}, 45, {20, 20, 5}});
        // Beyond 2^24 a product of coordinates has no exact single-precision form, and a weight may
        // be a little below 0.
        ExpectRows({{depth, 40800, 27211, 26, 200, 200, 300, 300}, 21, {13, 1}});
        ExpectRows({{depth, 1, 7, 20, 300, 300, 75, 150}, 9, {18}});
        ExpectRows({{depth, 32, 64, 48, 4800, 4800, 2400, 2400}, 24, {40, 8}});
    }
}

TEST(BandLines, NeedPixelsAndMemory) {
    CBandLines band;
    EXPECT_EQ(band.Allocate({24, 0, 61, 45, 300, 300, 300, 300}), E_FAIL);
    EXPECT_EQ(band.Allocate({24, 61, 61, 45, 300, 2000000000, 300, 300}), E_OUTOFMEMORY);
}

}  // namespace
