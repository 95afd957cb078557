// The rectangle record of windows in an image.
#pragma once

#include <cstdint>
#include <limits>

#include "frame/fixed_point.h"

// Rectangle in pixels. Whether bottom and right still belong to it, its attribute tells: a band's
// lie behind the last line and column, those of a threshold's or an analysis rectangle on them. Its
// own size is counted as if they lay behind. Rectangles come from outside: edges and sizes beyond
// 32 bits are held at their ends.
struct QLRect {
    std::int32_t top = 0;   // first line
    std::int32_t left = 0;  // first column
    std::int32_t bottom = 0;
    std::int32_t right = 0;

    constexpr std::int32_t Height() const { return Held(std::int64_t{bottom} - top); }
    constexpr std::int32_t Width() const { return Held(std::int64_t{right} - left); }
    constexpr bool IsEmpty() const { return Height() < 1 || Width() < 1; }

    // Takes dy lines from top and bottom and dx columns from left and right; what would turn over
    // ends as a line or a column without extent.
    constexpr void Shrink(std::int32_t dx, std::int32_t dy) {
        ShrinkSide(&top, &bottom, dy);
        ShrinkSide(&left, &right, dx);
    }
    constexpr void Offset(std::int32_t dx, std::int32_t dy) {
        top = Held(std::int64_t{top} + dy);
        bottom = Held(std::int64_t{bottom} + dy);
        left = Held(std::int64_t{left} + dx);
        right = Held(std::int64_t{right} + dx);
    }
    // Both sizes times `factor`, rounded; the top left corner stays.
    constexpr void Resize(double factor) {
        right = Held(std::int64_t{left} + RoundToI32(Width() * factor));
        bottom = Held(std::int64_t{top} + RoundToI32(Height() * factor));
    }

  private:
    static constexpr std::int32_t Held(std::int64_t x) {
        using Limits = std::numeric_limits<std::int32_t>;
        return Clamp(x, Limits::min(), Limits::max());
    }
    static constexpr void ShrinkSide(std::int32_t* low, std::int32_t* high, std::int32_t by) {
        *low = Held(std::int64_t{*low} + by);
        *high = Held(std::int64_t{*high} - by);
        if (*high < *low)
            *high = *low;
    }
};
static_assert(sizeof(QLRect) == 16);
