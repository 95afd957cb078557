// Image format, line buffer and the order of a stage's operations.

#include <gtest/gtest.h>

#include <string>

#include "frame/stage.h"
#include "tests/support/stage_rig.h"

namespace {

QLImageFormat Format(std::uint32_t type, std::int32_t width) {
    QLImageFormat format;
    format.SetPixelType(type);
    format.SetWidth(width);
    return format;
}

TEST(ImageFormat, StrideFollowsPixelTypeAndWidth) {
    // Type, bytes of a line of 9 pixels, of which pad. By type: 3w, 3w padded, 4w, 6w, w, w padded,
    // nibbles, nibble rows, 2w, bits, bit rows.
    // clang-format off
    constexpr std::uint32_t kCases[][3] = {
        {0, 27, 0}, {1, 28, 1}, {3, 36, 0}, {9, 54, 0}, {12, 9, 0},
        {13, 12, 3}, {14, 5, 1}, {15, 8, 4}, {16, 18, 0}, {23, 12, 3},
        {24, 2, 0}, {25, 4, 2}, {27, 4, 2}};
    // clang-format on
    for (const auto& [type, stride, padding] : kCases) {
        const QLImageFormat format = Format(type, 9);
        EXPECT_EQ(format.m_bytesPerLine, static_cast<int>(stride)) << "type " << type;
        EXPECT_EQ(format.PaddingBytes(), static_cast<int>(padding)) << "type " << type;
    }
    for (const auto& [type, width] : {std::pair{1u, 0x7FFFFFFF}, {9, 0x7FFFFFFF}, {25, -9}}) {
        EXPECT_EQ(Format(type, width).m_bytesPerLine, 0) << "no 32-bit stride";
        EXPECT_EQ(Format(type, width).PaddingBytes(), 0);
    }
}

TEST(LineBuffer, ResizeKeepsTheSameSizeAndRefillsAnyOther) {
    QLImageFormat format = Format(QL_PIXEL_RGB16, 1);
    CQLLineBuffer buffer(&format);
    EXPECT_EQ(buffer.PixelPointer(0, 0), nullptr);
    for (const int value : {0xFF, 7}) {
        ASSERT_TRUE(buffer.Resize(3));
        EXPECT_EQ(buffer.Data()[0], value) << "of the same size it keeps what it holds";
        buffer.Data()[0] = 7;
    }
    format.SetWidth(5);
    ASSERT_TRUE(buffer.Resize(3));
    EXPECT_EQ(buffer.Data()[0], 0xFF);
    EXPECT_EQ(buffer.PixelPointer(99, 99), buffer.Data() + 2 * 30 + 4 * 6) << "within the block";
    EXPECT_EQ(buffer.PixelPointer(-1, -1), buffer.Data());
    EXPECT_FALSE(buffer.Resize(-1));
    EXPECT_TRUE(buffer.Resize(0));
    EXPECT_EQ(buffer.Data(), nullptr);
    const QLImageFormat bits = Format(QL_PIXEL_BILEVEL, 20);
    std::uint8_t memory[6] = {};
    CQLLineBuffer external(&bits, memory, 2);
    EXPECT_TRUE(external.Resize(2)) << "has that size already";
    EXPECT_FALSE(external.Resize(3));
    EXPECT_EQ(external.BytePointer(17, 1), memory + 3 + 2);
}

// Notes the order of the virtual operations, and can fail in any of them.
class CNotingStage final : public CQLFilterStage {
  public:
    CNotingStage(QLAttribTree* tree, std::string name, std::string* log)
        : CQLFilterStage(tree), m_name(std::move(name)), m_log(log) {}

    QLStatus OnBeforeOpen() override { return Note("<open"); }
    QLStatus OnAfterOpen() override { return Note("open>"); }
    QLStatus OnBeforeRead(std::int32_t*, CQLLineBuffer*) override { return Note("<read"); }
    QLStatus OnAfterRead(std::int32_t*, CQLLineBuffer*) override { return Note("read>"); }
    QLStatus OnBeforeClose() override { return Note("<close"); }
    QLStatus OnAfterClose() override { return Note("close>"); }

    std::string m_failAt;

  private:
    QLStatus Note(const std::string& what) {
        *m_log += m_name + what + " ";
        return what == m_failAt ? QL_ERR_TEMP_FILE : QL_OK;
    }
    std::string m_name;
    std::string* m_log;
};

TEST(StageFrame, OperationsRunFromTailToHeadAndBackUntilOneFails) {
    QLAttribTree tree;
    std::string log;
    CLineSource source(&tree, QL_PIXEL_GRAY8, 2, {1, 2, 3, 4, 5, 6});
    CNotingStage upper(&tree, "u", &log), lower(&tree, "l", &log);
    upper.SetUpstream(&source);
    lower.SetUpstream(&upper);
    EXPECT_EQ(RunPass(lower, 9).m_bytes, source.Bytes());
    EXPECT_EQ(log,
              "l<open u<open uopen> lopen> l<read u<read uread> lread> l<read u<read uread> "
              "lread> l<close u<close uclose> lclose> ");
    const auto fails = [&](QLStatus status, QLStatus expected, const char* calls) {
        EXPECT_EQ(status, expected);
        EXPECT_EQ(std::exchange(log, {}), calls);
    };
    log.clear();
    std::int32_t lines = -1;
    fails(lower.Read(&lines, nullptr), QL_ERR_BAD_ARGUMENT, "");
    upper.m_failAt = "open>";
    source.Format().SetWidth(6);
    fails(lower.Open(), QL_ERR_TEMP_FILE, "l<open u<open uopen> ");
    EXPECT_EQ(lower.GetOutputFormat()->m_width, 6) << "the format is taken over all the same";
    source.m_failAtLine = lines = 0;
    fails(lower.Read(&lines, nullptr), QL_ERR_SOURCE_READ, "l<read u<read ");
    lower.m_failAt = "<close";
    fails(lower.Close(), QL_ERR_TEMP_FILE, "l<close u<close uclose> lclose> ");

    lower.m_failAt = upper.m_failAt = "";
    source.Format().SetHeight(2);
    lower.Close();
    EXPECT_EQ(lower.GetOutputFormat()->m_height, 2) << "a shortened height travels down";
}

}  // namespace
