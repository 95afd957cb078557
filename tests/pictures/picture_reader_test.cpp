#include "pictures/picture_reader.h"

#include <gtest/gtest.h>

#include "pictures/leptonica.h"
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
        // 2^32 / 12, and one more.
        {24, [](B& b) { b.m_info.biHeight = 357913941; }, "3 x 357913941 pixels take 4294967292"},
        {24, [](B& b) { b.m_info.biHeight = -357913942; }, "1 to 357913941 are read at a width"},
        {1, [](B& b) { b.m_info.biWidth = INT32_MAX; }, "is 2147483647 pixels wide"},
        {1, [](B& b) { b.m_info.biClrUsed = 3; }, "which ends at byte 66"},
        {32, [](B& b) { b.m_info.biCompression = 3; }, "has masks that put its colours elsewhere"},
        {16, [](B&) {}, "holds 16 bits a pixel"},
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
    for (const std::int32_t height : {2, -2}) {
        CBitmapFile bits = CBitmapFile::Make(10, height, 1);
        bits.m_palette = {{255, 255, 255, 0}, {0, 0, 0, 0}};
        bits.Settle();
        std::ranges::copy(Bytes{0x90, 0x40}, bits.Line(1));
        Bytes expected(20, 255);
        expected[10] = expected[13] = expected[19] = 0;
        EXPECT_EQ(AllLines(*Open(bits)), expected) << "the palette says what a set bit is";
    }
}

TEST_F(PictureReader, PassesOverTheFourthByteOfAPixel) {
    CBitmapFile bitmap = CBitmapFile::Make(2, 1, 32);
    std::ranges::copy(Bytes{1, 2, 3, 99, 4, 5, 6, 0}, bitmap.Line(0));
    EXPECT_EQ(AllLines(*Open(bitmap)), (Bytes{1, 2, 3, 4, 5, 6}));
    // With masks behind the header that say the same.
    bitmap.m_info.biCompression = 3;
    bitmap.m_gap = {0, 0, 0xFF, 0, 0, 0xFF, 0, 0, 0xFF, 0, 0, 0};
    bitmap.Settle();
    EXPECT_EQ(AllLines(*Open(bitmap)), (Bytes{1, 2, 3, 4, 5, 6}));
}

// The disk holds none of the rows but the last one, which is the image's first line.
TEST_F(PictureReader, ReadsBitmapsUpTo4GiB) {
    CBitmapFile bitmap = CBitmapFile::Make(10000, 1, 32);
    bitmap.m_info.biHeight = 107000;
    bitmap.m_file.bfSize = static_cast<DWORD>(54 + 40000ll * 107000);
    const Bytes all = bitmap.All();
    WriteBytes(m_path, Bytes(all.begin(), all.begin() + 54));
    std::filesystem::resize_file(m_path, 54 + 40000ll * 107000 - 4);
    std::ofstream(m_path, std::ios::binary | std::ios::app).write("\7\10\11", 4);
    std::string error;
    const auto reader = OpenPicture(m_path, &error);
    ASSERT_NE(reader, nullptr) << error;
    Bytes line(30000);
    ASSERT_TRUE(reader->ReadLines(line.data(), 1)) << reader->Error();
    EXPECT_EQ(Bytes(line.end() - 4, line.end()), (Bytes{0, 7, 8, 9}));
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
                  "is a damaged PNG file: ");
}

CPixPtr TestPix(int depth) {
    constexpr int kWidth = 37;
    constexpr int kHeight = 41;
    CPixPtr pix(pixCreate(kWidth, kHeight, depth));
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const l_uint32 value = TestSample(x, y, 0) * 0x01010101u + TestSample(y, x, 1) * 0x107u;
            pixSetPixel(pix.get(), x, y, depth == 32 ? value : value & ((1u << depth) - 1));
        }
    }
    pixSetResolution(pix.get(), 300, 150);
    return pix;
}

