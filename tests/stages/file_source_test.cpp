// The bitmap readers, and the source stage that stands on them.

#include "stages/file_source.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/registry.h"
#include "tests/support/byte_stream.h"
#include "tests/support/stage_rig.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// Where the fields of a bitmap file stand.
constexpr std::size_t kType = 0, kSize = 2, kOffBits = 10, kInfoSize = 14, kWidth = 18,
                      kHeight = 22, kBits = 28, kXPels = 38, kYPels = 42, kColors = 46,
                      kHeaders = 54;

void Put(Bytes* bytes, std::size_t at, std::int64_t value, int count = 4) {
    for (int i = 0; i < count; ++i)
        (*bytes)[at + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> (8 * i));
}

// A whole bitmap file; `rows` as they stand in it, with their padding.
Bytes Bitmap(std::int32_t width, std::int32_t height, int bits, const Bytes& rows) {
    Bytes file(kHeaders + rows.size());
    std::copy(rows.begin(), rows.end(), file.begin() + kHeaders);
    Put(&file, kType, 'B' | 'M' << 8, 2);
    Put(&file, kSize, static_cast<std::int64_t>(file.size()));
    Put(&file, kOffBits, kHeaders);
    Put(&file, kInfoSize, 40);
    Put(&file, kWidth, width);
    Put(&file, kHeight, height);
    Put(&file, kBits - 2, 1, 2);
    Put(&file, kBits, bits, 2);
    return file;
}

// 3 x 2 pixels, 12 bytes a row of which 9 count.
const Bytes kTwoRows = {1,  2,  3,  4,  5,  6,  7,  8,  9,  0xEE, 0xEE, 0xEE,
                        11, 12, 13, 14, 15, 16, 17, 18, 19, 0xEE, 0xEE, 0xEE};
const Bytes kFirstRow(kTwoRows.begin(), kTwoRows.begin() + 9);
const Bytes kSecondRow(kTwoRows.begin() + 12, kTwoRows.begin() + 21);

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Rows of a reader, with four guard bytes behind them.
Bytes Rows(CBmpReader& reader, std::int32_t firstLine, std::int32_t count) {
    Bytes rows(static_cast<std::size_t>(reader.RowBytes() * count) + 4, 0xA5);
    if (!reader.ReadRows(rows.data(), firstLine, count))
        return {};
    EXPECT_EQ(Bytes(rows.end() - 4, rows.end()), Bytes(4, 0xA5)) << "wrote behind the rows";
    rows.erase(rows.end() - 4, rows.end());
    return rows;
}

// The text of the exception that making an object throws; "made" when it doesn't.
template <typename Make>
std::string Complaint(Make make) {
    try {
        make();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "made";
}

constexpr char kBad[] = "Bad BMP file (must be valid 24-bit BMP file).";

class BmpFile : public testing::Test {
  protected:
    BmpFile() {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        m_folder = std::filesystem::path(testing::TempDir()) /
                   ("nvq_" + std::to_string(getpid()) + "_" + test->name());
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder);
    }
    ~BmpFile() override { std::filesystem::remove_all(m_folder); }

    std::string Store(const Bytes& bytes, const char* name = "in.bmp") {
        const std::string path = (m_folder / name).string();
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        return path;
    }

    std::filesystem::path m_folder;
};

TEST_F(BmpFile, RowsComeTopFirstAndWithoutPadding) {
    CBmpFileReader bottomUp(Store(Bitmap(3, 2, 24, kTwoRows)).c_str());
    EXPECT_EQ(Rows(bottomUp, 0, 2), kSecondRow + kFirstRow);
    EXPECT_EQ(Rows(bottomUp, 0, 1), kSecondRow);
    EXPECT_EQ(Rows(bottomUp, 1, 1), kFirstRow);
    CBmpFileReader topDown(Store(Bitmap(3, -2, 24, kTwoRows), "down.bmp").c_str());
    EXPECT_EQ(topDown.Height(), 2);
    EXPECT_EQ(Rows(topDown, 0, 2), kFirstRow + kSecondRow);
    EXPECT_EQ(Rows(topDown, 1, 1), kSecondRow);
    EXPECT_EQ(Rows(topDown, 1, 2), Bytes()) << "there is no third";
    topDown.Close();
    EXPECT_EQ(Rows(topDown, 0, 1), Bytes());
}

