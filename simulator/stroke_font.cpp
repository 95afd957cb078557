#include "simulator/stroke_font.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

namespace {

// Strokes stand with blanks between. Each is a run of points, two signs a point: across from the
// left, and down from the top of capitals, which is 0; small letters begin at 3, the line is at 8
// and 'a' is 10. A '~' ahead rounds the stroke's corners; one point alone is a dot.
struct CLetter {
    char letter;
    const char* strokes;
};
constexpr CLetter kLetters[] = {
    {'A', "083068 1555"},
    {'B', "0008 ~00505404 ~04646808"},
    {'C', "~6140100206184867"},
    {'D', "0008 ~004062664808"},
    {'E', "60000868 0454"},
    {'F', "600008 0454"},
    {'G', "~6140100206184867 676434"},
    {'H', "0008 6068 0464"},
    {'I', "1018 0020 0828"},
    {'J', "~4046381806"},
    {'K', "0008 6005 2368"},
    {'L', "000868"},
    {'M', "0800346068"},
    {'N', "08006860"},
    {'O', "~30506266581806021030"},
    {'P', "0008 ~00606404"},
    {'Q', "~30506266581806021030 4669"},
    {'R', "0008 ~00606404 3468"},
    {'S', "~61401002145466582807"},
    {'T', "0060 3038"},
    {'U', "~000618586660"},
    {'V', "003860"},
    {'W', "0028426880"},
    {'X', "0068 6008"},
    {'Y', "003460 3438"},
    {'Z', "00600868"},
    {'a', "5358 ~5443130506184857"},
    {'b', "0008 ~0413435556481807"},
    {'c', "~5443130506184857"},
    {'d', "5058 ~5443130506184857"},
    {'e', "0555 ~555443130506184857"},
    {'f', "~40201218 0333"},
    {'g', "~53594a1a09 ~5443130506184857"},
    {'h', "0008 ~0413435558"},
    {'i', "0308 01"},
    {'j', "~23291a0a 21"},
    {'k', "0008 5306 2558"},
    {'l', "0008"},
    {'m', "0308 ~0413334448 ~4453738488"},
    {'n', "0308 ~0413435558"},
    {'o', "~23435556481806051323"},
    {'p', "030a ~0413435556481807"},
    {'q', "535a ~5443130506184857"},
    {'r', "0308 ~05133344"},
    {'s', "~54431304154657481807"},
    {'t', "~11172848 0333"},
    {'u', "5358 ~0306184856"},
    {'v', "032843"},
    {'w', "0328446883"},
    {'x', "0358 5308"},
    {'y', "0328 431a"},
    {'z', "03530858"},
    {'0', "~20405256481806021020"},
    {'1', "022028 0848"},
    {'2', "~021040524408 0858"},
    {'3', "~011040524424 ~244456481807"},
    {'4', "48400656"},
    {'5', "500004 ~0413435556481807"},
    {'6', "~5140100206184856441406"},
    {'7', "005028"},
    {'8', "~140210405244140618485644"},
    {'9', "~0718485652401002144452"},
    {'.', "08"},
    {',', "180a"},
    {':', "04 08"},
    {'-', "0535"},
    {'+', "2327 0545"},
    {'=', "0444 0646"},
    {'/', "0840"},
    {'(', "~20030528"},
    {')', "~00232508"},
    {'!', "0006 08"},
    {'?', "~011030422426 28"},
};

// Capitals are 8 units high. The pen's width, the gap behind a letter and a blank's advance, in the
// same units.
constexpr double kCapUnits = 8.0;
constexpr double kPenUnits = 0.95;
constexpr double kGapUnits = 2.2;
constexpr double kBlankUnits = 3.2;

struct CPoint {
    double x;
    double y;
};
using CStroke = std::vector<CPoint>;

// One sign a coordinate: 'a' is 10, for what hangs below the line.
double Digit(char c) {
    return c >= 'a' ? c - 'a' + 10 : c - '0';
}

// Cuts each corner at a quarter of its sides; the ends stay.
CStroke Rounded(const CStroke& stroke) {
    CStroke rounded{stroke.front()};
    for (std::size_t i = 0; i + 1 < stroke.size(); ++i) {
        const CPoint a = stroke[i];
        const CPoint b = stroke[i + 1];
        rounded.push_back({0.75 * a.x + 0.25 * b.x, 0.75 * a.y + 0.25 * b.y});
        rounded.push_back({0.25 * a.x + 0.75 * b.x, 0.25 * a.y + 0.75 * b.y});
    }
    rounded.push_back(stroke.back());
    return rounded;
}

// Three passes of cutting corners: the eye sees a curve.
std::vector<CStroke> StrokesOf(std::string_view text) {
    std::vector<CStroke> strokes;
    while (!text.empty()) {
        std::string_view part = text.substr(0, text.find(' '));
        text.remove_prefix(std::min(part.size() + 1, text.size()));
        const bool round = part.front() == '~';
        part.remove_prefix(round ? 1 : 0);
        CStroke stroke;
        for (; part.size() >= 2; part.remove_prefix(2))
            stroke.push_back({Digit(part[0]), Digit(part[1])});
        if (stroke.size() == 1)
            stroke.push_back(stroke.front());
        for (int pass = 0; round && pass < 3; ++pass)
            stroke = Rounded(stroke);
        strokes.push_back(std::move(stroke));
    }
    return strokes;
}

// From a point to the nearest one of the line from a to b; t is how far along that lies.
double DistanceSquared(CPoint p, CPoint a, CPoint b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double length = dx * dx + dy * dy;
    double t = length > 0.0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / length : 0.0;
    t = std::clamp(t, 0.0, 1.0);
    const double x = p.x - a.x - t * dx;
    const double y = p.y - a.y - t * dy;
    return x * x + y * y;
}

// Darkens the pixels around one line of a stroke; where lines meet, the nearer one counts.
void DrawLine(CGlyph& glyph, double scale, CPoint a, CPoint b) {
    const int margin = glyph.m_margin;
    const auto reach = [&](double from, int size, int side) {
        return std::clamp(static_cast<int>(from * scale) + side * 2 * margin + margin, 0, size);
    };
    const int left = reach(std::min(a.x, b.x), glyph.m_width, -1);
    const int right = reach(std::max(a.x, b.x), glyph.m_width, 1);
    const int top = reach(std::min(a.y, b.y), glyph.m_height, -1);
    const int bottom = reach(std::max(a.y, b.y), glyph.m_height, 1);
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            const CPoint center = {(x - margin + 0.5) / scale, (y - margin + 0.5) / scale};
            const double distance = std::sqrt(DistanceSquared(center, a, b));
            // A pixel is covered from half a pixel inside the pen's edge to half a pixel outside,
            // falling evenly.
            const double inside = (0.5 * kPenUnits - distance) * scale + 0.5;
            const auto covered =
                static_cast<std::uint8_t>(std::lround(std::clamp(inside, 0.0, 1.0) * 255.0));
            std::uint8_t& pixel = glyph.m_coverage[static_cast<std::size_t>(y) *
                                                       static_cast<std::size_t>(glyph.m_width) +
                                                   static_cast<std::size_t>(x)];
            pixel = std::max(pixel, covered);
        }
    }
}

