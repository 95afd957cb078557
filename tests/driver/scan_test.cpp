// Whole scans, through service, driver, engine and toolkit, compared byte by byte with what they
// must be.
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <random>

#include "tests/driver/driver_rig.h"

namespace {

// An image of samples, the first row on top. Light as the scanner measures it, in 8 bits.
struct Picture {
    int width = 0;
    int height = 0;
    int channels = 3;  // red, green, blue; or one
    Bytes samples;

    BYTE At(int x, int y, int c = 0) const {
        return samples[static_cast<std::size_t>((y * width + x) * channels + c)];
    }
};

Picture Random(int width, int height, unsigned seed = 1, int step = 1) {
    std::mt19937 random(seed);
    Picture picture{width, height, 3, {}};
    picture.samples.resize(static_cast<std::size_t>(width * height * 3));
    for (BYTE& sample : picture.samples)
        sample = static_cast<BYTE>(random() % 256 / static_cast<unsigned>(step) *
                                   static_cast<unsigned>(step));
    return picture;
}

Picture Cut(const Picture& whole, int left, int top, int width, int height) {
    Picture part{width, height, whole.channels, {}};
    for (int y = 0; y < height; ++y) {
        for (int i = 0; i < width * whole.channels; ++i)
            part.samples.push_back(whole.samples[static_cast<std::size_t>(
                ((top + y) * whole.width + left) * whole.channels + i)]);
    }
    return part;
}

// ---- What the driver makes of light

// The settings of a new item: a linear sample, in 16 bits without rounding up, by the curve of
// screens, the high byte.
BYTE Encoded(int sample16) {
    const double x = sample16 / 65535.0;
    const double y = x <= 0.00304 ? 12.92 * x : 1.055 * std::pow(x, 1 / 2.4) - 0.055;
    return static_cast<BYTE>(static_cast<int>(y * 65535.0 + 0.5) >> 8);
}

// Gray by 0.3, 0.59 and 0.11 in parts of 1024, in 16 bits.
int GrayOf(const Picture& picture, int x, int y) {
    return (307 * (picture.At(x, y, 0) << 8) + 604 * (picture.At(x, y, 1) << 8) +
            113 * (picture.At(x, y, 2) << 8)) >>
           10;
}

enum class Mode { Color, Gray, LineArt };

// A bitmap's rows, the top one first; what follows a row's pixels up to 4 bytes is white.
Bytes RowsOf(const Picture& stream, Mode mode, int lines) {
    const int bits = mode == Mode::Color ? 24 : mode == Mode::Gray ? 8 : 1;
    const auto stride = static_cast<std::size_t>((stream.width * bits + 31) / 32 * 4);
    Bytes rows(stride * static_cast<std::size_t>(lines), 0xFF);
    constexpr int kThreshold = 56 * 512 - 1;  // what 55 stands for
    for (int y = 0; y < std::min(stream.height, lines); ++y) {
        BYTE* row = rows.data() + stride * static_cast<std::size_t>(y);
        for (int x = 0; x < stream.width; ++x) {
            const int gray = stream.channels == 1 ? stream.At(x, y) << 8 : GrayOf(stream, x, y);
            if (mode == Mode::Color) {
                for (int c = 0; c < 3; ++c)
                    row[3 * x + 2 - c] = Encoded(stream.At(x, y, c) << 8);
            } else if (mode == Mode::Gray) {
                row[x] = Encoded(gray);
            } else if (gray <= kThreshold) {
                row[x / 8] = static_cast<BYTE>(row[x / 8] & ~(0x80 >> x % 8));
            }
        }
        // Bits behind the last pixel are 0.
        if (mode == Mode::LineArt && stream.width % 8 != 0)
            row[stream.width / 8] =
                static_cast<BYTE>(row[stream.width / 8] & ~(0xFF >> stream.width % 8));
    }
    return rows;
}

// ---- The scaler of the band loop, from its formulas

using Lines = std::vector<std::vector<BYTE>>;

// Lines of one band; neighbours right and below, at the last line above, at the last pixel none.
Lines ScaleBand(const Lines& source, int sourceWidth, int channels, int targetWidth,
                int targetLines) {
    const int sourceLines = static_cast<int>(source.size());
    const auto width = static_cast<std::size_t>(targetWidth * channels);
    Lines target(static_cast<std::size_t>(targetLines), std::vector<BYTE>(width));
    const auto weigh = [&](int x, int y, int across, int along) {
        const int sx = x * sourceWidth / targetWidth;
        const int sy = y * sourceLines / targetLines;
        const float fx = static_cast<float>(x) * static_cast<float>(sourceWidth) /
                             static_cast<float>(targetWidth) -
                         static_cast<float>(sx);
        const float fy = static_cast<float>(y) * static_cast<float>(sourceLines) /
                             static_cast<float>(targetLines) -
                         static_cast<float>(sy);
        for (int c = 0; c < channels; ++c) {
            const auto at = [&](int dx, int dy) {
                const int line = std::clamp(sy + dy, 0, sourceLines - 1);
                return static_cast<float>(source[static_cast<std::size_t>(
                    line)][static_cast<std::size_t>((sx + dx) * channels + c)]);
            };
            const float sum = (1 - fx) * (1 - fy) * at(0, 0) + fx * (1 - fy) * at(across, 0) +
                              (1 - fx) * fy * at(0, along) + fx * fy * at(across, along);
            target[static_cast<std::size_t>(y)][static_cast<std::size_t>(x * channels + c)] =
                static_cast<BYTE>(sum);
        }
    };
    const auto copy = [&](int x, int y) {
        const auto& line = source[static_cast<std::size_t>(y * sourceLines / targetLines)];
        for (int c = 0; c < channels; ++c)
            target[static_cast<std::size_t>(y)][static_cast<std::size_t>(x * channels + c)] =
                line[static_cast<std::size_t>(x * sourceWidth / targetWidth * channels + c)];
    };
    int bottom = 0;
    for (int y = targetLines - 1; y > 0 && y * sourceLines / targetLines == sourceLines - 1; --y) {
        for (int x = 0; x < targetWidth; ++x) {
            if (channels == 1 || x * sourceWidth / targetWidth == sourceWidth - 1)
                copy(x, y);
            else
                weigh(x, y, 1, -1);
        }
        ++bottom;
    }
    int right = 0;
    for (int x = targetWidth - 1; x > 0 && x * sourceWidth / targetWidth == sourceWidth - 1; --x) {
        for (int y = 0; y < targetLines; ++y)
            copy(x, y);
        ++right;
    }
    for (int y = 0; y < targetLines - bottom; ++y) {
        for (int x = 0; x < targetWidth - right; ++x)
            weigh(x, y, 1, 1);
    }
    return target;
}

// Bands of 20 lines, with what is left of a line carried from one to the next.
Picture Scaled(const Picture& scan, int width, int lines, int yRes, int scanYRes) {
    Picture scaled{width, 0, scan.channels, {}};
    double remainder = 0.0;
    for (int read = 0; read < scan.height;) {
        const int band = std::min(20, scan.height - read);
        Lines source;
        for (int y = read; y < read + band; ++y) {
            const BYTE* line = scan.samples.data() + y * scan.width * scan.channels;
            source.emplace_back(line, line + scan.width * scan.channels);
        }
        const double exact = static_cast<double>(band) * yRes / scanYRes;
        int made = band * yRes / scanYRes;
        remainder += exact - made;
        if (remainder > 1.0) {
            ++made;
            remainder -= 1.0;
        }
        made = std::min(made, lines - scaled.height);
        if (made > 0) {
            for (const auto& line : ScaleBand(source, scan.width, scan.channels, width, made))
                scaled.samples.insert(scaled.samples.end(), line.begin(), line.end());
        }
        scaled.height += made;
        read += band;
    }
    return scaled;
}

// ---- The files

// The engine knows one resolution, the one across.
BITMAPINFOHEADER InfoOf(int width, int height, Mode mode, int xRes) {
    BITMAPINFOHEADER info = {};
    info.biSize = sizeof(info);
    info.biWidth = width;
    info.biHeight = height;
    info.biPlanes = 1;
    info.biBitCount = mode == Mode::Color ? 24 : mode == Mode::Gray ? 8 : 1;
    info.biSizeImage = static_cast<DWORD>((width * info.biBitCount + 31) / 32 * 4 * height);
    info.biXPelsPerMeter = info.biYPelsPerMeter = static_cast<LONG>(xRes * 39.37 + 0.5);
    info.biClrUsed = mode == Mode::Color ? 0 : mode == Mode::Gray ? 256 : 2;
    info.biClrImportant = info.biClrUsed;
    return info;
}

Bytes FileOf(const BITMAPINFOHEADER& info, const Bytes& topDown) {
    const DWORD palette = info.biClrUsed * 4;
    const BITMAPFILEHEADER file = {BITMAP_FILE_TYPE, 54 + palette + info.biSizeImage, 0, 0,
                                   54 + palette};
    Bytes all(54 + palette);
    std::memcpy(all.data(), &file, sizeof(file));
    std::memcpy(all.data() + 14, &info, sizeof(info));
    for (DWORD i = 0; i < info.biClrUsed; ++i) {
        const auto gray = static_cast<BYTE>(info.biClrUsed == 2 ? 255 * i : i);
        std::fill_n(all.begin() + 54 + 4 * i, 3, gray);
    }
    const std::size_t stride = topDown.size() / static_cast<std::size_t>(info.biHeight);
    for (std::size_t y = topDown.size(); y != 0; y -= stride)
        all.insert(all.end(), topDown.begin() + static_cast<std::ptrdiff_t>(y - stride),
                   topDown.begin() + static_cast<std::ptrdiff_t>(y));
    return all;
}

// "" for equal ones.
std::string Difference(const Bytes& got, const Bytes& expected) {
    const auto at = std::mismatch(got.begin(), got.end(), expected.begin(), expected.end());
    if (at.first == got.end() && at.second == expected.end())
        return {};
    const auto show = [](const Bytes& all, Bytes::const_iterator from) {
        std::string text;
        for (int i = 0; i < 8 && from != all.end(); ++i, ++from)
            text += ' ' + std::to_string(*from);
        return text + " of " + std::to_string(all.size());
    };
    return "byte " + std::to_string(at.first - got.begin()) + ":" + show(got, at.first) +
           " in place of" + show(expected, at.second);
}

Bytes InfoBytes(const BITMAPINFOHEADER& info) {
    const auto* bytes = reinterpret_cast<const BYTE*>(&info);
    return {bytes, bytes + sizeof(info)};
}

Bytes FileBytes(const std::string& path) {
    const std::string text = ReadWholeFile(path);
    return {text.begin(), text.end()};
}

class Scans : public CDriverTest {
  protected:
    void Lay(const Picture& picture, int dpi, const std::string& name = "picture.bmp") {
        WritePicture(m_folder + '/' + name, picture.width, picture.height, dpi, picture.samples);
    }
    // A picture on the glass, with more settings behind it.
    void OpenWith(const Picture& picture, int dpi = 300, const std::string& more = {}) {
        Lay(picture, dpi);
        InstallAndOpen("[flatbed]\npicture=picture.bmp\n" + more);
    }
    void SetWindow(int xRes, int yRes, int x, int y, int width, int height) {
        Set({{WIA_IPS_XRES, xRes},
             {WIA_IPS_YRES, yRes},
             {WIA_IPS_XPOS, x},
             {WIA_IPS_YPOS, y},
             {WIA_IPS_XEXTENT, width},
             {WIA_IPS_YEXTENT, height}});
    }
    void SetMode(Mode mode, LONG channel = 0) {
        const LONG type = mode == Mode::Color  ? WIA_DATA_COLOR
                          : mode == Mode::Gray ? WIA_DATA_GRAYSCALE
                                               : WIA_DATA_THRESHOLD;
        Set({{WIA_IPA_DATATYPE, type}, {QL_PROP_SCANNER_CHANNEL, channel}});
    }
    // One page on either medium.
    void ExpectPage(const Picture& stream, Mode mode, int lines, int xRes) {
        const Bytes rows = RowsOf(stream, mode, lines);
        Set({{WIA_IPA_TYMED, TYMED_CALLBACK}});
        CPages pages;
        int scanned = 0;
        ASSERT_EQ(Failure(Scan(pages, -1, &scanned)), "");
        ASSERT_EQ(scanned, 1);
        ExpectCallbackPage(pages.m_pages.at(0), stream.width, rows, mode, lines, xRes);

        Set({{WIA_IPA_TYMED, TYMED_FILE}});
        CPages files;
        ASSERT_EQ(Failure(Scan(files)), "");
        EXPECT_EQ(Difference(FileBytes(files.PageFile(1)),
                             FileOf(InfoOf(stream.width, lines, mode, xRes), rows)),
                  "");
        std::filesystem::remove(files.PageFile(1));
    }
    static void ExpectCallbackPage(const CPages::Page& got, int width, const Bytes& rows, Mode mode,
                                   int lines, int xRes) {
        EXPECT_TRUE(got.ended);
        EXPECT_TRUE(got.page.topDown);
        const BITMAPINFOHEADER info = InfoOf(width, lines, mode, xRes);
        EXPECT_EQ(Difference(InfoBytes(got.page.info), InfoBytes(info)), "");
        ASSERT_EQ(got.page.palette.size(), info.biClrUsed);
        for (std::size_t i = 0; i < info.biClrUsed; ++i)
            ASSERT_EQ(got.page.palette[i].rgbGreen, info.biClrUsed == 2 ? 255 * i : i);
        EXPECT_EQ(Difference(got.rows, rows), "");
    }
    void ExpectFeederPages(const std::vector<const Picture*>& sides, int lines, int wanted) {
        CPages pages;
        int scanned = 0;
        ASSERT_EQ(Failure(Scan(pages, wanted, &scanned)), "");
        ASSERT_EQ(pages.m_pages.size(), sides.size());
        EXPECT_EQ(scanned, static_cast<int>(sides.size()));
        for (std::size_t i = 0; i < sides.size(); ++i) {
            SCOPED_TRACE(i);
            EXPECT_EQ(pages.m_pages[i].page.number, static_cast<int>(i) + 1);
            ExpectCallbackPage(pages.m_pages[i], sides[i]->width,
                               RowsOf(*sides[i], Mode::Color, lines), Mode::Color, lines, 300);
        }
    }
};

TEST_F(Scans, AtTheDevicesResolutionHaveThePicturesPixels) {
    const Picture whole = Random(110, 90);
    OpenWith(whole);
    SetWindow(300, 300, 7, 5, 83, 61);
    EXPECT_TRUE(IsFree()) << "settings alone keep nobody out";
    const Picture window = Cut(whole, 7, 5, 83, 61);
    for (const Mode mode : {Mode::Color, Mode::Gray, Mode::LineArt}) {
        SCOPED_TRACE(static_cast<int>(mode));
        SetMode(mode);
        ExpectPage(window, mode, 61, 300);
    }
}

TEST_F(Scans, OfOneChannelHaveIt) {
    // In steps of four, so that (red + 2 green + blue) / 4 has no fraction.
    const Picture whole = Random(50, 45, 2, 4);
    OpenWith(whole);
    SetWindow(300, 300, 0, 0, 50, 45);
    for (const LONG channel : {2, 3, 4, 5}) {
        SCOPED_TRACE(channel);
        Picture stream{50, 45, 1, {}};
        for (int i = 0; i < 50 * 45; ++i) {
            const int r = whole.At(i % 50, i / 50, 0);
            const int g = whole.At(i % 50, i / 50, 1);
            const int b = whole.At(i % 50, i / 50, 2);
            const int values[] = {r, g, b, (r + 2 * g + b) / 4};
            stream.samples.push_back(static_cast<BYTE>(values[channel - 2]));
        }
        SetMode(Mode::Gray, channel);
        ExpectPage(stream, Mode::Gray, 45, 300);
        SetMode(Mode::LineArt, channel);
        ExpectPage(stream, Mode::LineArt, 45, 300);
    }
}

TEST_F(Scans, AtOtherResolutionsAreScaledBandByBand) {
    const Picture whole = Random(110, 90, 3);
    OpenWith(whole);
    // Across as the device, along half of it.
    SetWindow(300, 150, 3, 4, 83, 39);
    ASSERT_EQ(Number(WIA_IPA_NUMBER_OF_LINES), 39);
    const Picture half = Scaled(Cut(whole, 3, 8, 83, 78), 83, 39, 150, 300);
    ASSERT_EQ(half.height, 39);
    for (const Mode mode : {Mode::Color, Mode::Gray, Mode::LineArt}) {
        SetMode(mode);
        ExpectPage(half, mode, 39, 300);
    }
}

// 1200 is this device's highest, so that 2400 is twice of it; along, a part of a line is carried
// from band to band, and what the bands don't give in the end is white.
TEST_F(Scans, BeyondTheDevicesResolutionAreScaledUp) {
    const Picture whole = Random(60, 50, 4);
    OpenWith(whole, 1200,
             "[simulator]\nmodel=SIM100F\n[device]\nlampWarmUpFlatbed=0\nmaxXResolution=1200\n");
    SetWindow(2400, 2400, 0, 0, 87, 95);
    // (87 x 300 + 0.5) / 2400 = 10.8 is 10 units, 40 pixels; (95 x 300 + 0.5) / 2400 = 11.8 is 11,
    // 44 lines.
    const Picture scan = Cut(whole, 0, 0, 40, 44);
    for (const auto& [mode, channel] :
         {std::pair{Mode::Color, 0}, {Mode::Gray, 0}, {Mode::Gray, 3}}) {
        SCOPED_TRACE(channel);
        SetMode(mode, channel);
        Picture stream = scan;
        if (channel != 0) {
            stream = {40, 44, 1, {}};
            for (int i = 0; i < 40 * 44; ++i)
                stream.samples.push_back(scan.At(i % 40, i / 40, 1));
        }
        const Picture twice = Scaled(stream, 87, 95, 2400, 1200);
        ASSERT_EQ(twice.height, 88);
        ExpectPage(twice, mode, 95, 2400);
    }
}

TEST_F(Scans, OfShortMediaAreWhiteToTheEndOrCut) {
    const Picture whole = Random(70, 90, 5);
    const struct {
        int endAtLine;
        int yRes;
        int lines;     // of the page
        int expected;  // lines that have come
    } cases[] = {{33, 300, 61, 33}, {20, 300, 61, 20}, {12, 300, 61, 12}, {33, 150, 30, 16}};
    OpenWith(whole);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.endAtLine);
        SetIni("[flatbed]\npicture=picture.bmp\n");
        SetWindow(300, c.yRes, 0, 0, 70, c.lines);
        SetIni("[flatbed]\npicture=picture.bmp\n[behaviour]\nendAtLine=" +
               std::to_string(c.endAtLine) + '\n');
        Picture scan = Cut(whole, 0, 0, 70, c.endAtLine);
        const bool scaling = c.yRes != 300;
        // The band in which the medium ends has white lines before it is scaled.
        Picture onCallback = scan;
        onCallback.height = c.lines * 300 / c.yRes;
        onCallback.samples.resize(static_cast<std::size_t>(70 * onCallback.height * 3), 0xFF);
        if (scaling) {
            onCallback = Scaled(onCallback, 70, c.lines, c.yRes, 300);
            scan = Scaled(scan, 70, c.lines, c.yRes, 300);
        }
        ASSERT_EQ(scan.height, c.expected);
        CPages pages;
        ASSERT_EQ(Failure(Scan(pages)), "");
        ExpectCallbackPage(pages.m_pages.at(0), 70, RowsOf(onCallback, Mode::Color, c.lines),
                           Mode::Color, c.lines, 300);
        Set({{WIA_IPA_TYMED, TYMED_FILE}});
        CPages files;
        ASSERT_EQ(Failure(Scan(files)), "");
        EXPECT_EQ(Difference(FileBytes(files.PageFile(1)),
                             FileOf(InfoOf(70, c.expected, Mode::Color, 300),
                                    RowsOf(scan, Mode::Color, c.expected))),
                  "");
        Set({{WIA_IPA_TYMED, TYMED_CALLBACK}});
    }
}

