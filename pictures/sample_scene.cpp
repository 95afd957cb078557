#include "pictures/sample_scene.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>

// Only + - * /, sqrt and floor are used on numbers, which give the same bits everywhere.

namespace {

struct CPoint {
    double m_x = 0.0;
    double m_y = 0.0;
};

// Shares and brightnesses go from 0 to 1.
double Clamp01(double value) {
    return std::clamp(value, 0.0, 1.0);
}

// `share` of b, the rest of a.
double Mix(double a, double b, double share) {
    return a + (b - a) * share;
}

CColor Mix(CColor a, CColor b, double share) {
    return a * (1.0 - share) + b * share;
}

// 0 below `from`, 1 above `to`, smooth in between; falling when `to` is the lower one.
double Ramp(double from, double to, double value) {
    const double t = Clamp01((value - from) / (to - from));
    return t * t * (3.0 - 2.0 * t);
}

// Scatters neighbouring cells over all 32-bit numbers. The factors are odd, so that no bit gets
// lost, and the shifts bring high bits, which are mixed best, down to the low ones.
std::uint32_t Hash(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
    std::uint32_t h = x * 0x9E3779B1u ^ (y + 0x7F4A7C15u) * 0x85EBCA6Bu ^ seed * 0xC2B2AE35u;
    h = (h ^ h >> 16) * 0x7FEB352Du;
    h = (h ^ h >> 15) * 0x846CA68Bu;
    return h ^ h >> 16;
}

// A number from 0 to 1 for a cell of a grid.
double Random(std::int64_t x, std::int64_t y, std::uint32_t seed) {
    return Hash(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y), seed) / 4294967295.0;
}

// Random numbers at whole coordinates, smooth in between.
double Noise(double x, double y, std::uint32_t seed) {
    const double floorX = std::floor(x);
    const double floorY = std::floor(y);
    const auto column = static_cast<std::int64_t>(floorX);
    const auto row = static_cast<std::int64_t>(floorY);
    const double fx = Ramp(0.0, 1.0, x - floorX);
    const double fy = Ramp(0.0, 1.0, y - floorY);
    const double top = Mix(Random(column, row, seed), Random(column + 1, row, seed), fx);
    const double bottom = Mix(Random(column, row + 1, seed), Random(column + 1, row + 1, seed), fx);
    return Mix(top, bottom, fy);
}

// Noise with detail: every octave is half as coarse and half as strong. From 0 to 1.
double Detail(double x, double y, int octaves, std::uint32_t seed) {
    double sum = 0.0;
    double weight = 1.0;
    double total = 0.0;
    for (int i = 0; i < octaves; ++i) {
        sum += weight * Noise(x, y, seed + static_cast<std::uint32_t>(i));
        total += weight;
        weight *= 0.5;
        // Turned a little, so that the grids of the octaves don't show.
        const double turned = 1.6 * x - 1.2 * y + 17.3;
        y = 1.2 * x + 1.6 * y + 5.9;
        x = turned;
    }
    return sum / total;
}

// ---- The scene: an evening at a lake. Its height is 1, from the sky at 0 down to the near bank
// at 1, and x is 0 in the middle; colours are encoded for a screen (sRGB). Things are painted from
// far to near, each over what was there. All numbers below are to the eye: they have no other
// reason.

constexpr double kHorizon = 0.53;
constexpr CPoint kSun = {0.07, 0.425};
constexpr CColor kSunlight = {255.0, 226.0, 170.0};
constexpr CColor kHaze = {236.0, 178.0, 140.0};

class CScene {
  public:
    // `scale`: pixels in a unit.
    explicit CScene(double scale) : m_scale(scale) {}

    CColor At(double x, double y) const;

  private:
    // How much of a pixel an edge covers that is `distance` units away; positive is inside.
    double Edge(double distance) const { return Clamp01(distance * m_scale + 0.5); }
    double Inside(std::initializer_list<CPoint> corners, double x, double y) const;
    void Paint(CColor& color, CColor paint, std::initializer_list<CPoint> corners, double x,
               double y) const;