// A letter is as wide as its strokes; the font isn't fixed.
CGlyph Size(const std::vector<CStroke>& strokes, double scale) {
    double right = 0.0;
    double bottom = 0.0;
    for (const CStroke& stroke : strokes) {
        for (const CPoint& point : stroke) {
            right = std::max(right, point.x);
            bottom = std::max(bottom, point.y);
        }
    }
    // Half a pen and a pixel around, so that no edge is cut.
    const int margin = static_cast<int>(0.5 * kPenUnits * scale) + 1;
    CGlyph glyph;
    glyph.m_width = static_cast<int>(right * scale) + 1 + 2 * margin;
    glyph.m_height = static_cast<int>(bottom * scale) + 1 + 2 * margin;
    glyph.m_margin = margin;
    glyph.m_advance = static_cast<int>(std::lround((right + kGapUnits) * scale));
    return glyph;
}

const char* TextOf(char letter) {
    for (const CLetter& row : kLetters) {
        if (row.letter == letter)
            return row.strokes;
    }
    return "";
}

}  // namespace

// A blank, and whatever the font hasn't got, only moves on.
const CGlyph& CStrokeFont::Measure(char letter) {
    const auto known = m_glyphs.find(letter);
    if (known != m_glyphs.end())
        return known->second;
    const double scale = m_capHeight / kCapUnits;
    CGlyph glyph;
    glyph.m_advance = static_cast<int>(std::lround(kBlankUnits * scale));
    if (const auto strokes = StrokesOf(TextOf(letter)); !strokes.empty())
        glyph = Size(strokes, scale);
    return m_glyphs.emplace(letter, std::move(glyph)).first->second;
}

// Drawn once at each size, when a line of it is first asked for.
const CGlyph& CStrokeFont::Paint(char letter) {
    Measure(letter);
    CGlyph& glyph = m_glyphs.at(letter);
    if (!glyph.m_coverage.empty())
        return glyph;
    glyph.m_coverage.resize(static_cast<std::size_t>(glyph.m_width) *
                            static_cast<std::size_t>(glyph.m_height));
    for (const CStroke& stroke : StrokesOf(TextOf(letter))) {
        for (std::size_t i = 0; i + 1 < stroke.size(); ++i)
            DrawLine(glyph, m_capHeight / kCapUnits, stroke[i], stroke[i + 1]);
    }
    return glyph;
}
