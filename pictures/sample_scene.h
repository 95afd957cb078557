// The scene of the sample picture: an evening at a lake.
#pragma once

#include <cstdint>

// From 0 to 255 each, as it stands in a file; may run over at both ends.
struct CColor {
    double m_red = 0.0;
    double m_green = 0.0;
    double m_blue = 0.0;

    friend CColor operator+(CColor a, CColor b) {
        return {a.m_red + b.m_red, a.m_green + b.m_green, a.m_blue + b.m_blue};
    }
    friend CColor operator*(CColor a, double k) {
        return {a.m_red * k, a.m_green * k, a.m_blue * k};
    }
};

// The scene is measured in its own height: y runs from 0 at the top to 1 at the bottom, x from the
// middle to both sides without an end. `scale`: pixels in a unit, for the sharpness of edges.
CColor SampleSceneAt(double scale, double x, double y);

// A number from 0 to 1 for a cell of a grid; the same on every machine.
double SampleRandom(std::int64_t x, std::int64_t y, std::uint32_t seed);
