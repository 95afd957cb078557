// Stages that mix the three colour channels of a pixel through a 3 by 3 matrix: device colour
// correction, saturation, colour to gray, and picking one channel. They work on internal colour
// lines and let others pass.
#pragma once

#include "frame/stage.h"

// Nine doubles by rows: row r gives output channel r, column c input channel c.
struct CQLMatrix3 {
    void SetIdentity();
    double At(int r, int c) const { return m_v[3 * r + c]; }
    void Set(int r, int c, double v) { m_v[3 * r + c] = v; }
    void Assign(const double* nine);
    // All rows the same three weights.
    void AssignRows(double red, double green, double blue);
    // Diagonal within 0.01 of 1, the rest within 0.01 of 0.
    bool IsNearIdentity() const;
    // 0 averages the channels, 1 is neutral, 2 the most.
    void SetSaturation(double s);
    // This becomes `b` times this, scaled down as a whole when an element would exceed 1.98.
    void PreMultiply(const CQLMatrix3& b);

    double m_v[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
};

// Applies the matrix in 1/1024 fixed point. A window of sample values can make it fade in: below
// the window pixels keep their channels, above it they take the full matrix.
class CMatrixStage : public CQLFilterStage {
  public:
    using CQLFilterStage::CQLFilterStage;

    QLStatus TransformColor(QLColorQuery* query) override;
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;
    QLStatus OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) override;
    bool IsActive() const override { return !m_isIdentity; }

    // Fills m_matrix.
    virtual void BuildMatrix() = 0;
    virtual bool IsIdentityMatrix() const { return m_matrix.IsNearIdentity(); }

  protected:
    CQLMatrix3 m_matrix;
    bool m_isIdentity = true;  // worked out at open; lines pass then
    // Window in 1/256 of the sample range.
    std::int32_t m_windowCenter = 0;
    std::int32_t m_windowWidth = 0;

  private:
    void ApplyMatrix(std::int32_t lines, CQLLineBuffer* buffer);
};

// Values of QL_ATTR_MATRIX_MODE.
enum QLMatrixMode : std::int32_t {
    QL_MATRIX_COLOR = 0,
    QL_MATRIX_GRAY = 1,
    QL_MATRIX_RED = 2,
    QL_MATRIX_GREEN = 3,
    QL_MATRIX_BLUE = 4,
    QL_MATRIX_IDENTITY = 5,
};

// Saturation, and the mode of the matrix.
class CSaturationStage : public CMatrixStage {
  public:
    explicit CSaturationStage(QLAttribTree* tree);

    std::uint64_t GetAttrib(std::int32_t id) override;
    void SetAttrib(std::int32_t id, std::uint64_t value) override;
    void OnAttribNotify(std::int32_t id) override;
    void BuildMatrix() override;

    // 0 to 1.5; what lies close to 1 becomes exactly 1. Gives the value that is kept.
    virtual double SetSaturation(double value);
    virtual double GetSaturation() const { return m_saturation; }
    virtual void SetMode(std::int32_t mode);

  protected:
    // Keeps a saturation within its limits and outside its dead zone; gives the saturation to
    // apply, boost included.
    double TakeSaturation(double value, double deadZoneEnd);
    // The modes that are alike in all three stages. False for the others.
    bool BuildChannelMode();

    static constexpr double kDeadZoneEnd = 1.005;

    std::int32_t m_mode = QL_MATRIX_COLOR;
    double m_saturation = 1.0;
    double m_saturationBoost = 0.0;
};

// A matrix of the device's profile in front of the saturation.
class CProfileMatrixStage : public CSaturationStage {
  public:
    void OnAttribNotify(std::int32_t id) override;
    void BuildMatrix() override;
    double SetSaturation(double value) override;

  protected:
    // The ids that bring the matrix and its window.
    struct Ids {
        std::int32_t m_matrix;
        std::int32_t m_windowCenter;
        std::int32_t m_windowWidth;
    };
    CProfileMatrixStage(QLAttribTree* tree, const Ids& ids, double deadZoneEnd);

    CQLMatrix3 m_grayMatrix;  // all rows the gray weights

  private:
    const Ids m_ids;
    const double m_deadZoneEnd;
    CQLMatrix3 m_deviceMatrix;
    CQLMatrix3 m_saturationMatrix;
};

// For reflective originals. The profile also brings the gray weights.
class CDeviceMatrixStage final : public CProfileMatrixStage {
  public:
    explicit CDeviceMatrixStage(QLAttribTree* tree);

    void OnAttribNotify(std::int32_t id) override;
};

// For transparent media.
class CTmaMatrixStage final : public CProfileMatrixStage {
  public:
    explicit CTmaMatrixStage(QLAttribTree* tree);
};
