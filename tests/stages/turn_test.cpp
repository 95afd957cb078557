// Mirror and rotation: lines against index formulas, and how the two answer the board.

#include <gtest/gtest.h>

#include "stages/mirror.h"
#include "tests/support/noise_lines.h"
#include "tests/support/stage_rig.h"

namespace {

// ---- Mirror

using MirrorTest = StageTest<CMirrorStage>;

TEST_F(MirrorTest, PixelsChangePlacesAndBitsAreThoseOfThePixels) {
    m_board.SetValue(QL_ATTR_MIRROR, 1);
    EXPECT_EQ(RunGray(m_stage, {1, 2, 3, 4}), (Samples{4, 3, 2, 1}));
    EXPECT_EQ(RunColor(m_stage, {1, 2, 3, 4, 5, 6, 7, 8, 9}), (Samples{7, 8, 9, 4, 5, 6, 1, 2, 3}));
    for (const std::uint32_t type : {QL_PIXEL_BILEVEL, QL_PIXEL_HALFTONE}) {
        for (const std::size_t width : {1u, 7u, 8u, 12u, 16u, 21u}) {
            const std::size_t stride = (width + 7) / 8;
            const Bytes lines = Noise(3 * stride);
            Bytes expected = lines;  // and so the padding
            for (std::size_t i = 0; i < 3 * width; ++i) {
                const std::size_t row = i / width * stride, x = i % width, from = width - 1 - x;
                const int bit = lines[row + from / 8] >> (7 - from % 8) & 1;
                const int mask = 0x80 >> x % 8;
                expected[row + x / 8] =
                    static_cast<std::uint8_t>((expected[row + x / 8] & ~mask) | bit * mask);
            }
            EXPECT_EQ(RunLines(m_stage, type, width, lines, QL_LAYOUT_INTERNAL, 2).m_bytes,
                      expected)
                << width;
        }
    }
}

TEST_F(MirrorTest, TheUsersAndTheSourcesMirrorCancelAndTheResetTakesOneOff) {
    const auto active = [this] { return m_board.GetInteger(QL_ATTR_MIRROR_ACTIVE); };
    m_board.Hear({QL_ATTR_MIRROR_TOGGLE});
    m_board.Put(QL_ATTR_ATTR_231, 1);
    m_board.Put(QL_ATTR_TMA, 1);
    EXPECT_EQ(active(), 1) << "asked for by the source";
    for (const std::uint64_t twice : {1, 1})
        m_board.SetValue(QL_ATTR_MIRROR, twice);
    EXPECT_EQ(m_board.Heard(), Ids{QL_ATTR_MIRROR_TOGGLE}) << "once";
    EXPECT_EQ(active(), 0);
    EXPECT_EQ(RunGray(m_stage, {1, 2, 3}), (Samples{1, 2, 3}));
    m_board.Put(QL_ATTR_TMA, 0);
    EXPECT_EQ(active(), 1);
    m_board.Notify(QL_ATTR_ROTATE_DEFAULT);
    EXPECT_EQ(active(), 0);
    m_board.Notify(QL_ATTR_MIRROR_TOGGLE);
    EXPECT_EQ(m_board.GetInteger(QL_ATTR_MIRROR), 1);
}

}  // namespace
