#include "pictures/picture_writer.h"

#include <gtest/gtest.h>

#include <sstream>

#include "pictures/leptonica.h"
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
    const RGBQUAD& color = image.m_palette.at(static_cast<std::size_t>(index));
    return {color.rgbBlue, color.rgbGreen, color.rgbRed};
}

class PictureWriter : public testing::Test {
  protected:
    std::unique_ptr<CPictureWriter> Create(const std::string& path) {
        std::string error;
        auto writer = CreatePictureWriter(path, {}, &error);
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
        const bool knowsResolution = path.find(".pnm") == std::string::npos;
        EXPECT_EQ(reader->Info().m_xPelsPerMeter, knowsResolution ? 11811 : 0);
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
    Palette colors = GrayRamp();
    colors[17] = {200, 100, 0, 0};
    for (const std::string name : {"a.bmp", "a.PNG", "a.png", "a.tif", "a.tiff", "a.pnm"}) {
        for (const std::int32_t width : {1, 3, 31, 33}) {
            SCOPED_TRACE(name + " " + std::to_string(width));
            for (const CImage& image :
                 {MakeImage(width, 5, 24, {}), MakeImage(width, 5, 8, GrayRamp()),
                  MakeImage(width, 5, 8, colors)}) {
                Write(m_folder / name, image, 7);
                ExpectPixels(m_folder / name, image);
            }
            if (name.find(".b") != std::string::npos)
                continue;  // 1-bit bitmaps are looked at below
            for (const Palette& palette : {kBlackWhite, kWhiteBlack, kRedBlue}) {
                const CImage image = MakeImage(width, 5, 1, palette);
                Write(m_folder / name, image, 3);
                ExpectPixels(m_folder / name, image);
            }
        }
    }
}

TEST_F(PictureWriter, BitmapFilesStandBottomUp) {
    for (const std::uint16_t bits : {1, 24}) {
        // Three bands of the writer.
        const CImage image = MakeImage(1001, 700, bits, bits == 1 ? kRedBlue : Palette());
        Write(m_folder / "a.bmp", image, 100000);
        const Bytes file = ReadBytes(m_folder / "a.bmp");
        const auto stride = static_cast<std::ptrdiff_t>(image.m_rows.size() / 700);
        for (std::ptrdiff_t line = 0; line < 700; ++line) {
            ASSERT_TRUE(std::equal(file.end() - stride * (line + 1), file.end() - stride * line,
                                   image.m_rows.begin() + stride * line));
        }
    }
}

TEST_F(PictureWriter, FillsUpWhatIsMissing) {
    CImage image = MakeImage(3, 4, 24, {});
    const auto writer = Create(m_folder / "a.bmp");
    ASSERT_TRUE(writer->Begin(image.m_info, {}));
    ASSERT_TRUE(writer->Write(image.m_rows.data(), 17));
    ASSERT_TRUE(writer->Finish());
    std::fill(image.m_rows.begin() + 17, image.m_rows.end(), std::uint8_t{255});
    ExpectPixels(m_folder / "a.bmp", image);
}

TEST_F(PictureWriter, TheTargetAppearsWholeOrNotAtAll) {
    const CImage image = MakeImage(40, 9, 24, {});
    for (const std::string name : {"a.bmp", "a.png", "a.tif", "a.pdf", "a.pnm"}) {
        const std::string path = m_folder / name;
        WriteBytes(path, {1, 2, 3});
        {
            const auto writer = Create(path);
            ASSERT_TRUE(writer->Begin(image.m_info, {}));
            ASSERT_TRUE(writer->Write(image.m_rows.data(), image.m_rows.size()));
        }
        EXPECT_EQ(m_folder.Names(), Names{name}) << "a writer that goes leaves nothing";
        EXPECT_EQ(ReadBytes(path), (Bytes{1, 2, 3})) << name;
        std::filesystem::remove(path);
    }
}

TEST_F(PictureWriter, SeveralPagesStandInOneFileIfItsKindHoldsThem) {
    const CImage color = MakeImage(40, 9, 24, {});
    for (const std::string name : {"a.tif", "a.pdf", "a.png"}) {
        SCOPED_TRACE(name);
        const auto writer = Create(m_folder / name);
        const auto page = [&](const CImage& image) {
            return writer->Begin(image.m_info, image.m_palette) &&
                   writer->Write(image.m_rows.data(), image.m_rows.size());
        };
        ASSERT_TRUE(page(color) && writer->EndPage()) << writer->Error();
        const bool isSecond = page(MakeImage(33, 700, 1, kBlackWhite)) && writer->EndPage();
        EXPECT_EQ(isSecond, name != "a.png");
        EXPECT_EQ(HoldsSeveralPages(name, {}), isSecond);
        EXPECT_EQ(page(color) && writer->DropPage(), isSecond) << "the third one is given up";
        EXPECT_EQ(writer->Finish(), isSecond);
    }
    EXPECT_EQ(m_folder.Names(), (Names{"a.pdf", "a.tif"}));
    ExpectPixels(m_folder / "a.tif", color);
    EXPECT_EQ(CountTiffPages(m_folder / "a.tif"), 2);
    EXPECT_EQ(CountPdfPages(m_folder / "a.pdf"), 2);
}

// What stands between the brackets of each page of a PDF file: its corners in points.
std::vector<std::vector<double>> PageBoxes(const std::string& pdf) {
    const std::string name = "/MediaBox [";
    std::vector<std::vector<double>> boxes;
    for (std::size_t at = pdf.find(name); at < pdf.size(); at = pdf.find(name, at + 1)) {
        std::istringstream numbers(pdf.substr(at + name.size(), 100));
        boxes.emplace_back(std::istream_iterator<double>(numbers), std::istream_iterator<double>());
    }
    return boxes;
}

// The unpacked streams of a PDF file that come behind `mark`, from `mark` to the object's end.
std::vector<Bytes> StreamsBehind(const std::string& pdf, const std::string& mark) {
    std::vector<Bytes> streams;
    for (std::size_t at = pdf.find(mark); at < pdf.size(); at = pdf.find(mark, at + 1)) {
        const std::size_t begin = pdf.find("\nstream\n", at) + 8;
        const std::string packed = pdf.substr(begin, pdf.find("\nendstream", begin) - begin);
        std::size_t size = 0;
        const std::unique_ptr<l_uint8, CLeptDeleter> bytes(
            zlibUncompress(reinterpret_cast<const l_uint8*>(packed.data()), packed.size(), &size));
        streams.emplace_back(bytes.get(), bytes.get() + size);
    }
    return streams;
}

TEST_F(PictureWriter, PdfPagesHaveTheirPicturesSizeAndPixels) {
    std::vector<CImage> pages = {MakeImage(40, 9, 24, {}), MakeImage(600, 300, 8, GrayRamp()),
                                 MakeImage(33, 70, 1, kBlackWhite), MakeImage(50, 30, 1, kRedBlue),
                                 MakeImage(40000, 2, 1, kWhiteBlack)};
    pages[1].m_info.biYPelsPerMeter = 5906;  // 150 dpi
    pages[2].m_info.biXPelsPerMeter = pages[2].m_info.biYPelsPerMeter = 0;
    const auto writer = Create(m_folder / "a.pdf");
    for (const CImage& page : pages) {
        ASSERT_TRUE(writer->Begin(page.m_info, page.m_palette) &&
                    writer->Write(page.m_rows.data(), page.m_rows.size()) && writer->EndPage());
    }
    ASSERT_TRUE(writer->Finish());
    const std::string pdf = ReadText(m_folder / "a.pdf");
    // 72 points and 300 pixels an inch, which is also what a page without a resolution has. A page
    // of another size than the one before has whole points, so that none of it is cut off.
    const double sizes[][2] = {{9.6, 2.16}, {144, 144}, {8, 17}, {12, 8}, {9600, 1}};
    const auto boxes = PageBoxes(pdf);
    ASSERT_EQ(boxes.size(), std::size(sizes));
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        EXPECT_NEAR(boxes[i].at(2), sizes[i][0], 0.001) << i;
        EXPECT_NEAR(boxes[i].at(3), sizes[i][1], 0.001) << i;
    }

