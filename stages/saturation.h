// Saturation, and the mode of the matrix: colour, gray by weights, one channel, or nothing.
#pragma once

#include "stages/matrix_stage.h"

// Values of QL_ATTR_MATRIX_MODE.
enum QLMatrixMode : std::int32_t {
    QL_MATRIX_COLOR = 0,
    QL_MATRIX_GRAY = 1,
    QL_MATRIX_RED = 2,
    QL_MATRIX_GREEN = 3,
    QL_MATRIX_BLUE = 4,
    QL_MATRIX_IDENTITY = 5,
};

class CSaturationStage : public CMatrixStage {
  public:
    explicit CSaturationStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

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

  private:
    void OnReset();
    void SetBoost(std::uint64_t word);
};
