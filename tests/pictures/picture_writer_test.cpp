#include "pictures/picture_writer.h"

#include <gtest/gtest.h>

#include "pictures/picture_reader.h"
#include "tests/pictures/picture_files.h"

namespace {

using Names = std::vector<std::string>;
using Palette = std::vector<RGBQUAD>;

const Palette kBlackWhite = {{0, 0, 0, 0}, {255, 255, 255, 0}};
const Palette kWhiteBlack = {{255, 255, 255, 0}, {0, 0, 0, 0}};
const Palette kRedBlue = {{0, 0, 255, 0}, {255, 0, 0, 0}};  // blue, green, red

Palette GrayRamp() {
    return CBitmapFile::Make(1, 1, 8).m_palette;
}

// An image as it comes from the engine: header, palette, padded rows with the top line first.
struct CImage {
    BITMAPINFOHEADER m_info;
    Palette m_palette;
    Bytes m_rows;
};

CImage MakeImage(std::int32_t width, std::int32_t height, std::uint16_t bits, Palette palette) {
    CBitmapFile bitmap = CBitmapFile::Make(width, -height, bits);
    const std::size_t used = (static_cast<std::size_t>(width) * bits + 7) / 8;
    for (std::int32_t line = 0; line < height; ++line) {
        for (std::size_t i = 0; i < used; ++i)
            bitmap.Line(line)[i] = TestSample(static_cast<std::int32_t>(i), line, 0);
    }
    CImage image = {bitmap.m_info, std::move(palette), bitmap.m_rows};
    image.m_info.biHeight = height;
    image.m_info.biXPelsPerMeter = image.m_info.biYPelsPerMeter = 11811;
    return image;
}

// The colour of a pixel as the palette has it; blue, green, red.
Bytes PixelOf(const CImage& image, std::int32_t x, std::int32_t line) {
    const std::size_t stride =
        image.m_rows.size() / static_cast<std::size_t>(image.m_info.biHeight);
    const std::uint8_t* row = image.m_rows.data() + stride * static_cast<std::size_t>(line);
    if (image.m_info.biBitCount == 24)
        return Bytes(row + 3 * x, row + 3 * x + 3);
    const int index = image.m_info.biBitCount == 8 ? row[x] : row[x / 8] >> (7 - x % 8) & 1;
    const RGBQUAD white = {255, 255, 255, 0};
    const auto i = static_cast<std::size_t>(index);
    const RGBQUAD color = i < image.m_palette.size() ? image.m_palette[i] : white;
    return {color.rgbBlue, color.rgbGreen, color.rgbRed};
}

class PictureWriter : public testing::Test {
  protected:
    std::unique_ptr<CPictureWriter> Create(const std::string& path) {
        std::string error;
        auto writer = CreatePictureWriter(path, &error);
        EXPECT_NE(writer, nullptr) << error;
        return writer;
    }
    // Writes the image in runs of `run` bytes.
    void Write(const std::string& path, const CImage& image, std::size_t run) {
        const auto writer = Create(path);
        ASSERT_TRUE(writer->Begin(image.m_info, image.m_palette)) << writer->Error();
        for (std::size_t at = 0; at < image.m_rows.size(); at += run) {
            const std::size_t length = std::min(run, image.m_rows.size() - at);
            ASSERT_TRUE(writer->Write(image.m_rows.data() + at, length)) << writer->Error();
        }
        ASSERT_TRUE(writer->Finish()) << writer->Error();
    }
    void ExpectPixels(const std::string& path, const CImage& image) {
        std::string error;
        const auto reader = OpenPicture(path, &error);
        ASSERT_NE(reader, nullptr) << error;
        ASSERT_EQ(reader->Info().m_width, image.m_info.biWidth);
        ASSERT_EQ(reader->Info().m_height, image.m_info.biHeight);
        EXPECT_EQ(reader->Info().m_xPelsPerMeter, 11811);
        const auto bytesPerPixel = static_cast<std::size_t>(reader->Info().m_bitsPerPixel / 8);
        Bytes line(reader->LineBytes());
        for (std::int32_t y = 0; y < image.m_info.biHeight; ++y) {
            ASSERT_TRUE(reader->ReadLines(line.data(), 1));
            for (std::int32_t x = 0; x < image.m_info.biWidth; ++x) {
                const std::uint8_t* pixel = &line[bytesPerPixel * static_cast<std::size_t>(x)];
                const Bytes got = bytesPerPixel == 3 ? Bytes(pixel, pixel + 3) : Bytes(3, *pixel);
                ASSERT_EQ(got, PixelOf(image, x, y)) << x << ", " << y;
            }
        }
    }

