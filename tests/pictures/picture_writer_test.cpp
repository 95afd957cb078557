#include "pictures/picture_writer.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>
#include <sstream>

#include "pictures/leptonica.h"
#include "pictures/palette_kind.h"
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
    image.m_info.biXPelsPerMeter = 11811;  // 300 dpi
    image.m_info.biYPelsPerMeter = 5906;   // 150 dpi
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

// A TIFF file of one strip of these bytes, as faxes are packed.
Bytes FaxFile(const std::string& strip, const BITMAPINFOHEADER& info) {
    const std::uint32_t entries[][3] = {
        {256, 4, static_cast<std::uint32_t>(info.biWidth)},
        {257, 4, static_cast<std::uint32_t>(info.biHeight)},
        {259, 4, 4},  // group 4
        {262, 4, 0},  // a set bit is black
        {273, 4, 8 + 2 + 7 * 12 + 4},
        {278, 4, static_cast<std::uint32_t>(info.biHeight)},
        {279, 4, static_cast<std::uint32_t>(strip.size())},
    };
    Bytes file = {'I', 'I', 42, 0, 8, 0, 0, 0, 7, 0};
    const auto add = [&file](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            file.push_back(static_cast<std::uint8_t>(value >> 8 * i));
    };
    for (const auto& [tag, type, value] : entries) {
        add(tag, 2);
        add(type, 2);
        add(1, 4);
        add(value, 4);
    }
    add(0, 4);
    file.insert(file.end(), strip.begin(), strip.end());
    return file;
}

// A picture of single bits as faxes have it. Of one with a palette, a set bit is what faxes call
// black.
CImage AsFax(CImage image, bool hasPalette) {
    if (hasPalette)
        image.m_palette = kWhiteBlack;
    image.m_info.biXPelsPerMeter = image.m_info.biYPelsPerMeter = 0;
    return image;
}

