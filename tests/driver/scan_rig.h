// Pictures on the simulated scanner's glass, and what the driver must make of them, worked out from
// the light alone.
#pragma once

#include <algorithm>
#include <cstring>
#include <optional>
#include <random>

#include "platform/bitmap_headers.h"
#include "tests/driver/driver_rig.h"
#include "tests/support/plain_neighbours.h"
#include "tests/support/plain_scaler.h"
#include "tests/support/tone_support.h"

// Light as the scanner measures it, in 8 bits: lines of packed samples, the first on top.
struct Picture {
    int width = 0;
    Bytes samples;
    int channels = 3;  // red, green, blue; or one
    // Lines that the scan was to have, when its medium ended before: images of fewer than 5 lines
    // are not smoothed and sharpened. 0: nor is this one, by its settings.
    std::optional<int> announced = {};

    int Height() const { return static_cast<int>(samples.size()) / (width * channels); }
    int At(int x, int y, int c = 0) const {
        return samples[static_cast<std::size_t>((y * width + x) * channels + c)];
    }
};

inline Picture RandomPicture(int width, int height, unsigned seed = 1, unsigned step = 1) {
    std::mt19937 random(seed);
    Picture picture{width, Bytes(static_cast<std::size_t>(width * height * 3))};
    for (BYTE& sample : picture.samples)
        sample = static_cast<BYTE>(random() % 256 / step * step);
    return picture;
}

// A part of a picture, white where it goes beyond its bottom.
inline Picture Cut(const Picture& whole, int left, int top, int width, int height) {
    Picture part{width, {}, whole.channels};
    for (int i = 0; i < width * height * whole.channels; ++i) {
        const int x = i / whole.channels % width;
        const int y = i / whole.channels / width;
        part.samples.push_back(static_cast<BYTE>(
            top + y < whole.Height() ? whole.At(left + x, top + y, i % whole.channels) : 0xFF));
    }
    return part;
}

inline Picture ScaledTo(const Picture& scan, int width, const std::vector<std::size_t>& bands) {
    return {width,
            PlainScaled(scan.samples, static_cast<std::size_t>(scan.width),
                        static_cast<std::size_t>(scan.channels), static_cast<std::size_t>(width),
                        bands),
            scan.channels};
}

// What a new item makes of linear samples of 16 bits: a line to a white of 65535 - 27 x 491.51 =
// 52264, then the curve of screens.
inline const Table& ToneOfPaper() {
    static const Table table = [] {
        const Table curve = Srgb();
        Table tone(kTop + 1, kTop);
        Line(tone, 0, 0, 52264, kTop);
        for (int& v : tone)
            v = curve[static_cast<std::size_t>(v)];
        return tone;
    }();
    return table;
}

// Samples of 16 bits as the engine makes them from the picture, red first, or of one channel for
// gray and for lines.
inline std::vector<int> Developed(const Picture& picture, int bits) {
    const bool filtered = picture.announced.value_or(picture.Height()) >= 5 && picture.width >= 5;
    std::vector<int> light;
    for (const BYTE sample : picture.samples)
        light.push_back(sample << 8);
    if (filtered)
        light = plain::Filtered(light, picture.width, picture.channels, 2,
                                plain::NoiseRule(picture.channels, 4));
    const int channels = bits == 24 ? 3 : 1;
    std::vector<int> developed;
    for (auto v = light.begin(); v != light.end(); v += picture.channels) {
        // Gray by 0.3, 0.59 and 0.11 in parts of 1024.
        const int gray =
            picture.channels == 1 ? v[0] : (307 * v[0] + 604 * v[1] + 113 * v[2]) >> 10;
        for (int c = 0; c < channels; ++c) {
            const int sample = channels == 3 ? v[c] : gray;
            developed.push_back(bits == 1 ? sample
                                          : ToneOfPaper()[static_cast<std::size_t>(sample)]);
        }
    }
    return filtered ? plain::Filtered(developed, picture.width, channels, 1,
                                      plain::SharpenRule(plain::SlopeOf(40)))
                    : developed;
}

// A bitmap's rows of 24, 8 or 1 bits a pixel, the top one first. What the picture doesn't fill is
// white, and what follows a row's pixels up to 4 bytes; bits behind the last pixel are 0.
inline Bytes RowsOf(const Picture& picture, int bits, int lines) {
    const auto stride = static_cast<std::size_t>((picture.width * bits + 31) / 32 * 4);
    Bytes rows(stride * static_cast<std::size_t>(lines), 0xFF);
    constexpr int kThreshold = 56 * 512 - 1;  // what 55 stands for, in 16 bits
    const std::vector<int> developed = Developed(picture, bits);
    const int* v = developed.data();
    for (int y = 0; y < std::min(picture.Height(), lines); ++y) {
        BYTE* row = rows.data() + stride * static_cast<std::size_t>(y);
        for (int i = 0; i < picture.width * (bits == 24 ? 3 : 1); ++i, ++v) {
            if (bits == 1 && *v <= kThreshold)
                row[i / 8] = static_cast<BYTE>(row[i / 8] & ~(0x80 >> i % 8));
            else if (bits != 1)
                row[bits == 24 ? i / 3 * 3 + 2 - i % 3 : i] = static_cast<BYTE>(*v >> 8);
        }
        if (bits == 1 && picture.width % 8 != 0)
            row[picture.width / 8] =
                static_cast<BYTE>(row[picture.width / 8] & ~(0xFF >> picture.width % 8));
    }
    return rows;
}

