// What the staged scanner scans: squares of 10 mm, each of one of 16 lights, so that a sample is
// known by its place on the medium alone.
#pragma once

#include <cmath>

inline constexpr double kStagedSquare = 10;  // mm

// Which side of what: the glass, the sheets' sides in their order, or the film.
inline constexpr int kStagedGlass = 0;
inline constexpr int kStagedFilm = 15;
inline int StagedSide(int sheet, bool isBack) {  // sheets are counted from 0
    return 1 + 2 * sheet + (isBack ? 1 : 0);
}

// The light, from 0 to 1, at a place in mm. Colours are 0 red, 1 green (and gray), 2 blue.
inline double StagedLight(double x, double y, int color, int side) {
    const int column = static_cast<int>(std::floor(x / kStagedSquare));
    const int row = static_cast<int>(std::floor(y / kStagedSquare));
    return ((3 * column + 5 * row + 7 * color + 11 * side) & 15) / 15.0;
}