    CColor Sky(double x, double y) const;
    CColor Land(double x, double y) const;
    void PaintFarHills(CColor& color, double x, double y) const;
    void PaintMiddleHills(CColor& color, double x, double y) const;
    void PaintHeadland(CColor& color, double x, double y) const;
    void PaintHouse(CColor& color, double x, double y) const;
    CColor Water(double x, double y) const;
    void PaintBoat(CColor& color, double x, double y) const;
    void PaintBank(CColor& color, double x, double y) const;
    void PaintReeds(CColor& color, double x, double y, int layer) const;

    double m_scale;
};

// The share of a pixel inside a convex polygon, corners in clockwise order as seen.
double CScene::Inside(std::initializer_list<CPoint> corners, double x, double y) const {
    double inside = 1.0;
    CPoint from = *(corners.end() - 1);
    for (const CPoint& to : corners) {
        const double dx = to.m_x - from.m_x;
        const double dy = to.m_y - from.m_y;
        const double cross = dx * (y - from.m_y) - dy * (x - from.m_x);
        inside = std::min(inside, Edge(cross / std::sqrt(dx * dx + dy * dy)));
        if (inside <= 0.0)
            return 0.0;
        from = to;
    }
    return inside;
}

void CScene::Paint(CColor& color, CColor paint, std::initializer_list<CPoint> corners, double x,
                   double y) const {
    color = Mix(color, paint, Inside(corners, x, y));
}

// From the horizon up: warm haze, blue, deeper blue; around the sun a glow; clouds over it.
CColor CScene::Sky(double x, double y) const {
    const double height = kHorizon - y;
    CColor color =
        Mix(CColor{250.0, 196.0, 140.0}, CColor{196.0, 178.0, 182.0}, Ramp(0.02, 0.20, height));
    color = Mix(color, CColor{112.0, 146.0, 192.0}, Ramp(0.12, 0.34, height));
    color = Mix(color, CColor{44.0, 84.0, 146.0}, Ramp(0.25, 0.56, height));

    const double dx = x - kSun.m_x;
    const double dy = y - kSun.m_y;
    const double distance = dx * dx + dy * dy;
    const double glow = 1.0 / (1.0 + 26.0 * distance);
    color = Mix(color, CColor{255.0, 206.0, 138.0}, 0.75 * glow * glow);

    // A sheet of clouds overhead, seen in perspective.
    const double depth = 1.0 / (std::max(height, 0.0) + 0.13);
    const double cx = x * depth * 1.7 + 3.7;
    const double cy = depth * 2.3;
    const double body = Detail(cx, cy, 6, 11);
    const double cover = Ramp(0.47, 0.70, body) * Ramp(0.0, 0.10, height);
    // Bright where the cloud gets thinner on the way to the sun.
    const double toSun = std::sqrt(distance) + 0.05;
    const double behind = Detail(cx - dx / toSun * 0.16, cy - dy / toSun * 0.16, 4, 11);
    const double lit = Clamp01(0.52 + 2.6 * (body - behind) + 0.5 * glow);
    const CColor shade = Mix(CColor{118.0, 120.0, 150.0}, CColor{196.0, 140.0, 124.0}, glow);
    const CColor bright = Mix(CColor{255.0, 236.0, 216.0}, CColor{255.0, 226.0, 168.0}, glow);
    color = Mix(color, Mix(shade, bright, lit), 0.88 * cover);

    const double disc = Edge(0.021 - std::sqrt(distance));
    const double corona = 1.0 / (1.0 + 1100.0 * distance);
    color = color + kSunlight * (0.75 * corona);
    return Mix(color, CColor{255.0, 250.0, 226.0}, disc);
}

// Mountains, the paler the nearer to sun and water. Their relief is the difference of two places
// beside each other: slopes that face the light are bright.
void CScene::PaintFarHills(CColor& color, double x, double y) const {
    const double rise = Detail(x * 4.2 + 9.0, 0.5, 6, 31);
    const double ridge = kHorizon - 0.015 - 0.17 * rise * Ramp(-0.9, 0.25, -x + 0.12 * rise);
    const double cover = Edge(y - ridge);
    if (cover <= 0.0)
        return;
    const double relief =
        Detail(x * 26.0, y * 40.0, 4, 41) - Detail(x * 26.0 - 0.5, y * 40.0, 4, 41);
    const CColor rock = CColor{112.0, 116.0, 158.0} * (1.0 + 0.5 * relief);
    const double glow = 1.0 / (1.0 + 22.0 * (x - kSun.m_x) * (x - kSun.m_x));
    const CColor haze = Mix(CColor{204.0, 170.0, 168.0}, kHaze, glow);
    const double share = 0.25 + 0.25 * glow + 0.45 * Ramp(kHorizon - 0.13, kHorizon, y);
    color = Mix(color, Mix(rock, haze, share), cover);
}