// The engine knows one resolution, the one across, and counts all colours as important.
inline BITMAPINFOHEADER InfoOf(int width, int height, int bits, int xRes) {
    BITMAPINFOHEADER info = MakeInfoHeader(width, height, bits);
    info.biXPelsPerMeter = info.biYPelsPerMeter = static_cast<LONG>(xRes * 39.37 + 0.5);
    info.biClrImportant = info.biClrUsed;
    return info;
}

template <class Record>
Bytes BytesOf(const Record& record) {
    const auto* bytes = reinterpret_cast<const BYTE*>(&record);
    return {bytes, bytes + sizeof(record)};
}

// A whole file, of rows with the top one first.
inline Bytes FileOf(const BITMAPINFOHEADER& info, const Bytes& rows) {
    Bytes all = BytesOf(MakeFileHeader(info, static_cast<std::int64_t>(rows.size())));
    const Bytes header = BytesOf(info);
    all.insert(all.end(), header.begin(), header.end());
    for (DWORD i = 0; i < info.biClrUsed; ++i) {
        const auto gray = static_cast<BYTE>(info.biClrUsed == 2 ? 255 * i : i);
        all.insert(all.end(), {gray, gray, gray, 0});
    }
    const std::ptrdiff_t stride = BitmapStride(info);
    for (auto end = rows.end(); end != rows.begin(); end -= stride)
        all.insert(all.end(), end - stride, end);
    return all;
}

inline void ExpectPage(const CPages::Page& got, const Picture& picture, int bits, int lines,
                       int xRes) {
    EXPECT_TRUE(got.ended);
    EXPECT_TRUE(got.page.topDown);
    const BITMAPINFOHEADER info = InfoOf(picture.width, lines, bits, xRes);
    EXPECT_EQ(BytesOf(got.page.info), BytesOf(info));
    EXPECT_EQ(got.page.palette.size(), info.biClrUsed);
    EXPECT_TRUE(got.rows == RowsOf(picture, bits, lines));
}

class CScanTest : public CDriverTest {
  protected:
    void Lay(const Picture& picture, int dpi = 300, const std::string& name = "picture.bmp") {
        WritePicture(m_folder + '/' + name, picture.width, picture.Height(), dpi, picture.samples);
    }
    // A picture on the glass, with more settings behind it.
    void OpenWith(const Picture& picture, int dpi = 300, const std::string& more = {}) {
        Lay(picture, dpi);
        InstallAndOpen("[flatbed]\npicture=picture.bmp\n" + more);
    }
    void SetWindow(int xRes, int yRes, int x, int y, int width, int height) {
        Set({{WIA_IPS_XRES, xRes}, {WIA_IPS_YRES, yRes}});
        Set({{WIA_IPS_XPOS, x},
             {WIA_IPS_YPOS, y},
             {WIA_IPS_XEXTENT, width},
             {WIA_IPS_YEXTENT, height}});
    }
    void SetMode(int bits, LONG channel = 0) {
        const LONG type = bits == 24  ? WIA_DATA_COLOR
                          : bits == 8 ? WIA_DATA_GRAYSCALE
                                      : WIA_DATA_THRESHOLD;
        Set({{WIA_IPA_DATATYPE, type}, {QL_PROP_SCANNER_CHANNEL, channel}});
    }
    void UseMedium(LONG medium) { Set({{WIA_IPA_TYMED, medium}}); }
    void ExpectOnCallback(const Picture& picture, int bits, int lines, int xRes = 300) {
        UseMedium(TYMED_CALLBACK);
        CPages pages;
        int scanned = 0;
        ASSERT_EQ(Failure(Scan(pages, -1, &scanned)), "");
        ASSERT_EQ(scanned, 1);
        ExpectPage(pages.m_pages.at(0), picture, bits, lines, xRes);
    }
    void ExpectInFile(const Picture& picture, int bits, int lines, int xRes = 300) {
        UseMedium(TYMED_FILE);
        CPages pages;
        ASSERT_EQ(Failure(Scan(pages)), "");
        const BITMAPINFOHEADER info = InfoOf(picture.width, lines, bits, xRes);
        const Bytes file = FileOf(info, RowsOf(picture, bits, lines));
        EXPECT_TRUE(ReadWholeFile(pages.PageFile(1)) == std::string(file.begin(), file.end()));
        std::filesystem::remove(pages.PageFile(1));
    }
    void ExpectBoth(const Picture& picture, int bits, int lines, int xRes = 300) {
        ExpectOnCallback(picture, bits, lines, xRes);
        ExpectInFile(picture, bits, lines, xRes);
    }
    // Pages in colour of 60 lines from the feeder.
    void ExpectSheets(const std::vector<Picture>& sides, int wanted = 0) {
        CPages pages;
        int scanned = 0;
        ASSERT_EQ(Failure(Scan(pages, wanted, &scanned)), "");
        ASSERT_EQ(pages.m_pages.size(), sides.size());
        EXPECT_EQ(scanned, static_cast<int>(sides.size()));
        for (std::size_t i = 0; i < sides.size(); ++i) {
            SCOPED_TRACE(i);
            EXPECT_EQ(pages.m_pages[i].page.number, static_cast<int>(i) + 1);
            ExpectPage(pages.m_pages[i], sides[i], 24, 60, 300);
        }
    }
};