TEST_F(BmpFile, RowsWithoutPaddingAreTurnedRoundInPlace) {
    Bytes rows;  // 4 x 5 pixels: row r of the file holds twelve times the byte r
    for (std::uint8_t r = 0; r < 5; ++r)
        rows.insert(rows.end(), 12, r);
    CBmpFileReader reader(Store(Bitmap(4, 5, 24, rows)).c_str());
    const auto row = [](std::uint8_t r) { return Bytes(12, r); };
    EXPECT_EQ(Rows(reader, 0, 3), row(4) + row(3) + row(2)) << "the middle row stays";
    EXPECT_EQ(Rows(reader, 3, 2), row(1) + row(0));
}

TEST_F(BmpFile, RowsBeginWhereTheHeaderSays) {
    Bytes file = Bitmap(3, 2, 24, Bytes(10, 0x77) + kTwoRows);
    Put(&file, kOffBits, kHeaders + 10);
    CBmpFileReader reader(Store(file).c_str());
    EXPECT_EQ(reader.RowOffset(0), 64 + 12);
    EXPECT_EQ(Rows(reader, 0, 2), kSecondRow + kFirstRow);
    // Within the file by its size, but not where the header says: no rows, no crash.
    Put(&file, kOffBits, kHeaders + 11);
    CBmpFileReader beyond(Store(file).c_str());
    EXPECT_EQ(Rows(beyond, 0, 2), Bytes());
    EXPECT_EQ(Rows(beyond, 1, 1), Bytes(file.begin() + 65, file.begin() + 74));
}

TEST_F(BmpFile, EveryRuleOfAGoodFileIsChecked) {
    // Field, value, bytes of it, good. The file is 78 bytes long: rows of four pixels fit, too.
    constexpr struct {
        std::size_t at;
        std::int64_t value;
        int bytes;
        bool good;
    } kCases[] = {{kType, 19778, 2, true},
                  {kType, 'B' | 'A' << 8, 2, false},
                  {kSize, 79, 4, false},
                  {kSize, 77, 4, false},
                  {kInfoSize, 108, 4, false},
                  {kBits, 8, 2, false},
                  {kBits, 32, 2, false},
                  {kHeight, 3, 4, false},
                  {kHeight, 1, 4, true},
                  {kHeight, 0, 4, false},
                  {kHeight, 0x80000000, 4, false},
                  {kHeight, 0x7FFFFFFF, 4, false},
                  {kWidth, 4, 4, true},
                  {kWidth, 5, 4, false},
                  {kWidth, 0, 4, false},
                  {kWidth, -3, 4, false},
                  {kWidth, 0x7FFFFFFF, 4, false},
                  {kColors, 1, 4, false},
                  {kColors, 0xFFFFFFFF, 4, false}};
    for (const auto& c : kCases) {
        Bytes file = Bitmap(3, 2, 24, kTwoRows);
        Put(&file, c.at, c.value, c.bytes);
        const std::string path = Store(file);
        EXPECT_EQ(Complaint([&] { CBmpFileReader reader(path.c_str()); }), c.good ? "made" : kBad)
            << c.value << " at " << c.at;
    }
    // Sides and depth at once that no 64 bits hold.
    Bytes monster = Bitmap(0x0FFFFFFF, 0x7FFFFFFF, 0xFFFF, kTwoRows);
    EXPECT_EQ(Complaint([&] { CBmpFileReader reader(Store(monster).c_str()); }), kBad);
}

TEST_F(BmpFile, TruncatedFilesAreBadEvenWithAnHonestSize) {
    const Bytes whole = Bitmap(3, 2, 24, kTwoRows);
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{13}, std::size_t{53}, std::size_t{54}, whole.size() - 1}) {
        Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        if (size >= 6)
            Put(&part, kSize, static_cast<std::int64_t>(size));
        EXPECT_EQ(Complaint([&] { CBmpFileReader reader(Store(part).c_str()); }), kBad) << size;
    }
    EXPECT_EQ(Complaint([&] { CBmpFileReader reader((m_folder / "none.bmp").c_str()); }), kBad);
    // More than is needed is fine when the size says so.
    EXPECT_NO_THROW(CBmpFileReader(Store(Bitmap(3, 2, 24, kTwoRows + Bytes(5, 0))).c_str()));
}

