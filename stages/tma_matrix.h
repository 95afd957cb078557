// Device colour correction of transparent media.
#pragma once

#include "stages/profile_matrix.h"

class CTmaMatrixStage final : public CProfileMatrixStage {
  public:
    explicit CTmaMatrixStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();
};
