// Mirror and rotation: lines against index formulas, and how the two answer the board.

#include <gtest/gtest.h>

#include "stages/mirror.h"
#include "stages/rotate.h"
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

// ---- Rotation

using RotateTest = StageTest<CRotateStage>;

// Samples of a turned image: where each comes from, by the turn's definition.
Samples Turned(const Samples& image, int width, int height, int channels, int angle) {
    Samples turned;
    const int w = angle == 180 ? width : height, h = angle == 180 ? height : width;
    for (int y = 0; y < h; ++y) {
        for (int i = 0; i < w * channels; ++i) {
            const int x = i / channels;
            const int row = angle == 90 ? height - 1 - x : angle == 180 ? height - 1 - y : x;
            const int column = angle == 90 ? y : angle == 180 ? width - 1 - x : width - 1 - y;
            turned.push_back(
                image[static_cast<std::size_t>((row * width + column) * channels + i % channels)]);
        }
    }
    return turned;
}

TEST_F(RotateTest, EveryPixelLandsWhereTheTurnPutsIt) {
    for (const auto& [width, height] : {std::pair{3, 3}, {10, 20}, {67, 5}, {5, 301}, {70, 129}}) {
        for (const int channels : {1, 3}) {
            const auto bytes = Noise(static_cast<std::size_t>(2 * channels * width * height));
            QLAttribTree tree;
            CLineSource source(&tree, channels == 3 ? QL_PIXEL_RGB16 : QL_PIXEL_GRAY16, width,
                               bytes, QL_LAYOUT_INTERNAL);
            source.Format().m_xResolution = 300;
            source.Format().m_yResolution = 600;
            m_stage.SetUpstream(&source);
            for (const int angle : {90, 180, 270}) {
                m_board.SetValue(QL_ATTR_ROTATE_ANGLE, IntegerWord(angle));
                const Samples expected = Turned(SamplesOf(bytes), width, height, channels, angle);
                const QLImageFormat& out = *m_stage.GetOutputFormat();
                for (const int block : {1, 7, 64}) {
                    source.m_mostLines = block == 7 ? 3 : 1 << 20;
                    const CPass pass = RunPass(m_stage, block);
                    EXPECT_EQ(pass.m_status, QL_OK);
                    EXPECT_EQ(SamplesOf(pass.m_bytes), expected) << angle << ' ' << block;
                }
                const bool quarter = angle != 180;
                EXPECT_EQ((Ids{out.m_width, out.m_height, out.m_xResolution, out.m_yResolution}),
                          (Ids{quarter ? height : width, quarter ? width : height,
                               quarter ? 600 : 300, quarter ? 300 : 600}));
                EXPECT_EQ(m_board.GetInteger(QL_ATTR_ROTATE_ANGLE), angle) << "the user's stays";
                // What the input has been turned by already counts.
                source.Format().m_rotation = angle;
                EXPECT_EQ(RunPass(m_stage, 4).m_bytes, bytes);
                source.Format().m_rotation = 0;
            }
            m_stage.SetUpstream(nullptr);
        }
    }
}

TEST_F(RotateTest, AnInputThatEndsEarlyLeavesWhiteAndFailuresAreTold) {
    QLAttribTree tree;
    const Bytes bytes = Noise(2 * 5 * 6);
    CLineSource source(&tree, QL_PIXEL_GRAY16, 5, bytes, QL_LAYOUT_INTERNAL);
    m_stage.SetUpstream(&source);
    m_board.SetValue(QL_ATTR_ROTATE_ANGLE, 90);
    source.Format().SetHeight(8);  // two lines more than there are bytes
    source.m_linesThere = 6;
    Samples expected = SamplesOf(bytes);
    expected.resize(5 * 8, 0xFFFF);
    EXPECT_EQ(SamplesOf(RunPass(m_stage).m_bytes), Turned(expected, 5, 8, 1, 90));
    // Without a folder for the file; and images of too few pixels or lines.
    setenv("TMPDIR", "/nowhere/at/all", 1);
    EXPECT_EQ(RunPass(m_stage).m_status, QL_ERR_TEMP_FILE);
    m_board.SetValue(QL_ATTR_ROTATE_ANGLE, 360);
    EXPECT_EQ(RunPass(m_stage).m_status, QL_OK) << "no turn, no file";
    unsetenv("TMPDIR");
    m_stage.SetUpstream(nullptr);
    for (const auto& [width, height] : {std::pair{2, 9}, {9, 2}})
        EXPECT_EQ(RunLines(m_stage, QL_PIXEL_GRAY16, static_cast<std::size_t>(width),
                           Bytes(static_cast<std::size_t>(2 * width * height)), QL_LAYOUT_INTERNAL)
                      .m_status,
                  QL_ERR_BAD_ARGUMENT);
}

TEST_F(RotateTest, EventsTurnTheAngleAndTieItToTheMirror) {
    CMirrorStage mirror(&m_tree);
    CTestBoard source(&m_tree);
    source.Put(QL_ATTR_TMA, 0);
    m_board.Hear({QL_ATTR_ROTATE_ANGLE, QL_ATTR_ROTATE_NOT_RIGHT_ANGLE});
    const Ids none, angle = {QL_ATTR_ROTATE_ANGLE}, odd = {QL_ATTR_ROTATE_NOT_RIGHT_ANGLE};
    const struct {
        int before, byDefault, event, after;
        Ids heard;
    } cases[] = {
        // clang-format off
        {270, 0, QL_ATTR_ROTATE_CW, 0, none}, {0, 0, QL_ATTR_ROTATE_CW, 90, none},
        {0, 0, QL_ATTR_ROTATE_CCW, 270, none}, {180, 0, QL_ATTR_ROTATE_CCW, 90, none},
        {0, 0, QL_ATTR_ROTATE_90, 90, none}, {0, 0, QL_ATTR_ROTATE_180, 180, none},
        {0, 0, QL_ATTR_ROTATE_270, 270, none}, {90, 0, QL_ATTR_ROTATE_RESET, 0, odd},
        {90, 180, QL_ATTR_ROTATE_DEFAULT, 180, none}, {90, 100, QL_ATTR_ROTATE_RESTORE, 90, odd},
        {90, 0, QL_ATTR_MIRROR_TOGGLE, 270, angle}, {270, 0, QL_ATTR_MIRROR_TOGGLE, 90, angle},
        {180, 0, QL_ATTR_MIRROR_TOGGLE, 180, none}, {361, 0, QL_ATTR_TMA, 1, angle},
        {360, 0, QL_ATTR_TMA, 360, angle}, {-90, 0, QL_ATTR_TMA, 270, angle},
        // clang-format on
    };
    for (const auto& c : cases) {
        m_board.SetValue(QL_ATTR_ROTATE_ANGLE, IntegerWord(c.before));
        m_board.SetValue(QL_ATTR_ROTATE_DEFAULT_ANGLE, IntegerWord(c.byDefault));
        m_board.Heard();
        m_board.Notify(c.event);
        EXPECT_EQ(m_board.GetInteger(QL_ATTR_ROTATE_ANGLE), c.after) << c.event << ' ' << c.before;
        EXPECT_EQ(m_board.Heard(), c.heard) << c.event << ' ' << c.before;
    }
    m_board.SetValue(QL_ATTR_MIRROR, 1);
    m_board.Notify(QL_ATTR_ROTATE_DEFAULT);
    EXPECT_EQ(m_board.GetInteger(QL_ATTR_MIRROR), 0) << "the reset takes the mirror off";
}

}  // namespace
