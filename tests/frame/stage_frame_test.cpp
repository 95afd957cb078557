// Image format, line buffer and the stage base.

#include <gtest/gtest.h>

#include "frame/stage.h"
#include "tests/support/stage_rig.h"

namespace {

QLImageFormat Format(std::uint32_t type, std::int32_t width, std::uint32_t layout = 1) {
    QLImageFormat format;
    format.SetPixelType(type);
    format.SetWidth(width);
    format.SetLayout(layout);
    return format;
}

TEST(ImageFormat, StrideFollowsPixelTypeAndWidth) {
    // Strides at a width of 9: 3w, 3w padded, 4w, 6w, w, w padded, nibbles, nibble rows, 2w, bits,
    // bit rows.
    constexpr struct {
        std::uint32_t type;
        std::int32_t stride;
        std::int32_t padding;
    } kCases[] = {{0, 27, 0},  {1, 28, 1}, {3, 36, 0}, {4, 54, 0},  {9, 54, 0},  {12, 9, 0},
                  {13, 12, 3}, {14, 5, 1}, {15, 8, 4}, {16, 18, 0}, {19, 18, 0}, {23, 12, 3},
                  {24, 2, 0},  {25, 4, 2}, {26, 2, 0}, {27, 4, 2}};
    for (const auto& row : kCases) {
        const QLImageFormat format = Format(row.type, 9);
        EXPECT_EQ(format.m_bytesPerLine, row.stride) << "type " << row.type;
        EXPECT_EQ(format.PaddingBytes(), row.padding) << "type " << row.type;
    }
    EXPECT_EQ(Format(QL_PIXEL_RGB16, 0x7FFFFFFF).m_bytesPerLine, 0) << "no 32-bit stride";
}

TEST(ImageFormat, LayoutRewritesThePixelType) {
    // Columns: what colour (2), gray (12), four bits (14), index (22), bilevel (24) and halftone
    // (26) become.
    constexpr std::uint32_t kFrom[] = {2, 12, 14, 22, 24, 26};
    constexpr struct {
        std::uint32_t layout;
        std::uint32_t to[6];
    } kCases[] = {{1, {2, 12, 14, 22, 24, 26}}, {2, {9, 19, 14, 22, 24, 26}},
                  {3, {3, 13, 15, 23, 25, 26}}, {4, {1, 13, 15, 23, 25, 27}},
                  {6, {0, 12, 14, 22, 24, 26}}, {8, {9, 19, 14, 22, 24, 26}},
                  {9, {0, 12, 12, 0, 12, 12}},  {11, {2, 12, 14, 22, 24, 26}}};
    for (const auto& row : kCases) {
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(Format(kFrom[i], 8, row.layout).m_pixelType, row.to[i])
                << "type " << kFrom[i] << " layout " << row.layout;
        }
    }
    EXPECT_EQ(Format(13, 8, 2).m_pixelType, 13u) << "belongs to no group";
    EXPECT_EQ(Format(23, 8, 2).m_pixelType, 23u);
    EXPECT_EQ(Format(40, 8, 4).m_pixelType, 40u);
}

TEST(ImageFormat, LinesThatNoStrideHoldsHaveNoPadding) {
    for (const auto& [type, width] : {std::pair{QL_PIXEL_BGR8_ROWS, 0x7FFFFFFF},
                                      {QL_PIXEL_RGB16, 0x7FFFFFFF},
                                      {QL_PIXEL_GRAY8_ROWS, -9},
                                      {QL_PIXEL_BILEVEL_ROWS, -9}}) {
        const QLImageFormat format = Format(type, width);
        EXPECT_EQ(format.m_bytesPerLine, 0) << type << ", " << width;
        EXPECT_EQ(format.PaddingBytes(), 0) << type << ", " << width;
    }
}

TEST(ImageFormat, RotationExchangesTheSides) {
    QLImageFormat format = Format(QL_PIXEL_RGB16, 100);
    format.SetHeight(200);
    format.SetRotation(90);
    EXPECT_EQ(format.m_width, 200);
    EXPECT_EQ(format.m_height, 100);
    EXPECT_EQ(format.m_bytesPerLine, 1200);
    format.SetRotation(90);
    EXPECT_EQ(format.m_width, 200) << "has that rotation already";
    format.SetRotation(0);
    EXPECT_EQ(format.m_width, 100);
    EXPECT_EQ(format.m_rotation, 360) << "grows by three steps";
}

TEST(LineBuffer, ResizeKeepsTheSameSizeAndRefillsAnyOther) {
    QLImageFormat format = Format(QL_PIXEL_GRAY8, 3);
    CQLLineBuffer buffer(&format);
    EXPECT_EQ(buffer.PixelPointer(0, 0), nullptr);
    ASSERT_TRUE(buffer.Resize(2));
    buffer.Data()[0] = 7;
    ASSERT_TRUE(buffer.Resize(2));
    EXPECT_EQ(buffer.Data()[0], 7);
    format.SetWidth(4);
    ASSERT_TRUE(buffer.Resize(2));
    EXPECT_EQ(buffer.Data()[0], 0xFF);
    EXPECT_EQ(buffer.Data()[7], 0xFF);
    EXPECT_FALSE(buffer.Resize(-1));
    EXPECT_TRUE(buffer.Resize(0));
    EXPECT_EQ(buffer.Data(), nullptr);

    std::uint8_t memory[8] = {};
    CQLLineBuffer external(&format, memory, 2);
    EXPECT_TRUE(external.Resize(2)) << "has that size already";
    EXPECT_FALSE(external.Resize(3));
}

