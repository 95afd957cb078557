// Decoding at the head of the chain; data type, inversion and sink at its end.

#include "stages/encoded_input.h"
#include "stages/band_sink.h"
#include "stages/invert.h"
#include "stages/output_format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "tests/support/stage_rig.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Log = std::vector<std::string>;
using Samples = std::vector<std::uint16_t>;

class ChainEnds : public testing::Test {
  protected:
    QLAttribTree m_tree;
    Log m_log;
    CTestProvider m_board{&m_tree};
    CTestListener m_ear{&m_tree, &m_log, ""};
};

// ---- Encoded input

class EncodedInput : public ChainEnds {
  protected:
    EncodedInput() { m_board.Provide(QL_ATTR_SRGB_OUTPUT, 0); }

    // All 256 values through the stage, as gray of a type.
    Samples Decode(CEncodedInputStage& stage, bool srgb,
                   std::uint32_t type = QL_PIXEL_GRAY8_ENCODED) {
        m_board.SetValue(QL_ATTR_SRGB_OUTPUT, srgb);
        Bytes values(256);
        for (std::size_t i = 0; i < 256; ++i)
            values[i] = static_cast<std::uint8_t>(i);
        CLineSource source(&m_tree, type, 16, values);
        const CPass pass = RunPass(source, stage);
        stage.SetUpstream(nullptr);
        return pass.Samples();
    }
};

TEST_F(EncodedInput, UndoesSrgbExactly) {
    // The curve as the formula has it, break point 0.00304, rounded.
    const auto encode = [](int code) {
        const double x = code / 65535.0;
        const double y = x <= 0.00304 ? 12.92 * x : 1.055 * std::pow(x, 0.4166666666666667) - 0.055;
        return static_cast<int>(std::min(y, 1.0) * 65535.0 + 0.5);
    };
    CEncodedInputStage stage(&m_tree);
    const Samples decoded = Decode(stage, true);
    ASSERT_EQ(decoded.size(), 256u);
    EXPECT_EQ(decoded[0], 0);
    for (int s = 1; s < 256; ++s) {
        // The input whose code is s x 256, or the first one beyond it.
        const int x = decoded[static_cast<std::size_t>(s)];
        EXPECT_GE(encode(x), s * 256) << s;
        EXPECT_LE(encode(x - 1), s * 256) << s;
    }
}

TEST_F(EncodedInput, UndoesGammaWithItsSlopeHeldNearBlack) {
    CEncodedInputStage stage(&m_tree);
    const Samples decoded = Decode(stage, false);
    EXPECT_EQ(decoded[0], 0);
    // A slope of 4 holds up to where x^(1/2.2) / x falls to it: x = 4^(-11/6), code 5160 for 80.6.
    for (int s = 1; s <= 80; ++s)
        EXPECT_NEAR(decoded[static_cast<std::size_t>(s)], 64 * s, 1) << s;
    for (int s = 82; s < 256; ++s) {
        EXPECT_NEAR(decoded[static_cast<std::size_t>(s)], 65535 * std::pow(s * 256 / 65535.0, 2.2),
                    4)
            << s;
    }
}

TEST_F(EncodedInput, AChangeOfTheEncodingLeavesNothingOfTheOneBefore) {
    CEncodedInputStage srgb(&m_tree), gamma(&m_tree), both(&m_tree);
    const Samples srgbOnly = Decode(srgb, true);
    const Samples gammaOnly = Decode(gamma, false);
    EXPECT_NE(srgbOnly, gammaOnly);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(Decode(both, true), srgbOnly);
        EXPECT_EQ(Decode(both, false), gammaOnly);
        EXPECT_EQ(Decode(both, false), gammaOnly) << "unchanged";
    }
}

TEST_F(EncodedInput, ColourIsDecodedInItsOwnOrderAndLinearInputOnlyWidened) {
    CEncodedInputStage stage(&m_tree);
    const Samples table = Decode(stage, true);
    const auto colour = [&](std::uint32_t type) {
        CLineSource source(&m_tree, type, 1, {10, 20, 30});
        const CPass pass = RunPass(source, stage);
        stage.SetUpstream(nullptr);
        return pass.Samples();
    };
    EXPECT_EQ(colour(QL_PIXEL_RGB8_ENCODED), (Samples{table[10], table[20], table[30]}));
    EXPECT_EQ(colour(QL_PIXEL_BGR8_ENCODED), (Samples{table[30], table[20], table[10]}));
    EXPECT_EQ(colour(QL_PIXEL_BGR8), (Samples{0x1E00, 0x1400, 0x0A00}));
    EXPECT_EQ(stage.GetOutputFormat()->m_layout, 2u);
    EXPECT_EQ(stage.GetOutputFormat()->m_pixelType, 9u);
    EXPECT_EQ(Decode(stage, true, QL_PIXEL_GRAY8)[255], 0xFF00);
}

