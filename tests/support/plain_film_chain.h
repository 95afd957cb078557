// What becomes of film in the imaging engine, worked out pixel by pixel from the formulas alone:
// the chains of slides and of negatives, without the engine's tables and stages. Samples have 16
// bits, red first; doubles are added up and multiplied in the order in which they stand here.
#pragma once

#include <array>
#include <functional>

#include "frame/film_curve.h"
#include "profile/attrib_records.h"
#include "tests/support/plain_density.h"
#include "tests/support/tone_support.h"

namespace plain_film {

using Pixel = std::array<int, 3>;
using Tables = std::array<Table, 3>;

enum class Film { Slide, Negative };
enum Type { kLineArt = 0, kHalftone = 1, kGray = 2, kColor = 3 };

struct Scan {
    Film m_film = Film::Slide;
    int m_type = kColor;
    // Of the analyser, behind what inversion makes of the levels; -100 to 100.
    int m_highlight = 0, m_shadow = 0, m_midtone = 0;
    double m_x = 0, m_y = 0;  // colour point of the midtones, of length 1 at most
    bool m_exposes = false;   // the variant of slides with all levels in the tables
    double m_exposureShift = 0;
    double m_channelShift[3] = {};
    double m_saturation = 1;
    bool m_gamma18 = false, m_inverts = false;
    int m_threshold = 28160;
    CoeffRecord m_coeffs = {};
    double m_slideMatrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    double m_density[18] = {};
    double m_post[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
};

// What a value is behind its way as 16.16 fixed point.
inline double Fixed(double x) {
    return std::trunc(x * 65536.0 + 0.5) / 65536.0;
}
// Linear between two points, held at the ends, rounded with 0.499.
inline int Remap(double x, double x0, double x1, double y0, double y1) {
    const double at = std::clamp(x, std::min(x0, x1), std::max(x0, x1));
    const double v = (at - x0) / (x1 - x0) * (y1 - y0) + y0;
    return static_cast<int>(v >= 0 ? v + 0.499 : v - 0.499);
}

inline Table Behind(const Table& first, const Table& second) {
    Table t;
    for (const int v : first)
        t.push_back(second[v]);
    return t;
}
inline void Each(Table& t, const std::function<int(int)>& value) {
    for (int& v : t)
        v = value(v);
}
inline Table Scaled(Table t, double gain) {
    Each(t, [gain](int v) { return Held(Round(gain * v)); });
    return t;
}
// Zero, a line from black, full scale from white on.
inline Table Ramp(int black, int white) {
    Table t(kTop + 1, 0);
    Line(t, black, 0, white, kTop);
    for (int i = white; i <= kTop; ++i)
        t[i] = kTop;
    return t;
}
inline Pixel Through(const Tables& tables, const Pixel& p) {
    return {tables[0][p[0]], tables[1][p[1]], tables[2][p[2]]};
}

// The three axes of the plane of colour points, at 120 degrees.
inline std::array<double, 3> OnAxes(double x, double y) {
    return {x, -0.5 * x - 0.866025 * y, -0.5 * x + 0.866025 * y};
}

// ---- What the profile brings

inline Tables ProfileCurves(const Scan& s) {
    Tables tables;
    for (int c = 0; c < 3; ++c) {
        const CoeffRecord& k = s.m_coeffs;
        Table t = Identity();
        if (s.m_film == Film::Negative) {
            const int b = static_cast<int>(k.m_offset[c]);
            Each(t, [b](int v) { return Remap(v, b, kTop, 0, kTop); });
            t = Behind(Scaled(t, k.m_gain[c]), Gamma(k.m_gamma[c], 2));
        } else {
            t = Behind(Ramp(Round(k.m_offset[c]), kTop), Gamma(k.m_gamma[c], 256));
            t = Scaled(t, k.m_gain[c]);
            t[0] = 0;  // the splice, whose window nobody sets
        }
        tables[c] = t;
    }
    return tables;
}

// ---- Negatives: curves of film

inline Tables FilmCurves(const Scan& s) {
    const double d = s.m_midtone / 100.0 + 0.35;
    const auto hue = OnAxes(s.m_x + 0.1, s.m_y + -0.15);
    const double step = s.m_coeffs.m_densityStep != 0 ? s.m_coeffs.m_densityStep : 0.069;
    Tables tables;
    for (int c = 0; c < 3; ++c) {
        const double shift = s.m_channelShift[c] + d + s.m_exposureShift + hue[c] * 0.3;
        tables[c] = FilmCurve(FilmTableA(), step, shift, s.m_highlight / 100.0, s.m_shadow / 100.0);
    }
    return tables;
}

// ---- Slides: levels in density, or in the tables

// The codes behind the levels: white and black of the input, then of the output.
struct Codes {
    Codes(int highlight, int shadow, int n)
        : m_white(Remap(highlight, 0, 100, kTop, 16384)),
          m_black(Remap(shadow, -100, 0, 65536 / n, 0)),
          m_outWhite(Remap(highlight, -100, 0, 49152, kTop)),
          m_outBlack(Remap(shadow, 0, 100, 0, 131072 / n)) {}
    explicit Codes(const Scan& s) : Codes(s.m_highlight, s.m_shadow, 30) {}
    int m_white, m_black, m_outWhite, m_outBlack;
};

inline Table MidtoneInDensity(int midtone) {
    Table t = Identity();
    if (midtone < 0)
        return Scaled(t, 1.0 / (midtone * 0.5 / 100.0 + 1.0));
    const auto k = static_cast<std::int64_t>(1.0 / (midtone / 100.0 + 1.0) * 65536.0 + 0.5);
    // No density falls by more than a factor of 6 in light does.
    Each(t, [k](int i) {
        const double share = LightOf(i) / 65535.0;
        const int floor = DensityOf(Held(Round(share * 6 * 65535.0)));
        return std::max(static_cast<int>((i * k) >> 16), floor);
    });
    return t;
}
// The lightest channel goes through the curve, and takes the others along.
inline Pixel Balanced(const Table& curve, int white, const Pixel& p) {
    const double full = -std::log10(std::max(white, 1) / 65535.0);
    const int offset = static_cast<int>(full * 65535.0 / 4.0);
    Pixel d;
    for (int c = 0; c < 3; ++c)
        d[c] = Held(DensityOf(p[c]) - offset);
    const int lead = std::min({d[0], d[1], d[2]});
    for (int& v : d)
        v = LightOf(v + curve[lead] - lead);
    return d;
}

inline Tables SlideTables(const Scan& s) {
    const Codes codes(s);
    const auto axes = OnAxes(s.m_x * 0.5, s.m_y * 0.5);
    Pixel mid;
    for (int c = 0; c < 3; ++c)
        mid[c] = static_cast<int>(32768 * (axes[c] + 1) + 0.5);
    const bool tinted = mid != Pixel{0x8000, 0x8000, 0x8000};
    Tables tables;
    for (int c = 0; c < 3; ++c) {
        Table t = s.m_exposes ? Ramp(codes.m_black, codes.m_white) : Identity();
        if (tinted)
            t = Behind(t, HeldGamma(mid[c] / 32768.0, 4.0));
        if (s.m_exposes) {
            if (codes.m_outBlack != 0 || codes.m_outWhite != kTop)
                Each(t,
                     [&](int v) { return Remap(v, 0, kTop, codes.m_outBlack, codes.m_outWhite); });
            const double g = s.m_midtone < 0 ? s.m_midtone / 200.0 : s.m_midtone / 100.0;
            if (g != 0)
                t = Behind(t, HeldGamma(g + 1.0, 4.0));
        } else {
            if (codes.m_black != 0)
                t = Behind(t, Ramp(codes.m_black, kTop));
            if (codes.m_outBlack != 0) {
                Table lifted = Identity();
                Line(lifted, 0, codes.m_outBlack, kTop, kTop);
                t = Behind(t, lifted);
            }
        }
        tables[c] = t;
    }
    return tables;
}

// ---- Matrices

struct Matrix {
    double m[9];