TEST_F(BmpFile, ResolutionComesFromDotsPerMetre) {
    constexpr struct {
        std::int32_t pels, dpi;
    } kCases[] = {{0, 72},      {11811, 300}, {3937, 100}, {2835, 72},
                  {23622, 600}, {14, 0},      {15, 1},     {-100, -1}};
    // 14: 19 x 0.0254 + 0.5 = 0.98; 15: 1.008; -100: -2.413 + 0.5 is cut to -1.
    for (const auto& c : kCases) {
        Bytes file = Bitmap(3, 2, 24, kTwoRows);
        Put(&file, kXPels, c.pels);
        CBmpFileReader reader(Store(file).c_str());
        EXPECT_EQ(reader.XDpi(), c.dpi) << c.pels;
        EXPECT_EQ(reader.YDpi(), 72) << "the other side has its own";
    }
}

// ---- Streams

TEST(BmpStream, SkipsTheColoursThatAnImageOfItsDepthHas) {
    constexpr struct {
        std::uint32_t colors;
        std::vector<ULONG>::size_type reads;
        ULONG last;
    } kCases[] = {{0, 2, 40}, {2, 3, 8}, {256, 3, 1024}, {16, 2, 40}};
    for (const auto& c : kCases) {
        Bytes bytes = Bitmap(4, -1, 8, {});
        Put(&bytes, kColors, c.colors);
        CByteStream stream(bytes + Bytes(c.reads == 3 ? c.last : 0, 0xCC) + Bytes{1, 2, 3, 4});
        CBmpStreamReader reader(&stream);
        ASSERT_EQ(stream.m_reads.size(), c.reads);
        EXPECT_EQ(stream.m_reads[0], 14u);
        EXPECT_EQ(stream.m_reads.back(), c.last);
        EXPECT_EQ(Rows(reader, 0, 1), (Bytes{1, 2, 3, 4}));
    }
}

TEST(BmpStream, TheLastHeaderReadDecides) {
    Bytes bytes = Bitmap(4, -1, 8, {});
    Put(&bytes, kColors, 2);
    bytes = bytes + Bytes(8, 0);
    constexpr const char* kExpected[] = {"made", "made", kBad};
    for (std::size_t failing = 0; failing < 3; ++failing) {
        CByteStream stream(bytes);
        stream.m_failing = {failing};
        EXPECT_EQ(Complaint([&] { CBmpStreamReader reader(&stream); }), kExpected[failing]);
    }
    CByteStream empty({});
    EXPECT_EQ(Complaint([&] { CBmpStreamReader reader(&empty); }), kBad);
}

TEST(BmpStream, ImagesThatNoPixelTypeDescribesAreRefused) {
    for (const int bits : {0, 16, 32, 48, 0xFFFF}) {
        CByteStream stream(Bitmap(4, -1, bits, Bytes(64, 0)));
        EXPECT_EQ(Complaint([&] { CBmpStreamReader reader(&stream); }), kBad) << bits;
    }
    for (const std::int32_t width : {0, -4, 0x7FFFFFFF}) {
        CByteStream stream(Bitmap(width, -1, 24, {}));
        EXPECT_EQ(Complaint([&] { CBmpStreamReader reader(&stream); }), kBad) << width;
    }
}