// ---- Output format

TEST_F(ChainEnds, OutputTypeAndDepthOfTheSourceGiveThePixelType) {
    // Columns: sources of 16 bits or more, 12 to 15, fewer; with high depth and without.
    constexpr struct {
        std::int32_t dataType;
        std::uint32_t deep[3], plain;
    } kRows[] = {{0, {12, 12, 12}, 12},
                 {1, {12, 12, 12}, 12},
                 {2, {19, 17, 16}, 12},
                 {3, {9, 7, 4}, 0},
                 {4, {9, 7, 4}, 0}};
    constexpr std::pair<std::uint64_t, int> kDepths[] = {{16, 0}, {20, 0}, {15, 1}, {12, 1},
                                                         {11, 2}, {8, 2},  {0, 2}};
    m_board.Provide(QL_ATTR_SOURCE_BITS, 0);
    m_board.Provide(QL_ATTR_HIGH_DEPTH_OUTPUT, 0);
    COutputFormatStage stage(&m_tree);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_OUTPUT_TYPE), 3u) << "colour at first";
    for (const auto& row : kRows) {
        m_board.SetValue(QL_ATTR_OUTPUT_TYPE, IntegerWord(row.dataType));
        for (const auto& [bits, column] : kDepths) {
            m_board.SetValue(QL_ATTR_SOURCE_BITS, bits);
            m_board.SetValue(QL_ATTR_HIGH_DEPTH_OUTPUT, 0);
            EXPECT_EQ(stage.OutType(), row.plain) << row.dataType << " of " << bits;
            m_board.SetValue(QL_ATTR_HIGH_DEPTH_OUTPUT, 1);
            EXPECT_EQ(stage.OutType(), row.deep[column]) << row.dataType << " of " << bits;
        }
    }
    m_board.SetValue(QL_ATTR_OUTPUT_TYPE, 2);
    stage.Open();
    EXPECT_EQ(stage.OutType(), 16u) << "an open looks, too";
    for (const std::int32_t unknown : {-1, 5}) {
        m_board.SetValue(QL_ATTR_OUTPUT_TYPE, IntegerWord(unknown));
        EXPECT_EQ(m_board.GetValue(QL_ATTR_OUTPUT_TYPE), IntegerWord(unknown));
        stage.Open();
        EXPECT_EQ(stage.OutType(), 16u) << unknown << " changes nothing";
    }
}

TEST_F(ChainEnds, GreenStandsForGray) {
    const Samples colour = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    for (const std::uint64_t outputType : {0, 1, 2}) {
        for (const std::int32_t block : {1, 2}) {
            CLineSource source = ColorSource(&m_tree, 2, colour);
            COutputFormatStage stage(&m_tree);
            m_board.SetValue(QL_ATTR_OUTPUT_TYPE, outputType);
            EXPECT_EQ(RunPass(source, stage, block).Samples(), (Samples{2, 5, 8, 11}));
            EXPECT_EQ(stage.GetOutputFormat()->m_pixelType, 19u);
            EXPECT_TRUE(stage.IsActive());
        }
    }
    // Gray of more than 8 bits, too.
    m_board.Provide(QL_ATTR_HIGH_DEPTH_OUTPUT, 1);
    m_board.Provide(QL_ATTR_SOURCE_BITS, 0);
    for (const std::uint64_t bits : {8, 12, 16}) {
        m_board.SetValue(QL_ATTR_SOURCE_BITS, bits);
        CLineSource deep = ColorSource(&m_tree, 2, colour);
        COutputFormatStage gray(&m_tree);
        m_board.SetValue(QL_ATTR_OUTPUT_TYPE, 2);
        m_board.SetValue(QL_ATTR_HIGH_DEPTH_OUTPUT, 1);
        EXPECT_EQ(RunPass(deep, gray).Samples(), (Samples{2, 5, 8, 11})) << bits;
    }
    // Colour output, and gray input, pass as they are.
    CLineSource source = ColorSource(&m_tree, 2, colour);
    COutputFormatStage stage(&m_tree);
    EXPECT_EQ(RunPass(source, stage).Samples(), colour);
    CLineSource gray = GraySource(&m_tree, 2, colour);
    m_board.SetValue(QL_ATTR_OUTPUT_TYPE, 2);
    EXPECT_EQ(RunPass(gray, stage).Samples(), colour);
    EXPECT_FALSE(stage.IsActive());
    // Colour that is not in the internal form is nothing to reduce.
    CLineSource outside(&m_tree, QL_PIXEL_BGR8, 1, {1, 2, 3});
    EXPECT_EQ(RunPass(outside, stage).m_bytes, (Bytes{1, 2, 3}));
}