// ---- Feeder

TEST_F(Scans, FromTheFeederAreItsPagesUntilItIsEmpty) {
    std::vector<Picture> sheets;
    for (unsigned i = 0; i < 3; ++i) {
        // The second sheet is shorter than the first.
        sheets.push_back(Random(64, i == 1 ? 30 : 60, 10 + i));
        Lay(sheets.back(), 300, "page" + std::to_string(i + 1) + ".bmp");
    }
    InstallAndOpen(
        "[feeder]\nsheets=3\npage1=page1.bmp\npage2=page2.bmp\npage3=page3.bmp\n"
        "[behaviour]\nrecord=1\n");
    Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, FEEDER}}, "Root");
    EXPECT_EQ(Number(WIA_IPA_NUMBER_OF_LINES), 60);
    Set({{WIA_IPS_XEXTENT, 64}});
    ExpectFeederPages({&sheets[0], &sheets[1], &sheets[2]}, 60, 3);
    // The next page is refused without a question to the device.
    const std::string calls = Calls();
    CPages none;
    EXPECT_EQ(Scan(none, 1).code, WIA_ERROR_PAPER_EMPTY);
    EXPECT_EQ(Calls(), calls);
    EXPECT_EQ(none.m_calls, 0);
    EXPECT_EQ(Number(WIA_DPS_DOCUMENT_HANDLING_STATUS, "Root"), FLAT_READY);
    // Loaded anew it goes on, to the end of what is there.
    Act("load-2");
    ExpectFeederPages({&sheets[0], &sheets[1]}, 60, 0);
    Act("load-3");
    EXPECT_EQ(Number(WIA_DPS_DOCUMENT_HANDLING_STATUS, "Root"), FEED_READY);
    ExpectFeederPages({&sheets[0]}, 60, 1);
    // A job that was left behind doesn't keep the device.
    Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, FLATBED}}, "Root");
    EXPECT_TRUE(IsFree());
    CPages page;
    EXPECT_EQ(Failure(Scan(page)), "");
}

