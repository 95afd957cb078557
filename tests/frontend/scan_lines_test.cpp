// The line routines by themselves. What they make of a band, band_lines_test.cpp has.

#include "frontend/scan_lines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>

#include "tests/support/noise_lines.h"
#include "tests/support/plain_scaler.h"

namespace {

// The source ends with its last pixel, and the target's padding must stay.
void ExpectScaled(DWORD width, DWORD lines, DWORD wanted, DWORD wantedLines, DWORD samples) {
    const Bytes packed = Noise(width * lines * samples);
    Bytes rows = Padded(packed, width * samples, 0x33);
    rows.resize(rows.size() - rows.size() / lines + width * samples);
    const Bytes source(rows.begin(), rows.end());
    Bytes target((wanted * samples + 3) / 4 * 4 * wantedLines, 0xEE);
    BilinearInterp(source.data(), target.data(), width, wanted, lines, wantedLines, 8 * samples);
    const Bytes expected = PlainScaled(packed, width, samples, wanted, {wantedLines});
    EXPECT_TRUE(target == Padded(expected, wanted * samples, 0xEE))
        << width << " x " << lines << " to " << wanted << " x " << wantedLines;
}

TEST(BilinearInterp, HasTheBitsOfThePlainForm) {
    const DWORD kSizes[][4] = {{60, 20, 40, 13},
                               {60, 20, 120, 40},
                               {1, 1, 7, 5},
                               {2, 2, 9, 11},
                               {9, 1, 5, 3},
                               {1, 9, 5, 3},
                               {7, 13, 7, 13},
                               {600, 5, 523, 4},
                               {3, 20, 300, 2},
                               {5, 7, 1, 1},
                               {4097, 3, 4098, 2},
                               // Beyond 2^24 a product of coordinates has no exact
                               // single-precision form, and a weight may be a little below 0.
                               {40800, 2, 27211, 3}};
    for (const auto& size : kSizes) {
        for (const DWORD samples : {3u, 1u})
            ExpectScaled(size[0], size[1], size[2], size[3], samples);
    }
}

TEST(BilinearInterp, ByHand) {
    // Two pixels of 24 bits to four. The weights are halves: position 0.5 lies half way.
    const Bytes two = {10, 20, 30, 50, 60, 71, 0, 0, 90, 100, 110, 200, 210, 220, 0, 0};
    Bytes four(12 * 4, 0xEE);
    BilinearInterp(two.data(), four.data(), 2, 4, 2, 4, 24);
    const Bytes kExpected = {
        10, 20,  30,  30,  40,  50,  50,  60,  71,  50,  60,  71,    // line 0
        50, 60,  70,  87,  97,  107, 50,  60,  71,  50,  60,  71,    // half way to line 1
        90, 100, 110, 145, 155, 165, 200, 210, 220, 200, 210, 220,   // line 1
        50, 60,  70,  87,  97,  107, 200, 210, 220, 200, 210, 220};  // half way back up
    EXPECT_EQ(four, kExpected);
    BilinearInterp(two.data(), four.data(), 2, 1, 2, 1, 16);
    BilinearInterp(two.data(), four.data(), 2, 1, 0, 1, 24);
    BilinearInterp(two.data(), four.data(), 0, 1, 2, 1, 24);
    EXPECT_EQ(four, kExpected) << "nothing was written";
}

// Whole files are turned in tests/driver.
TEST(FlipBitmapRows, TouchesNothingOfAFileThatIsTooSmall) {
    constexpr LONG kMost = std::numeric_limits<LONG>::max();
    for (const auto& [width, height] :
         {std::pair{LONG{33}, LONG{4}}, {33, -kMost - 1}, {kMost, kMost}, {-1, 2}}) {
        BITMAPFILEHEADER file = {};
        file.bfOffBits = 62;
        BITMAPINFOHEADER info = {};
        info.biWidth = width;
        info.biHeight = height;
        info.biBitCount = 32;
        const Bytes before = [&] {
            Bytes bytes = Noise(93);
            std::memcpy(bytes.data(), &file, sizeof(file));
            std::memcpy(bytes.data() + sizeof(file), &info, sizeof(info));
            return bytes;
        }();
        Bytes bytes = before;
        EXPECT_EQ(FlipBitmapRows(bytes.data(), bytes.size()), E_FAIL);
        EXPECT_EQ(FlipBitmapRows(bytes.data(), 53), E_FAIL);
        EXPECT_EQ(bytes, before);
    }
}

}  // namespace
