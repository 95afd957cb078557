// What stands at the end of the chain: data type, inversion, bitmap header and sink; and the holder
// of the values that decide its shape.

#include <gtest/gtest.h>

#include <memory>

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
    m_board.SetValue(QL_ATTR_OUTPUT_TYPE, 2);
    EXPECT_EQ(RunGray(stage, color), color);
    EXPECT_EQ(RunLines(stage, QL_PIXEL_BGR8, 1, {1, 2, 3}).m_bytes, (Bytes{1, 2, 3}));
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
        EXPECT_EQ(AskColor(stage, {0, 0x1234, 0x00FF}), expected);
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

TEST_F(ChainEnds, ThePaletteIsInvertedAndComesBack) {
    const auto palette = std::make_unique<QLPaletteTable>();
    palette->m_count = 1;
    palette->m_entries[0] = {7, {0, 100, 255}};
    m_board.Put(QL_ATTR_OUTPUT_TYPE, 4);
    CInvertStage stage(&m_tree);
    m_board.Hear({QL_ATTR_PALETTE_CHANGED});
    CLineSource source(&m_tree, QL_PIXEL_INDEX8, 2, {0, 1});
    source.Format().m_palette = palette.get();
    stage.SetUpstream(&source);
    m_board.SetValue(QL_ATTR_INVERT, 1);
    EXPECT_EQ(RunPass(stage).m_bytes, (Bytes{0, 1})) << "indices stay";
    EXPECT_EQ(m_board.Heard().size(), 1u);
    const QLPaletteTable* inverted = stage.GetOutputFormat()->m_palette;
    EXPECT_EQ(Samples(inverted->m_entries[0].m_colors, inverted->m_entries[0].m_colors + 3),
              (Samples{255, 155, 0}));
    EXPECT_EQ(palette->m_entries[0].m_colors[0], 0) << "the input's own is untouched";
    m_board.SetValue(QL_ATTR_INVERT, 0);
    EXPECT_EQ(m_board.Heard().size(), 1u);
    EXPECT_EQ(stage.GetOutputFormat()->m_palette, palette.get()) << "before the next open";
    m_board.SetValue(QL_ATTR_INVERT, 1);
    m_board.Put(QL_ATTR_OUTPUT_TYPE, 3);
    RunPass(stage);
    EXPECT_EQ(stage.GetOutputFormat()->m_palette, palette.get()) << "indexed output only";
}

// ---- Bitmap and sink

TEST(Bitmap, HeaderAndColoursFollowFromThePixelType) {
    // Type, entries of the table, bits a pixel, bytes of 9 x 5 pixels in rows of whole 4 bytes,
    // colours used.
    constexpr std::uint32_t kCases[][5] = {
        {1, 0, 24, 140, 0},    {9, 0, 48, 280, 0},    {19, 0, 16, 100, 0},   {12, 0, 8, 60, 256},
        {13, 256, 8, 60, 256}, {22, 256, 8, 60, 256}, {23, 256, 8, 60, 256}, {14, 16, 4, 40, 16},
        {15, 16, 4, 40, 16},   {24, 0, 1, 20, 2},     {25, 2, 1, 20, 2},     {26, 2, 1, 20, 2},
        {27, 2, 1, 20, 2}};
    for (const auto& [type, table, bits, size, used] : kCases) {
        QLImageFormat format;
        format.SetPixelType(type);
        format.SetWidth(9);
        format.SetHeight(5);
        format.m_xResolution = type == 13 ? 72 : 300;  // 2834.64
        format.m_yResolution = 100;                    // across counts for both
        auto palette = std::make_unique<QLPaletteTable>();
        palette->m_count = type == 22 ? 0xFFFF : 2;
        palette->m_entries[1] = {0, {0x01FF, 20, 30}};
        palette->m_entries[2] = {0, {9, 9, 9}};
        format.m_palette = type >= 22 ? palette.get() : nullptr;
        CQLBitmap bitmap;
        bitmap.Build(format);
        const BITMAPINFOHEADER& h = bitmap.Header();
        const std::int32_t pels = type == 13 ? 2835 : 11811;
        EXPECT_EQ((Ids{h.biWidth, h.biHeight, h.biPlanes, h.biXPelsPerMeter, h.biYPelsPerMeter}),
                  (Ids{9, 5, 1, pels, pels}));
        EXPECT_EQ((std::vector<DWORD>{h.biSize, h.biBitCount, h.biCompression, h.biSizeImage,
                                      h.biClrUsed, h.biClrImportant}),
                  (std::vector<DWORD>{40, bits, 0, size, used, used}))
            << "type " << type;
        ASSERT_EQ(bitmap.ColorTable().size(), table) << "type " << type;
        // The red of entry 1, of black and white, the palette (its low bytes) or a ramp, and of
        // entry 2, which may lie behind the palette's count.
        const auto red = [&](std::size_t i) { return bitmap.ColorTable()[i].rgbRed; };
        const bool indexed = type == 22 || type == 23;
        EXPECT_TRUE(table == 0 || red(1) == (table == 2 || indexed ? 255 : table == 16 ? 17 : 1));
        EXPECT_TRUE(!indexed || red(2) == (type == 22 ? 9 : 0)) << type;
        EXPECT_TRUE(!indexed || bitmap.ColorTable()[1].rgbBlue == 30) << type;
    }
}

