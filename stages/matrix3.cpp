#include "stages/matrix3.h"

#include <algorithm>
#include <cmath>

namespace {

// Beyond this no element of a product may go; the whole matrix is scaled down to it.
constexpr double kLargestElement = 1.98;

}  // namespace

void CQLMatrix3::SetIdentity() {
    *this = CQLMatrix3();
}

void CQLMatrix3::Assign(const double* nine) {
    std::copy(nine, nine + 9, m_v);
}

void CQLMatrix3::AssignRows(const double* three) {
    for (int r = 0; r < 3; ++r)
        std::copy(three, three + 3, m_v + 3 * r);
}

void CQLMatrix3::PickChannel(int channel) {
    double weights[3] = {};
    weights[channel] = 1.0;
    AssignRows(weights);
}

bool CQLMatrix3::IsNearIdentity() const {
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            // 1 % on a sample is less than three codes of an 8-bit result: not worth a pass over
            // the line.
            const double v = At(r, c);
            if (r == c ? v >= 1.01 || v <= 0.99 : v >= 0.01 || v <= -0.01)
                return false;
        }
    }
    return true;
}

void CQLMatrix3::SetSaturation(double s) {
    // Rows sum to 1, so that gray stays gray: d + 2o = 1. From 0 to 1 the diagonal d rises from 1/3
    // to 1, from there to 2 by another half, while the others, o, fall from 1/3 over 0 to -1/4. The
    // shortened third leaves rows below 1 short by less than a ten-millionth.
    s = std::clamp(s, 0.0, 2.0);
    const double diagonal = s < 1.0 ? 1.0 + (s - 1.0) * 2.0 / 3.0 : 1.0 + (s - 1.0) * 0.5;
    const double other = s < 1.0 ? 0.3333333 - s / 3.0 : -(s - 1.0) * 0.25;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c)
            Set(r, c, r == c ? diagonal : other);
    }
}

void CQLMatrix3::PreMultiply(const CQLMatrix3& b) {
    CQLMatrix3 t;
    double largest = 0.0;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            // Written out from left to right: another order of the sum may differ in the last bit.
            t.Set(r, c, b.At(r, 0) * At(0, c) + b.At(r, 1) * At(1, c) + b.At(r, 2) * At(2, c));
            largest = std::max(largest, std::abs(t.At(r, c)));
        }
    }
    // All elements alike: the colours keep their proportions, the picture gets darker.
    if (largest > kLargestElement) {
        for (double& v : t.m_v)
            v *= kLargestElement / largest;
    }
    *this = t;
}
