#include "stages/tma_matrix.h"

std::span<const QLAttribRow> CTmaMatrixStage::Rows() {
    using S = CTmaMatrixStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Follows(QL_ATTR_TMA_MATRIX).Writes<&S::TakeMatrix>().Numbers(9),
        // Of the pair the first is the window's centre, the second its width, both in 1/256 of full
        // scale.
        R::Follows(QL_ATTR_TMA_WINDOW_LOW).Keeps<&S::m_windowCenter>(),
        R::Follows(QL_ATTR_TMA_WINDOW_HIGH).Keeps<&S::m_windowWidth>(),
    };
    return rows;
}

CTmaMatrixStage::CTmaMatrixStage(QLAttribTree* tree) : CProfileMatrixStage(tree, kDeadZoneEnd) {
    AttachRows(this);
    TakeBoost();
}