// What Leptonica, by its own reading, makes of a file: gray or blue, green, red.
Bytes LeptonicaLines(const std::string& path) {
    CPixPtr pix(pixRead(path.c_str()));
    if (pixGetColormap(pix.get()))
        pix.reset(pixRemoveColormap(pix.get(), REMOVE_CMAP_BASED_ON_SRC));
    if (pixGetDepth(pix.get()) != 32)
        pix.reset(pixConvertTo8(pix.get(), 0));
    Bytes bytes;
    for (int y = 0; y < pixGetHeight(pix.get()); ++y) {
        for (int x = 0; x < pixGetWidth(pix.get()); ++x) {
            l_uint32 value = 0;
            pixGetPixel(pix.get(), x, y, &value);
            const bool isColor = pixGetDepth(pix.get()) == 32;
            for (const int shift : {L_BLUE_SHIFT, L_GREEN_SHIFT, L_RED_SHIFT})
                if (isColor || shift == L_RED_SHIFT)
                    bytes.push_back(static_cast<std::uint8_t>(value >> (isColor ? shift : 0)));
        }
    }
    return bytes;
}

TEST_F(PictureReader, RowsAreThoseThatLeptonicaReads) {
    const CPixPtr palette = TestPix(4);
    PIXCMAP* const colors = pixcmapCreate(4);
    for (int i = 0; i < 16; ++i)
        pixcmapAddColor(colors, 16 * i, 255 - i, i * i);
    pixSetColormap(palette.get(), colors);
    struct CKind {
        int format;
        std::vector<int> depths;  // 0: the palette
    };
    const CKind kinds[] = {
        {IFF_PNG, {1, 2, 4, 8, 16, 32, 0}},
        {IFF_TIFF, {1, 2, 4, 8, 16, 32, 0}},
        {IFF_TIFF_LZW, {1, 8, 32, 0}},
        {IFF_TIFF_ZIP, {8, 32}},
        {IFF_TIFF_G4, {1}},
        {IFF_TIFF_G3, {1}},
        {IFF_TIFF_PACKBITS, {1, 8, 32}},
        {IFF_JFIF_JPEG, {8, 32}},
    };
    for (const auto& [format, depths] : kinds) {
        for (const int depth : depths) {
            SCOPED_TRACE(std::to_string(format) + " with " + std::to_string(depth) + " bits");
            const CPixPtr pix = depth == 0 ? CPixPtr(pixClone(palette.get())) : TestPix(depth);
            ASSERT_EQ(pixWrite(m_path.c_str(), pix.get(), format), 0);
            std::string error;
            const auto reader = OpenPicture(m_path, &error);
            ASSERT_NE(reader, nullptr) << error;
            EXPECT_EQ(AllLines(*reader, 3), LeptonicaLines(m_path));
            if (depth != 0) {
                EXPECT_EQ(reader->Info().m_xPelsPerMeter, 11811);
                EXPECT_EQ(reader->Info().m_yPelsPerMeter, 5906);
            }
            // Whatever is missing at the end is told, at once or where it is missing.
            const auto size = std::filesystem::file_size(m_path);
            for (std::uintmax_t cut = size - 3; cut > size / 8; cut -= size / 8) {
                std::filesystem::resize_file(m_path, cut);
                const auto part = OpenPicture(m_path, &error);
                Bytes line(4 * 41);
                for (int y = 0; part && error.empty() && y < part->Info().m_height; ++y) {
                    if (!part->ReadLines(line.data(), 1))
                        error = part->Error();
                }
                EXPECT_NE(error.find("it ends early"), std::string::npos) << cut << ": " << error;
                error.clear();
            }
        }
    }
}

// ---- TIFF files made by hand

struct CTag {
    std::uint16_t id;
    std::uint32_t value;
};

// A directory at `place`: all values are numbers of 32 bits.
void AddDirectory(Bytes& file, std::uint32_t next, const std::vector<CTag>& tags) {
    const auto add = [&file](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            file.push_back(static_cast<std::uint8_t>(value >> 8 * i));
    };
    add(static_cast<std::uint32_t>(tags.size()), 2);
    for (const CTag& tag : tags) {
        add(tag.id, 2);
        add(4, 2);
        add(1, 4);
        add(tag.value, 4);
    }
    add(next, 4);
}