TEST_F(ChainEnds, TheStatusOfAFailedPullIsTheResultOfTheReduction) {
    CLineSource source = ColorSource(&m_tree, 1, {1, 2, 3});
    source.m_failAtLine = 0;
    COutputFormatStage stage(&m_tree);
    m_board.SetValue(QL_ATTR_OUTPUT_TYPE, 2);
    EXPECT_EQ(RunPass(source, stage).m_read, QL_ERR_SOURCE_READ);
    std::int32_t lines = -1;
    stage.Open();
    EXPECT_EQ(stage.Read(&lines, nullptr), QL_ERR_BAD_ARGUMENT);
}

// ---- Inversion

TEST_F(ChainEnds, InvertsWhenSwitchAndPolarityAgree) {
    CInvertStage stage(&m_tree);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_INVERT), 0u);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_INVERT_B), 1u);
    for (const int invert : {0, 1}) {
        for (const int polarity : {0, 1}) {
            m_board.SetValue(QL_ATTR_INVERT, static_cast<std::uint64_t>(invert * 8));
            m_board.SetValue(QL_ATTR_INVERT_B, static_cast<std::uint64_t>(polarity * 8));
            CLineSource source = GraySource(&m_tree, 2, {0x0000, 0x1234});
            const bool inverted = invert == polarity;
            EXPECT_EQ(RunPass(source, stage).Samples(),
                      inverted ? (Samples{0xFFFF, 0xEDCB}) : (Samples{0x0000, 0x1234}));
            EXPECT_EQ(stage.IsActive(), inverted);
            EXPECT_EQ(stage.GetOutputFormat()->m_normalPolarity, polarity == 1);
            QLColorQuery query;
            query.Samples()[0] = 0x00FF;
            query.Samples()[2] = 0xFFFF;
            EXPECT_EQ(stage.TransformColor(&query), 1);
            EXPECT_EQ(Samples(query.Samples(), query.Samples() + 3),
                      inverted ? (Samples{0xFF00, 0xFFFF, 0}) : (Samples{0x00FF, 0, 0xFFFF}));
        }
    }
}

TEST_F(ChainEnds, InversionTurnsEveryByteOfTheTypesItKnows) {
    CInvertStage stage(&m_tree);
    m_board.SetValue(QL_ATTR_INVERT, 1);
    const Bytes bytes = {0x00, 0x80, 0x55, 0xFF, 0x12, 0x34};
    const Bytes turned = {0xFF, 0x7F, 0xAA, 0x00, 0xED, 0xCB};
    // One line of six bytes each; bits and nibbles with their padding.
    constexpr struct {
        std::uint32_t type;
        std::int32_t width;
        bool known;
    } kCases[] = {{0, 2, true},   {9, 1, true},   {12, 6, true},  {14, 11, true},
                  {19, 3, true},  {24, 41, true}, {26, 41, true}, {2, 2, false},
                  {11, 1, false}, {20, 3, false}, {21, 6, false}, {22, 6, false}};
    for (const auto& c : kCases) {
        CLineSource source(&m_tree, c.type, c.width, bytes);
        EXPECT_EQ(RunPass(source, stage).m_bytes, c.known ? turned : bytes) << "type " << c.type;
    }
}

