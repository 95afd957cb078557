// Device colour correction of reflective originals. The profile also brings the gray weights.
#pragma once

#include "stages/profile_matrix.h"

class CDeviceMatrixStage final : public CProfileMatrixStage {
  public:
    explicit CDeviceMatrixStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

  private:
    // Three doubles, copied; null leaves the weights as they are.
    void TakeGrayWeights(const double* three);
};
