// The conversions at both ends of the internal form, by pixel type and layout.

#include <gtest/gtest.h>

#include "stages/input_convert.h"
#include "stages/output_convert.h"
#include "tests/support/stage_rig.h"
#include "tests/support/tone_support.h"

namespace {

constexpr std::uint8_t X = kOld;

TEST(InputConvert, SamplesBecomeSixteenBitsRedFirst) {
    const Bytes in = {0x01, 0x12, 0x80, 0xFE, 0x40, 0x0F};
    const Samples wide = {0x0100, 0x1200, 0x8000, 0xFE00, 0x4000, 0x0F00};
    const Samples turned = {0x8000, 0x1200, 0x0100, 0x0F00, 0x4000, 0xFE00};
    // Through the inverse of a gamma of 2.2 with a slope of 4 at black.
    const Table curve = HeldGamma(2.2, 4.0);
    const auto decoded = [&](Samples samples) {
        for (std::uint16_t& v : samples)
            v = static_cast<std::uint16_t>(Inverse(curve, v));
        return samples;
    };
    // Lines of one pixel.
    const std::pair<std::vector<std::uint32_t>, Samples> cases[] = {
        {{QL_PIXEL_RGB8, QL_PIXEL_GRAY8}, wide},
        {{QL_PIXEL_BGR8}, turned},
        {{QL_PIXEL_XRGB8}, {0x1200, 0x8000, 0xFE00}},
        {{QL_PIXEL_RGB8_ENCODED, QL_PIXEL_GRAY8_ENCODED}, decoded(wide)},
        {{QL_PIXEL_BGR8_ENCODED}, decoded(turned)},
        {{QL_PIXEL_RGB10_SWAPPED}, {0x4480, 0x3F80, 0x03C0}},
        {{QL_PIXEL_RGB12_SWAPPED}, {0x1120, 0x0FE0, 0x00F0}},
        {{QL_PIXEL_RGB16_SWAPPED, QL_PIXEL_GRAY16_SWAPPED}, {0x0112, 0x80FE, 0x400F}},
        {{QL_PIXEL_RGB12, QL_PIXEL_GRAY12, QL_PIXEL_GRAY12_B}, {0x2010, 0xE800, 0xF400}},
        {{QL_PIXEL_GRAY10}, {0x8040, 0xA000, 0xD000}},
        {{QL_PIXEL_RGB16, QL_PIXEL_GRAY16}, SamplesOf(in)},
        {{QL_PIXEL_BILEVEL, QL_PIXEL_HALFTONE}, SamplesOf(in)},
        // Types without a conversion leave the buffer.
        {{QL_PIXEL_4BIT, QL_PIXEL_INDEX8}, Samples(3, 0xA5A5)}};
    QLAttribTree tree;
    for (const auto& [types, out] : cases) {
        for (const std::uint32_t type : types) {
            CInputConvertStage stage(&tree);
            EXPECT_EQ(SamplesOf(RunLines(stage, type, 1, in).m_bytes), out) << type;
            EXPECT_EQ(stage.GetOutputFormat()->m_layout, QL_LAYOUT_INTERNAL);
        }
    }
    CInputConvertStage stage(&tree);
    EXPECT_EQ(RunLines(stage, QL_PIXEL_BGR8, 500'000'000, {}).m_status, QL_ERR_BAD_ARGUMENT)
        << "3 bytes a pixel fit a 32-bit stride, 6 don't";
}

// ---- Output

struct Case {
    std::vector<std::uint32_t> layouts;
    std::uint32_t outType;
    Bytes expected;
};

void ExpectCases(std::uint32_t type, std::size_t width, const Bytes& input,
                 const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        for (const std::uint32_t layout : c.layouts) {
            QLAttribTree tree;
            COutputConvertStage stage(&tree);
            stage.SetTargetLayout(layout);
            EXPECT_EQ(RunLines(stage, type, width, input).m_bytes, c.expected)
                << "type " << type << " layout " << layout;
            EXPECT_EQ(stage.GetOutputFormat()->m_pixelType, c.outType) << type << ", " << layout;
        }
    }
}

