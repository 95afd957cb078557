// The line routines by themselves. What they make of a band, band_lines_test.cpp has.

#include "frontend/scan_lines.h"
#include "platform/pixel_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "platform/bitmap_headers.h"
#include "tests/support/noise_lines.h"

namespace {

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
}

// Whole files are turned in tests/driver.
TEST(FlipBitmapRows, TouchesNothingOfAFileThatIsTooSmall) {
    constexpr LONG kMost = std::numeric_limits<LONG>::max();
    for (const auto& [width, height] :
         {std::pair{LONG{33}, LONG{4}}, {33, -kMost - 1}, {kMost, kMost}, {-1, 2}}) {
        BITMAPINFOHEADER info = MakeInfoHeader(1, 1, 32);
        info.biWidth = width;
        info.biHeight = height;
        Bytes bytes = Noise(93);
        std::memset(bytes.data() + 10, 0, 4);  // where the rows begin
        bytes[10] = 62;
        std::memcpy(bytes.data() + sizeof(BITMAPFILEHEADER), &info, sizeof(info));
        const Bytes before = bytes;
        EXPECT_EQ(FlipBitmapRows(bytes.data(), bytes.size()), E_FAIL);
        EXPECT_EQ(FlipBitmapRows(bytes.data(), 53), E_FAIL);
        EXPECT_EQ(bytes, before);
    }
}

}  // namespace