// Woods with fields in them, in front of the mountains.
void CScene::PaintMiddleHills(CColor& color, double x, double y) const {
    const double ridge = kHorizon - 0.004 -
                         0.085 * Detail(x * 5.5 + 2.0, 3.5, 4, 51) * Ramp(-0.25, 0.45, x + 0.1) -
                         0.006 * Noise(x * 160.0, 1.5, 56);
    const double cover = Edge(y - ridge);
    if (cover <= 0.0)
        return;
    const double woods = Detail(x * 90.0, y * 150.0, 4, 61);
    CColor slope = Mix(CColor{50.0, 66.0, 74.0}, CColor{112.0, 108.0, 84.0}, woods);
    const double fields = Ramp(0.52, 0.60, Detail(x * 11.0, y * 34.0, 2, 66));
    slope = Mix(slope, CColor{150.0, 138.0, 88.0}, 0.55 * fields);
    const double glow = 1.0 / (1.0 + 30.0 * (x - kSun.m_x) * (x - kSun.m_x));
    slope = Mix(slope, kHaze, 0.20 + 0.25 * glow + 0.20 * Ramp(kHorizon - 0.03, kHorizon, y));
    color = Mix(color, slope, cover);
}

// Where water begins below the land: the far shore, and the headland on the left in front of it.
double ShoreLine(double x) {
    const double reach = Ramp(0.02, -0.30, x + 0.02 * Noise(x * 30.0, 0.5, 71));
    return kHorizon + 0.075 * reach;
}

// The land on the left, which the house stands on.
void CScene::PaintHeadland(CColor& color, double x, double y) const {
    const double shore = ShoreLine(x);
    const double depth = shore - kHorizon;
    // Woods behind, a meadow in front of them.
    const double crown = Detail(x * 34.0, 0.5, 2, 81) * 0.6 + Detail(x * 150.0, 0.5, 3, 86) * 0.4;
    const double foot = kHorizon + 0.45 * depth;
    const double top = foot - Ramp(0.0, 0.05, depth) * (0.05 + 0.10 * crown);
    if (depth > 0.0005 && y < foot + 0.01) {
        const double leaves = Detail(x * 120.0, y * 120.0, 4, 91);
        const double light = leaves - Detail(x * 120.0 - 0.6, y * 120.0 + 0.6, 3, 91);
        CColor wood =
            Mix(CColor{18.0, 34.0, 24.0}, CColor{94.0, 98.0, 44.0}, Clamp01(0.36 + 1.7 * light));
        wood = wood * Mix(0.55, 1.0, Ramp(foot, top, y));
        color = Mix(color, wood, Edge(y - top - 0.02 * (leaves - 0.5)));
    }
    if (y > foot) {
        const double grass = Detail(x * 60.0, y * 420.0, 4, 96);
        CColor meadow = Mix(CColor{74.0, 92.0, 36.0}, CColor{176.0, 164.0, 70.0}, grass);
        const double stones =
            Ramp(shore - 0.010, shore - 0.003, y + 0.006 * Noise(x * 240.0, 0.5, 98));
        meadow =
            Mix(meadow, CColor{92.0, 80.0, 70.0} * (0.5 + Noise(x * 420.0, y * 700.0, 99)), stones);
        color = Mix(color, meadow, Edge(y - foot));
    }
}

