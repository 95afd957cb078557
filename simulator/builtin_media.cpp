#include "simulator/builtin_media.h"

#include <cstring>
#include <string>

#include "simulator/builtin_photo.h"
#include "simulator/drawn_medium.h"

namespace {

// 8.5 by 11 inches; the unit of all places below is its pixel.
constexpr std::int32_t kPageWidth = 2550;  // letter
constexpr std::int32_t kPageHeight = 3300;
constexpr std::uint32_t kPageDpi = 300;
constexpr std::uint32_t kFilmDpi = 1200;
constexpr std::size_t kPhotoStride = static_cast<std::size_t>(kPhotoWidth) * 3;

// As screens show them.
constexpr CRgb kPaper = {249, 248, 245};
constexpr CRgb kInk = {24, 24, 28};
constexpr CRgb kBlue = {32, 62, 140};
constexpr CRgb kRed = {180, 40, 40};

// Primaries and secondaries, then what eyes are used to: skin, leaves, sky, brick, wood, dusk.
constexpr CRgb kPatches[] = {
    {210, 35, 42},   {30, 150, 70},   {40, 60, 165},  {0, 150, 190},
    {190, 50, 140},  {240, 210, 30},  {235, 120, 30}, {110, 60, 140},
    {226, 180, 152}, {128, 84, 66},   {92, 112, 62},  {104, 140, 190},
    {176, 92, 60},   {200, 170, 120}, {60, 80, 110},  {150, 190, 170},
};

// Tenths of an inch along the top and the left edge, longer at halves and at inches: what is cut
// off is seen at once.
void AddRulers(CDrawnMedium& page) {
    constexpr int kTenth = 30;  // pixels
    for (int i = 1; i * kTenth < kPageWidth - kTenth; ++i)
        page.AddBox(i * kTenth, 24, 2, i % 10 == 0 ? 40 : (i % 5 == 0 ? 28 : 16), kInk);
    for (int i = 1; i * kTenth < kPageHeight - kTenth; ++i)
        page.AddBox(24, i * kTenth, i % 10 == 0 ? 40 : (i % 5 == 0 ? 28 : 16), 2, kInk);
}

// The same two lines at falling sizes: where they stop being legible is the limit of a scan.
void AddLettering(CDrawnMedium& page) {
    page.AddText(160, 140, 68, kInk, "Scanner test page");
    page.AddText(1760, 150, 32, kBlue, "300 dots per inch - 8.5 x 11");
    page.AddBox(150, 240, 2250, 4, kInk);
    // Heights of capitals: about 12, 10, 8, 7, 6, 5 and 4 points.
    constexpr int kHeights[] = {35, 29, 23, 20, 18, 15, 12};
    int top = 300;
    for (const int height : kHeights) {
        page.AddText(150, top, height, kInk, "The quick brown fox jumps over the lazy dog");
        top += height * 7 / 4;
        page.AddText(150, top, height, kInk, "PACK MY BOX WITH 1234567890");
        top += height * 2;
    }
}

// Upright and lying bars apart: optics across and steps along fail in their own ways.
void AddBarGroups(CDrawnMedium& page) {
    constexpr int kPeriods[] = {2, 3, 4, 6, 8, 12, 16};
    int left = 1400;
    for (const int period : kPeriods) {
        page.AddText(left + 20, 300, 20, kInk, std::to_string(period));
        page.AddBars(left, 340, 120, 220, period, true);
        page.AddBars(left, 590, 120, 220, period, false);
        left += 146;
    }
    page.AddText(1400, 836, 20, kInk, "pixels a period");
}

// Eleven steps can be counted, 256 show where tones break.
void AddColors(CDrawnMedium& page) {
    page.AddRamp(150, 1010, 2250, 150, 11);
    page.AddRamp(150, 1180, 2250, 110, 256);
    int index = 0;
    for (const CRgb color : kPatches) {
        page.AddBox(150 + index % 8 * 282, 1340 + index / 8 * 250, 276, 240, color);
        ++index;
    }
}

// A slanted edge measures sharpness finer than a pixel, rings show false patterns, thin lines the
// threshold.
void AddDetail(CDrawnMedium& page) {
    constexpr std::int32_t kLeft = 160;  // of the part of the photograph that is shown
    constexpr std::int32_t kTop = 60;
    constexpr std::int32_t kWidth = 1380;
    constexpr std::int32_t kHeight = 1040;
    page.AddPicture(150, 1900, kWidth, kHeight,
                    nvq_builtin_photo + kTop * kPhotoStride + std::size_t{kLeft} * 3, kPhotoStride);
    page.AddFrame(146, 1896, kWidth + 8, kHeight + 8, 4, kInk);
    page.AddRings(1600, 1900, 512);
    page.AddSlantedEdge(2150, 1900, 250);
    page.AddChecker(2150, 2180, 110, 110, 1);
    page.AddChecker(2290, 2180, 110, 110, 2);
    page.AddChecker(2150, 2302, 110, 110, 4);
    page.AddChecker(2290, 2302, 110, 110, 8);
    int top = 2480;
    for (int pen = 1; pen <= 8; ++pen, top += 24)
        page.AddBox(1600, top, 800, pen, kInk);
    constexpr const char* kLines[] = {
        "A scanner measures light. This page",
        "holds what shows how well it does it:",
        "edges, tones, colours and detail.",
        "(0123456789) + - = / ! ? : , .",
    };
    top = 2700;
    for (const char* line : kLines) {
        page.AddText(1600, top, 26, kInk, line);
        top += 62;
    }
}

// Squares whose places are known: a scan that is turned, mirrored or shifted shows it.
void AddCorners(CDrawnMedium& page) {
    constexpr int kEdge = 72;
    constexpr int kSize = 60;
    constexpr int kPen = 6;
    for (const int left : {kEdge, kPageWidth - kEdge - kSize}) {
        for (const int top : {kEdge, kPageHeight - kEdge - kSize})
            page.AddFrame(left, top, kSize, kSize, kPen, kRed);
    }
}

// The whole photograph; the negative's film was exposed to the light that comes through the slide.
class CFilm final : public CMedium {
  public:
    explicit CFilm(bool negative) {
        m_width = kPhotoWidth;
        m_height = kPhotoHeight;
        m_xDpi = m_yDpi = kFilmDpi;
        if (!negative)
            return;
        CLightTables scene;
        for (auto& table : scene) {
            for (std::size_t i = 0; i < table.size(); ++i)
                table[i] = LightOf(static_cast<std::uint8_t>(i));
        }
        m_film = std::make_unique<CColorNegative>(scene);
    }
    void ReadLine(std::int32_t y, std::uint8_t* rgb) override {
        std::memcpy(rgb, nvq_builtin_photo + static_cast<std::size_t>(y) * kPhotoStride,
                    kPhotoStride);
    }
};

}  // namespace