TEST_F(ChainEnds, ThePaletteIsInvertedAndComesBack) {
    auto palette = std::make_unique<QLPaletteTable>();
    palette->m_count = 2;
    palette->m_entries[0] = {7, {0, 100, 255}};
    palette->m_entries[1] = {8, {1, 2, 3}};
    palette->m_entries[2] = {9, {4, 5, 6}};
    m_board.Provide(QL_ATTR_OUTPUT_TYPE, 4);
    CInvertStage stage(&m_tree);
    m_ear.Subscribe(QL_ATTR_PALETTE_CHANGED);
    CLineSource source(&m_tree, QL_PIXEL_INDEX8, 2, {0, 1});
    source.Format().m_palette = palette.get();
    m_board.SetValue(QL_ATTR_INVERT, 1);
    EXPECT_EQ(RunPass(source, stage).m_bytes, (Bytes{0, 1})) << "indices stay";
    EXPECT_EQ(m_log, (Log{"20177"}));
    const QLPaletteTable* inverted = stage.GetOutputFormat()->m_palette;
    ASSERT_NE(inverted, palette.get());
    EXPECT_EQ(inverted->m_count, 2);
    EXPECT_EQ(Samples(inverted->m_entries[0].m_colors, inverted->m_entries[0].m_colors + 3),
              (Samples{255, 155, 0}));
    EXPECT_EQ(inverted->m_entries[1].m_colors[2], 252);
    EXPECT_EQ(palette->m_entries[0].m_colors[0], 0) << "the input's own is untouched";

    m_board.SetValue(QL_ATTR_INVERT, 1);
    EXPECT_EQ(m_log.size(), 1u) << "no change";
    m_board.SetValue(QL_ATTR_INVERT, 0);
    EXPECT_EQ(m_log.size(), 2u);
    EXPECT_EQ(stage.GetOutputFormat()->m_palette, palette.get()) << "before the next open";

    m_board.SetValue(QL_ATTR_OUTPUT_TYPE, 3);
    m_board.SetValue(QL_ATTR_INVERT, 1);
    RunPass(source, stage);
    EXPECT_EQ(stage.GetOutputFormat()->m_palette, palette.get()) << "indexed output only";
    m_board.SetValue(QL_ATTR_OUTPUT_TYPE, 4);
    source.Format().m_palette = nullptr;
    EXPECT_EQ(RunPass(source, stage).m_open, QL_OK) << "no palette, nothing to invert";
    EXPECT_EQ(m_log.size(), 2u);
}

// ---- Sink

QLImageFormat FormatOf(std::uint32_t type, std::int32_t width, std::int32_t height) {
    QLImageFormat format;
    format.SetPixelType(type);
    format.SetWidth(width);
    format.SetHeight(height);
    return format;
}

TEST(Bitmap, HeaderAndColourCountFollowFromThePixelType) {
    // At 9 x 5 pixels; a row has (bits x 9 + 31) / 32 x 4 bytes.
    constexpr struct {
        std::uint32_t type;
        std::size_t table;
        WORD bits;
        DWORD size, used;
    } kCases[] = {{1, 0, 24, 140, 0},    {9, 0, 48, 280, 0},    {19, 0, 16, 100, 0},
                  {0, 0, 24, 140, 0},    {12, 0, 8, 60, 256},   {13, 256, 8, 60, 256},
                  {22, 256, 8, 60, 256}, {23, 256, 8, 60, 256}, {14, 16, 4, 40, 16},
                  {15, 16, 4, 40, 16},   {24, 0, 1, 20, 2},     {25, 2, 1, 20, 2},
                  {26, 2, 1, 20, 2},     {27, 2, 1, 20, 2}};
    for (const auto& c : kCases) {
        CQLBitmap bitmap;
        QLImageFormat format = FormatOf(c.type, 9, 5);
        format.m_xResolution = 300;
        format.m_yResolution = 72;
        bitmap.Build(format);
        const BITMAPINFOHEADER& header = bitmap.Header();
        EXPECT_EQ(bitmap.ColorTable().size(), c.table) << "type " << c.type;
        EXPECT_EQ(header.biSize, 40u);
        EXPECT_EQ(header.biWidth, 9);
        EXPECT_EQ(header.biHeight, 5);
        EXPECT_EQ(header.biPlanes, 1);
        EXPECT_EQ(header.biBitCount, c.bits) << "type " << c.type;
        EXPECT_EQ(header.biCompression, 0u);
        EXPECT_EQ(header.biSizeImage, c.size) << "type " << c.type;
        EXPECT_EQ(header.biXPelsPerMeter, 11811);
        EXPECT_EQ(header.biYPelsPerMeter, 11811) << "across counts for both";
        EXPECT_EQ(header.biClrUsed, c.used) << "type " << c.type;
        EXPECT_EQ(header.biClrImportant, c.used);
    }
    CQLBitmap coarse;
    QLImageFormat format = FormatOf(13, 9, 5);
    format.m_xResolution = 72;  // 2834.64
    coarse.Build(format);
    EXPECT_EQ(coarse.Header().biXPelsPerMeter, 2835);
}