    // A set bit of a mask is painted: black, and what has the second colour. One of 40000 pixels is
    // cut in two.
    const auto masks = StreamsBehind(pdf, "/ImageMask true");
    ASSERT_EQ(masks.size(), 4u);
    const struct {
        std::size_t page;
        std::int32_t from, to, line;
        bool isSet;  // of the page's second colour
    } rows[] = {{2, 0, 33, 69, false},
                {3, 0, 50, 29, true},
                {4, 0, 32736, 1, true},
                {4, 32736, 40000, 1, true}};
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const auto& [page, from, to, line, isSet] = rows[i];
        const RGBQUAD& color = pages[page].m_palette[1];
        const Bytes second = {color.rgbBlue, color.rgbGreen, color.rgbRed};
        const std::int32_t row = line * ((to - from + 7) / 8);
        for (std::int32_t x = from; x < to; ++x) {
            const std::uint8_t byte = masks[i].at(static_cast<std::size_t>(row + (x - from) / 8));
            const bool isPainted = (byte >> (7 - (x - from) % 8) & 1) != 0;
            ASSERT_EQ(isPainted, (PixelOf(pages[page], x, line) == second) == isSet) << i;
        }
    }
}

TEST_F(PictureWriter, JpegFilesLoseALittle) {
    CImage image = MakeImage(64, 48, 8, GrayRamp());
    for (std::size_t i = 0; i < image.m_rows.size(); ++i)
        image.m_rows[i] = static_cast<std::uint8_t>(i % 64 * 3);
    Write(m_folder / "a.jpg", image, 100);
    std::string error;
    const auto reader = OpenPicture(m_folder / "a.jpg", &error);
    ASSERT_NE(reader, nullptr) << error;
    Bytes line(64);
    ASSERT_TRUE(reader->ReadLines(line.data(), 1));
    for (std::size_t x = 0; x < 64; ++x)
        EXPECT_NEAR(line[x], static_cast<int>(3 * x), 8) << x;
}

TEST_F(PictureWriter, RefusesHeadersAndCallsThatAreWrong) {
    const CImage good = MakeImage(2, 2, 8, GrayRamp());
    const struct {
        void (*spoil)(CImage&);
        const char* complaint;
    } table[] = {
        {[](CImage& i) { i.m_info.biBitCount = 4; }, "would hold 4 bits a pixel"},
        {[](CImage& i) { i.m_palette.clear(); }, "would have a palette of 0 colours; 1 to 256"},
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
    for (const auto& [path, complaint] :
         {std::pair<std::string, const char*>{"/dev/null", "is no regular file"},
          {m_folder / "missing/a.bmp", "can't be created: No such file or directory"}}) {
        const auto writer = CreateBitmapWriter(path);
        EXPECT_FALSE(writer->Begin(good.m_info, good.m_palette));
        EXPECT_EQ(writer->Error(), complaint);
    }
    EXPECT_FALSE(Create(m_folder / "a.bmp")->Finish()) << "before it has begun";
    EXPECT_EQ(m_folder.Names(), Names{});
}

}  // namespace