std::unique_ptr<CMedium> MakeTestPage() {
    auto page = std::make_unique<CDrawnMedium>(kPageWidth, kPageHeight, kPageDpi, kPaper);
    AddRulers(*page);
    AddLettering(*page);
    AddBarGroups(*page);
    AddColors(*page);
    AddDetail(*page);
    AddCorners(*page);
    page->AddText(150, 3080, 29, kBlue,
                  "Lines beside the page, top and left: tenths of an inch. Squares: the corners.");
    return page;
}

// Number and side are told apart from a thumbnail, as tests and people have to.
std::unique_ptr<CMedium> MakeFeederPage(std::uint32_t sheet, bool back) {
    auto page = std::make_unique<CDrawnMedium>(kPageWidth, kPageHeight, kPageDpi, kPaper);
    const std::string number = std::to_string(sheet);
    const CRgb color = back ? kRed : kBlue;
    page->AddText(150, 150, 90, kInk, "Sheet " + number + (back ? " - back" : " - front"));
    page->AddBox(150, 290, 2250, 6, color);
    page->AddText(1000, 500, 900, color, number.substr(number.size() - 1));
    page->AddText(1242, 1520, 90, color, back ? "B" : "F");
    constexpr const char* kLines[] = {
        "Pages come out of the feeder in the order in which they lie in it, the first",
        "sheet on top. In duplex the back of each sheet follows its front.",
        "The stripe below tells the sides apart: gray steps on a front, colours on a back.",
    };
    int top = 1800;
    for (const char* line : kLines) {
        page->AddText(150, top, 29, kInk, line);
        top += 70;
    }
    if (!back)
        page->AddRamp(150, 2150, 2250, 300, 11);
    for (int i = 0; back && i < 8; ++i)
        page->AddBox(150 + i * 282, 2150, 276, 300, kPatches[i]);
    page->AddFrame(90, 90, kPageWidth - 180, kPageHeight - 180, back ? 12 : 4, color);
    return page;
}

std::unique_ptr<CMedium> MakeFilm(bool negative) {
    return std::make_unique<CFilm>(negative);
}
