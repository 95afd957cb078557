// Input conversion for sources that deliver gamma-encoded 8-bit samples: it decodes sRGB when the
// profile says that the source delivers it, else gamma 2.2 with its slope held near black.
#pragma once

#include <memory>
#include <optional>

#include "stages/input_convert.h"

class CEncodedInputStage final : public CInputConvertStage {
  public:
    explicit CEncodedInputStage(QLAttribTree* tree);

    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;

  private:
    std::unique_ptr<CQLLut> m_curve;    // the encoding
    std::optional<bool> m_curveIsSrgb;  // which encoding m_curve was built for; empty before
};