TEST(BmpStream, RowsAreReadWhereTheStreamStands) {
    // 5 gray pixels in rows of 8 bytes; the line number asked for plays no part.
    const Bytes rows = {1,  2, 3, 4, 5,  0,  0,  0,  6,  7, 8, 9,
                        10, 0, 0, 0, 11, 12, 13, 14, 15, 0, 0, 0};
    CByteStream stream(Bitmap(5, -3, 8, rows));
    CBmpStreamReader reader(&stream);
    EXPECT_EQ(Rows(reader, 2, 1), (Bytes{1, 2, 3, 4, 5}));
    EXPECT_EQ(Rows(reader, 0, 2), (Bytes{6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
    EXPECT_EQ(stream.m_reads.back(), 16u) << "a block is one read";
    CByteStream bit(Bitmap(1, -1, 1, {}));
    EXPECT_EQ(CBmpStreamReader(&bit).Stride(), 4) << "rows have 32 bits at least";
}

TEST(BmpStream, APositiveHeightTurnsEachBlockRoundWithinItself) {
    for (const std::int32_t width : {3, 4}) {  // with and without padding
        Bytes rows;
        for (std::uint8_t r = 0; r < 4; ++r)
            rows.insert(rows.end(), 12, r);
        CByteStream stream(Bitmap(width, 4, 24, rows));
        CBmpStreamReader reader(&stream);
        const auto row = [&](std::uint8_t r) {
            return Bytes(static_cast<std::size_t>(3 * width), r);
        };
        EXPECT_EQ(Rows(reader, 0, 3), row(2) + row(1) + row(0));
        EXPECT_EQ(Rows(reader, 3, 1), row(3));
    }
}

TEST(BmpStream, AShortReadIsNoFailureAndLeavesTheRest) {
    CByteStream stream(Bitmap(4, -2, 8, {1, 2, 3, 4, 5, 6}));
    CBmpStreamReader reader(&stream);
    EXPECT_EQ(Rows(reader, 0, 2), (Bytes{1, 2, 3, 4, 5, 6, 0xA5, 0xA5}));
    // Padded rows pass through memory of the reader's own, which is never left to chance.
    for (int run = 0; run < 2; ++run) {
        CByteStream padded(Bitmap(3, -2, 8, {1, 2, 3, 0, 5}));
        CBmpStreamReader paddedReader(&padded);
        EXPECT_EQ(Rows(paddedReader, 0, 2), (Bytes{1, 2, 3, 5, 0xFF, 0xFF}));
    }
}

// ---- The stage

class FileSource : public BmpFile {
  protected:
    FileSource() {
        setenv("NVQ_REGISTRY", (m_folder / "registry.reg").c_str(), 1);
        RegClearProcessValues();
    }
    ~FileSource() override { RegClearProcessValues(); }

    void SetBench(const char* name, DWORD type, const void* data, std::size_t size) {
        ASSERT_EQ(RegSetProcessValue(HKEY_CURRENT_USER, "Software\\Norvane\\Varnook", name, type,
                                     data, static_cast<DWORD>(size)),
                  ERROR_SUCCESS);
    }
    void SetBenchFile(const std::string& path, DWORD on = 1) {
        SetBench("ScanFromFile", REG_DWORD, &on, sizeof(on));
        SetBench("ScanFilePath", REG_SZ, path.c_str(), path.size() + 1);
    }
    void Feed(CByteStream* stream) {
        m_board.Provide(QL_ATTR_INPUT_STREAM, PointerWord(static_cast<IStream*>(stream)));
    }
    std::string Make() {
        return Complaint([this] { CFileSourceStage stage(&m_tree); });
    }

    QLAttribTree m_tree;
    CTestProvider m_board{&m_tree};
};

TEST_F(FileSource, DescribesTheImageByItsHeaders) {
    constexpr struct {
        int bits;
        bool encoded;
        std::uint32_t type;
        std::int32_t stride;
    } kCases[] = {{24, false, 2, 15}, {24, true, 6, 15}, {8, false, 12, 5}, {8, true, 21, 5}};
    for (const auto& c : kCases) {
        Bytes bytes = Bitmap(5, -7, c.bits, {});
        Put(&bytes, kXPels, 11811);
        Put(&bytes, kYPels, 5906);
        CByteStream stream(bytes);
        QLAttribTree tree;
        CTestProvider board(&tree);
        board.Provide(QL_ATTR_INPUT_STREAM, PointerWord(static_cast<IStream*>(&stream)));
        board.Provide(QL_ATTR_SRGB_OUTPUT, c.encoded);
        CFileSourceStage stage(&tree);
        const QLImageFormat& format = *stage.GetOutputFormat();
        EXPECT_EQ(format.m_pixelType, c.type);
        EXPECT_EQ(format.m_layout, 1u);
        EXPECT_EQ(format.m_bytesPerLine, c.stride);
        EXPECT_EQ(format.m_height, 7);
        EXPECT_EQ(format.m_xResolution, 300);
        EXPECT_EQ(format.m_yResolution, 150);
        EXPECT_EQ(format.m_xScalePercent, 100);
        EXPECT_EQ(format.m_yScalePercent, 100);
        EXPECT_EQ(format.m_sharpenBoost, 2.0);
        EXPECT_FALSE(format.m_sharpenBoostOn);
    }
}

TEST_F(FileSource, TheRegistryNamesABenchFile) {
    EXPECT_EQ(Make(), "") << "neither stream nor registry";
    const std::string path = Store(Bitmap(3, 2, 24, kTwoRows));
    SetBench("ScanFilePath", REG_SZ, path.c_str(), path.size() + 1);
    EXPECT_EQ(Make(), "") << "no switch";
    SetBenchFile(path, 0);
    EXPECT_EQ(Make(), "") << "switched off";
    SetBench("ScanFromFile", REG_SZ, "1", 2);
    EXPECT_EQ(Make(), "") << "a switch of another type";
    RegClearProcessValues();
    const DWORD on = 1;
    SetBench("ScanFromFile", REG_DWORD, &on, sizeof(on));
    EXPECT_EQ(Make(), "") << "no path";
    SetBenchFile(path, 7);
    EXPECT_EQ(Make(), "made");
    SetBenchFile((m_folder / "none.bmp").string());
    EXPECT_EQ(Make(), kBad);
    SetBenchFile(Store(Bitmap(4, 1, 8, {1, 2, 3, 4}), "gray.bmp"));
    EXPECT_EQ(Make(), kBad);
    CByteStream stream(Bitmap(4, -1, 8, {1, 2, 3, 4}));
    Feed(&stream);
    EXPECT_EQ(Make(), "made") << "a stream comes first";
}

TEST_F(FileSource, APathHas259CharactersAtMost) {
    const std::string path = Store(Bitmap(3, 2, 24, kTwoRows));
    ASSERT_LT(path.size(), 250u);
    SetBenchFile(std::string(259 - path.size(), '/') + path);
    EXPECT_EQ(Make(), "made");
    SetBenchFile(std::string(260 - path.size(), '/') + path);
    EXPECT_EQ(Make(), "");
}

TEST_F(FileSource, ProvidesWhatTheEngineDoesNotHold) {
    using Log = std::vector<std::string>;
    Log log;
    CTestListener listener(&m_tree, &log, "");
    for (const QLAttribInfo& info : AttribTable())
        listener.Subscribe(info.m_id);
    SetBenchFile(Store(Bitmap(3, 2, 24, kTwoRows)));
    CFileSourceStage stage(&m_tree);
    EXPECT_EQ(log, (Log{"20333", "20209", "20228", "20226", "20323", "20324", "20325", "20326",
                        "20327", "20210"}))
        << "announced in the order of registration";
    constexpr std::uint64_t kTable[5] = {27, 32, 40, 47, 55};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(m_board.GetValue(QL_ATTR_SHARPEN_TABLE_0 + i), kTable[i]);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_SOURCE_PRESENT), 1u);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_SOURCE_PRESENT_B), 1u);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_SOURCE_BITS), 8u);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_SOURCE_STREAM_REG), 1u);
    m_board.SetValue(QL_ATTR_SOURCE_BITS, 16);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_SOURCE_BITS), 8u) << "not to be written";
    m_board.SetValue(QL_ATTR_SOURCE_FLAG, 256);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_SOURCE_FLAG), 1u) << "any value but 0";
    m_board.SetValue(QL_ATTR_SOURCE_FLAG, 0);
    EXPECT_EQ(m_board.GetValue(QL_ATTR_SOURCE_FLAG), 0u);
}

