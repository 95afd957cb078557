// Tone tables worked out from their formulas alone, without the engine's own tables. Rounding:
// + 0.5, truncated.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

#include "frame/film_curve.h"

using Table = std::vector<int>;  // 65536 entries
constexpr int kTop = 65535;

inline int Round(double x) {
    return static_cast<int>(x + 0.5);
}
inline int Held(std::int64_t x, int top = kTop) {
    return static_cast<int>(std::clamp<std::int64_t>(x, 0, top));
}
inline Table Identity(int size = kTop + 1) {
    Table t(static_cast<std::size_t>(size));
    for (int i = 0; i < size; ++i)
        t[i] = i;
    return t;
}

// A line, as far as the table reaches, in steps of a 15-bit fraction.
inline void Line(Table& t, int x0, int y0, int x1, int y1, int top = kTop) {
    const std::int64_t slope = x0 == x1 ? 0 : (y1 - y0) * std::int64_t{32768} / (x1 - x0);
    for (int x = std::max(x0, 0); x <= std::min(x1, static_cast<int>(t.size()) - 1); ++x)
        t[x] = Held((y0 * std::int64_t{32768} + slope * (x - x0)) >> 15, top);
}

// Full scale times (x / full scale)^(1 / gamma).
inline int Power(int x, double gamma) {
    return std::min(Round(std::pow(x / 65535.0, 1.0 / gamma) * 65535.0), kTop);
}
inline bool IsNeutral(double gamma) {
    return gamma >= 0.99 && gamma <= 1.01;
}

// A gamma curve as lines over `step` entries each; the fine one is exact at its start.
inline Table Gamma(double gamma, int step) {
    Table t = Identity();
    for (int i = 0; i <= kTop && !IsNeutral(gamma); i += step)
        Line(t, i, Power(i, gamma), std::min(i + step, kTop), Power(i + step, gamma));
    if (step == 2)
        t[1] = Power(1, gamma);
    return t;
}
// A gamma curve whose slope from black is held.
inline Table HeldGamma(double gamma, double most) {
    Table t = Gamma(gamma, 256);
    int i = 1;
    while (static_cast<double>(t[i]) / i > most)
        ++i;
    Line(t, 0, 0, i, t[i]);
    return t;
}
// A gamma behind another table, over 256 pieces in steps of a 12-bit fraction.
inline Table WithGamma(const Table& from, double gamma) {
    Table t = from;
    for (int i = 0; i <= kTop && !IsNeutral(gamma); i += 256) {
        const int j = std::min(i + 256, kTop);
        const int y0 = Power(from[i], gamma);
        const int slope = (Power(from[j], gamma) - y0) * 4096 / (j - i);
        for (int k = i; k < i + 256; ++k)
            t[k] = y0 + (((k - i) * slope) >> 12);
    }
    return t;
}
// The curve of a film with its ends bent by `high` and `low`, -1 to 1, and its input put through
// another curve. Later rows are drawn over earlier ones; beyond its ends it is flat.
inline Table FilmCurve(std::span<const QLFilmRow> rows, double step, double shift, double high,
                       double low, const Table& warp = Identity()) {
    const auto code = [](double density) {
        return static_cast<int>(std::min(std::pow(10.0, -density) * kTop, double{kTop}));
    };
    const auto output = [&](int r) {
        const double bend = r >= 15 ? high : low;
        const double thin = r >= 15 ? rows[r].low : rows[r].high;
        const double dense = r >= 15 ? rows[r].high : rows[r].low;
        return code(bend >= 0.0 ? thin * bend + rows[r].nominal * (1.0 - bend)
                                : dense * -bend + rows[r].nominal * (1.0 + bend));
    };
    const auto input = [&](int r) {
        return warp[static_cast<std::size_t>(code(r * step - shift))];
    };
    Table t = Identity();
    for (int r = 0; r < 26; ++r) {
        const int end = input(r + 1) == input(r) ? r : r + 1;
        Line(t, input(r + 1), output(end), input(r), output(r));
    }
    std::fill_n(t.begin(), input(26), t[input(26)]);
    std::fill(t.begin() + input(0), t.end(), t[input(0)]);
    return t;
}
inline Table Srgb() {
    Table t;
    for (int i = 0; i <= kTop; ++i) {
        const double x = i / 65535.0;
        const double y = 1.055 * std::pow(x, 0.4166666666666667) - 0.055;
        t.push_back(Round((x <= 0.00304 ? 12.92 * x : std::min(y, 1.0)) * 65535.0));
    }
    return t;
}
// The input of a rising table that gives `value`, by halving steps; the one above where none does.
inline int Inverse(const Table& t, int value) {
    int i = 32767;
    for (int step = 32768; step != 0 && t[i] != value; step /= 2)
        i = std::clamp(t[i] < value ? i + step : i - step, 0, kTop);
    return t[i] < value && i < kTop - 1 ? i + 1 : i;
}
