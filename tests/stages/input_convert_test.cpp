// Input conversion: what becomes of each pixel type, and the life of the stage.

#include "stages/input_convert.h"

#include <gtest/gtest.h>

#include "tests/support/stage_rig.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::uint16_t>;

TEST(InputConvert, SamplesBecomeSixteenBitsRedFirst) {
    struct Case {
        std::uint32_t type;
        std::int32_t width;
        Bytes in;
        std::uint32_t outType;
        Samples out;
    };
    constexpr std::uint32_t kColor = QL_PIXEL_RGB16;
    constexpr std::uint32_t kGray = QL_PIXEL_GRAY16;
    const Case cases[] = {
        {QL_PIXEL_BGR8, 2, {1, 2, 3, 255, 128, 0}, kColor, {768, 512, 256, 0, 32768, 65280}},
        {QL_PIXEL_XRGB8, 1, {9, 1, 2, 255}, kColor, {256, 512, 65280}},
        {QL_PIXEL_RGB10_SWAPPED, 1, {1, 2, 3, 255, 0, 1}, kColor, {0x4080, 0xFFC0, 64}},
        {QL_PIXEL_RGB12, 1, {255, 15, 2, 1, 1, 0}, kColor, {0xFFF0, 0x1020, 16}},
        {QL_PIXEL_GRAY16_SWAPPED, 2, {1, 2, 255, 254}, kGray, {0x0102, 0xFFFE}},
        {QL_PIXEL_GRAY8, 3, {0x80, 255, 0}, kGray, {0x8000, 65280, 0}},
        // Through the inverse of a gamma of 2.2 with a slope of 4 at black: 256 comes from 64, 4096
        // from 1024, and 65535 * (32768 / 65535)^2.2 is 14264.
        {QL_PIXEL_GRAY8_ENCODED, 4, {0, 1, 16, 128}, kGray, {0, 64, 1024, 14264}},
        {QL_PIXEL_BGR8_ENCODED, 1, {1, 16, 128}, kColor, {14264, 1024, 64}},
        {QL_PIXEL_BILEVEL, 16, {0xA5, 0x0F}, QL_PIXEL_BILEVEL, {0x0FA5}},
        {QL_PIXEL_HALFTONE, 16, {0xA5, 0x0F}, QL_PIXEL_HALFTONE, {0x0FA5}},
    };
    QLAttribTree tree;
    for (const Case& c : cases) {
        CLineSource source(&tree, c.type, c.width, c.in);
        CInputConvertStage stage(&tree);
        EXPECT_EQ(RunPass(source, stage).Samples(), c.out) << "type " << c.type;
        EXPECT_EQ(stage.GetOutputFormat()->m_pixelType, c.outType) << "type " << c.type;
        EXPECT_EQ(stage.GetOutputFormat()->m_layout, QL_LAYOUT_INTERNAL);
    }
}

TEST(InputConvert, TypesWithoutAConversionLeaveTheBuffer) {
    QLAttribTree tree;
    for (const std::uint32_t type :
         {QL_PIXEL_BGR8_ROWS, QL_PIXEL_GRAY8_ROWS, QL_PIXEL_4BIT, QL_PIXEL_4BIT_ROWS,
          QL_PIXEL_INDEX8, QL_PIXEL_INDEX8_ROWS, QL_PIXEL_BILEVEL_ROWS, QL_PIXEL_HALFTONE_ROWS}) {
        CLineSource source(&tree, type, 4, Bytes(24, 7));
        CInputConvertStage stage(&tree);
        for (const std::uint8_t byte : RunPass(source, stage).m_bytes)
            ASSERT_EQ(byte, 0xFF) << "type " << type;
    }
}

TEST(InputConvert, LinesArriveInAnyBlocksAndAreCounted) {
    QLAttribTree tree;
    Bytes bytes;
    Samples expected;
    for (int i = 0; i < 7 * 3; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(i));
        expected.push_back(static_cast<std::uint16_t>(256 * i));
    }
    CLineSource source(&tree, QL_PIXEL_GRAY8, 3, bytes);
    CInputConvertStage stage(&tree);
    for (const std::int32_t block : {1, 2, 4, 64}) {
        EXPECT_EQ(RunPass(source, stage, block).Samples(), expected) << block;
    }
    source.m_mostLines = 2;
    EXPECT_EQ(RunPass(source, stage, 5).Samples(), expected) << "fewer than asked for";
}

TEST(InputConvert, FailuresConvertNothing) {
    QLAttribTree tree;
    CLineSource source(&tree, QL_PIXEL_GRAY8, 2, {1, 2, 3, 4, 5, 6});
    CInputConvertStage stage(&tree);
    source.m_failAtLine = 2;
    const CPass pass = RunPass(source, stage, 2);
    EXPECT_EQ(pass.m_read, QL_ERR_SOURCE_READ);
    EXPECT_EQ(pass.Samples(), (Samples{256, 512, 768, 1024}));
    source.m_failAtLine = -1;
    ASSERT_EQ(stage.Open(), QL_OK);
    std::int32_t lines = -1;
    EXPECT_EQ(stage.Read(&lines, nullptr), QL_ERR_BAD_ARGUMENT);
    lines = 1;
    EXPECT_EQ(stage.Read(&lines, nullptr), QL_OK) << "nowhere to convert to";
    lines = 0;
    CQLLineBuffer buffer(stage.GetOutputFormat());
    EXPECT_EQ(stage.Read(&lines, &buffer), QL_OK);
    stage.Close();

    // 3 bytes a pixel fit a 32-bit stride, 6 don't.
    CLineSource wide(&tree, QL_PIXEL_BGR8, 500'000'000, {});
    stage.SetUpstream(&wide);
    stage.Open();
    lines = 1;
    EXPECT_EQ(stage.Read(&lines, &buffer), QL_ERR_BAD_ARGUMENT);
}

TEST(InputConvert, AFormatChangeIsTakenOverInTheInternalForm) {
    QLAttribTree tree;
    CLineSource source(&tree, QL_PIXEL_BGR8, 2, {1, 2, 3, 4, 5, 6});
    CInputConvertStage stage(&tree);
    CInputConvertStage next(&tree);
    stage.SetUpstream(&source);
    next.SetUpstream(&stage);
    ASSERT_EQ(next.Open(), QL_OK);
    source.Format().SetPixelType(QL_PIXEL_GRAY8);
    source.Format().SetWidth(6);
    EXPECT_EQ(stage.OnFormatChanged(), QL_OK);
    for (CQLStage* changed : {&stage, &next}) {
        EXPECT_EQ(changed->GetOutputFormat()->m_pixelType, std::uint32_t{QL_PIXEL_GRAY16});
        EXPECT_EQ(changed->GetOutputFormat()->m_width, 6);
    }
}

}  // namespace