TEST_F(ChainEnds, TheSinkPublishesHeaderAndBands) {
    CLineSource source(&m_tree, QL_PIXEL_GRAY8_ROWS, 5, Bytes(8 * 6, 1));
    source.m_mostLines = 4;
    CBandSinkStage sink(&m_tree);
    sink.SetUpstream(&source);
    m_board.Hear({QL_ATTR_TAP_HEADER, QL_ATTR_TAP_BAND, QL_ATTR_TAP_RECT});
    for (int pass = 0; pass < 2; ++pass) {
        ASSERT_EQ(sink.Open(), QL_OK);
        EXPECT_EQ(m_board.Heard(), (Ids{QL_ATTR_TAP_HEADER}));
        EXPECT_EQ(m_board.GetValue(QL_ATTR_TAP_ON), 1u);
        const auto* bitmap = WordPointer<CQLBitmap>(m_board.GetValue(QL_ATTR_TAP_HEADER));
        EXPECT_EQ(bitmap->Header().biHeight, 6);
        CQLLineBuffer buffer(sink.GetOutputFormat());
        ASSERT_TRUE(buffer.Resize(64));
        for (const auto& [top, end] : {std::pair{0, 4}, {4, 6}, {6, 6}}) {
            std::int32_t lines = 64;
            EXPECT_EQ(sink.Read(&lines, &buffer), QL_OK);
            EXPECT_EQ(m_board.Heard(), (Ids{QL_ATTR_TAP_BAND}));
            QLRect r;
            m_board.GetRect(QL_ATTR_TAP_RECT, &r);
            EXPECT_EQ((Ids{r.top, r.left, r.bottom, r.right}), (Ids{top, 0, end, 5}));
            EXPECT_EQ(WordPointer<CQLLineBuffer>(m_board.GetValue(QL_ATTR_TAP_BAND)), &buffer);
        }
        EXPECT_EQ(sink.Close(), QL_OK);
    }
}

// ---- Source control

TEST_F(ChainEnds, SourceControlHoldsWhatDecidesTheChain) {
    for (const QLAttribInfo& info : AttribTable())
        m_board.Subscribe(info.m_id);
    CSourceControlStage stage(&m_tree);
    const Ids own = m_board.Heard();
    EXPECT_EQ(own, (Ids{20036, 20057, 20035, 20038, 20179, 20221, 20049})) << "in its order";
    for (const std::int32_t id : {QL_ATTR_AUTO_TONE, QL_ATTR_AUTO_COLOR}) {
        for (const bool fired : {false, true}) {
            fired ? m_board.Notify(id) : static_cast<void>(m_board.SetValue(id, 0));
            EXPECT_EQ(m_board.GetValue(id), 1u) << "whatever is written";
            EXPECT_EQ(m_board.GetValue(QL_ATTR_AUTO_TONE) + m_board.GetValue(QL_ATTR_AUTO_COLOR),
                      1u);
            stage.Close();
            EXPECT_EQ(m_board.GetValue(id), 0u) << "a request holds for one pass";
        }
    }
    // What is written, what stands then, and what the write announced besides itself.
    constexpr std::int32_t kStart = QL_ATTR_CMD_START, kCurve = QL_ATTR_CURVE_SELECT;
    constexpr struct {
        std::int32_t id, written, stands, announced;
    } kCases[] = {{QL_ATTR_TMA, 0, 0, 0},           {QL_ATTR_TMA, 1, 1, kStart},
                  {QL_ATTR_TMA, 1, 1, 0},           {QL_ATTR_TMA, 0, 0, kStart},
                  {QL_ATTR_TMA, 7, 1, 0},           {QL_ATTR_NEGATIVE, 0x100, 0, 0},
                  {QL_ATTR_NEGATIVE, 1, 1, kStart}, {QL_ATTR_NEGATIVE, 0x101, 1, 0},
                  {QL_ATTR_NEGATIVE, 0, 0, kStart}, {kCurve, 0, 0, 0},
                  {kCurve, 1, 1, kCurve},           {kCurve, 1, 1, 0},
                  {QL_ATTR_HISTOGRAM_ON, 1, 1, 0},  {QL_ATTR_HISTOGRAM_ON, 0x100, 0, 0}};
    for (const auto& c : kCases) {
        m_board.Heard();
        m_board.SetValue(c.id, IntegerWord(c.written));
        EXPECT_EQ(m_board.GetInteger(c.id), c.stands) << c.id << " of " << c.written;
        EXPECT_EQ(m_board.Heard(), c.announced ? (Ids{c.announced, c.id}) : Ids{c.id}) << c.id;
    }
    QLRect rect{1, 2, 3, 4};
    m_board.SetValue(QL_ATTR_ANALYSIS_RECT, PointerWord(&rect));
    rect.right = 99;
    const auto* copy = WordPointer<const QLRect>(m_board.GetValue(QL_ATTR_ANALYSIS_RECT));
    m_board.SetValue(QL_ATTR_ANALYSIS_RECT, 0);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_ANALYSIS_RECT), 0u);
    EXPECT_EQ(copy->right, 4) << "switched off, not cleared";
}

}  // namespace
