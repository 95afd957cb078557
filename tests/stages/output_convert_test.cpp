// Every conversion of the output stage, by input type and target layout.

#include "stages/output_convert.h"

#include <gtest/gtest.h>

#include "tests/support/stage_rig.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// What a buffer holds that nothing has been written to.
constexpr std::uint8_t kOld = 0xA5;

struct CConversion {
    QLStatus m_status = QL_OK;
    std::uint32_t m_type = 0;  // of the output
    Bytes m_bytes;             // the whole buffer of `lines` rows
};

// Converts all lines of an input in one read, into a buffer full of kOld. `forcedType` replaces the
// output's pixel type behind open.
CConversion Convert(std::uint32_t type, std::int32_t width, const Bytes& input,
                    std::uint32_t layout, std::uint64_t outputType = 0,
                    std::uint32_t forcedType = 0) {
    QLAttribTree tree;
    CTestProvider board(&tree);
    board.Provide(QL_ATTR_OUTPUT_TYPE, outputType);
    CLineSource source(&tree, type, width, input);
    COutputConvertStage stage(&tree);
    stage.SetUpstream(&source);
    stage.SetTargetLayout(layout);
    EXPECT_EQ(stage.Open(), QL_OK);
    if (forcedType != 0)
        const_cast<QLImageFormat*>(stage.GetOutputFormat())->SetPixelType(forcedType);
    CQLLineBuffer buffer(stage.GetOutputFormat());
    std::int32_t lines = source.Format().m_height;
    EXPECT_TRUE(buffer.Resize(lines));
    const auto size = static_cast<std::size_t>(lines) * static_cast<std::size_t>(buffer.Stride());
    std::fill_n(buffer.Data(), size, kOld);
    CConversion result;
    result.m_status = stage.Read(&lines, &buffer);
    result.m_type = buffer.Format().m_pixelType;
    result.m_bytes.assign(buffer.Data(), buffer.Data() + size);
    stage.Close();
    return result;
}

struct CCase {
    std::vector<std::uint32_t> layouts;
    std::uint32_t outType;
    Bytes expected;
};

void ExpectCases(std::uint32_t type, std::int32_t width, const Bytes& input,
                 const std::vector<CCase>& cases, std::uint32_t forcedType = 0) {
    for (const CCase& c : cases) {
        for (const std::uint32_t layout : c.layouts) {
            const CConversion result = Convert(type, width, input, layout, 0, forcedType);
            EXPECT_EQ(result.m_status, QL_OK);
            EXPECT_EQ(result.m_type, c.outType) << "type " << type << " layout " << layout;
            EXPECT_EQ(result.m_bytes, c.expected) << "type " << type << " layout " << layout;
        }
    }
}

constexpr std::uint8_t X = kOld;

TEST(OutputConvert, ColourIsCutToEightBitsInTheOrderOfTheLayout) {
    // Two lines of three pixels; the low bytes don't count.
    const std::vector<std::uint16_t> lines = {0x11FF, 0x12FF, 0x13FF, 0x21FF, 0x22FF, 0x23FF,
                                              0x31FF, 0x32FF, 0x33FF, 0x4100, 0x4200, 0x4300,
                                              0x5100, 0x5200, 0x5300, 0x6100, 0x6200, 0x6300};
    const std::vector<std::uint16_t> blueFirst = {0x13FF, 0x12FF, 0x11FF, 0x23FF, 0x22FF, 0x21FF,
                                                  0x33FF, 0x32FF, 0x31FF, 0x4300, 0x4200, 0x4100,
                                                  0x5300, 0x5200, 0x5100, 0x6300, 0x6200, 0x6100};
    const Bytes redFirst = {0x11, 0x12, 0x13, 0x21, 0x22, 0x23, 0x31, 0x32, 0x33,
                            0x41, 0x42, 0x43, 0x51, 0x52, 0x53, 0x61, 0x62, 0x63};
    // Where the layout leaves the 16-bit type as it is, the rows of bytes fill half of the room.
    Bytes halfFull(36, X);
    std::copy(redFirst.begin(), redFirst.end(), halfFull.begin());
    ExpectCases(QL_PIXEL_RGB16, 3, BytesOf(lines),
                {{{3}, 3, {0, 0x11, 0x12, 0x13, 0, 0x21, 0x22, 0x23, 0, 0x31, 0x32, 0x33,
                           0, 0x41, 0x42, 0x43, 0, 0x51, 0x52, 0x53, 0, 0x61, 0x62, 0x63}},
                 {{4}, 1, {0x13, 0x12, 0x11, 0x23, 0x22, 0x21, 0x33, 0x32, 0x31, X, X, X,
                           0x43, 0x42, 0x41, 0x53, 0x52, 0x51, 0x63, 0x62, 0x61, X, X, X}},
                 {{8}, 9, BytesOf(lines)},
                 {{10}, 9, BytesOf(blueFirst)},
                 {{5, 6, 7, 9}, 0, redFirst},
                 {{1, 11}, 9, halfFull}});
}

