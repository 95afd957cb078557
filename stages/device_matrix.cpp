#include "stages/device_matrix.h"

namespace {

// Saturation of reflective originals is neutral a little further up than elsewhere.
constexpr double kDeviceDeadZoneEnd = 1.0099;

}  // namespace

std::span<const QLAttribRow> CDeviceMatrixStage::Rows() {
    using S = CDeviceMatrixStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Follows(QL_ATTR_DEVICE_MATRIX).Writes<&S::TakeMatrix>().Numbers(9),
        // Of the pair the first is the window's centre, the second its width, both in 1/256 of full
        // scale.
        R::Follows(QL_ATTR_DEVICE_WINDOW_LOW).Keeps<&S::m_windowCenter>(),
        R::Follows(QL_ATTR_DEVICE_WINDOW_HIGH).Keeps<&S::m_windowWidth>(),
        R::Follows(QL_ATTR_GRAY_WEIGHTS).Writes<&S::TakeGrayWeights>().Numbers(3),
    };
    return rows;
}

CDeviceMatrixStage::CDeviceMatrixStage(QLAttribTree* tree)
    : CProfileMatrixStage(tree, kDeviceDeadZoneEnd) {
    AttachRows(this);
    TakeBoost();
}

void CDeviceMatrixStage::TakeGrayWeights(const double* three) {
    if (!three)
        return;
    m_grayMatrix.AssignRows(three);
    BuildMatrix();
}
