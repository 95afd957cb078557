#include "stages/source_control.h"

namespace {

std::uint8_t LowByte(std::uint64_t value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

}  // namespace

CSourceControlStage::CSourceControlStage(QLAttribTree* tree) : CQLFilterStage(tree) {
    for (const std::int32_t id :
         {QL_ATTR_AUTO_TONE, QL_ATTR_AUTO_COLOR, QL_ATTR_ANALYSIS_RECT, QL_ATTR_HISTOGRAM_ON,
          QL_ATTR_NEGATIVE, QL_ATTR_TMA, QL_ATTR_CURVE_SELECT})
        RegisterProvider(id);
}

std::uint64_t CSourceControlStage::GetAttrib(std::int32_t id) {
    switch (id) {
        case QL_ATTR_ANALYSIS_RECT:
            return m_rectValid ? PointerWord(&m_analysisRect) : 0;
        case QL_ATTR_AUTO_TONE:
            return m_autoToneRequested;
        case QL_ATTR_HISTOGRAM_ON:
            return m_histogramOn;
        case QL_ATTR_CURVE_SELECT:
            return m_curveSelect;
        case QL_ATTR_AUTO_COLOR:
            return m_autoColorRequested;
        case QL_ATTR_NEGATIVE:
            return m_negative;
        case QL_ATTR_TMA:
            return m_tma;
        default:
            return 0;
    }
}

void CSourceControlStage::SetAttrib(std::int32_t id, std::uint64_t value) {
    switch (id) {
        case QL_ATTR_ANALYSIS_RECT:
            m_rectValid = value != 0;
            if (m_rectValid)
                m_analysisRect = *WordPointer<const QLRect>(value);
            break;
        case QL_ATTR_AUTO_TONE:
        case QL_ATTR_AUTO_COLOR:
            OnAttribNotify(id);
            break;
        case QL_ATTR_HISTOGRAM_ON:
            m_histogramOn = LowByte(value) != 0;
            break;
        case QL_ATTR_CURVE_SELECT:
            if (value != std::uint64_t{m_curveSelect}) {
                m_curveSelect = value != 0;
                Notify(QL_ATTR_CURVE_SELECT);
            }
            break;
        case QL_ATTR_NEGATIVE:
            if (LowByte(value) != m_negative) {
                m_negative = LowByte(value);
                Notify(QL_ATTR_CMD_START);
            }
            break;
        case QL_ATTR_TMA:
            if (value != std::uint64_t{m_tma}) {
                m_tma = value != 0;
                if (value <= 1)
                    Notify(QL_ATTR_CMD_START);
            }
            break;
        default:
            break;
    }
}

void CSourceControlStage::OnAttribNotify(std::int32_t id) {
    if (id == QL_ATTR_AUTO_TONE)
        m_autoToneRequested = true;
    else if (id == QL_ATTR_AUTO_COLOR)
        m_autoColorRequested = true;
}

QLStatus CSourceControlStage::OnAfterClose() {
    m_autoToneRequested = false;
    m_autoColorRequested = false;
    return QL_OK;
}
