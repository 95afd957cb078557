// A medium that is drawn line by line when it is asked for: paper, and things on it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string_view>
#include <vector>

#include "simulator/medium.h"
#include "simulator/stroke_font.h"

// Colours are as screens show them; what is drawn is the light of them. All places in pixels.
class CDrawnMedium final : public CMedium {
  public:
    CDrawnMedium(std::int32_t width, std::int32_t height, std::uint32_t dpi, CRgb paper);

    void ReadLine(std::int32_t y, std::uint8_t* rgb) override;

    void AddBox(int left, int top, int width, int height, CRgb color);
    void AddFrame(int left, int top, int width, int height, int pen, CRgb color);
    // Capitals of `capHeight` pixels, their top at `top`.
    void AddText(int left, int top, int capHeight, CRgb color, std::string_view text);
    // Bars of half a period each, black first.
    void AddBars(int left, int top, int width, int height, int period, bool upright);
    void AddChecker(int left, int top, int width, int height, int cell);
    // From black to white in even steps of the displayed value.
    void AddRamp(int left, int top, int width, int height, int steps);
    // Rings that get finer outwards, to two pixels at the middle of the edges.
    void AddRings(int left, int top, int size);
    // An edge that leaves the upright by one pixel in ten lines.
    void AddSlantedEdge(int left, int top, int size);
    // A part of a picture whose values are light.
    void AddPicture(int left, int top, int width, int height, const std::uint8_t* rgb,
                    std::size_t stride);

  private:
    // Draws line `y` of an element, counted from its top, onto its part of the line.
    using CDraw = std::function<void(int y, std::uint8_t* rgb)>;
    struct CElement {
        int left;
        int top;
        int width;
        int height;
        CDraw draw;
    };
    void Add(int left, int top, int width, int height, CDraw draw);

    std::vector<std::uint8_t> m_paper;  // one line of it
    std::vector<CElement> m_elements;
    std::map<int, CStrokeFont> m_fonts;  // by the height of capitals
};