TEST_F(FileSource, AnswersForItsOwnKindOfDeviceWhenAskedDirectly) {
    SetBenchFile(Store(Bitmap(3, 2, 24, kTwoRows)));
    CFileSourceStage stage(&m_tree);
    // value x 65536 + 0.5, worked out by hand.
    constexpr struct {
        std::int32_t first;
        std::uint64_t words[3];
    } kRuns[] = {{QL_ATTR_TONE_GAMMA_R, {69829, 72129, 71939}},
                 {QL_ATTR_TONE_GAIN_R, {65536, 65536, 65536}},
                 {QL_ATTR_TONE_BLACK_R, {169476, 204669, 163709}},
                 {QL_ATTR_GRAY_TONE_BLACK, {0, 65536, 65536}},
                 {QL_ATTR_TONE_WINDOW_LOW, {0, 0, 0}}};
    for (const auto& run : kRuns) {
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(stage.GetAttrib(run.first + i), run.words[i]) << run.first + i;
            EXPECT_EQ(m_board.GetValue(run.first + i), 0u) << "the board doesn't ask the source";
        }
    }
    const auto* matrix = WordPointer<const double>(stage.GetAttrib(QL_ATTR_DEVICE_MATRIX));
    EXPECT_EQ(
        std::vector<double>(matrix, matrix + 9),
        (std::vector<double>{1.499, -0.144, -0.146, -0.051, 1.328, -0.078, 0.013, -0.268, 1.423}));
    const auto* weights = WordPointer<const double>(stage.GetAttrib(QL_ATTR_GRAY_WEIGHTS));
    EXPECT_EQ(std::vector<double>(weights, weights + 3), (std::vector<double>{0.3, 0.59, 0.11}));
    EXPECT_EQ(stage.GetAttrib(QL_ATTR_GAMMA), 0u);
    EXPECT_EQ(stage.SetRequestedType(24), QL_OK);
}