TEST(OutputConvert, GrayIsCutToEightBits) {
    const std::vector<std::uint16_t> lines = {0x12FF, 0x00FF, 0xFFFF, 0x8000, 0x7F80, 0x0100};
    const Bytes packed = {0x12, 0x00, 0xFF, 0x80, 0x7F, 0x01};
    const Bytes halfFull = {0x12, 0x00, 0xFF, 0x80, 0x7F, 0x01, X, X, X, X, X, X};
    ExpectCases(QL_PIXEL_GRAY16, 3, BytesOf(lines),
                {{{3}, 13, {0xED, 0xFF, 0x00, 0xFF, 0x7F, 0x80, 0xFE, 0xFF}},
                 {{4}, 13, {0x12, 0x00, 0xFF, X, 0x80, 0x7F, 0x01, X}},
                 {{8, 10}, 19, BytesOf(lines)},
                 {{5, 6, 7, 9}, 12, packed},
                 {{1, 11}, 19, halfFull}});
}

TEST(OutputConvert, GrayToFourBitsPutsTheLeftPixelHigh) {
    const std::vector<std::uint16_t> odd = {0xF000, 0x1000, 0x8FFF, 0x0FFF, 0x7000, 0xA000};
    ExpectCases(QL_PIXEL_GRAY16, 3, BytesOf(odd),
                {{{3}, 15, {0x0E, 0x70, 0xFF, 0xFF, 0xF8, 0x50, 0xFF, 0xFF}},
                 {{4}, 15, {0xF1, 0x80, X, X, 0x07, 0xA0, X, X}},
                 {{5, 6, 7, 8, 10}, 14, {0xF1, 0x80, 0x07, 0xA0}}},
                QL_PIXEL_4BIT);
    // Padded rows that an unpadded layout fills without a gap.
    ExpectCases(QL_PIXEL_GRAY16, 3, BytesOf(odd), {{{1}, 15, {0xF1, 0x80, 0x07, 0xA0, X, X, X, X}}},
                QL_PIXEL_4BIT_ROWS);
    const std::vector<std::uint16_t> even = {0xF000, 0x1000};
    ExpectCases(QL_PIXEL_GRAY16, 2, BytesOf(even),
                {{{3}, 15, {0x0E, 0xFF, 0xFF, 0xFF}}, {{4}, 15, {0xF1, X, X, X}}}, QL_PIXEL_4BIT);
}

