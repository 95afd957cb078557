// Base of the stages that mix the three colour channels of a pixel through a 3 by 3 matrix: device
// colour correction, saturation, colour to gray, and picking one channel. They work on internal
// colour lines and let others pass.
#pragma once

#include "frame/stage_bases.h"
#include "stages/matrix3.h"

// Applies the matrix in 1/1024 fixed point. A window of sample values can make it fade in: below
// the window pixels keep their channels, above it they take the full matrix.
class CMatrixStage : public CInPlaceStage {
  public:
    using CInPlaceStage::CInPlaceStage;

    QLStatus TransformColor(QLColorQuery* query) override;
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;

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
    QLStatus ProcessPixels(std::uint16_t* samples, std::size_t count) override;
};
