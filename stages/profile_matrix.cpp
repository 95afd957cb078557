#include "stages/profile_matrix.h"

CProfileMatrixStage::CProfileMatrixStage(QLAttribTree* tree, double deadZoneEnd)
    : CSaturationStage(tree), m_deadZoneEnd(deadZoneEnd) {
    m_grayMatrix.AssignRows(CQLMatrix3::kGrayWeights);
}

void CProfileMatrixStage::TakeMatrix(const double* nine) {
    if (!nine)
        return;
    m_deviceMatrix.Assign(nine);
    BuildMatrix();
}

void CProfileMatrixStage::BuildMatrix() {
    if (BuildChannelMode())
        return;
    if (m_mode == QL_MATRIX_COLOR) {
        m_matrix = m_deviceMatrix;
        // Saturation x device: the product applies the device's matrix to the pixel first.
        m_matrix.PreMultiply(m_saturationMatrix);
    } else if (m_mode == QL_MATRIX_GRAY) {
        m_matrix = m_grayMatrix;
    }
}

double CProfileMatrixStage::SetSaturation(double value) {
    // In another mode than colour the saturation is kept all the same, for when colour comes back.
    m_saturationMatrix.SetSaturation(TakeSaturation(value, m_deadZoneEnd));
    BuildMatrix();
    return m_saturation;
}