TEST(OutputConvert, IndexAndFourBitRowsArePackedOrPadded) {
    ExpectCases(QL_PIXEL_4BIT, 3, {0x12, 0x30, 0x45, 0x60},
                {{{3, 4}, 15, {0x12, 0x30, X, X, 0x45, 0x60, X, X}},
                 {{5, 6, 7, 8, 10}, 14, {0x12, 0x30, 0x45, 0x60}},
                 {{1, 2, 11}, 14, {X, X, X, X}},
                 {{9}, 12, {X, X, X, X, X, X}}});
    ExpectCases(QL_PIXEL_4BIT_ROWS, 3, {0x12, 0x30, 0x71, 0x72, 0x45, 0x60, 0x73, 0x74},
                {{{3, 4}, 15, {0x12, 0x30, 0x71, 0x72, 0x45, 0x60, 0x73, 0x74}},
                 {{5, 6, 7, 8, 10}, 14, {0x12, 0x30, 0x45, 0x60}},
                 {{2}, 14, {X, X, X, X}},
                 {{9}, 12, {X, X, X, X, X, X}}});
    ExpectCases(QL_PIXEL_INDEX8, 3, {1, 2, 3, 4, 5, 6},
                {{{3, 4}, 23, {1, 2, 3, X, 4, 5, 6, X}},
                 {{5, 6, 7, 8, 10}, 22, {1, 2, 3, 4, 5, 6}},
                 {{1, 2, 11}, 22, Bytes(6, X)},
                 {{9}, 0, Bytes(18, X)}});
    ExpectCases(QL_PIXEL_INDEX8_ROWS, 3, {1, 2, 3, 0x71, 4, 5, 6, 0x72},
                {{{3, 4}, 23, {1, 2, 3, 0x71, 4, 5, 6, 0x72}},
                 {{5, 6, 7, 8, 10}, 22, {1, 2, 3, 4, 5, 6}},
                 {{2}, 23, Bytes(8, X)},
                 {{9}, 0, Bytes(18, X)}});
}

TEST(OutputConvert, BilevelRowsArePackedOrPadded) {
    const Bytes packed = {0xA1, 0x80, 0xB2, 0x00};  // nine pixels a line
    ExpectCases(QL_PIXEL_BILEVEL, 9, packed,
                {{{3}, 25, {0xA1, 0x80, 0, 0, 0xB2, 0x00, 0, 0}},
                 {{4}, 25, {0xA1, 0x80, X, X, 0xB2, 0x00, X, X}},
                 {{5, 6, 7, 8, 10}, 24, packed},
                 {{1, 2, 11}, 24, Bytes(4, X)},
                 {{9}, 12, Bytes(18, X)}});
    ExpectCases(QL_PIXEL_HALFTONE, 9, packed,
                {{{3, 5, 6, 7, 8, 10}, 26, packed},
                 {{4}, 27, {0xA1, 0x80, X, X, 0xB2, 0x00, X, X}},
                 {{1, 2, 11}, 26, Bytes(4, X)},
                 {{9}, 12, Bytes(18, X)}});
}

TEST(OutputConvert, OtherInputTypesAreLeftAlone) {
    ExpectCases(QL_PIXEL_GRAY8, 3, {1, 2, 3}, {{{5}, 12, {X, X, X}}, {{4}, 13, {X, X, X, X}}});
    ExpectCases(QL_PIXEL_RGB16_SWAPPED, 1, Bytes(6, 1), {{{5}, 0, {X, X, X}}});
}

TEST(OutputConvert, DeepLayoutsTakeTheirTypeFromTheOutput) {
    const Bytes line = BytesOf({0x0102, 0x0304, 0x0506});
    EXPECT_EQ(Convert(QL_PIXEL_RGB16, 1, line, 8, 3).m_type, 9u);
    EXPECT_EQ(Convert(QL_PIXEL_GRAY16, 3, line, 8, 3).m_type, 19u) << "one sample is no colour";
    EXPECT_EQ(Convert(QL_PIXEL_BILEVEL, 8, {0xFF}, 10, 2).m_type, 19u);
    EXPECT_EQ(Convert(QL_PIXEL_BILEVEL, 8, {0xFF}, 5, 2).m_type, 24u) << "in deep layouts only";
    // Colour that nobody reduced does not fit into gray rows.
    const CConversion tooMuch = Convert(QL_PIXEL_RGB16, 1, line, 8, 2);
    EXPECT_EQ(tooMuch.m_type, 19u);
    EXPECT_EQ(tooMuch.m_status, QL_ERR_BAD_ARGUMENT);
    EXPECT_EQ(tooMuch.m_bytes, Bytes(2, X));
}

class OutputConvertStage : public testing::Test {
  protected:
    OutputConvertStage() { m_stage.SetUpstream(&m_source); }

    QLAttribTree m_tree;
    CLineSource m_source = GraySource(&m_tree, 2, {0x1000, 0x2000, 0x3000, 0x4000, 0x5000, 0x6000});
    COutputConvertStage m_stage{&m_tree};
};

