#include "pictures/picture_reader.h"

#include <gtest/gtest.h>

#include "tests/pictures/picture_files.h"

namespace {

class PictureReader : public testing::Test {
  protected:
    // One line says what is wrong.
    void ExpectRefused(const Bytes& bytes, const std::string& complaint) {
        WriteBytes(m_path, bytes);
        std::string error;
        EXPECT_EQ(OpenPicture(m_path, &error), nullptr) << complaint;
        EXPECT_NE(error.find(complaint), std::string::npos) << error << ", not " << complaint;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }
    std::unique_ptr<CPictureReader> Open(const CBitmapFile& bitmap) {
        WriteBytes(m_path, bitmap.All());
        std::string error;
        auto reader = OpenPicture(m_path, &error);
        EXPECT_NE(reader, nullptr) << error;
        return reader;
    }

    CTempFolder m_folder;
    const std::string m_path = m_folder / "in.bmp";
};

// All lines, `step` at a time.
Bytes AllLines(CPictureReader& reader, std::int32_t step = 1) {
    Bytes bytes(reader.LineBytes() * static_cast<std::size_t>(reader.Info().m_height));
    for (std::int32_t line = 0; line < reader.Info().m_height; line += step) {
        EXPECT_TRUE(
            reader.ReadLines(bytes.data() + reader.LineBytes() * static_cast<std::size_t>(line),
                             std::min(step, reader.Info().m_height - line)))
            << reader.Error();
    }
    return bytes;
}

TEST_F(PictureReader, RefusesBitmapsWhoseHeadersLie) {
    using B = CBitmapFile;
    const struct {
        std::uint16_t bits;
        void (*spoil)(B&);
        const char* complaint;
    } rows[] = {
        {24, [](B& b) { b.m_rows.push_back(0); }, "says that it has 114 bytes; it has 115"},
        {24, [](B& b) { b.m_info.biHeight = -6; }, "3 x 6 pixels take 72"},
        {24, [](B& b) { b.m_file.bfOffBits = 0xFFFFFFFF; }, "beyond its end"},
        {24, [](B& b) { b.m_info.biHeight = INT32_MIN; }, "is -2147483648 lines high"},
        // 2^31 / 12, and one more.
        {24, [](B& b) { b.m_info.biHeight = 178956970; }, "3 x 178956970 pixels take 2147483640"},
        {24, [](B& b) { b.m_info.biHeight = -178956971; }, "1 to 178956970 are read at a width"},
        {24, [](B& b) { b.m_info.biSize = 12; }, "info header of 12 bytes"},
        {24, [](B& b) { b.m_info.biCompression = 1; }, "compressed by method 1"},
        {8, [](B& b) { b.m_info.biClrUsed = 257; }, "palette of 257 colours; at most 256"},
        {8, [](B& b) { b.m_file.bfOffBits = 1077; }, "which ends at byte 1078"},
    };
    for (const auto& row : rows) {
        CBitmapFile bitmap = CBitmapFile::Make(3, 5, row.bits);
        row.spoil(bitmap);
        ExpectRefused(bitmap.All(), row.complaint);
    }
}

TEST_F(PictureReader, DeliversLinesTopFirstWithoutPaddingWhateverTheirOrderInTheFile) {
    // 350 lines of 3000 bytes are more than one band of the reader.
    for (const std::int32_t height : {1, 1000, -7, -1000}) {
        for (const std::int32_t width : {1, 2, 3, 4, 1000}) {
            auto reader = Open(TestBitmap(width, height, 24));
            ASSERT_NE(reader, nullptr);
            EXPECT_TRUE(reader->Info().m_isPlainBitmap);
            const Bytes all = AllLines(*reader, 3);
            for (std::int32_t i = 0; i < 3 * width * std::abs(height); ++i) {
                ASSERT_EQ(all[static_cast<std::size_t>(i)],
                          TestSample(i / 3 % width, i / 3 / width, i % 3));
            }
            EXPECT_FALSE(reader->ReadLines(nullptr, 1));
        }
    }
}

TEST_F(PictureReader, MapsPalettesToGrayOrColor) {
    CBitmapFile bitmap = CBitmapFile::Make(3, 1, 8);
    std::ranges::copy(Bytes{0, 200, 255}, bitmap.Line(0));
    EXPECT_EQ(AllLines(*Open(bitmap)), (Bytes{0, 200, 255})) << "a gray ramp";
    std::ranges::reverse(bitmap.m_palette);
    EXPECT_EQ(AllLines(*Open(bitmap)), (Bytes{255, 55, 0})) << "a falling one";
    bitmap.m_palette[200] = {10, 20, 30, 0};
    EXPECT_EQ(AllLines(*Open(bitmap)), (Bytes{255, 255, 255, 10, 20, 30, 0, 0, 0}));
}

TEST_F(PictureReader, TellsOfAFileThatWasCutWhileItIsRead) {
    auto reader = Open(TestBitmap(1000, 1000, 24));
    Bytes line(3000);
    ASSERT_TRUE(reader->ReadLines(line.data(), 1));
    std::filesystem::resize_file(m_path, 10000);
    while (reader->ReadLines(line.data(), 1))
        continue;
    EXPECT_EQ(reader->Error(), "has become shorter while it was read");
}

TEST_F(PictureReader, RefusesOtherKindsThatAreDamaged) {
    const auto text = [](const char* s) { return Bytes(s, s + std::strlen(s)); };
    ExpectRefused(text("P6\n3000 3000\n255\n..."), "which its 20 bytes can't hold");
    ExpectRefused(text("\x89PNG\r\n\x1a\nand then nothing that a header has"),
                  "has a damaged PNG header");
}

}  // namespace
