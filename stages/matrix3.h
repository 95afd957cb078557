// A 3 by 3 matrix of the three colour channels.
#pragma once

// Nine doubles by rows: row r gives output channel r, column c input channel c.
struct CQLMatrix3 {
    // Gray is made by these weights of red, green, blue where no profile says otherwise.
    static constexpr double kGrayWeights[3] = {0.3, 0.59, 0.11};

    void SetIdentity();
    double At(int r, int c) const { return m_v[3 * r + c]; }
    void Set(int r, int c, double v) { m_v[3 * r + c] = v; }
    void Assign(const double* nine);
    // All rows the same three weights.
    void AssignRows(const double* three);
    // All rows 1 for one channel, 0 for the others.
    void PickChannel(int channel);
    // Diagonal within 0.01 of 1, the rest within 0.01 of 0.
    bool IsNearIdentity() const;
    // 0 averages the channels, 1 is neutral, 2 the most.
    void SetSaturation(double s);
    // This becomes `b` times this, scaled down as a whole when an element would exceed 1.98.
    void PreMultiply(const CQLMatrix3& b);

    double m_v[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
};