// Six grays, 3 across and 2 along, then one directory.
Bytes SmallTiff(std::uint32_t next, const std::vector<CTag>& more) {
    Bytes file = {'I', 'I', 42, 0, 14, 0, 0, 0, 10, 20, 30, 40, 50, 60};
    std::vector<CTag> tags = {{256, 3}, {257, 2}, {258, 8}, {259, 1}, {262, 1}};
    tags.insert(tags.end(), more.begin(), more.end());
    AddDirectory(file, next, tags);
    return file;
}

TEST_F(PictureReader, TurnsTiffPagesTheRightWayUp) {
    // Where the file's first row and column are: top left, top right, bottom right, bottom left,
    // and then with rows that are columns.
    const Bytes expected[] = {
        {10, 20, 30, 40, 50, 60}, {30, 20, 10, 60, 50, 40}, {60, 50, 40, 30, 20, 10},
        {40, 50, 60, 10, 20, 30}, {10, 40, 20, 50, 30, 60}, {40, 10, 50, 20, 60, 30},
        {60, 30, 50, 20, 40, 10}, {30, 60, 20, 50, 10, 40},
    };
    for (std::uint32_t way = 1; way <= 8; ++way) {
        WriteBytes(m_path, SmallTiff(0, {{273, 8}, {274, way}, {278, 2}, {279, 6}}));
        std::string error;
        const auto reader = OpenPicture(m_path, &error);
        ASSERT_NE(reader, nullptr) << error;
        EXPECT_EQ(reader->Info().m_width, way <= 4 ? 3 : 2) << way;
        EXPECT_EQ(AllLines(*reader), expected[way - 1]) << way;
    }
}

TEST_F(PictureReader, RefusesHostileTiffFilesInTime) {
    const std::vector<CTag> strips = {{273, 8}, {278, 2}, {279, 6}};
    ExpectRefused(SmallTiff(0, {}), "is a damaged TIFF file: ");
    ExpectRefused(SmallTiff(0, {{273, 0x7FFFFFFF}, {278, 2}, {279, 6}}), "it ends early");
    ExpectRefused({'I', 'I', 42, 0, 0, 0, 0, 0}, "it has no page");
    Bytes wide = SmallTiff(0, strips);
    wide.at(14 + 2 + 8 + 3) = 0x70;
    ExpectRefused(wide, "is a TIFF file of 1879048195 x 2 pixels");

    std::string error;
    const auto count = [&](const Bytes& bytes, int most) {
        WriteBytes(m_path, bytes);
        error.clear();
        return CountPages(m_path, most, &error);
    };
    EXPECT_EQ(count(SmallTiff(14, strips), 1), 1) << "the second page wasn't looked for";
    EXPECT_EQ(count(SmallTiff(14, strips), 2), 0);
    EXPECT_NE(error.find("in a circle"), std::string::npos) << error;
    EXPECT_EQ(count(SmallTiff(0xFFFFFFF0, strips), 2), 0);
    EXPECT_NE(error.find("ends early"), std::string::npos) << error;
    Bytes many = {'I', 'I', 42, 0, 8, 0, 0, 0};
    for (int i = 0; i < 1'000'000; ++i)
        AddDirectory(many, static_cast<std::uint32_t>(many.size()) + 6, {});
    EXPECT_EQ(count(many, 2'000'000), 0);
    EXPECT_EQ(error, "has more than 65535 pages");
}

TEST_F(PictureReader, FindsEveryPageOfATiffFile) {
    for (const int depth : {1, 8, 32})
        ASSERT_EQ(pixWriteTiff(m_path.c_str(), TestPix(depth).get(), IFF_TIFF_LZW,
                               depth == 1 ? "w" : "a"),
                  0);
    std::string error;
    EXPECT_EQ(CountPages(m_path, 100, &error), 3);
    for (const int page : {1, 2, 3}) {
        const auto reader = OpenPicture(m_path, &error, page);
        ASSERT_NE(reader, nullptr) << error;
        CPixPtr pix(pixReadTiff(m_path.c_str(), page - 1));
        pixWrite((m_folder / "page.png").c_str(), pix.get(), IFF_PNG);
        EXPECT_EQ(AllLines(*reader), LeptonicaLines(m_folder / "page.png")) << page;
    }
    EXPECT_EQ(OpenPicture(m_path, &error, 4), nullptr);
    EXPECT_EQ(error, "has 3 pages");
}

}  // namespace
