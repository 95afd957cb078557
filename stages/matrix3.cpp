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
            const double v = At(r, c);
            if (r == c ? v >= 1.01 || v <= 0.99 : v >= 0.01 || v <= -0.01)
                return false;
        }
    }
    return true;
}

void CQLMatrix3::SetSaturation(double s) {
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
            t.Set(r, c, b.At(r, 0) * At(0, c) + b.At(r, 1) * At(1, c) + b.At(r, 2) * At(2, c));
            largest = std::max(largest, std::abs(t.At(r, c)));
        }
    }
    if (largest > kLargestElement) {
        for (double& v : t.m_v)
            v *= kLargestElement / largest;
    }
    *this = t;
}
