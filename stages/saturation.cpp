#include "stages/saturation.h"

#include <algorithm>

namespace {

// What a person may ask for. The matrix itself would go on to 2.
constexpr double kMaxSaturation = 1.5;
constexpr double kSaturationBoost = 0.15;
// So close to 1 a setting means neutral, whatever 16.16 made of it: the stage then steps aside.
constexpr double kDeadZoneStart = 0.995;

}  // namespace

std::span<const QLAttribRow> CSaturationStage::Rows() {
    using S = CSaturationStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_SATURATION)
            .Reads<&S::GetSaturation>()
            .Writes<&S::SetSaturation>()
            .Range(0.0, kMaxSaturation),
        R::Provides(QL_ATTR_MATRIX_MODE)
            .Reads<&S::m_mode>()
            .Writes<&S::SetMode>()
            .Range(QL_MATRIX_COLOR, QL_MATRIX_IDENTITY),
        // An event without a value; it may come while nothing is to be reset.
        R::Listens(QL_ATTR_SATURATION_RESET).Calls<&S::OnReset>(),
        R::Follows(QL_ATTR_SATURATION_BOOST).Writes<&S::SetBoost>(),
    };
    return rows;
}

CSaturationStage::CSaturationStage(QLAttribTree* tree) : CMatrixStage(tree) {
    AttachRows(this);
}

void CSaturationStage::OnReset() {
    if (m_saturation == 1.0)
        return;
    SetSaturation(1.0);
    // The value changed without a write: those who show it hear of that.
    Notify(QL_ATTR_SATURATION);
}

void CSaturationStage::SetBoost(std::uint64_t word) {
    // The boost of automatic colour comes on top of what the person chose, within the same limit.
    m_saturationBoost = word == 1 ? kSaturationBoost : 0.0;
    SetSaturation(m_saturation);
}

double CSaturationStage::TakeSaturation(double value, double deadZoneEnd) {
    value = std::clamp(value, 0.0, kMaxSaturation);
    if (value > kDeadZoneStart && value < deadZoneEnd)
        value = 1.0;
    // What reads back is the value without the boost.
    m_saturation = value;
    return std::min(m_saturation + m_saturationBoost, kMaxSaturation);
}

double CSaturationStage::SetSaturation(double value) {
    m_matrix.SetSaturation(TakeSaturation(value, kDeadZoneEnd));
    return m_saturation;
}

// Each type of output asks for a mode; the one that stands costs nothing.
void CSaturationStage::SetMode(std::int32_t mode) {
    if (mode == m_mode)
        return;
    m_mode = mode;
    BuildMatrix();
}

// One channel stands for gray: all three outputs become that input.
bool CSaturationStage::BuildChannelMode() {
    if (m_mode >= QL_MATRIX_RED && m_mode <= QL_MATRIX_BLUE)
        m_matrix.PickChannel(m_mode - QL_MATRIX_RED);
    else if (m_mode == QL_MATRIX_IDENTITY)
        m_matrix.SetIdentity();
    else
        return false;
    return true;
}

void CSaturationStage::BuildMatrix() {
    if (BuildChannelMode())
        return;
    if (m_mode == QL_MATRIX_COLOR)
        // Without the boost, which applies when the saturation is next set.
        m_matrix.SetSaturation(m_saturation);
    else if (m_mode == QL_MATRIX_GRAY)
        m_matrix.AssignRows(CQLMatrix3::kGrayWeights);
}
