#include "stages/sharpen_switch.h"

std::span<const QLAttribRow> CSharpenSwitchStage::Rows() {
    using S = CSharpenSwitchStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_SHARPEN_SWITCH).Keeps<&S::m_switch>(),
        // Sharpening works as long as this stage stands.
        R::Provides(QL_ATTR_SHARPEN_ON).Reads<&S::m_active>(),
    };
    return rows;
}

CSharpenSwitchStage::CSharpenSwitchStage(QLAttribTree* tree) : CQLFilterStage(tree) {
    m_active = true;
    AttachRows(this);
}