void CScene::PaintHouse(CColor& color, double x, double y) const {
    // In the house's own measure: the front is 1 wide, the ground is at 0, up is negative.
    const double hx = (x + 0.235) / 0.105;
    const double hy = (y - 0.583) / 0.105;
    if (hx < -0.8 || hx > 1.5 || hy < -1.35 || hy > 0.1)
        return;
    const CScene own(m_scale * 0.105);
    // Each board across the front has a shade of its own.
    const double boards =
        0.90 + 0.16 * Random(static_cast<std::int64_t>(std::floor(hx * 26.0)), 0, 101);
    const CColor front = CColor{176.0, 42.0, 34.0} * boards;
    const CColor side = CColor{120.0, 28.0, 28.0} * boards;
    const CColor white = {244.0, 232.0, 214.0};
    const double tiles = 0.85 + 0.3 * Noise(hx * 60.0, hy * 34.0, 103);
    // Foundation, side and front; chimney and roof; the white edges of gable and corners.
    own.Paint(color, CColor{70.0, 66.0, 62.0},
              {{-0.60, -0.04}, {1.02, -0.04}, {1.02, 0.03}, {-0.60, 0.03}}, hx, hy);
    own.Paint(color, side, {{-0.58, -0.5}, {0.3, -0.5}, {0.3, -0.03}, {-0.58, -0.03}}, hx, hy);
    own.Paint(color, front, {{0.1, -0.5}, {0.55, -0.92}, {1.0, -0.5}, {1.0, -0.03}, {0.1, -0.03}},
              hx, hy);
    own.Paint(color, CColor{110.0, 78.0, 66.0} * tiles,
              {{-0.32, -1.16}, {-0.18, -1.16}, {-0.18, -0.8}, {-0.32, -0.8}}, hx, hy);
    own.Paint(color, CColor{64.0, 56.0, 60.0} * tiles,
              {{-0.30, -0.96}, {0.55, -0.98}, {0.08, -0.47}, {-0.68, -0.47}}, hx, hy);
    own.Paint(color, white, {{0.55, -0.98}, {1.06, -0.49}, {1.06, -0.43}, {0.55, -0.91}}, hx, hy);
    own.Paint(color, white, {{0.55, -0.98}, {0.55, -0.91}, {0.08, -0.43}, {0.06, -0.49}}, hx, hy);
    own.Paint(color, white, {{0.97, -0.46}, {1.0, -0.46}, {1.0, -0.03}, {0.97, -0.03}}, hx, hy);
    own.Paint(color, white, {{0.1, -0.46}, {0.13, -0.46}, {0.13, -0.03}, {0.1, -0.03}}, hx, hy);
    // Windows of two panes: dark ones on the side, lit ones in front.
    for (const double left : {-0.46, -0.18, 0.22, 0.72}) {
        own.Paint(color, white,
                  {{left - 0.02, -0.40},
                   {left + 0.18, -0.40},
                   {left + 0.18, -0.16},
                   {left - 0.02, -0.16}},
                  hx, hy);
        for (const double pane : {0.01, 0.09}) {
            const CColor glass =
                left > 0.0 ? CColor{255.0, 208.0, 104.0} : CColor{74.0, 92.0, 116.0};
            own.Paint(color, glass,
                      {{left + pane, -0.38},
                       {left + pane + 0.06, -0.38},
                       {left + pane + 0.06, -0.18},
                       {left + pane, -0.18}},
                      hx, hy);
        }
    }
    // The door in its frame.
    own.Paint(color, white, {{0.46, -0.40}, {0.65, -0.40}, {0.65, -0.03}, {0.46, -0.03}}, hx, hy);
    own.Paint(color, CColor{34.0, 82.0, 74.0},
              {{0.485, -0.375}, {0.625, -0.375}, {0.625, -0.03}, {0.485, -0.03}}, hx, hy);
}

// All that the water mirrors, but for the boat.
CColor CScene::Land(double x, double y) const {
    CColor color = Sky(x, y);
    PaintFarHills(color, x, y);
    PaintMiddleHills(color, x, y);
    PaintHeadland(color, x, y);
    PaintHouse(color, x, y);
    return color;
}

// Where the boat meets the water.
constexpr double kBoatLine = 0.715;

