#include "stages/matrix_stages.h"

#include <algorithm>
#include <cmath>

#include "frame/fixed_point.h"
#include "stages/matrix_kernels.h"

namespace {

constexpr double kLargestElement = 1.98;
constexpr double kMaxSaturation = 1.5;
constexpr double kSaturationBoost = 0.15;
constexpr double kDeadZoneStart = 0.995;
// Saturation of reflective originals is neutral a little further up.
constexpr double kDeviceDeadZoneEnd = 1.0099;
// A window beyond this many 1/256 of the sample range does not fit 32 bits.
constexpr std::int32_t kLargestWindow = 1 << 22;
constexpr double kGrayWeights[3] = {0.3, 0.59, 0.11};

}  // namespace

// ---- CQLMatrix3

void CQLMatrix3::SetIdentity() {
    *this = CQLMatrix3();
}

void CQLMatrix3::Assign(const double* nine) {
    std::copy(nine, nine + 9, m_v);
}

void CQLMatrix3::AssignRows(double red, double green, double blue) {
    for (int r = 0; r < 3; ++r) {
        Set(r, 0, red);
        Set(r, 1, green);
        Set(r, 2, blue);
    }
}

bool CQLMatrix3::IsNearIdentity() const {
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            const double v = At(r, c);
            if (r == c ? v >= 1.01 || v <= 0.99 : v >= 0.01 || v <= -0.01)
                return false;
        }
    }
    return true;
}

void CQLMatrix3::SetSaturation(double s) {
    s = std::clamp(s, 0.0, 2.0);
    const double diagonal = s < 1.0 ? 1.0 + (s - 1.0) * 2.0 / 3.0 : 1.0 + (s - 1.0) * 0.5;
    const double other = s < 1.0 ? 0.3333333 - s / 3.0 : -(s - 1.0) * 0.25;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c)
            Set(r, c, r == c ? diagonal : other);
    }
}

void CQLMatrix3::PreMultiply(const CQLMatrix3& b) {
    CQLMatrix3 t;
    double largest = 0.0;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            t.Set(r, c, b.At(r, 0) * At(0, c) + b.At(r, 1) * At(1, c) + b.At(r, 2) * At(2, c));
            largest = std::max(largest, std::abs(t.At(r, c)));
        }
    }
    if (largest > kLargestElement) {
        for (double& v : t.m_v)
            v *= kLargestElement / largest;
    }
    *this = t;
}

// ---- CMatrixStage

QLStatus CMatrixStage::OnBeforeOpen() {
    m_isIdentity = IsIdentityMatrix();
    return QL_OK;
}

QLStatus CMatrixStage::OnAfterOpen() {
    m_linesDone = 0;
    // Gray, bilevel and all other lines pass.
    if (!m_outFormat.IsInternalColor())
        m_isIdentity = true;
    return QL_OK;
}

QLStatus CMatrixStage::OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) {
    if (*lines > 0 && buffer && buffer->Data() && !m_isIdentity)
        ApplyMatrix(*lines, buffer);
    m_linesDone += static_cast<std::uint32_t>(*lines);
    return QL_OK;
}

void CMatrixStage::ApplyMatrix(std::int32_t lines, CQLLineBuffer* buffer) {
    const QLFixedMatrix matrix(m_matrix.m_v);
    const std::int32_t center = std::clamp(m_windowCenter, -kLargestWindow, kLargestWindow) * 256;
    const std::int32_t width = std::clamp(m_windowWidth, -kLargestWindow, kLargestWindow) * 256;
    const QLFadeWindow window{center - width / 2, center + width / 2, width};
    const std::size_t pixels =
        static_cast<std::size_t>(m_outFormat.m_width) * static_cast<std::size_t>(lines);
    // No sample lies below 0: every pixel takes the plain matrix.
    if (window.high <= 0)
        MixPixels(buffer->Samples(), pixels, matrix);
    else
        MixPixelsFading(buffer->Samples(), pixels, matrix, window);
}

QLStatus CMatrixStage::TransformColor(QLColorQuery* query) {
    const QLStatus answer = CQLFilterStage::TransformColor(query);
    if (answer != 0 && m_outFormat.IsInternalColor() && !m_isIdentity)
        MixPixels(query->Samples(), 1, QLFixedMatrix(m_matrix.m_v));
    return answer;
}

// ---- CSaturationStage

CSaturationStage::CSaturationStage(QLAttribTree* tree) : CMatrixStage(tree) {
    RegisterProvider(QL_ATTR_SATURATION);
    RegisterProvider(QL_ATTR_MATRIX_MODE);
    Subscribe(QL_ATTR_SATURATION_RESET);
    SubscribeAndSync(QL_ATTR_SATURATION_BOOST);
}

std::uint64_t CSaturationStage::GetAttrib(std::int32_t id) {
    if (id == QL_ATTR_SATURATION)
        return ToFixed(GetSaturation());
    return id == QL_ATTR_MATRIX_MODE ? IntegerWord(m_mode) : 0;
}

void CSaturationStage::SetAttrib(std::int32_t id, std::uint64_t value) {
    if (id == QL_ATTR_SATURATION)
        SetSaturation(FromFixed(value));
    else if (id == QL_ATTR_MATRIX_MODE)
        SetMode(WordInteger(value));
}