TEST(LineBuffer, PixelPointersClampIntoTheBlock) {
    QLImageFormat format = Format(QL_PIXEL_RGB16, 5);
    CQLLineBuffer buffer(&format);
    ASSERT_TRUE(buffer.Resize(3));
    EXPECT_EQ(buffer.PixelPointer(99, 99), buffer.Data() + 2 * 30 + 4 * 6);
    EXPECT_EQ(buffer.PixelPointer(-1, -1), buffer.Data());
    QLImageFormat bits = Format(QL_PIXEL_BILEVEL, 20);
    CQLLineBuffer line(&bits);
    ASSERT_TRUE(line.Resize(2));
    EXPECT_EQ(line.BytePointer(17, 1), line.Data() + 3 + 2);
}

// Notes the order of the virtual operations, and can fail in any of them.
class CNotingStage final : public CQLFilterStage {
  public:
    CNotingStage(QLAttribTree* tree, std::string name, std::vector<std::string>* log)
        : CQLFilterStage(tree), m_name(std::move(name)), m_log(log) {}

    QLStatus OnBeforeOpen() override { return Note("<open"); }
    QLStatus OnAfterOpen() override {
        if (m_setHeight > 0)
            m_outFormat.SetHeight(m_setHeight);
        return Note("open>");
    }
    QLStatus OnBeforeRead(std::int32_t*, CQLLineBuffer*) override { return Note("<read"); }
    QLStatus OnAfterRead(std::int32_t*, CQLLineBuffer*) override { return Note("read>"); }
    QLStatus OnBeforeClose() override { return Note("<close"); }
    QLStatus OnAfterClose() override { return Note("close>"); }

    const QLImageFormat& Out() const { return m_outFormat; }

    std::string m_failAt;
    std::int32_t m_setHeight = 0;

  private:
    QLStatus Note(const std::string& what) {
        m_log->push_back(m_name + what);
        return what == m_failAt ? QL_ERR_TEMP_FILE : QL_OK;
    }
    std::string m_name;
    std::vector<std::string>* m_log;
};

class StageFrame : public testing::Test {
  protected:
    StageFrame() {
        m_upper.SetUpstream(&m_source);
        m_lower.SetUpstream(&m_upper);
    }
    using Log = std::vector<std::string>;

    QLAttribTree m_tree;
    Log m_log;
    CLineSource m_source{&m_tree, QL_PIXEL_GRAY8, 2, {1, 2, 3, 4, 5, 6}};
    CNotingStage m_upper{&m_tree, "u", &m_log};
    CNotingStage m_lower{&m_tree, "l", &m_log};
};

TEST_F(StageFrame, OperationsRunFromTailToHeadAndBack) {
    EXPECT_EQ(m_lower.Open(), QL_OK);
    EXPECT_EQ(m_log, (Log{"l<open", "u<open", "uopen>", "lopen>"}));
    m_log.clear();
    CQLLineBuffer buffer(m_lower.GetOutputFormat());
    ASSERT_TRUE(buffer.Resize(9));
    std::int32_t lines = 9;
    EXPECT_EQ(m_lower.Read(&lines, &buffer), QL_OK);
    EXPECT_EQ(lines, 3);
    EXPECT_EQ(m_log, (Log{"l<read", "u<read", "uread>", "lread>"}));
    EXPECT_EQ(m_lower.Read(&lines, &buffer), QL_OK);
    EXPECT_EQ(lines, 0) << "a read of nothing goes through";
    m_log.clear();
    EXPECT_EQ(m_lower.Close(), QL_OK);
    EXPECT_EQ(m_log, (Log{"l<close", "u<close", "uclose>", "lclose>"}));
}

TEST_F(StageFrame, ANegativeCountIsRefusedAtTheFirstStage) {
    std::int32_t lines = -1;
    EXPECT_EQ(m_lower.Read(&lines, nullptr), QL_ERR_BAD_ARGUMENT);
    EXPECT_TRUE(m_log.empty());
}

TEST_F(StageFrame, AFailureStopsOpenAndReadButNotClose) {
    m_upper.m_failAt = "open>";
    EXPECT_EQ(m_lower.Open(), QL_ERR_TEMP_FILE);
    EXPECT_EQ(m_log, (Log{"l<open", "u<open", "uopen>"}));
    EXPECT_EQ(m_lower.Out().m_width, 2) << "the format is taken over all the same";
    m_log.clear();
    m_source.m_failAtLine = 0;
    std::int32_t lines = 1;
    EXPECT_EQ(m_lower.Read(&lines, nullptr), QL_ERR_SOURCE_READ);
    EXPECT_EQ(m_log, (Log{"l<read", "u<read"}));
    m_log.clear();
    m_lower.m_failAt = "<close";
    EXPECT_EQ(m_lower.Close(), QL_ERR_TEMP_FILE);
    EXPECT_EQ(m_log, (Log{"l<close", "u<close", "uclose>", "lclose>"}));
}

TEST_F(StageFrame, CloseCarriesAShortenedHeightDown) {
    m_lower.Open();
    m_source.Format().SetHeight(2);
    m_lower.Close();
    EXPECT_EQ(m_lower.Out().m_height, 2);
}

TEST_F(StageFrame, FormatChangesTravelDown) {
    m_lower.Open();
    m_source.Format().SetWidth(6);
    EXPECT_EQ(m_upper.OnFormatChanged(), QL_OK);
    EXPECT_EQ(m_lower.Out().m_width, 6);
}

}  // namespace