// The land upside down, shaken by the waves, the darker the nearer: one looks into the water there,
// and along it further out.
CColor CScene::Water(double x, double y) const {
    const double shore = ShoreLine(x);
    const double depth = y - kHorizon;
    // Waves: long across, and larger towards the viewer.
    const double far = 1.0 / (depth + 0.025);
    const double wave = Detail(x * far * 1.6, far * 14.0, 4, 111) - 0.5;
    const double swell = Noise(x * far * 0.35 + 4.0, far * 3.0, 121) - 0.5;
    const double stir = wave + 0.5 * swell;

    const double mirrorX = x + 0.030 * stir * Ramp(0.0, 0.15, depth);
    const double mirrorY =
        std::clamp(2.0 * shore - y + 0.22 * stir * (depth + 0.01), 0.0, shore - 0.002);
    CColor color = Land(mirrorX, mirrorY) * 0.92;
    const CColor deep =
        Mix(CColor{64.0, 84.0, 104.0}, CColor{22.0, 46.0, 62.0}, Ramp(0.0, 0.3, depth));
    color = Mix(color, deep, Clamp01(0.10 + 0.9 * depth + 0.55 * Ramp(0.02, 0.22, stir)));

    CColor boat = color;
    PaintBoat(boat, x + 0.05 * stir * Ramp(0.0, 0.15, depth), 2.0 * kBoatLine - y + 0.02 * stir);
    if (y > kBoatLine)
        color = Mix(color, boat, 0.75);

    // The sun's path.
    const double offset = (x - kSun.m_x) / (0.022 + 0.16 * depth);
    const double path = 1.0 / (1.0 + offset * offset * offset * offset);
    color = color + kSunlight * (0.25 * path * (1.0 - 0.8 * Ramp(0.0, 0.3, depth)));
    const double sparkle = Ramp(0.10, 0.30, stir) * path;
    return Mix(color, CColor{255.0, 240.0, 200.0}, 0.85 * sparkle);
}

void CScene::PaintBoat(CColor& color, double x, double y) const {
    // In the boat's own measure: from stern at -0.5 to bow at 0.5.
    const double bx = (x - 0.205) / 0.17;
    const double by = (y - kBoatLine) / 0.17;
    if (bx < -0.7 || bx > 0.75 || by < -1.4 || by > 0.1)
        return;
    const CScene own(m_scale * 0.17);
    const double cloth = 0.93 + 0.07 * Ramp(0.0, 0.12, bx * 5.0 - std::floor(bx * 5.0)) - 0.25 * bx;
    // Mainsail with its stripe, jib, mast, boom, pennant, the one who sails, and the hull.
    own.Paint(color, CColor{250.0, 240.0, 222.0} * std::min(cloth, 1.02),
              {{-0.015, -1.22}, {-0.015, -0.20}, {-0.52, -0.20}, {-0.30, -0.62}}, bx, by);
    own.Paint(color, CColor{34.0, 92.0, 170.0},
              {{-0.255, -0.72}, {-0.015, -0.72}, {-0.015, -0.64}, {-0.292, -0.64}}, bx, by);
    own.Paint(color, CColor{226.0, 62.0, 40.0} * (0.95 + 0.3 * bx),
              {{0.03, -1.10}, {0.26, -0.60}, {0.52, -0.17}, {0.04, -0.22}}, bx, by);
    own.Paint(color, CColor{92.0, 62.0, 40.0},
              {{-0.012, -1.30}, {0.012, -1.30}, {0.015, -0.12}, {-0.015, -0.12}}, bx, by);
    own.Paint(color, CColor{92.0, 62.0, 40.0},
              {{-0.54, -0.205}, {0.0, -0.205}, {0.0, -0.18}, {-0.54, -0.18}}, bx, by);
    own.Paint(color, CColor{228.0, 46.0, 60.0}, {{0.012, -1.30}, {0.13, -1.265}, {0.012, -1.23}},
              bx, by);
    own.Paint(color, CColor{60.0, 66.0, 92.0},
              {{-0.28, -0.27}, {-0.22, -0.27}, {-0.17, -0.10}, {-0.33, -0.10}}, bx, by);
    own.Paint(color, CColor{226.0, 178.0, 140.0},
              {{-0.27, -0.33}, {-0.23, -0.33}, {-0.22, -0.28}, {-0.28, -0.28}}, bx, by);
    const double planks = 0.9 + 0.15 * Noise(bx * 8.0, by * 90.0, 131);
    own.Paint(color, CColor{240.0, 234.0, 222.0} * planks,
              {{-0.52, -0.13}, {0.60, -0.16}, {0.44, 0.0}, {-0.45, 0.0}}, bx, by);
    own.Paint(color, CColor{30.0, 62.0, 120.0},
              {{-0.485, -0.06}, {0.50, -0.06}, {0.44, 0.005}, {-0.45, 0.005}}, bx, by);
}

