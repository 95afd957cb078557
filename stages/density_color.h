// Colour correction of negative film, in density. Gray lines pass.
#pragma once

#include <memory>

#include "frame/stage_bases.h"
#include "stages/density_core.h"

class CDensityColorStage final : public CInPlaceStage {
  public:
    explicit CDensityColorStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus TransformColor(QLColorQuery* query) override;
    QLStatus OnBeforeOpen() override;
    QLStatus OnAfterOpen() override;

  private:
    QLStatus ProcessPixels(std::uint16_t* samples, std::size_t count) override;

    // Made at the first open, and anew at the next one after the matrices have changed. Null until
    // then.
    std::unique_ptr<CDensityColorCore> m_core;
    bool m_stale = true;
};