// Two lines each. The low bytes of samples don't count; where a layout leaves the 16-bit type as it
// is, bytes fill half of the room.
TEST(OutputConvert, SamplesAreCutToEightBitsInTheOrderOfTheLayout) {
    const Bytes color = BytesOf({0x11FF, 0x12FF, 0x13FF, 0x4100, 0x4200, 0x4300});
    ExpectCases(QL_PIXEL_RGB16, 1, color,
                {{{3}, 3, {0, 0x11, 0x12, 0x13, 0, 0x41, 0x42, 0x43}},
                 {{4}, 1, {0x13, 0x12, 0x11, X, 0x43, 0x42, 0x41, X}},
                 {{8}, 9, color},
                 {{10}, 9, BytesOf({0x13FF, 0x12FF, 0x11FF, 0x4300, 0x4200, 0x4100})},
                 {{5, 6, 7, 9}, 0, {0x11, 0x12, 0x13, 0x41, 0x42, 0x43}},
                 {{1, 11}, 9, {0x11, 0x12, 0x13, 0x41, 0x42, 0x43, X, X, X, X, X, X}}});
    const Bytes gray = BytesOf({0x12FF, 0x00FF, 0xFFFF, 0x8000, 0x7F80, 0x0100});
    ExpectCases(QL_PIXEL_GRAY16, 3, gray,
                {{{3}, 13, {0xED, 0xFF, 0x00, 0xFF, 0x7F, 0x80, 0xFE, 0xFF}},
                 {{4}, 13, {0x12, 0x00, 0xFF, X, 0x80, 0x7F, 0x01, X}},
                 {{8, 10}, 19, gray},
                 {{5, 6, 7, 9}, 12, {0x12, 0x00, 0xFF, 0x80, 0x7F, 0x01}},
                 {{1, 11}, 19, {0x12, 0x00, 0xFF, 0x80, 0x7F, 0x01, X, X, X, X, X, X}}});
}

TEST(OutputConvert, RowsArePackedOrPadded) {
    ExpectCases(QL_PIXEL_4BIT, 3, {0x12, 0x30, 0x45, 0x60},
                {{{3, 4}, 15, {0x12, 0x30, X, X, 0x45, 0x60, X, X}},
                 {{5, 6, 7, 8, 10}, 14, {0x12, 0x30, 0x45, 0x60}},
                 {{9}, 12, Bytes(6, X)}});
    ExpectCases(QL_PIXEL_INDEX8, 3, {1, 2, 3, 4, 5, 6},
                {{{3, 4}, 23, {1, 2, 3, X, 4, 5, 6, X}},
                 {{5, 6, 7, 8, 10}, 22, {1, 2, 3, 4, 5, 6}},
                 {{1, 2, 11}, 22, Bytes(6, X)}});
    ExpectCases(QL_PIXEL_BILEVEL, 9, {0xA1, 0x80, 0xB2, 0x00},
                {{{3}, 25, {0xA1, 0x80, 0, 0, 0xB2, 0x00, 0, 0}},
                 {{4}, 25, {0xA1, 0x80, X, X, 0xB2, 0x00, X, X}},
                 {{5, 6, 7, 8, 10}, 24, {0xA1, 0x80, 0xB2, 0x00}},
                 {{1, 2, 11}, 24, Bytes(4, X)}});
}

TEST(OutputConvert, DeepLayoutsTakeTheirTypeFromTheOutput) {
    // Input type, its width, layout, output type; the status and the type that follows. Colour that
    // nobody reduced does not fit into gray rows.
    // clang-format off
    constexpr std::uint32_t kCases[][6] = {{9, 1, 8, 3, 0, 9}, {19, 3, 8, 3, 0, 19},
            {24, 48, 10, 2, 0, 19}, {24, 48, 5, 2, 0, 24}, {9, 1, 8, 2, 22, 19}};
    // clang-format on
    for (const auto& [type, width, layout, output, status, outType] : kCases) {
        QLAttribTree tree;
        CTestBoard board(&tree);
        COutputConvertStage stage(&tree);
        board.Put(QL_ATTR_OUTPUT_TYPE, output);
        stage.SetTargetLayout(layout);
        const CPass pass = RunLines(stage, type, width, Bytes(6, 1), QL_LAYOUT_AS_IS, 1);
        EXPECT_EQ(pass.m_status, static_cast<QLStatus>(status)) << type << ", " << layout;
        EXPECT_EQ(stage.GetOutputFormat()->m_pixelType, outType) << type << ", " << layout;
    }
}

}  // namespace