class PictureWriter : public testing::Test {
  protected:
    std::unique_ptr<CPictureWriter> Create(const std::string& path) {
        std::string error;
        auto writer = CreatePictureWriter(path, m_options, &error);
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
        EXPECT_EQ(reader->Info().m_xPelsPerMeter,
                  knowsResolution ? image.m_info.biXPelsPerMeter : 0);
        EXPECT_EQ(reader->Info().m_yPelsPerMeter,
                  knowsResolution ? image.m_info.biYPelsPerMeter : 0);
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

    // The stream of a picture in a PDF file, by what the entries in front of it say of it.
    void ExpectPdfPicture(const CImage& image, const std::string& entries,
                          const std::string& stream) {
        const auto has = [&](const char* part) { return entries.find(part) != std::string::npos; };
        const Bytes bytes(stream.begin(), stream.end());
        if (has("/DCTDecode")) {
            WriteBytes(m_folder / "page.jpg", bytes);
            std::string error;
            const auto reader = OpenPicture(m_folder / "page.jpg", &error);
            ASSERT_NE(reader, nullptr) << error;
            EXPECT_EQ(reader->Info().m_width, image.m_info.biWidth);
            EXPECT_EQ(reader->Info().m_bitsPerPixel == 8, has("/DeviceGray"));
            return;
        }
        const EPaletteKind kind = KindOf(image.m_palette);
        EXPECT_EQ(has("/Indexed"), kind == EPaletteKind::Colors);
        if (has("/CCITTFaxDecode")) {
            WriteBytes(m_folder / "page.tif", FaxFile(stream, image.m_info));
            EXPECT_EQ(has("/BlackIs1 true"), has("/Indexed"));
            ExpectPixels(m_folder / "page.tif", AsFax(image, has("/Indexed")));
            return;
        }
        std::size_t size = 0;
        const std::unique_ptr<l_uint8, CLeptDeleter> raw(
            zlibUncompress(bytes.data(), bytes.size(), &size));
        const std::size_t row =
            (static_cast<std::size_t>(image.m_info.biWidth) * image.m_info.biBitCount + 7) / 8;
        const std::size_t stride =
            image.m_rows.size() / static_cast<std::size_t>(image.m_info.biHeight);
        ASSERT_EQ(size, row * static_cast<std::size_t>(image.m_info.biHeight));
        const std::size_t channels = image.m_info.biBitCount == 24 ? 3 : 1;
        for (std::size_t i = 0; i < size; ++i) {
            if (has("/Predictor 2") && i % row >= channels)
                raw.get()[i] = static_cast<l_uint8>(raw.get()[i] + raw.get()[i - channels]);
            const std::size_t x = channels == 3 ? i % row / 3 * 3 + 2 - i % 3 : i % row;
            ASSERT_EQ(raw.get()[i], image.m_rows[i / row * stride + x]) << i;
        }
        EXPECT_EQ(has("/Decode [1 0]"), kind == EPaletteKind::BlackIsSet);
    }

    CTempFolder m_folder;
    CPictureOptions m_options;
};

TEST_F(PictureWriter, EveryFormatKeepsEveryPixel) {
    Palette colors = GrayRamp();
    colors[17] = {200, 100, 0, 0};
    const std::pair<std::string, ECompression> table[] = {
        {"a.bmp", ECompression::Usual}, {"a.PNG", ECompression::Usual},
        {"a.tif", ECompression::Usual}, {"a.tiff", ECompression::None},
        {"b.tif", ECompression::Lzw},   {"c.tif", ECompression::Deflate},
        {"a.pnm", ECompression::Usual},
    };
    for (const auto& [name, compression] : table) {
        m_options.m_compression = compression;
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

// A disk that is full from some byte on, for all files of this process.
class CFullDisk {
  public:
    explicit CFullDisk(std::uintmax_t bytes) {
        getrlimit(RLIMIT_FSIZE, &m_former);
        const rlimit limit = {bytes, m_former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~CFullDisk() { setrlimit(RLIMIT_FSIZE, &m_former); }
    CFullDisk(const CFullDisk&) = delete;
    CFullDisk& operator=(const CFullDisk&) = delete;

  private:
    rlimit m_former = {};
};

std::ptrdiff_t DatePlace(const Bytes& pdf) {
    const std::string mark = "/CreationDate (D:";
    return std::ranges::search(pdf, mark).begin() - pdf.begin() +
           static_cast<std::ptrdiff_t>(mark.size());
}

// Wherever in the third page the disk becomes full: in its rows, in what stands behind them, or
// before it has begun.
TEST_F(PictureWriter, AFullDiskKeepsTheWholePages) {
    std::signal(SIGXFSZ, SIG_IGN);
    const CImage color = MakeImage(300, 20, 24, {});
    const CImage bits = MakeImage(33, 70, 1, kBlackWhite);
    for (const std::string name : {"a.tif", "a.pdf"}) {
        const std::string path = m_folder / name;
        const auto write = [&](int pages, std::uintmax_t limit) {
            const auto writer = Create(path);
            const CFullDisk disk(limit);
            bool isWhole = true;
            for (int page = 1; page <= pages && isWhole; ++page) {
                const CImage& image = page == 2 ? bits : color;
                isWhole = writer->Begin(image.m_info, image.m_palette) &&
                          writer->Write(image.m_rows.data(), image.m_rows.size()) &&
                          writer->EndPage();
            }
            if (!isWhole) {
                EXPECT_EQ(writer->Error(), "can't be written: File too large");
                EXPECT_TRUE(writer->DropPage()) << writer->Error();
            }
            EXPECT_TRUE(writer->Finish()) << writer->Error();
            return isWhole;
        };
        ASSERT_TRUE(write(2, RLIM_INFINITY));
        const Bytes two = ReadBytes(path);
        ASSERT_TRUE(write(3, RLIM_INFINITY));
        const std::uintmax_t three = std::filesystem::file_size(path);
        for (std::uintmax_t limit = two.size(); limit < three;
             limit += limit + 600 < three ? 509 : 7) {
            SCOPED_TRACE(name + " up to " + std::to_string(limit));
            EXPECT_FALSE(write(3, limit));
            Bytes kept = ReadBytes(path);
            ASSERT_EQ(kept.size(), two.size());
            // The moment of its making may be another.
            if (name == "a.pdf")
                std::copy_n(two.begin() + DatePlace(two), 16, kept.begin() + DatePlace(kept));
            ASSERT_EQ(kept, two);
        }
        EXPECT_EQ(m_folder.Names(), Names{name});
        std::filesystem::remove(path);
    }
}

// What a PDF file's table of objects leads to: each object from its number on, the first one at 1.
std::vector<std::string> PdfObjects(const std::string& pdf) {
    const std::size_t mark = pdf.rfind("startxref\n");
    std::istringstream table(pdf.substr(std::stoul(pdf.substr(mark + 10))));
    std::string word;
    std::size_t count = 0;
    table >> word >> word >> count >> word >> word >> word;  // "xref 0 COUNT", the free first one
    std::vector<std::string> objects(1);
    for (std::size_t number = 1; number < count; ++number) {
        std::size_t place = 0;
        table >> place >> word >> word;
        const std::string head = std::to_string(number) + " 0 obj\n";
        EXPECT_EQ(pdf.compare(place, head.size(), head), 0) << number;
        const std::size_t begin = place + head.size();
        // The length of a stream is the next object.
        objects.push_back(pdf.substr(begin, pdf.find("\nendobj\n", begin) - begin));
    }
    return objects;
}

// The pages' objects of a document, by its own list.
std::vector<std::string> PdfPages(const std::string& pdf) {
    const std::vector<std::string> objects = PdfObjects(pdf);
    const std::string& tree = objects.at(2);
    std::istringstream kids(tree.substr(tree.find("/Kids [") + 7));
    std::vector<std::string> pages;
    for (std::size_t number = 0; kids >> number; kids.ignore(4, 'R'))
        pages.push_back(objects.at(number));
    EXPECT_NE(tree.find("/Count " + std::to_string(pages.size()) + " "), std::string::npos);
    return pages;
}

// The numbers behind `name` in an object.
std::vector<double> Numbers(const std::string& object, const std::string& name) {
    std::istringstream text(object.substr(object.find(name) + name.size()));
    return {std::istream_iterator<double>(text), std::istream_iterator<double>()};
}

TEST_F(PictureWriter, PdfPagesHaveTheirPicturesSizeAndPixels) {
    Palette colors = GrayRamp();
    colors[17] = {200, 100, 0, 0};
    std::vector<CImage> pages = {MakeImage(40, 9, 24, {}),
                                 MakeImage(600, 300, 8, GrayRamp()),
                                 MakeImage(33, 70, 1, kBlackWhite),
                                 MakeImage(50, 30, 1, kRedBlue),
                                 MakeImage(90000, 2, 1, kWhiteBlack),
                                 MakeImage(31, 3, 8, colors)};
    pages[2].m_info.biXPelsPerMeter = pages[2].m_info.biYPelsPerMeter = 0;
    // 72 points to 300 and 150 pixels an inch, or to 300 without a resolution. What is larger than
    // 14400 has larger units.
    const double sizes[][2] = {{9.6, 4.32}, {144, 144},    {7.92, 16.8},
                               {12, 14.4},  {14400, 0.64}, {7.44, 1.44}};
    for (const ECompression compression : {ECompression::Usual, ECompression::Deflate}) {
        m_options.m_compression = compression;
        m_options.m_title = "Z\xC3\xBCrich";
        const auto writer = Create(m_folder / "a.pdf");
        for (const CImage& page : pages) {
            ASSERT_TRUE(writer->Begin(page.m_info, page.m_palette) &&
                        writer->Write(page.m_rows.data(), page.m_rows.size()) && writer->EndPage());
        }
        ASSERT_TRUE(writer->Finish());
        const std::string pdf = ReadText(m_folder / "a.pdf");
        const std::vector<std::string> objects = PdfObjects(pdf);
        EXPECT_NE(objects[3].find("/Title <FEFF005A00FC0072006900630068>"), std::string::npos);
        const std::vector<std::string> found = PdfPages(pdf);
        ASSERT_EQ(found.size(), std::size(sizes));
        for (std::size_t i = 0; i < found.size(); ++i) {
            SCOPED_TRACE(i);
            const auto box = Numbers(found[i], "/MediaBox [");
            EXPECT_NEAR(box.at(2), sizes[i][0], 0.0001);
            EXPECT_NEAR(box.at(3), sizes[i][1], 0.0001);
            EXPECT_EQ(found[i].find("/UserUnit 1.5 ") != std::string::npos, i == 4);
            const auto image = static_cast<std::size_t>(Numbers(found[i], "/Picture ").at(0));
            const std::size_t begin = objects.at(image).find("stream\n") + 7;
            const std::string stream = objects[image].substr(begin, std::stoul(objects[image + 1]));
            EXPECT_EQ(objects[image].substr(begin + stream.size()), "\nendstream");
            ExpectPdfPicture(pages[i], objects[image].substr(0, begin), stream);
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
        {[](CImage& i) { i.m_info.biCompression = 1; }, "compressed by method 1"},
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

TEST_F(PictureWriter, TellsWhatDoesNotFitBeforeAnythingIsWritten) {
    using enum EFileKind;
    const auto with = [](ECompression compression) {
        CPictureOptions options;
        options.m_compression = compression;
        return options;
    };
    const CPictureOptions usual;
    const struct {
        EFileKind kind;
        CPictureOptions options;
        std::int64_t width, height;
        int bits;
        const char* complaint;  // null: it fits
    } table[] = {
        // 54 bytes of headers: 4 GiB and 2 bytes, and a line less.
        {Bmp, usual, 20000, 71583, 24, "BMP files hold less than 4 GiB"},
        {Bmp, usual, 20000, 71582, 24, nullptr},
        {Jpeg, usual, 65501, 1, 8, "JPEG files can do 65500 a side"},
        {Jpeg, usual, 65500, 65500, 24, nullptr},
        {Pdf, usual, 65501, 1, 24, "without --compression deflate, can do 65500 a side"},
        {Pdf, usual, 65501, 65501, 1, nullptr},
        {Pdf, with(ECompression::Deflate), 65501, 20000, 24, nullptr},
        {Pdf, with(ECompression::Deflate), 65501, 65501, 24, "PDF files hold less than 10 GB"},
        {Tiff, with(ECompression::G4), 10, 10, 24, "g4, which only takes line art and dots"},
        {Pdf, with(ECompression::Jpeg), 10, 10, 1, "jpeg, which only takes gray and colour"},
        {Tiff, usual, 200000, 200000, 24, nullptr},
        {Png, usual, 200000, 2147483647, 24, nullptr},
        {Png, usual, 10, 2147483648, 8, "PNG files can do 2147483647 a side"},
        {Pnm, usual, 200000001, 1, 8, "1 to 200000000 are written"},
        {Pnm, usual, 10, 0, 8, "would be 0 lines high"},
    };
    for (const auto& row : table) {
        std::string error;
        EXPECT_EQ(CheckPicture(row.kind, row.options, row.width, row.height, row.bits, &error),
                  row.complaint == nullptr)
            << row.width << " x " << row.height << error;
        EXPECT_NE(error.find(row.complaint ? row.complaint : ""), std::string::npos) << error;
    }

    CPictureOptions quality;
    quality.m_quality = 50;
    const struct {
        const char* name;
        CPictureOptions options;
        const char* complaint;
    } names[] = {
        {"a", usual, "--format says it"},
        {"a.gif", usual, "ends in \".gif\""},
        {"a.png", with(ECompression::Lzw), "PNG files have no choice of --compression"},
        {"a.pdf", with(ECompression::Lzw), "they take deflate, g4, jpeg"},
        {"a.tif", quality, "--quality goes with JPEG files"},
    };
    for (const auto& row : names) {
        std::string error;
        EXPECT_EQ(CreatePictureWriter(row.name, row.options, &error), nullptr);
        EXPECT_NE(error.find(row.complaint), std::string::npos) << error;
    }
}

}  // namespace