// The edge of the near bank, higher at both sides.
double BankLine(double x) {
    return 0.93 - 0.10 * Ramp(-0.05, 0.55, x) - 0.06 * Ramp(-0.15, -0.5, x) -
           0.02 * Detail(x * 9.0, 0.5, 3, 141);
}

// Grass, and four rows of reeds in front of it.
void CScene::PaintBank(CColor& color, double x, double y) const {
    const double line = BankLine(x);
    const double cover = Edge(y - line - 0.008 * Noise(x * 200.0, 0.5, 145));
    if (cover > 0.0) {
        const double blades = Detail(x * 300.0 + y * 60.0, y * 46.0, 3, 151);
        const double tufts = Detail(x * 26.0, y * 40.0, 3, 156);
        CColor grass = Mix(CColor{22.0, 38.0, 18.0}, CColor{136.0, 142.0, 50.0},
                           Clamp01(0.1 + 0.55 * blades + 0.6 * (tufts - 0.4)));
        color = Mix(color, grass, cover);
    }
    for (int layer = 0; layer < 4; ++layer)
        PaintReeds(color, x, y, layer);
}

// One row of reeds: a tapering, bent blade in every cell across the picture, some with a flower.
void CScene::PaintReeds(CColor& color, double x, double y, int layer) const {
    constexpr double kCell = 0.012;
    const auto seed = static_cast<std::uint32_t>(200 + 10 * layer);
    const auto cell = static_cast<std::int64_t>(std::floor(x / kCell));
    // Blades lean over into the cells beside theirs.
    for (std::int64_t i = cell - 3; i <= cell + 3; ++i) {
        const double root = (static_cast<double>(i) + Random(i, 0, seed)) * kCell;
        const double tall =
            (0.03 + 0.11 * Random(i, 1, seed)) * (0.5 + Noise(root * 7.0, layer, 201));
        const double base = BankLine(root) + 0.02 + 0.03 * layer;
        const double up = (base - y) / tall;
        if (up < 0.0 || up > 1.1)
            continue;
        // `up` is 0 at the root and 1 at the tip; the bend grows with its square.
        const double lean = 0.03 * (Random(i, 2, seed) - 0.4);
        const double distance = std::abs(x - root - lean * up * up);
        const double width = (0.0012 + 0.0012 * Random(i, 3, seed)) * (1.0 - up);
        const double light = 0.4 + 0.6 * Random(i, 4, seed) * up;
        const CColor blade = CColor{150.0, 156.0, 62.0} * light;
        if (up < 1.0)
            color = Mix(color, blade, Edge(width - distance));
        const double kind = Random(i, 5, seed);
        if (kind < 0.16) {
            // A flower is a disc at the tip.
            const double tip = (up - 0.96) * tall;
            const double reach = std::sqrt(distance * distance + tip * tip);
            const CColor petals = kind < 0.06   ? CColor{238.0, 60.0, 44.0}
                                  : kind < 0.11 ? CColor{246.0, 204.0, 60.0}
                                                : CColor{150.0, 96.0, 206.0};
            color = Mix(color, petals * (0.75 + 60.0 * tip), Edge(0.0042 - reach));
        }
    }
}

// What can't reach a place isn't asked there: it takes a good part of the time.
CColor CScene::At(double x, double y) const {
    CColor color = y < ShoreLine(x) ? Land(x, y) : Water(x, y);
    if (y <= kBoatLine + 0.01)
        PaintBoat(color, x, y);
    if (y > 0.72)
        PaintBank(color, x, y);
    return color;
}

}  // namespace

CColor SampleSceneAt(double scale, double x, double y) {
    return CScene(scale).At(x, y);
}

double SampleRandom(std::int64_t x, std::int64_t y, std::uint32_t seed) {
    return Random(x, y, seed);
}