// Blue, green, red and the fourth byte of an entry.
Bytes Entry(const CQLBitmap& bitmap, std::size_t i) {
    const RGBQUAD& c = bitmap.ColorTable()[i];
    return {c.rgbBlue, c.rgbGreen, c.rgbRed, c.rgbReserved};
}

TEST(Bitmap, ColoursAreBlackAndWhiteARampOrThePalette) {
    CQLBitmap bitmap;
    QLImageFormat bits = FormatOf(25, 9, 5);
    bits.m_normalPolarity = false;
    bitmap.Build(bits);
    EXPECT_EQ(Entry(bitmap, 0), (Bytes{0, 0, 0, 0})) << "whatever the polarity";
    EXPECT_EQ(Entry(bitmap, 1), (Bytes{255, 255, 255, 0}));
    bitmap.Build(FormatOf(13, 9, 5));
    for (std::size_t i = 0; i < 256; ++i) {
        const auto gray = static_cast<std::uint8_t>(i);
        EXPECT_EQ(Entry(bitmap, i), (Bytes{gray, gray, gray, 0}));
    }
    bitmap.Build(FormatOf(15, 9, 5));
    EXPECT_EQ(Entry(bitmap, 1), (Bytes{17, 17, 17, 0}));
    EXPECT_EQ(Entry(bitmap, 15), (Bytes{255, 255, 255, 0}));

    auto palette = std::make_unique<QLPaletteTable>();
    palette->m_count = 2;
    palette->m_entries[1] = {0, {0x01FF, 20, 30}};
    palette->m_entries[2] = {0, {9, 9, 9}};
    QLImageFormat indexed = FormatOf(23, 9, 5);
    indexed.m_palette = palette.get();
    bitmap.Build(indexed);
    EXPECT_EQ(bitmap.ColorTable().size(), 256u);
    EXPECT_EQ(Entry(bitmap, 1), (Bytes{30, 20, 255, 0})) << "low bytes, blue first";
    EXPECT_EQ(Entry(bitmap, 2), (Bytes{0, 0, 0, 0})) << "black behind the palette's count";
    palette->m_count = 0xFFFF;
    bitmap.Build(indexed);
    EXPECT_EQ(Entry(bitmap, 2), (Bytes{9, 9, 9, 0})) << "a count beyond the table";
}

TEST_F(ChainEnds, TheSinkPublishesHeaderAndBands) {
    CLineSource source(&m_tree, QL_PIXEL_GRAY8_ROWS, 5, Bytes(8 * 6, 1));
    source.m_mostLines = 4;
    CBandSinkStage sink(&m_tree);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_TAP_ON), 0u);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_TAP_BAND), 0u);
    EXPECT_EQ(sink.WantedLayout(), 4u);
    sink.SetUpstream(&source);
    for (const std::int32_t id : {QL_ATTR_TAP_HEADER, QL_ATTR_TAP_BAND, QL_ATTR_TAP_RECT})
        m_ear.Subscribe(id);
    for (int pass = 0; pass < 2; ++pass) {
        m_log.clear();
        ASSERT_EQ(sink.Open(), QL_OK);
        EXPECT_EQ(m_log, (Log{"20154"}));
        EXPECT_EQ(m_board.GetValue(QL_ATTR_TAP_ON), 1u);
        const auto* bitmap = WordPointer<CQLBitmap>(m_board.GetValue(QL_ATTR_TAP_HEADER));
        EXPECT_EQ(bitmap, sink.Bitmap());
        EXPECT_EQ(bitmap->Header().biHeight, 6);
        CQLLineBuffer buffer(sink.GetOutputFormat());
        ASSERT_TRUE(buffer.Resize(64));
        constexpr std::int32_t kBands[3][2] = {{0, 4}, {4, 6}, {6, 6}};
        for (const auto& band : kBands) {
            std::int32_t lines = 64;
            EXPECT_EQ(sink.Read(&lines, &buffer), QL_OK);
            QLRect rect;
            m_board.GetRect(QL_ATTR_TAP_RECT, &rect);
            EXPECT_EQ(rect.top, band[0]);
            EXPECT_EQ(rect.left, 0);
            EXPECT_EQ(rect.bottom, band[1]);
            EXPECT_EQ(rect.right, 5);
            EXPECT_EQ(WordPointer<CQLLineBuffer>(m_board.GetValue(QL_ATTR_TAP_BAND)), &buffer);
        }
        EXPECT_EQ(m_log, (Log{"20154", "20155", "20155", "20155"}));
        EXPECT_EQ(sink.Close(), QL_OK);
    }
}

}  // namespace