// Reads up to `lines` lines; the bytes that came.
Bytes ReadLines(CQLStage& stage, std::int32_t lines, QLStatus expected = QL_OK) {
    CQLLineBuffer buffer(stage.GetOutputFormat());
    EXPECT_TRUE(buffer.Resize(std::max(lines, 1)));
    const QLStatus status = stage.Read(&lines, &buffer);
    EXPECT_EQ(status, expected);
    return status != QL_OK ? Bytes()
                           : Bytes(buffer.Data(), buffer.Data() + lines * buffer.Stride());
}

TEST_F(FileSource, DeliversLinesUntilTheHeightAndThenNone) {
    SetBenchFile(Store(Bitmap(3, 2, 24, kTwoRows)));
    CFileSourceStage stage(&m_tree);
    std::vector<std::string> log;
    CTestListener listener(&m_tree, &log, "");
    listener.Subscribe(QL_ATTR_SOURCE_FIRST_READ);
    ASSERT_EQ(stage.Open(), QL_OK);
    EXPECT_EQ(ReadLines(stage, 1), kSecondRow);
    EXPECT_EQ(ReadLines(stage, 5), kFirstRow);
    EXPECT_EQ(ReadLines(stage, 5), Bytes());
    EXPECT_EQ(ReadLines(stage, 0), Bytes());
    EXPECT_EQ(log.size(), 1u) << "the first read is announced, and no other";
    // Once more from the top.
    ASSERT_EQ(stage.Close(), QL_OK);
    ASSERT_EQ(stage.Open(), QL_OK);
    EXPECT_EQ(ReadLines(stage, 2), kSecondRow + kFirstRow);
    EXPECT_EQ(log.size(), 2u);
}

TEST_F(FileSource, AStreamGoesOnWhereItStoodAfterCloseAndOpen) {
    CByteStream stream(Bitmap(4, -2, 8, {1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4}));
    Feed(&stream);
    CFileSourceStage stage(&m_tree);
    EXPECT_EQ(RunPass(stage).m_bytes, (Bytes{1, 1, 1, 1, 2, 2, 2, 2}));
    EXPECT_EQ(RunPass(stage).m_bytes, (Bytes{3, 3, 3, 3, 4, 4, 4, 4}));
}

TEST_F(FileSource, ReportsWhatItCanNotRead) {
    const std::string path = Store(Bitmap(3, -2, 24, kTwoRows));
    SetBenchFile(path);
    CFileSourceStage stage(&m_tree);
    EXPECT_EQ(ReadLines(stage, 1), kFirstRow);
    std::filesystem::resize_file(path, kHeaders + 20);
    ReadLines(stage, 1, QL_ERR_SOURCE_READ);
    Store(Bitmap(3, -2, 24, kTwoRows));
    EXPECT_EQ(ReadLines(stage, 1), kSecondRow) << "a line that failed doesn't count";

    std::int32_t lines = -1;
    EXPECT_EQ(stage.Read(&lines, nullptr), QL_ERR_BAD_ARGUMENT);
    stage.Close();
    CQLLineBuffer small(stage.GetOutputFormat());
    ASSERT_TRUE(small.Resize(1));
    lines = 2;
    EXPECT_EQ(stage.Read(&lines, &small), QL_ERR_BAD_ARGUMENT) << "no room for two lines";
}

}  // namespace