TEST_F(Scans, OfBothSidesComeFrontFirst) {
    std::vector<Picture> sides;
    std::string ini = "[feeder]\nsheets=2\n";
    for (unsigned i = 0; i < 4; ++i) {
        sides.push_back(Random(64, 60, 20 + i));
        const std::string name = "side" + std::to_string(i) + ".bmp";
        Lay(sides.back(), 300, name);
        ini += "page" + std::to_string(i / 2 + 1) + (i % 2 ? ".back=" : "=") + name + '\n';
    }
    InstallAndOpen(ini);
    Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, DUPLEX}}, "Root");
    Set({{WIA_IPS_XEXTENT, 64}});
    ExpectFeederPages({&sides[0], &sides[1], &sides[2], &sides[3]}, 60, 0);
    Act("load-1");
    ExpectFeederPages({&sides[0], &sides[1]}, 60, 0);
    // One side, decided anew.
    Act("load-1");
    Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, FEEDER}}, "Root");
    Set({{WIA_IPS_XEXTENT, 64}});
    ExpectFeederPages({&sides[0]}, 60, 0);
}

// ---- Cancel

TEST_F(Scans, CanBeCancelledAtEveryMoment) {
    const Picture whole = Random(40, 100, 6);
    OpenWith(whole);
    SetWindow(300, 300, 0, 0, 40, 100);
    const Bytes rows = RowsOf(whole, Mode::Color, 100);
    for (const LONG medium : {TYMED_CALLBACK, TYMED_FILE}) {
        Set({{WIA_IPA_TYMED, medium}});
        CPages full;
        ASSERT_EQ(Failure(Scan(full)), "");
        ASSERT_GT(full.m_calls, 5);
        for (int call = 1; call < full.m_calls; ++call) {
            SCOPED_TRACE(call);
            std::filesystem::remove(full.PageFile(1));
            CPages pages;
            pages.m_stopAt = call;
            int scanned = -1;
            ASSERT_EQ(Scan(pages, -1, &scanned).code, S_FALSE);
            EXPECT_EQ(scanned, 0);
            EXPECT_FALSE(std::filesystem::exists(pages.PageFile(1)));
            EXPECT_EQ(TempFiles(), std::vector<std::string>{});
        }
        // And by the client's flag.
        std::atomic<bool> cancel = false;
        ScanOptions options;
        options.cancel = &cancel;
        CPages pages;
        pages.m_onCall = [&] { cancel = true; };
        EXPECT_EQ(m_device.Scan("Top", options, pages).code, S_FALSE);
    }
    Set({{WIA_IPA_TYMED, TYMED_CALLBACK}});
    CPages after;
    ASSERT_EQ(Failure(Scan(after)), "");
    EXPECT_EQ(Difference(after.m_pages.at(0).rows, rows), "");
}

