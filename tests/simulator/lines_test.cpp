// What lines a scan gives: pixels, windows, resolutions, channels, depths, tone maps.
#include <algorithm>
#include <cmath>

#include "frame/film_curve.h"
#include "tests/simulator/sim_rig.h"
#include "tests/support/noise_lines.h"

namespace {

struct CRgbPixel {
    std::uint8_t red, green, blue;
};

Bytes Pixels(std::initializer_list<CRgbPixel> pixels) {
    Bytes bytes;
    for (const CRgbPixel& p : pixels)
        bytes.insert(bytes.end(), {p.red, p.green, p.blue});
    return bytes;
}

// The same value in all three colours.
Bytes Grays(std::initializer_list<int> values) {
    Bytes bytes;
    for (const int value : values)
        bytes.insert(bytes.end(), 3, static_cast<std::uint8_t>(value));
    return bytes;
}

// A flatbed with one picture on it.
class CPictureRig : public CDeviceRig {
  public:
    CPictureRig(int width, int height, int dpi, const Bytes& rgb, const std::string& flatbed = {},
                const std::string& more = {}) {
        WritePicture(Path() + "/picture.bmp", width, height, dpi, rgb);
        SetIni("[flatbed]\npicture=picture.bmp\nlid=0,0,0\n" + flatbed + '\n' + more);
    }
};

Bytes ScanOf(const CDeviceRig& rig, const OstrelScanParams& params, DWORD chunk = 65536) {
    CSessionRig session(rig);
    session.Prepare(params.source);
    Bytes data;
    EXPECT_EQ(session.Scan(params, &data, chunk), OSTREL_END_OF_MEDIA);
    EXPECT_EQ(rig.State().violations, 0u);
    return data;
}

// The value at (x, y) of a plane in which the picture lies, with lid 1, 2, 3 around.
Bytes PlaneOf(const Bytes& rgb, int width, int height, int left, int top, int w, int h) {
    Bytes plane;
    for (int y = top; y < top + h; ++y) {
        for (int x = left; x < left + w; ++x) {
            const bool inside = x >= 0 && x < width && y >= 0 && y < height;
            for (int c = 0; c < 3; ++c)
                plane.push_back(inside ? rgb[static_cast<std::size_t>((y * width + x) * 3 + c)]
                                       : static_cast<std::uint8_t>(c + 1));
        }
    }
    return plane;
}

TEST(Lines, AreThePicturesPixelsAtItsOwnResolution) {
    const Bytes rgb = Noise(83 * 61 * 3);
    const struct {
        int dpi, left, top;         // where the picture lies
        DWORD x, y, width, height;  // the window
        int px, py, pw, ph;         // the same in the picture's pixels
        DWORD chunk;                // bytes of a read
    } kCases[] = {
        {300, 0, 0, 7, 5, 50, 40, 7, 5, 50, 40, 151},             // a line has 150
        {300, 0, 0, 80, 58, 20, 10, 80, 58, 20, 10, 60},          // over the corner
        {300, 10, 20, 0, 0, 120, 100, -10, -20, 120, 100, 5000},  // lid on all sides
        {200, 0, 0, 30, 9, 60, 90, 20, 6, 40, 60, 65536},         // 3/2 units a pixel
        {600, 0, 0, 11, 4, 25, 20, 22, 8, 50, 40, 65536},
    };
    for (const auto& c : kCases) {
        CPictureRig rig(
            83, 61, c.dpi, rgb,
            "lid=1,2,3\nleft=" + std::to_string(c.left) + "\ntop=" + std::to_string(c.top));
        EXPECT_EQ(
            ScanOf(rig, Window(c.x, c.y, c.width, c.height, static_cast<WORD>(c.dpi)), c.chunk),
            PlaneOf(rgb, 83, 61, c.px, c.py, c.pw, c.ph))
            << c.dpi << ' ' << c.x << ' ' << c.y;
    }
}

TEST(Lines, OfACoarserScanAreMeansOfWhatTheyCover) {
    // Two by two, by hand: (10 + 20 + 50 + 60) / 4 and (30 + 40 + 70 + 80) / 4.
    CPictureRig half(4, 2, 300, Grays({10, 20, 30, 40, 50, 60, 70, 80}));
    EXPECT_EQ(ScanOf(half, Window(0, 0, 4, 2, 150)), Grays({35, 55}));
    // One and a half: (2 x 30 + 60) / 3 and (60 + 2 x 90) / 3.
    CPictureRig uneven(3, 3, 300, Grays({30, 60, 90, 30, 60, 90, 30, 60, 90}));
    EXPECT_EQ(ScanOf(uneven, Window(0, 0, 3, 3, 200)), Grays({40, 80, 40, 80}));
    // A window that begins inside a pixel: halves of two neighbours, the last with the lid.
    CPictureRig shifted(2, 2, 150, Grays({100, 200, 100, 200}));
    EXPECT_EQ(ScanOf(shifted, Window(1, 0, 4, 2, 150)), Grays({150, 100}));
    // With 16 bits: (1 + 1 + 2) x 257 / 3 = 342.7 is 343, across and along.
    auto params = Window(0, 0, 3, 3, 100);
    params.bitsPerSample = 16;
    const Bytes rounded = {0x57, 1, 0x57, 1, 0x57, 1};
    EXPECT_EQ(ScanOf(CPictureRig(3, 3, 300, Grays({1, 1, 2, 1, 1, 2, 1, 1, 2})), params), rounded);
    EXPECT_EQ(ScanOf(CPictureRig(3, 3, 300, Grays({1, 1, 1, 1, 1, 1, 2, 2, 2})), params), rounded);
}

TEST(Lines, OfAFinerScanLieBetweenThePixels) {
    const Bytes columns = Grays({100, 200, 100, 200, 100, 200, 100, 200});
    CPictureRig rig(2, 4, 150, columns);
    // Centres at 1/4, 3/4, 5/4, 7/4 pixel; those of the picture at 1/2 and 3/2, of the lid, which
    // is 0, at -1/2 and 5/2.
    EXPECT_EQ(ScanOf(rig, Window(0, 2, 4, 1, 300)), Grays({75, 125, 175, 150}));
    // With 16 bits nothing is lost: 125 x 257 = 32125.
    auto params = Window(1, 2, 1, 1, 300);
    params.bitsPerSample = 16;
    EXPECT_EQ(ScanOf(rig, params), (Bytes{0x7D, 0x7D, 0x7D, 0x7D, 0x7D, 0x7D}));
}

// The others are seen in the driver's scans.
TEST(Lines, OfGrayAreThatOfTheTelevisionNorm) {
    CPictureRig rig(2, 1, 300, Pixels({{200, 100, 50}, {7, 7, 7}}));
    // 0.299 x 200 + 0.587 x 100 + 0.114 x 50 = 124.2
    EXPECT_EQ(ScanOf(rig, OneChannel(Window(0, 0, 2, 1), 8, 8)), (Bytes{124, 7}));
    EXPECT_EQ(ScanOf(rig, OneChannel(Window(0, 0, 2, 1), 1, 16)), (Bytes{200, 200, 7, 7}));
}

// A scan of a window of one line, behind the same table for all three colours or one for each.
template <class T>
Bytes Mapped(CSessionRig& session, const std::vector<std::vector<T>>& tables,
             const OstrelScanParams& params) {
    const auto table = [&](std::size_t color) -> const void* {
        return tables[std::min(color, tables.size() - 1)].data();
    };
    EXPECT_EQ(
        session.Do(&IOstrelDevice::SetTonemap, static_cast<DWORD>(tables[0].size() * sizeof(T)),
                   table(0), table(1), table(2)),
        0u);
    Bytes data;
    session.Scan(params, &data);
    return data;
}

TEST(ToneMap, IsAppliedToEachColour) {
    CPictureRig rig(2, 1, 300, Pixels({{10, 20, 30}, {255, 0, 128}}), {},
                    "[simulator]\nmodel=SIM100F\n[device]\nlampWarmUpFlatbed=0\n");
    CSessionRig session(rig);
    session.Prepare();
    std::vector<Bytes> tables(3, Bytes(256));  // inverse, halved, the same
    for (std::size_t i = 0; i < 256; ++i) {
        tables[0][i] = static_cast<BYTE>(255 - i);
        tables[1][i] = static_cast<BYTE>(i / 2);
        tables[2][i] = static_cast<BYTE>(i);
    }
    EXPECT_EQ(Mapped(session, tables, Window(0, 0, 3, 1)),
              Pixels({{245, 10, 30}, {0, 0, 128}, {255, 0, 0}}))
        << "the lid goes through too";
    // A sensor goes through its own table, a gray through the middle one: 18.17 / 2, 90.8 / 2.
    EXPECT_EQ(Mapped(session, tables, OneChannel(Window(0, 0, 2, 1), 1, 8)), (Bytes{245, 0}));
    EXPECT_EQ(Mapped(session, tables, OneChannel(Window(0, 0, 2, 1), 8, 8)), (Bytes{9, 45}));
    const void* const table = tables[0].data();
    EXPECT_EQ(session.Do(&IOstrelDevice::SetTonemap, 255u, table, table, table),
              OSTREL_INVALID_PARAMETER);
}

TEST(ToneMap, GivesTheThresholdOnlyWhenTold) {
    CPictureRig rig(8, 1, 300, Grays({0, 100, 127, 128, 180, 199, 200, 255}));
    CSessionRig session(rig);
    session.Prepare();
    std::vector<WORD> steps(1024, 65535);
    std::fill_n(steps.begin(), 200 * 4, WORD{0});
    auto params = OneChannel(Window(0, 0, 8, 1), 16, 1);
    EXPECT_EQ(Mapped<WORD>(session, {steps}, params), Bytes{0b00011111});
    params.scanFlags = OSTREL_SCAN_TONEMAP_THRESHOLD;
    EXPECT_EQ(Mapped<WORD>(session, {steps}, params), Bytes{0b00000011});
}

TEST(ColourMatrix, MixesTheColoursAndHoldsThem) {
    CPictureRig rig(1, 1, 300, Pixels({{200, 100, 50}}));
    CSessionRig session(rig);
    session.Prepare();
    const double matrix[] = {0, 1, 0, 2, 0, 0, 0.5, 0, -1};
    EXPECT_EQ(session.Do(&IOstrelColorMatrix::SetColorMatrix, matrix + 0), 0u);
    Bytes data;
    session.Scan(Window(0, 0, 1, 1), &data);
    EXPECT_EQ(data, Pixels({{100, 255, 50}}));
}

std::vector<int> Light16(const CDeviceRig& rig, DWORD pixels) {
    auto params = Window(0, 0, pixels, 1);
    params.bitsPerSample = 16;
    const Bytes data = ScanOf(rig, params);
    std::vector<int> light;
    for (std::size_t i = 0; i < data.size(); i += 2)
        light.push_back(data[i] + 256 * data[i + 1]);
    return light;
}

TEST(Encoding, SaysWhatLightAPicturesValuesStandFor) {
    const CPictureRig rig(3, 1, 300, Grays({0, 128, 255}), "encoding=srgb");
    EXPECT_NEAR(Light16(rig, 3)[3], 0.21586 * 65535, 327) << "the display's curve";
}

// Densities of the negative of pixels, red, green, blue.
std::vector<double> NegativeOf(const Bytes& rgb) {
    const auto pixels = static_cast<int>(rgb.size() / 3);
    const CPictureRig rig(pixels, 1, 300, rgb, "encoding=negative");
    std::vector<double> densities;
    for (const int light : Light16(rig, static_cast<DWORD>(pixels)))
        densities.push_back(-std::log10(light / 65535.0));
    return densities;
}

// What the driver makes of film with its settings at rest: densities out for densities in, apart
// for each colour, between which it draws lines. Here for a gray of the middle, a light and a dark.
TEST(Negative, IsTurnedBackIntoItsScene) {
    const int kShown[] = {50, 120, 200};
    const auto densities = NegativeOf(Grays({kShown[0], kShown[1], kShown[2]}));
    for (std::size_t i = 0; i < densities.size(); ++i) {
        constexpr double kShift[] = {0.38, 0.373971, 0.296029};
        const double row = (densities[i] + kShift[i % 3]) / kFilmStepA;
        const auto below = static_cast<std::size_t>(row);
        const double part = row - static_cast<double>(below);
        const double density =
            FilmTableA()[below].nominal * (1 - part) + FilmTableA()[below + 1].nominal * part;
        const double shown = 255 * (1.055 * std::pow(10.0, -density / 2.4) - 0.055);
        EXPECT_NEAR(shown, kShown[i / 3], 12) << "colour " << i % 3;
    }
}

TEST(Noise, IsTheSameForASeedAndStaysSmall) {
    const Bytes rgb(60 * 20 * 3, 100);
    const auto noisy = [&](const std::string& behaviour) {
        return ScanOf(CPictureRig(60, 20, 300, rgb, {}, "[behaviour]\n" + behaviour),
                      Window(0, 0, 60, 20));
    };
    const Bytes first = noisy("noise=3\nseed=1");
    EXPECT_EQ(first, noisy("noise=3\nseed=1"));
    const auto [least, most] = std::minmax_element(first.begin(), first.end());
    EXPECT_EQ(*least, 97);
    EXPECT_EQ(*most, 103);
}

TEST(BuiltIn, MediaAreThereWithoutFiles) {
    CDeviceRig rig;
    const Bytes page = ScanOf(rig, Window(0, 0, 2550, 3300));
    ASSERT_EQ(page.size(), 2550u * 3300 * 3);
    const auto at = [&](std::size_t x, std::size_t y) { return page[(y * 2550 + x) * 3]; };
    EXPECT_GT(at(2500, 700), 230) << "paper";
}

}  // namespace
