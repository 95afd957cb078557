// Holds the switches of sharpening; its lines pass.
#pragma once

#include "frame/stage.h"

class CSharpenSwitchStage final : public CQLFilterStage {
  public:
    explicit CSharpenSwitchStage(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

  private:
    bool m_switch = false;  // kept for clients; no stage reads it
};