void CSaturationStage::OnAttribNotify(std::int32_t id) {
    if (id == QL_ATTR_SATURATION_RESET && m_saturation != 1.0) {
        SetSaturation(1.0);
        Notify(QL_ATTR_SATURATION);
    } else if (id == QL_ATTR_SATURATION_BOOST) {
        m_saturationBoost = GetValue(QL_ATTR_SATURATION_BOOST) == 1 ? kSaturationBoost : 0.0;
        SetSaturation(m_saturation);
    }
}

double CSaturationStage::TakeSaturation(double value, double deadZoneEnd) {
    value = std::clamp(value, 0.0, kMaxSaturation);
    if (value > kDeadZoneStart && value < deadZoneEnd)
        value = 1.0;
    m_saturation = value;
    return std::min(m_saturation + m_saturationBoost, kMaxSaturation);
}

double CSaturationStage::SetSaturation(double value) {
    m_matrix.SetSaturation(TakeSaturation(value, kDeadZoneEnd));
    return m_saturation;
}

void CSaturationStage::SetMode(std::int32_t mode) {
    if (mode == m_mode)
        return;
    m_mode = mode;
    BuildMatrix();
}

bool CSaturationStage::BuildChannelMode() {
    switch (m_mode) {
        case QL_MATRIX_RED:
            m_matrix.AssignRows(1, 0, 0);
            return true;
        case QL_MATRIX_GREEN:
            m_matrix.AssignRows(0, 1, 0);
            return true;
        case QL_MATRIX_BLUE:
            m_matrix.AssignRows(0, 0, 1);
            return true;
        case QL_MATRIX_IDENTITY:
            m_matrix.SetIdentity();
            return true;
        default:
            return false;
    }
}

void CSaturationStage::BuildMatrix() {
    if (BuildChannelMode())
        return;
    if (m_mode == QL_MATRIX_COLOR)
        m_matrix.SetSaturation(m_saturation);
    else if (m_mode == QL_MATRIX_GRAY)
        m_matrix.AssignRows(kGrayWeights[0], kGrayWeights[1], kGrayWeights[2]);
}

// ---- CProfileMatrixStage

CProfileMatrixStage::CProfileMatrixStage(QLAttribTree* tree, const Ids& ids, double deadZoneEnd)
    : CSaturationStage(tree), m_ids(ids), m_deadZoneEnd(deadZoneEnd) {
    m_grayMatrix.AssignRows(kGrayWeights[0], kGrayWeights[1], kGrayWeights[2]);
    for (const std::int32_t id : {m_ids.m_matrix, m_ids.m_windowCenter, m_ids.m_windowWidth})
        SubscribeAndSync(id);
    // A boost that stands already reaches this class's own saturation matrix only now.
    SetSaturation(m_saturation);
}

void CProfileMatrixStage::OnAttribNotify(std::int32_t id) {
    if (id == m_ids.m_matrix) {
        if (const auto* nine = WordPointer<const double>(GetValue(id))) {
            m_deviceMatrix.Assign(nine);
            BuildMatrix();
        }
    } else if (id == m_ids.m_windowCenter) {
        m_windowCenter = GetInteger(id);
    } else if (id == m_ids.m_windowWidth) {
        m_windowWidth = GetInteger(id);
    } else {
        CSaturationStage::OnAttribNotify(id);
    }
}

void CProfileMatrixStage::BuildMatrix() {
    if (BuildChannelMode())
        return;
    if (m_mode == QL_MATRIX_COLOR) {
        m_matrix = m_deviceMatrix;
        m_matrix.PreMultiply(m_saturationMatrix);
    } else if (m_mode == QL_MATRIX_GRAY) {
        m_matrix = m_grayMatrix;
    }
}

double CProfileMatrixStage::SetSaturation(double value) {
    m_saturationMatrix.SetSaturation(TakeSaturation(value, m_deadZoneEnd));
    BuildMatrix();
    return m_saturation;
}

// ---- CDeviceMatrixStage and CTmaMatrixStage

CDeviceMatrixStage::CDeviceMatrixStage(QLAttribTree* tree)
    : CProfileMatrixStage(
          tree, {QL_ATTR_DEVICE_MATRIX, QL_ATTR_DEVICE_WINDOW_LOW, QL_ATTR_DEVICE_WINDOW_HIGH},
          kDeviceDeadZoneEnd) {
    SubscribeAndSync(QL_ATTR_GRAY_WEIGHTS);
}

void CDeviceMatrixStage::OnAttribNotify(std::int32_t id) {
    if (id != QL_ATTR_GRAY_WEIGHTS) {
        CProfileMatrixStage::OnAttribNotify(id);
        return;
    }
    if (const auto* weights = WordPointer<const double>(GetValue(id))) {
        m_grayMatrix.AssignRows(weights[0], weights[1], weights[2]);
        BuildMatrix();
    }
}

CTmaMatrixStage::CTmaMatrixStage(QLAttribTree* tree)
    : CProfileMatrixStage(tree,
                          {QL_ATTR_TMA_MATRIX, QL_ATTR_TMA_WINDOW_LOW, QL_ATTR_TMA_WINDOW_HIGH},
                          kDeadZoneEnd) {}