    CTempFolder m_folder;
};

TEST_F(PictureWriter, EveryFormatKeepsEveryPixel) {
    Palette shortRamp = GrayRamp();
    shortRamp.resize(200);
    Palette colors = GrayRamp();
    colors[17] = {200, 100, 0, 0};
    for (const std::string name : {"a.bmp", "a", "a.PNG", "a.png", "a.tif", "a.tiff"}) {
        for (const std::int32_t width : {1, 3, 31, 33}) {
            SCOPED_TRACE(name + " " + std::to_string(width));
            for (const CImage& image :
                 {MakeImage(width, 5, 24, {}), MakeImage(width, 5, 8, GrayRamp()),
                  MakeImage(width, 5, 8, shortRamp), MakeImage(width, 5, 8, colors)}) {
                Write(m_folder / name, image, 7);
                ExpectPixels(m_folder / name, image);
            }
            if (name.find(".b") != std::string::npos || name == "a")
                continue;  // 1-bit bitmaps are looked at below
            for (const Palette& palette : {kBlackWhite, kWhiteBlack, kRedBlue}) {
                const CImage image = MakeImage(width, 5, 1, palette);
                Write(m_folder / name, image, 3);
                ExpectPixels(m_folder / name, image);
            }
        }
    }
}

TEST_F(PictureWriter, BitmapFilesStandBottomUpBehindPlainHeaders) {
    for (const std::uint16_t bits : {1, 8, 24}) {
        SCOPED_TRACE(bits);
        // Three bands of the writer.
        CImage image = MakeImage(1001, 700, bits, bits == 1 ? kRedBlue : GrayRamp());
        const std::string path = m_folder / "a.bmp";
        Write(path, image, 100000);
        CBitmapFile expected = CBitmapFile::Make(1001, 700, bits);
        expected.m_palette = bits == 24 ? Palette{} : image.m_palette;
        expected.m_info.biXPelsPerMeter = expected.m_info.biYPelsPerMeter = 11811;
        expected.m_info.biSizeImage = static_cast<DWORD>(image.m_rows.size());
        expected.m_info.biClrUsed = static_cast<DWORD>(expected.m_palette.size());
        for (std::int32_t line = 0; line < 700; ++line) {
            std::memcpy(expected.Line(line),
                        image.m_rows.data() + expected.Stride() * static_cast<std::size_t>(line),
                        expected.Stride());
        }
        expected.Settle();
        EXPECT_TRUE(ReadBytes(path) == expected.All());
    }
}

TEST_F(PictureWriter, FillsUpWhatIsMissingAndDropsWhatIsTooMuch) {
    CImage image = MakeImage(3, 4, 24, {});
    const auto writer = Create(m_folder / "a.bmp");
    ASSERT_TRUE(writer->Begin(image.m_info, {}));
    ASSERT_TRUE(writer->Write(image.m_rows.data(), 17));
    ASSERT_TRUE(writer->Finish());
    std::fill(image.m_rows.begin() + 17, image.m_rows.end(), std::uint8_t{255});
    ExpectPixels(m_folder / "a.bmp", image);

    image.m_rows.resize(100, 9);
    Write(m_folder / "b.bmp", image, 100);
    EXPECT_EQ(ReadBytes(m_folder / "a.bmp"), ReadBytes(m_folder / "b.bmp"));
}

TEST_F(PictureWriter, TheTargetAppearsWholeOrNotAtAll) {
    const CImage image = MakeImage(40, 9, 24, {});
    for (const std::string name : {"a.bmp", "a.png", "a.tif"}) {
        SCOPED_TRACE(name);
        const std::string path = m_folder / name;
        WriteBytes(path, {1, 2, 3});
        {
            const auto writer = Create(path);
            ASSERT_TRUE(writer->Begin(image.m_info, {}));
            ASSERT_TRUE(writer->Write(image.m_rows.data(), image.m_rows.size()));
            EXPECT_EQ(ReadBytes(path), (Bytes{1, 2, 3})) << "as long as it isn't finished";
        }
        EXPECT_EQ(m_folder.Names(), Names{name}) << "a writer that goes leaves nothing";
        EXPECT_EQ(ReadBytes(path), (Bytes{1, 2, 3}));
        Write(path, image, 50);
        EXPECT_EQ(m_folder.Names(), Names{name});
        ExpectPixels(path, image);
        std::filesystem::remove(path);
    }
}

TEST_F(PictureWriter, FollowsLinksAndRefusesWhatIsNoFile) {
    const CImage image = MakeImage(2, 2, 24, {});
    WriteBytes(m_folder / "real.bmp", {1});
    std::filesystem::create_symlink("real.bmp", m_folder / "link.bmp");
    Write(m_folder / "link.bmp", image, 4);
    EXPECT_TRUE(std::filesystem::is_symlink(m_folder / "link.bmp"));
    ExpectPixels(m_folder / "real.bmp", image);

    std::filesystem::create_directory(m_folder / "folder.bmp");
    const struct {
        std::string path;
        const char* complaint;
    } refused[] = {
        {m_folder / "folder.bmp", "is a directory"},
        {"/dev/null", "is no regular file"},
        {m_folder / "missing/a.bmp", "can't be created: No such file or directory"},
    };
    for (const auto& row : refused) {
        const auto writer = CreateBitmapWriter(row.path);
        EXPECT_FALSE(writer->Begin(image.m_info, {}));
        EXPECT_EQ(writer->Error(), row.complaint);
    }
}

TEST_F(PictureWriter, RefusesHeadersAndCallsThatAreWrong) {
    const CImage good = MakeImage(2, 2, 8, GrayRamp());
    const struct {
        void (*spoil)(CImage&);
        const char* complaint;
    } table[] = {
        {[](CImage& i) { i.m_info.biBitCount = 4; }, "would hold 4 bits a pixel"},
        {[](CImage& i) { i.m_info.biBitCount = 1; }, "would have a palette of 256 colours; 1 to 2"},
        {[](CImage& i) { i.m_palette.clear(); }, "would have a palette of 0 colours; 1 to 256"},
        {[](CImage& i) { i.m_info.biWidth = 0; }, "would be 0 pixels wide"},
        {[](CImage& i) { i.m_info.biHeight = -2; }, "would be -2 lines high"},
        {[](CImage& i) { i.m_info.biCompression = 1; }, "compressed by method 1"},
        {[](CImage& i) { i.m_info.biWidth = i.m_info.biHeight = 60000; }, "can be encoded"},
    };
    for (const auto& row : table) {
        CImage image = good;
        row.spoil(image);
        const auto writer = Create(m_folder / "a.png");
        EXPECT_FALSE(writer->Begin(image.m_info, image.m_palette)) << row.complaint;
        EXPECT_NE(writer->Error().find(row.complaint), std::string::npos) << writer->Error();
        EXPECT_FALSE(writer->Write(image.m_rows.data(), 1)) << "every failure is for good";
        EXPECT_FALSE(writer->Finish());
    }
    const auto writer = Create(m_folder / "a.bmp");
    EXPECT_FALSE(writer->Finish()) << "before it has begun";
    EXPECT_EQ(m_folder.Names(), Names{});
    std::string error;
    EXPECT_EQ(CreatePictureWriter("a.gif", &error), nullptr);
    EXPECT_EQ(error, "ends in \".gif\"; .bmp, .png, .tif and .tiff files are written");
}

}  // namespace
