// The bitmap readers, and the source stage that stands on them.

#include "stages/file_source.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/support/bench_source.h"
#include "tests/support/byte_stream.h"
#include "tests/support/stage_rig.h"

namespace {

// Where the fields of a bitmap file stand.
constexpr std::size_t kType = 0, kSize = 2, kOffBits = 10, kInfoSize = 14, kWidth = 18,
                      kHeight = 22, kBits = 28, kXPels = 38, kColors = 46;

Bytes With(Bytes bytes, std::size_t at, std::int64_t value, int count = 4) {
    for (int i = 0; i < count; ++i)
        bytes[at++] = static_cast<std::uint8_t>(value >> (8 * i));
    return bytes;
}
Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
// A whole bitmap file; `rows` as they stand in it, with their padding.
Bytes Bitmap(std::int32_t width, std::int32_t height, int bits, const Bytes& rows) {
    Bytes file = With(With(Bytes(54) + rows, kType, 'B' | 'M' << 8, 2), kInfoSize, 40);
    file = With(With(file, kSize, static_cast<std::int64_t>(file.size())), kOffBits, 54);
    return With(With(With(file, kWidth, width), kHeight, height), kBits, bits, 2);
}

// 3 x 2 pixels, 12 bytes a row of which 9 count.
const Bytes kOne = {1, 2, 3, 4, 5, 6, 7, 8, 9}, kTwo = {11, 12, 13, 14, 15, 16, 17, 18, 19};
const Bytes kTwoRows = kOne + Bytes(3, 0xEE) + kTwo + Bytes(3, 0xEE);

// Rows of a reader, with guard bytes behind them.
Bytes Rows(CBmpReader& reader, std::int32_t firstLine, std::int32_t count) {
    Bytes rows(static_cast<std::size_t>(reader.RowBytes() * count) + 4, 0xA5);
    if (!reader.ReadRows(rows.data(), firstLine, count))
        return {};
    EXPECT_EQ(Bytes(rows.end() - 4, rows.end()), Bytes(4, 0xA5)) << "wrote behind the rows";
    return {rows.begin(), rows.end() - 4};
}

// The text of the exception that making an object throws; "made" when it doesn't.
template <typename Object, typename... Arguments>
std::string Make(const Arguments&... arguments) {
    try {
        Object object(arguments...);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "made";
}
constexpr char kBad[] = "Bad BMP file (must be valid 24-bit BMP file).";

class FileSource : public testing::Test {
  protected:
    FileSource() { setenv("NVQ_REGISTRY", (m_path + ".reg").c_str(), 1); }
    ~FileSource() override {
        RegClearProcessValues();
        std::filesystem::remove(m_path);
    }

    const char* Store(const Bytes& bytes) {
        std::ofstream(m_path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        return m_path.c_str();
    }
    std::string MakeReader(const Bytes& bytes) { return Make<CBmpFileReader>(Store(bytes)); }
    void Feed(CByteStream* stream) {
        m_board.Put(QL_ATTR_INPUT_STREAM, PointerWord(static_cast<IStream*>(stream)));
    }
    std::string MakeStage() { return Make<CFileSourceStage>(&m_tree); }

    const std::string m_path =
        std::filesystem::temp_directory_path() / ("nvq_" + std::to_string(getpid()) + ".bmp");
    QLAttribTree m_tree;
    CTestBoard m_board{&m_tree};
};

TEST_F(FileSource, FileRowsComeTopFirstAndWithoutPadding) {
    CBmpFileReader up(Store(Bitmap(3, 2, 24, kTwoRows)));
    EXPECT_EQ(Rows(up, 0, 2), kTwo + kOne);
    CBmpFileReader down(Store(Bitmap(3, -2, 24, kTwoRows)));
    EXPECT_EQ(Rows(down, 0, 2), kOne + kTwo);
    EXPECT_EQ(Rows(down, 1, 1), kTwo);
    EXPECT_EQ(Rows(down, 1, 2), Bytes()) << "there is no third";
    const auto row = [](std::uint8_t r) { return Bytes(12, r); };
    CBmpFileReader whole(Store(Bitmap(4, 4, 24, row(0) + row(1) + row(2) + row(3))));
    EXPECT_EQ(Rows(whole, 0, 3), row(3) + row(2) + row(1)) << "turned round in place";
    EXPECT_EQ(Rows(whole, 3, 1), row(0));
    // Where the header says, and one byte beyond what the file holds: no rows, no crash.
    const Bytes file = With(Bitmap(3, 2, 24, Bytes(10, 0x77) + kTwoRows), kOffBits, 64);
    CBmpFileReader shifted(Store(file));
    EXPECT_EQ(Rows(shifted, 0, 2), kTwo + kOne);
    CBmpFileReader beyond(Store(With(file, kOffBits, 65)));
    EXPECT_EQ(Rows(beyond, 0, 2), Bytes());
}

TEST_F(FileSource, EveryRuleOfAGoodFileIsChecked) {
    // Field, value, bytes of it, good. The file is 78 bytes long: rows of four pixels fit, too.
    // clang-format off
    constexpr std::int64_t kCases[][4] = {
        {kType, 'B' | 'M' << 8, 2, 1}, {kType, 'B' | 'A' << 8, 2, 0}, {kSize, 79, 4, 0},
        {kSize, 77, 4, 0}, {kInfoSize, 108, 4, 0}, {kBits, 8, 2, 0}, {kHeight, 3, 4, 0},
        {kHeight, 1, 4, 1}, {kHeight, 0, 4, 0}, {kHeight, 0x80000000, 4, 0}, {kWidth, 4, 4, 1},
        {kWidth, 5, 4, 0}, {kWidth, 0, 4, 0}, {kWidth, -3, 4, 0}, {kColors, 1, 4, 0}};
    // clang-format on
    const Bytes whole = Bitmap(3, 2, 24, kTwoRows);
    for (const auto& [at, value, bytes, good] : kCases) {
        const Bytes file =
            With(whole, static_cast<std::size_t>(at), value, static_cast<int>(bytes));
        EXPECT_EQ(MakeReader(file), good ? "made" : kBad) << value << " at " << at;
    }
    EXPECT_EQ(MakeReader(Bitmap(0x0FFFFFFF, 0x7FFFFFFF, 0xFFFF, kTwoRows)), kBad)
        << "no 64 bits hold that";
    for (const int size : {0, 13, 54, 77}) {
        const Bytes honest = With(whole, kSize, size);
        EXPECT_EQ(MakeReader({honest.begin(), honest.begin() + size}), kBad) << size;
    }
    EXPECT_EQ(Make<CBmpFileReader>("/nowhere/none.bmp"), kBad);
    // Dots per metre; 14: 19 x 0.0254 + 0.5 = 0.98; 15: 1.008; -100: -2.413 + 0.5 is cut to -1.
    for (const auto& [pels, dpi] :
         {std::pair{0, 72}, {11811, 300}, {2835, 72}, {14, 0}, {15, 1}, {-100, -1}})
        EXPECT_EQ(CBmpFileReader(Store(With(whole, kXPels, pels))).XDpi(), dpi) << pels;
}

TEST(BmpStream, HeadersAreReadInTwoOrThreePieces) {
    for (const auto& [colors, reads, last] :
         {std::tuple{0, 2u, 40u}, {256, 3, 1024}, {16, 2, 40}}) {
        const Bytes file =
            With(Bitmap(4, -1, 8, {}), kColors, colors) + Bytes(reads == 3 ? last : 0);
        CByteStream stream(file + Bytes{1, 2, 3, 4});
        CBmpStreamReader reader(&stream);
        EXPECT_EQ(stream.m_reads.size(), reads);
        EXPECT_EQ(stream.m_reads.back(), last);
        EXPECT_EQ(Rows(reader, 0, 1), (Bytes{1, 2, 3, 4}));
        CByteStream broken(file);
        broken.m_failing = {reads - 1};
        EXPECT_EQ(Make<CBmpStreamReader>(&broken), kBad) << "the last header read decides";
    }
    // What no pixel type describes.
    for (const auto& [width, bits] :
         {std::pair{4, 0}, {4, 16}, {0, 24}, {-4, 24}, {0x7FFFFFFF, 24}}) {
        CByteStream stream(Bitmap(width, -1, bits, Bytes(64)));
        EXPECT_EQ(Make<CBmpStreamReader>(&stream), kBad) << width << " x " << bits;
    }
}

TEST(BmpStream, RowsAreReadWhereTheStreamStands) {
    // 5 gray pixels in rows of 8 bytes; the line number asked for plays no part. A positive height
    // turns each block round within itself.
    const Bytes a = {1, 2, 3, 4, 5}, b = {6, 7, 8, 9, 10}, c = {11, 12, 13, 14, 15}, pad(3);
    for (const std::int32_t height : {-3, 3}) {
        CByteStream stream(Bitmap(5, height, 8, a + pad + b + pad + c + pad));
        CBmpStreamReader reader(&stream);
        EXPECT_EQ(Rows(reader, 2, 1), a);
        EXPECT_EQ(Rows(reader, 0, 2), height < 0 ? b + c : c + b);
        EXPECT_EQ(stream.m_reads.back(), 16u) << "a block is one read";
    }
    // A short read is no failure and leaves the rest. Padded rows pass through memory of the
    // reader's own, which is never left to chance.
    CByteStream plain(Bitmap(4, -2, 8, {1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(Rows(*std::make_unique<CBmpStreamReader>(&plain), 0, 2),
              (Bytes{1, 2, 3, 4, 5, 6, 0xA5, 0xA5}));
    CByteStream padded(Bitmap(3, -2, 8, {1, 2, 3, 0, 5}));
    EXPECT_EQ(Rows(*std::make_unique<CBmpStreamReader>(&padded), 0, 2),
              (Bytes{1, 2, 3, 5, 0xFF, 0xFF}));
}

// ---- The stage

TEST_F(FileSource, TheRegistryNamesABenchFile) {
    Store(Bitmap(3, 2, 24, kTwoRows));
    EXPECT_EQ(MakeStage(), "") << "neither stream nor registry";
    SetBenchSource(m_path, 0);
    EXPECT_EQ(MakeStage(), "") << "switched off";
    for (const std::size_t length : {std::size_t{259}, std::size_t{260}}) {
        SetBenchSource(std::string(length - m_path.size(), '/') + m_path, 7);
        EXPECT_EQ(MakeStage(), length < 260 ? "made" : "") << length;
    }
    CByteStream stream(Bitmap(4, -1, 16, {}));
    Feed(&stream);
    EXPECT_EQ(MakeStage(), kBad) << "a stream comes first";
}

TEST_F(FileSource, DeliversLinesUntilTheHeightAndReportsWhatItCanNotRead) {
    SetBenchSource(Store(Bitmap(3, 2, 24, kTwoRows)));
    CFileSourceStage stage(&m_tree);
    m_board.Hear({QL_ATTR_SOURCE_FIRST_READ});
    for (const std::int32_t block : {1, 5}) {
        EXPECT_EQ(RunPass(stage, block).m_bytes, kTwo + kOne);
        EXPECT_EQ(m_board.Heard().size(), 1u) << "the first read is announced, and no other";
    }
    QLImageFormat narrow = *stage.GetOutputFormat();
    narrow.SetWidth(2);
    CQLLineBuffer buffer(&narrow);
    ASSERT_TRUE(buffer.Resize(2));
    for (CQLLineBuffer* none : {&buffer, static_cast<CQLLineBuffer*>(nullptr)}) {
        std::int32_t lines = 1;
        EXPECT_EQ(stage.Read(&lines, none), QL_ERR_BAD_ARGUMENT);
    }
    std::filesystem::resize_file(m_path, 60);
    EXPECT_EQ(RunPass(stage).m_status, QL_ERR_SOURCE_READ);
    CByteStream stream(Bitmap(4, -1, 8, {1, 1, 1, 1, 2, 2, 2, 2}));
    Feed(&stream);
    CFileSourceStage streamed(&m_tree);
    EXPECT_EQ(RunPass(streamed).m_bytes, Bytes(4, 1));
    EXPECT_EQ(RunPass(streamed).m_bytes, Bytes(4, 2)) << "goes on where it stood";
}

}  // namespace
