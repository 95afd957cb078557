// What stands at the end of the chain: data type, inversion, bitmap header and sink; and the holder
// of the values that decide its shape.

#include <gtest/gtest.h>

#include "stages/band_sink.h"
#include "stages/invert.h"
#include "stages/output_format.h"
#include "stages/source_control.h"
#include "tests/support/stage_rig.h"

namespace {

class ChainEnds : public testing::Test {
  protected:
    QLAttribTree m_tree;
    CTestBoard m_board{&m_tree};
};

TEST_F(ChainEnds, OutputTypeAndDepthOfTheSourceGiveThePixelType) {
    // By output type: high depth of sources of 16 bits or more, 12 to 15, fewer; and without it.
    constexpr std::uint32_t kTypes[5][4] = {
        {12, 12, 12, 12}, {12, 12, 12, 12}, {19, 17, 16, 12}, {9, 7, 4, 0}, {9, 7, 4, 0}};
    COutputFormatStage stage(&m_tree);
    const Samples color = {1, 2, 3, 4, 5, 6};
    for (std::uint64_t type = 0; type < 5; ++type) {
        for (const auto& [bits, column] : {std::pair{16, 0}, {15, 1}, {12, 1}, {11, 2}}) {
            for (const bool deep : {false, true}) {
                m_board.SetValue(QL_ATTR_OUTPUT_TYPE, type);
                m_board.Put(QL_ATTR_SOURCE_BITS, IntegerWord(bits));
                m_board.Put(QL_ATTR_HIGH_DEPTH_OUTPUT, deep);
                EXPECT_EQ(RunColor(stage, color), type < 3 ? (Samples{2, 5}) : color) << "green";
                EXPECT_EQ(stage.OutType(), kTypes[type][deep ? column : 3])
                    << type << " of " << bits;
            }
        }
    }
}

// ---- Inversion

TEST_F(ChainEnds, InvertsWhenSwitchAndPolarityAgree) {
    CInvertStage stage(&m_tree);
    for (const auto& [invert, polarity] : {std::pair{0, 0}, {0, 8}, {8, 0}, {8, 8}}) {
        m_board.SetValue(QL_ATTR_INVERT, static_cast<std::uint64_t>(invert));
        m_board.SetValue(QL_ATTR_INVERT_B, static_cast<std::uint64_t>(polarity));
        const bool turned = invert == polarity;
        const Samples expected =
            turned ? Samples{0xFFFF, 0xEDCB, 0xFF00} : Samples{0, 0x1234, 0x00FF};
        EXPECT_EQ(RunGray(stage, {0, 0x1234, 0x00FF}), expected);
        EXPECT_EQ(stage.GetOutputFormat()->m_normalPolarity, polarity != 0);
    }
    const Bytes bytes = {0x00, 0x80, 0x55, 0xFF, 0x12, 0x34};
    const Bytes turned = {0xFF, 0x7F, 0xAA, 0x00, 0xED, 0xCB};
    // One line of six bytes each; bits and nibbles with their padding. The last six types are none
    // that it knows.
    // clang-format off
    for (const auto& [type, width] : {std::pair{0u, 2u}, {9, 1}, {12, 6}, {14, 11}, {19, 3},
            {24, 41}, {26, 41}, {2, 2}, {11, 1}, {20, 3}, {21, 6}, {22, 6}, {13, 3}}) {
        // clang-format on
        const bool known = (1u << type & 0x5085201) != 0;
        EXPECT_EQ(RunLines(stage, type, width, bytes).m_bytes.front(), known ? 0xFF : 0) << type;
        EXPECT_TRUE(!known || RunLines(stage, type, width, bytes).m_bytes == turned) << type;
    }
}

// ---- Bitmap and sink

TEST(Bitmap, HeaderAndColoursFollowFromThePixelType) {
    // Type, entries of the table, the red of the second one, bits a pixel, bytes of 9 x 5 pixels in
    // rows of whole 4 bytes, colours used. Indexed types take the low bytes of the palette.
    constexpr std::uint32_t kCases[][6] = {
        {1, 0, 0, 24, 140, 0},   {9, 0, 0, 48, 280, 0},      {19, 0, 0, 16, 100, 0},
        {12, 0, 0, 8, 60, 256},  {13, 256, 1, 8, 60, 256},   {22, 256, 250, 8, 60, 256},
        {15, 16, 17, 4, 40, 16}, {23, 256, 250, 8, 60, 256}, {24, 0, 0, 1, 20, 2},
        {25, 2, 255, 1, 20, 2},  {27, 2, 255, 1, 20, 2}};
    QLPaletteTable palette = {};
    palette.m_entries[1] = {0, {0x01FA, 20, 30}};
    for (const auto& [type, table, red, bits, size, used] : kCases) {
        palette.m_count = type == 22 ? 0xFFFF : 2;
        QLImageFormat format;
        format.SetPixelType(type);
        format.SetWidth(9);
        format.SetHeight(5);
        format.m_xResolution = 72;  // 2834.64 a metre
        format.m_palette = type == 22 || type == 23 ? &palette : nullptr;
        CQLBitmap bitmap;
        bitmap.Build(format);
        const BITMAPINFOHEADER& h = bitmap.Header();
        EXPECT_EQ((Ids{h.biWidth, h.biHeight, h.biPlanes, h.biXPelsPerMeter}),
                  (Ids{9, 5, 1, 2835}));
        EXPECT_EQ((std::vector<DWORD>{h.biSize, h.biBitCount, h.biSizeImage, h.biClrUsed,
                                      h.biClrImportant}),
                  (std::vector<DWORD>{40, bits, size, used, used}))
            << "type " << type;
        ASSERT_EQ(bitmap.ColorTable().size(), table) << "type " << type;
        EXPECT_TRUE(table == 0 || bitmap.ColorTable()[1].rgbRed == red) << type;
    }
}

TEST_F(ChainEnds, TheSinkPublishesHeaderAndBands) {
    CLineSource source(&m_tree, QL_PIXEL_GRAY8_ROWS, 5, Bytes(8 * 6, 1));
    source.m_mostLines = 4;
    CBandSinkStage sink(&m_tree);
    sink.SetUpstream(&source);
    m_board.Hear({QL_ATTR_TAP_HEADER, QL_ATTR_TAP_BAND});
    for (int pass = 0; pass < 2; ++pass) {
        ASSERT_EQ(sink.Open(), QL_OK);
        EXPECT_EQ(m_board.Heard(), (Ids{QL_ATTR_TAP_HEADER}));
        CQLLineBuffer buffer(sink.GetOutputFormat());
        ASSERT_TRUE(buffer.Resize(64));
        for (const auto& [top, end] : {std::pair{0, 4}, {4, 6}, {6, 6}}) {
            std::int32_t lines = 64;
            EXPECT_EQ(sink.Read(&lines, &buffer), QL_OK);
            EXPECT_EQ(m_board.Heard(), (Ids{QL_ATTR_TAP_BAND}));
            QLRect r;
            m_board.GetRect(QL_ATTR_TAP_RECT, &r);
            EXPECT_EQ((Ids{r.top, r.left, r.bottom, r.right}), (Ids{top, 0, end, 5}));
        }
        EXPECT_EQ(sink.Close(), QL_OK);
    }
}

// ---- Source control

TEST_F(ChainEnds, SourceControlHoldsWhatDecidesTheChain) {
    CSourceControlStage stage(&m_tree);
    for (const std::int32_t id : {QL_ATTR_AUTO_TONE, QL_ATTR_AUTO_COLOR}) {
        m_board.SetValue(id, 0);
        EXPECT_EQ(m_board.GetValue(id), 1u) << "whatever is written";
        EXPECT_EQ(m_board.GetValue(QL_ATTR_AUTO_TONE) + m_board.GetValue(QL_ATTR_AUTO_COLOR), 1u);
        stage.Close();
        EXPECT_EQ(m_board.GetValue(id), 0u) << "a request holds for one pass";
    }
    // What is written, what stands then, and what the write announced besides itself.
    constexpr std::int32_t kStart = QL_ATTR_CMD_START, kCurve = QL_ATTR_CURVE_SELECT;
    m_board.Hear({kStart, QL_ATTR_TMA, QL_ATTR_NEGATIVE, kCurve});
    // clang-format off
    constexpr std::int32_t kCases[][4] = {
        {QL_ATTR_TMA, 0, 0, 0}, {QL_ATTR_TMA, 1, 1, kStart}, {QL_ATTR_TMA, 1, 1, 0},
        {QL_ATTR_TMA, 0, 0, kStart}, {QL_ATTR_TMA, 7, 1, 0}, {QL_ATTR_NEGATIVE, 0x100, 0, 0},
        {QL_ATTR_NEGATIVE, 1, 1, kStart}, {QL_ATTR_NEGATIVE, 0x101, 1, 0}, {kCurve, 0, 0, 0},
        {kCurve, 1, 1, kCurve}, {kCurve, 1, 1, 0}};
    // clang-format on
    for (const auto& [id, written, stands, announced] : kCases) {
        m_board.SetValue(id, IntegerWord(written));
        EXPECT_EQ(m_board.GetInteger(id), stands) << id << " of " << written;
        EXPECT_EQ(m_board.Heard(), announced ? (Ids{announced, id}) : Ids{id}) << id;
    }
}

}  // namespace