TEST_F(Scans, CancelledInTheFeederLeaveTheOtherSheets) {
    const Picture sheet = Random(64, 60, 7);
    Lay(sheet, 300);
    InstallAndOpen("[feeder]\nsheets=3\npage1=picture.bmp\n");
    Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, FEEDER}}, "Root");
    Set({{WIA_IPS_XEXTENT, 64}});
    CPages pages;
    pages.m_stopAt = 2;
    ASSERT_EQ(Scan(pages, 0).code, S_FALSE);
    EXPECT_TRUE(IsFree()) << "nobody knows whether the job goes on";
    ExpectFeederPages({&sheet, &sheet}, 60, 0);
    EXPECT_TRUE(IsFree()) << "it is over";
    // The device's own button: the page ends there, white behind.
    Act("load-1");
    CPages ended;
    ended.m_onCall = [&] {
        if (ended.m_calls == 1)
            Act("cancel");
    };
    EXPECT_EQ(Failure(Scan(ended, 0)), "");
    Act("load-1");
    ExpectFeederPages({&sheet}, 60, 0);
}

// ---- Film

TEST_F(Scans, OfFilmHaveTheSizeOfItsWindow) {
    InstallAndOpen("[adapter]\nfilm=slide\n");
    Set({{QL_PROP_TMA_SELECT, 1}}, "Root");
    EXPECT_TRUE(IsFree());
    for (const LONG negative : {0, 1}) {
        if (negative)
            Act("film-negative");
        Set({{QL_PROP_TMA_METHOD, negative}});
        // (849 x 300 + 0.5) / 600 = 424.5 is 424 units, 848 pixels; (565 x 300 + 0.5) / 600 is 282.
        Set({{WIA_IPS_XEXTENT, Number(WIA_IPS_XEXTENT)},
             {WIA_IPS_YEXTENT, Number(WIA_IPS_YEXTENT)}});
        EXPECT_EQ(Number(WIA_IPA_PIXELS_PER_LINE), 848);
        EXPECT_EQ(Number(WIA_IPA_NUMBER_OF_LINES), 564);
        CPages pages;
        ASSERT_EQ(Failure(Scan(pages)), "");
        ASSERT_EQ(pages.m_pages.size(), 1u);
        const CPages::Page& page = pages.m_pages[0];
        EXPECT_EQ(page.page.info.biWidth, 848);
        EXPECT_EQ(page.page.info.biHeight, 564);
        ASSERT_EQ(page.rows.size(), 848u * 3 * 564);
        std::array<int, 256> counts = {};
        for (const BYTE sample : page.rows)
            ++counts[sample];
        EXPECT_GT(
            std::count_if(counts.begin(), counts.end(), [](int count) { return count > 100; }), 50)
            << "it shows a scene";
    }
}

}  // namespace