TEST_F(OutputConvertStage, DeliversTheSameLinesInAnyBlocks) {
    m_stage.SetTargetLayout(QL_LAYOUT_BITMAP_ROWS);
    for (const std::int32_t block : {1, 2, 64}) {
        EXPECT_EQ(RunPass(m_stage, block).m_bytes,
                  (Bytes{0x10, 0x20, 0xFF, 0xFF, 0x30, 0x40, 0xFF, 0xFF, 0x50, 0x60, 0xFF, 0xFF}));
    }
}

TEST_F(OutputConvertStage, AFailureUpstreamLeavesTheBufferUntouched) {
    m_stage.SetTargetLayout(QL_LAYOUT_BITMAP_ROWS);
    ASSERT_EQ(m_stage.Open(), QL_OK);
    CQLLineBuffer buffer(m_stage.GetOutputFormat());
    ASSERT_TRUE(buffer.Resize(2));
    m_source.m_failAtLine = 0;
    std::int32_t lines = 2;
    EXPECT_EQ(m_stage.Read(&lines, &buffer), QL_ERR_SOURCE_READ);
    EXPECT_EQ(Bytes(buffer.Data(), buffer.Data() + 8), Bytes(8, 0xFF));
    m_source.m_failAtLine = -1;
    lines = -1;
    EXPECT_EQ(m_stage.Read(&lines, &buffer), QL_ERR_BAD_ARGUMENT);
    lines = 0;
    EXPECT_EQ(m_stage.Read(&lines, &buffer), QL_OK);
    EXPECT_EQ(lines, 0);
    lines = 3;
    EXPECT_EQ(m_stage.Read(&lines, &buffer), QL_ERR_BAD_ARGUMENT) << "no room for a third line";
}

TEST_F(OutputConvertStage, TheLayoutOutlivesAChangeOfFormat) {
    CQLFilterStage tail(&m_tree);
    tail.SetUpstream(&m_stage);
    m_stage.SetTargetLayout(QL_LAYOUT_BITMAP_ROWS);
    ASSERT_EQ(tail.Open(), QL_OK);
    m_source.Format().SetWidth(5);
    EXPECT_EQ(m_stage.OnFormatChanged(), QL_OK);
    EXPECT_EQ(m_stage.GetOutputFormat()->m_pixelType, 13u);
    EXPECT_EQ(tail.GetOutputFormat()->m_bytesPerLine, 8) << "the sink has heard of it";
}

TEST_F(OutputConvertStage, ColourQueriesComeBackInEightBits) {
    const auto ask = [](COutputConvertStage& stage, QLStatus expected) {
        QLColorQuery query;
        for (std::uint16_t i = 0; i < 12; ++i)
            query.m_words[i] = static_cast<std::uint16_t>(0x0180 + 0x1000 * i);
        EXPECT_EQ(stage.TransformColor(&query), expected);
        return std::vector<std::uint16_t>(query.m_words, query.m_words + 12);
    };
    const std::vector<std::uint16_t> untouched = {0x0180, 0x1180, 0x2180, 0x3180, 0x4180, 0x5180,
                                                  0x6180, 0x7180, 0x8180, 0x9180, 0xA180, 0xB180};
    const std::vector<std::uint16_t> shifted = {0x0180, 0x1180, 0x2180, 0x3180, 0x4180, 0x51,
                                                0x61,   0x71,   0x8180, 0x91,   0xA1,   0xB1};
    for (std::uint32_t layout = 1; layout <= 11; ++layout) {
        m_stage.SetTargetLayout(layout);
        ASSERT_EQ(m_stage.Open(), QL_OK);
        const bool known = layout >= 3 && layout <= 10;
        EXPECT_EQ(ask(m_stage, known), known ? shifted : untouched) << layout;
    }
    m_stage.SetTargetLayout(4);
    m_source.Format().SetLayout(QL_LAYOUT_AS_IS);
    m_source.Format().SetPixelType(QL_PIXEL_GRAY8);
    ASSERT_EQ(m_stage.Open(), QL_OK);
    EXPECT_EQ(ask(m_stage, 0), untouched) << "8-bit samples are no internal colours";
    COutputConvertStage alone(&m_tree);
    EXPECT_EQ(ask(alone, 0), untouched);
}

}  // namespace
