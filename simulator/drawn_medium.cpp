#include "simulator/drawn_medium.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

// Colours are chosen as a screen shows them; on the page stands what a sensor would measure of
// them, in 8 bits.
std::uint8_t Light8(std::uint8_t value) {
    static const CLightTables tables = SrgbLight();
    return Light8Of(tables[0][value]);
}

CRgb LightOfColor(CRgb color) {
    return {Light8(color.m_red), Light8(color.m_green), Light8(color.m_blue)};
}

void Put(std::uint8_t* rgb, CRgb light) {
    rgb[0] = light.m_red;
    rgb[1] = light.m_green;
    rgb[2] = light.m_blue;
}

void PutGray(std::uint8_t* rgb, std::uint8_t light) {
    rgb[0] = rgb[1] = rgb[2] = light;
}

// A pen that covers a pixel in part: coverage of 255 is all of it. Mixed as light, as a sensor
// mixes.
void Cover(std::uint8_t* rgb, CRgb light, int coverage) {
    const int colors[] = {light.m_red, light.m_green, light.m_blue};
    for (int i = 0; i < 3; ++i)
        rgb[i] = static_cast<std::uint8_t>(
            (rgb[i] * (255 - coverage) + colors[i] * coverage + 127) / 255);
}

// A wave of period 65536 between 0 and 255, close to a cosine, of integers only.
std::uint8_t Wave(std::uint32_t phase) {
    const auto t = static_cast<std::int32_t>(phase & 0xFFFF) - 32768;  // the trough is at 0
    const std::int32_t half = t < 0 ? t + 32768 : 32768 - t;           // 0 at the trough's sides
    // A parabola each for the upper and the lower half of the wave.
    const std::int32_t u = half - 16384;
    const std::int32_t bow = 16384 - std::abs(u);
    const std::int32_t lift = 127 - (127 * (bow / 64) * (bow / 64)) / (256 * 256);
    return static_cast<std::uint8_t>(u < 0 ? 128 + lift : 127 - lift);
}

}  // namespace

CDrawnMedium::CDrawnMedium(std::int32_t width, std::int32_t height, std::uint32_t dpi, CRgb paper) {
    m_width = width;
    m_height = height;
    m_xDpi = m_yDpi = dpi;
    m_paper.resize(static_cast<std::size_t>(width) * 3);
    for (std::int32_t x = 0; x < width; ++x)
        Put(&m_paper[static_cast<std::size_t>(x) * 3], LightOfColor(paper));
}

void CDrawnMedium::Add(int left, int top, int width, int height, CDraw draw) {
    m_elements.push_back({left, top, width, height, std::move(draw)});
}

// Elements lie over each other in the order in which they were added.
void CDrawnMedium::ReadLine(std::int32_t y, std::uint8_t* rgb) {
    std::memcpy(rgb, m_paper.data(), m_paper.size());
    for (const CElement& element : m_elements) {
        if (y >= element.top && y < element.top + element.height)
            element.draw(y - element.top, rgb + static_cast<std::ptrdiff_t>(element.left) * 3);
    }
}

void CDrawnMedium::AddBox(int left, int top, int width, int height, CRgb color) {
    Add(left, top, width, height, [width, light = LightOfColor(color)](int, std::uint8_t* rgb) {
        for (int x = 0; x < width; ++x, rgb += 3)
            Put(rgb, light);
    });
}

void CDrawnMedium::AddFrame(int left, int top, int width, int height, int pen, CRgb color) {
    AddBox(left, top, width, pen, color);
    AddBox(left, top + height - pen, width, pen, color);
    AddBox(left, top, pen, height, color);
    AddBox(left + width - pen, top, pen, height, color);
}

void CDrawnMedium::AddText(int left, int top, int capHeight, CRgb color, std::string_view text) {
    // The fonts stay where they are while the medium lives. A letter is drawn when a line of it is
    // asked for: the first lines of a page don't wait for the last.
    CStrokeFont& font = m_fonts.try_emplace(capHeight, capHeight).first->second;
    for (const char letter : text) {
        const CGlyph& size = font.Measure(letter);
        Add(left - size.m_margin, top - size.m_margin, size.m_width, size.m_height,
            [&font, letter, light = LightOfColor(color)](int y, std::uint8_t* rgb) {
                const CGlyph& glyph = font.Paint(letter);
                const std::uint8_t* row =
                    glyph.m_coverage.data() + static_cast<std::ptrdiff_t>(y) * glyph.m_width;
                for (int i = 0; i < glyph.m_width; ++i, rgb += 3)
                    Cover(rgb, light, row[i]);
            });
        left += size.m_advance;
    }
}

// Half a period black, half paper: at a period of 2 the finest that a scan at the page's own
// resolution can hold.
void CDrawnMedium::AddBars(int left, int top, int width, int height, int period, bool upright) {
    // Ink isn't wholly black.
    const std::uint8_t black = Light8(20);
    Add(left, top, width, height, [=](int y, std::uint8_t* rgb) {
        for (int x = 0; x < width; ++x, rgb += 3) {
            if ((upright ? x : y) % period < period / 2)
                PutGray(rgb, black);
        }
    });
}

// Cells of both directions at once: shows a scan whose steps along and across differ.
void CDrawnMedium::AddChecker(int left, int top, int width, int height, int cell) {
    const std::uint8_t black = Light8(20);
    Add(left, top, width, height, [=](int y, std::uint8_t* rgb) {
        for (int x = 0; x < width; ++x, rgb += 3) {
            if ((x / cell + y / cell) % 2 == 0)
                PutGray(rgb, black);
        }
    });
}

// Step k of n has the displayed value 255 k / (n - 1), from black to white.
void CDrawnMedium::AddRamp(int left, int top, int width, int height, int steps) {
    Add(left, top, width, height, [=](int, std::uint8_t* rgb) {
        for (int x = 0; x < width; ++x, rgb += 3)
            PutGray(rgb, Light8(static_cast<std::uint8_t>(x * steps / width * 255 / (steps - 1))));
    });
}

// The phase grows with the square of the radius, so that a ring's width falls with the radius.
void CDrawnMedium::AddRings(int left, int top, int size) {
    const int half = size / 2;
    // Phase per squared pixel, in 1/65536 of a period: at radius size / 2 two neighbours differ by
    // half a period.
    const auto turn = static_cast<std::uint32_t>(65536 / 4 * 2 / size);
    Add(left, top, size, size, [=](int y, std::uint8_t* rgb) {
        for (int x = 0; x < size; ++x, rgb += 3) {
            const auto square =
                static_cast<std::uint32_t>((x - half) * (x - half) + (y - half) * (y - half));
            PutGray(rgb, Light8(Wave(square * turn)));
        }
    });
}

void CDrawnMedium::AddSlantedEdge(int left, int top, int size) {
    const std::uint8_t black = Light8(20);
    Add(left, top, size, size, [=](int y, std::uint8_t* rgb) {
        // Where the edge cuts the line, in tenths of a pixel.
        const int edge = size / 2 * 10 + y - size / 2;
        for (int x = 0; x < size; ++x, rgb += 3)
            Cover(rgb, {black, black, black}, std::clamp((edge - x * 10) * 255 / 10, 0, 255));
    });
}

void CDrawnMedium::AddPicture(int left, int top, int width, int height, const std::uint8_t* rgb,
                              std::size_t stride) {
    Add(left, top, width, height, [=](int y, std::uint8_t* line) {
        std::memcpy(line, rgb + static_cast<std::size_t>(y) * stride,
                    static_cast<std::size_t>(width) * 3);
    });
}