    static Matrix Of(const double* values) {
        Matrix t;
        std::copy_n(values, 9, t.m);
        return t;
    }
    static Matrix Rows(double r, double g, double b) { return {{r, g, b, r, g, b, r, g, b}}; }
    static Matrix Saturation(double s) {
        const double d = s < 1 ? 1 + (s - 1) * 2 / 3 : 1 + (s - 1) * 0.5;
        const double o = s < 1 ? 0.3333333 - s / 3 : -(s - 1) * 0.25;
        return {{d, o, o, o, d, o, o, o, d}};
    }
    // This one first, then `next`; no element above 1.98.
    Matrix Then(const Matrix& next) const {
        Matrix t;
        double largest = 0;
        for (int i = 0; i < 9; ++i) {
            const int r = i / 3 * 3;
            const int c = i % 3;
            t.m[i] = next.m[r] * m[c] + next.m[r + 1] * m[3 + c] + next.m[r + 2] * m[6 + c];
            largest = std::max(largest, std::abs(t.m[i]));
        }
        for (double& v : t.m)
            v *= largest > 1.98 ? 1.98 / largest : 1.0;
        return t;
    }
    // In 1/1024.
    void Mix(int* pixel) const {
        const int in[3] = {pixel[0], pixel[1], pixel[2]};
        for (int r = 0; r < 3; ++r) {
            std::int64_t sum = 0;
            for (int c = 0; c < 3; ++c)
                sum += static_cast<int>(m[3 * r + c] * 1024.0 + 0.5) * std::int64_t{in[c]};
            pixel[r] = Held(sum >> 10);
        }
    }
    void MixUnlessNeutral(int* pixel) const {
        for (int i = 0; i < 9; ++i) {
            if (std::abs(m[i] - (i % 4 == 0 ? 1 : 0)) >= 0.01)
                return Mix(pixel);
        }
    }
};

// ---- The chains

// Pixels as they stand ahead of the threshold or of the inversion; gray is their green.
class Chain {
  public:
    explicit Chain(const Scan& scan) : m_scan(scan), m_profile(ProfileCurves(scan)) {
        m_encoding = scan.m_gamma18 ? HeldGamma(1.8, 16.0) : Srgb();
        for (int i = 0; i < 27; ++i) {
            const double factor = i < 18 ? scan.m_density[i] : scan.m_post[i - 18];
            m_factors[i] = static_cast<int>(factor * 1024.0 + 0.5);
        }
        m_matrix = Matrix::Saturation(scan.m_saturation);
        if (scan.m_film == Film::Slide) {
            const Codes codes(scan);
            m_white = kTop + codes.m_white - codes.m_outWhite;
            m_tone = SlideTables(scan);
            m_midtone = MidtoneInDensity(scan.m_midtone);
            m_matrix = Matrix::Of(scan.m_slideMatrix).Then(m_matrix);
        } else {
            m_tone = FilmCurves(scan);
        }
        // A negative's saturation takes the whole matrix, also where gray is wanted; halftone is
        // asked for behind it.
        if (scan.m_type == kHalftone || (scan.m_type != kColor && scan.m_film == Film::Slide))
            m_matrix = Matrix::Rows(0.3, 0.59, 0.11);
    }

    Pixel Color(Pixel p) const {
        p = Through(m_profile, p);
        if (m_scan.m_film == Film::Negative) {
            p = Through(m_tone, p);
            CorrectPixel(p.data(), m_factors, DensityOf, LightOf);
            m_matrix.MixUnlessNeutral(p.data());
        } else {
            if (m_scan.m_type == kColor || m_scan.m_type == kLineArt)
                m_matrix.MixUnlessNeutral(p.data());
            if (m_scan.m_type != kLineArt && !m_scan.m_exposes)
                p = Balanced(m_midtone, m_white, p);
            if (m_scan.m_type != kLineArt)
                p = Through(m_tone, p);
        }
        return {Gray(p[0]), Gray(p[1]), Gray(p[2])};
    }
    // A line of one sample a pixel passes all that works on colours.
    int Gray(int sample) const { return m_scan.m_type == kLineArt ? sample : m_encoding[sample]; }

  private:
    const Scan m_scan;
    Tables m_profile;
    Tables m_tone;
    Table m_midtone;
    Table m_encoding;
    int m_white = kTop;
    int m_factors[27];
    Matrix m_matrix;
};

}  // namespace plain_film
