#include "stages/rotate.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "stages/turn_kernels.h"

namespace {

constexpr std::int32_t kFull = 360;
constexpr std::int32_t kQuarter = 90;
// Bytes that are pulled at a time: stages upstream have buffers for as much.
constexpr std::int32_t kPullBytes = 0x40000;
constexpr std::uint8_t kWhite = 0xFF;

bool IsTooSmall(const QLImageFormat& format) {
    return std::min(format.m_width, format.m_height) < QL_LEAST_TURNED_SIDE;
}

// From 0 to 359; what is no whole number of quarters turns nothing.
std::int32_t TurnOf(std::int64_t degrees) {
    const auto turn = static_cast<std::int32_t>((degrees % kFull + kFull) % kFull);
    return turn % kQuarter == 0 ? turn : 0;
}

}  // namespace

std::span<const QLAttribRow> CRotateStage::Rows() {
    using S = CRotateStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_ROTATE_PENDING).Keeps<&S::m_pending>(),
        R::Provides(QL_ATTR_ROTATE_ANGLE).Keeps<&S::m_angle>().Range(0, kFull),
        R::Provides(QL_ATTR_ROTATE_DEFAULT_ANGLE).Keeps<&S::m_defaultAngle>().Range(0, kFull),
        R::Listens(QL_ATTR_ROTATE_CW).Calls<&S::TurnClockwise>(),
        R::Listens(QL_ATTR_ROTATE_CCW).Calls<&S::TurnBack>(),
        R::Listens(QL_ATTR_ROTATE_RESET).Calls<&S::TakeDefault>(),
        R::Listens(QL_ATTR_ROTATE_90).Calls<&S::SetAngle<90>>(),
        R::Listens(QL_ATTR_ROTATE_180).Calls<&S::SetAngle<180>>(),
        R::Listens(QL_ATTR_ROTATE_270).Calls<&S::SetAngle<270>>(),
        R::Listens(QL_ATTR_ROTATE_DEFAULT).Calls<&S::TakeDefault>(),
        R::Listens(QL_ATTR_ROTATE_RESTORE).Calls<&S::TakeDefault>(),
        R::Listens(QL_ATTR_MIRROR_TOGGLE).Calls<&S::OnMirrorToggle>(),
        R::Follows(QL_ATTR_TMA).Calls<&S::OnSource>(),
        R::Follows(QL_ATTR_ADF).Calls<&S::OnSource>(),
        R::Follows(QL_ATTR_NEGATIVE).Calls<&S::OnSource>(),
    };
    return rows;
}

CRotateStage::CRotateStage(QLAttribTree* tree) : CQLFilterStage(tree) {
    m_active = true;
    AttachRows(this);
}

// ---- Attributes

void CRotateStage::TurnAngle(std::int32_t degrees) {
    const std::int64_t angle = std::int64_t{m_angle} + degrees;
    m_angle = static_cast<std::int32_t>(angle >= kFull ? angle - kFull
                                        : angle < 0    ? angle + kFull
                                                       : angle);
}

// A default of no turn at all is announced like one that is no right angle: either way the image
// comes out as it was laid.
void CRotateStage::TakeDefault() {
    m_angle = m_defaultAngle;
    if (m_angle != 0 && m_angle % kQuarter == 0)
        return;
    Notify(QL_ATTR_ROTATE_NOT_RIGHT_ANGLE);
    m_angle = m_angle / kQuarter * kQuarter;
}

// Mirrored, what was turned to one side comes out on the other; so that people see the same turn,
// the two change places.
void CRotateStage::OnMirrorToggle() {
    if (m_angle != 90 && m_angle != 270)
        return;
    m_angle = kFull - m_angle;
    Notify(QL_ATTR_ROTATE_ANGLE);
}

void CRotateStage::OnSource() {
    if (m_angle > kFull)
        m_angle -= kFull;
    else if (m_angle < 0)
        m_angle += kFull;
    Notify(QL_ATTR_ROTATE_ANGLE);
}

// ---- Open and close

QLStatus CRotateStage::OnBeforeOpen() {
    m_turn = 0;
    m_loaded = false;
    m_linesIn = 0;
    m_linesOut = 0;
    m_aheadFirst = 0;
    m_aheadCount = 0;
    return QL_OK;
}

QLStatus CRotateStage::OnAfterOpen() {
    if (IsTooSmall(m_inFormat) || IsTooSmall(m_outFormat))
        return QL_ERR_BAD_ARGUMENT;
    // Relative to what the input has already. m_angle is the user's, and stays.
    m_turn = TurnOf(std::int64_t{m_angle} - m_inFormat.m_rotation);
    m_active = m_turn != 0;
    if (m_turn == 0) {
        if (m_inFormat.m_rotation != 0) {
            m_outFormat.SetRotation(0);
            m_outFormat.SetWidth(m_inFormat.m_width);
            m_outFormat.SetHeight(m_inFormat.m_height);
        }
        return QL_OK;
    }
    if (IsQuarter()) {
        m_outFormat.SetWidth(m_inFormat.m_height);
        m_outFormat.SetHeight(m_inFormat.m_width);
        std::swap(m_outFormat.m_xResolution, m_outFormat.m_yResolution);
        std::swap(m_outFormat.m_xScalePercent, m_outFormat.m_yScalePercent);
        m_outFormat.m_resolutionsTurned = !m_outFormat.m_resolutionsTurned;
    }
    m_outHeight = m_outFormat.m_height;
    // A width whose lines have a 32-bit size that lines of the other width don't have.
    if (m_inFormat.m_bytesPerLine <= 0 || m_outFormat.m_bytesPerLine <= 0)
        return QL_ERR_BAD_ARGUMENT;
    return m_image.Open(static_cast<std::uint64_t>(m_inFormat.m_bytesPerLine) *
                        static_cast<std::uint64_t>(m_inFormat.m_height));
}

QLStatus CRotateStage::OnAfterClose() {
    // The close has taken the height of the input over.
    if (m_turn != 0)
        m_outFormat.SetHeight(m_outHeight);
    m_image.Close();
    m_ahead.Resize(0);
    m_turn = 0;
    return QL_OK;
}

// ---- Lines

// Straight into its place in the image.
QLStatus CRotateStage::Load(std::int32_t* lines) {
    const std::int32_t left = m_inFormat.m_height - m_linesIn;
    *lines = std::min(*lines, left);
    if (!m_image.Data())
        return QL_ERR_TEMP_FILE;
    CQLLineBuffer rest(&m_inFormat,
                       m_image.Data() + std::int64_t{m_inFormat.m_bytesPerLine} * m_linesIn, left);
    const QLStatus status = CQLFilterStage::Read(lines, &rest);
    if (status != QL_OK) {
        *lines = 0;
        return status;
    }
    m_linesIn += std::clamp(*lines, 0, left);
    m_loaded = m_linesIn == m_inFormat.m_height;
    return QL_OK;
}

void CRotateStage::EndLoading() {
    if (!IsLoading() || !m_image.Data())
        return;
    std::fill(m_image.Data() + std::int64_t{m_inFormat.m_bytesPerLine} * m_linesIn,
              m_image.Data() + std::int64_t{m_inFormat.m_bytesPerLine} * m_inFormat.m_height,
              kWhite);
    m_loaded = true;
}

// An input that ends early leaves the rest white.
QLStatus CRotateStage::LoadRest() {
    while (IsLoading()) {
        std::int32_t lines = std::max(kPullBytes / m_inFormat.m_bytesPerLine, 1);
        const QLStatus status = Load(&lines);
        if (status != QL_OK)
            return status;
        if (lines <= 0)
            EndLoading();
    }
    return QL_OK;
}

QLStatus CRotateStage::Read(std::int32_t* lines, CQLLineBuffer* buffer) {
    if (m_turn == 0)
        return CQLFilterStage::Read(lines, buffer);
    if (*lines < 0 || !buffer)
        return QL_ERR_BAD_ARGUMENT;
    *lines = std::min(*lines, m_outHeight - m_linesOut);
    if (*lines == 0)
        return QL_OK;
    const QLStatus status = LoadRest();
    if (status != QL_OK)
        return status;
    if (!buffer->HasRoom(*lines, m_outFormat.m_bytesPerLine))
        return QL_ERR_BAD_ARGUMENT;
    const QLStatus delivered = Deliver(*lines, *buffer);
    if (delivered == QL_OK)
        CountLines(*lines);
    return delivered;
}

QLStatus CRotateStage::Deliver(std::int32_t lines, const CQLLineBuffer& buffer) {
    const auto ahead = [this] { return m_aheadFirst + m_aheadCount - m_linesOut; };
    // Packed pixels have no form that could be turned; their rows stay as they are in the buffer.
    const bool turns = m_inFormat.IsInternal();
    if (!turns || !IsQuarter() || (lines >= QL_TURNED_BAND && ahead() <= 0)) {
        if (turns)
            RotateLines(buffer.Samples(), lines);
        m_linesOut += lines;
        return QL_OK;
    }
    const auto stride = static_cast<std::size_t>(m_outFormat.m_bytesPerLine);
    std::uint8_t* target = buffer.Data();
    while (lines > 0) {
        if (ahead() <= 0) {
            // The first time or never: none has been delivered when there is no memory.
            if (!m_ahead.Resize(QL_TURNED_BAND))
                return QL_ERR_NO_MEMORY;
            m_aheadFirst = m_linesOut;
            m_aheadCount = std::min(QL_TURNED_BAND, m_outHeight - m_linesOut);
            RotateLines(m_ahead.Samples(), m_aheadCount);
        }
        const std::int32_t count = std::min(lines, ahead());
        const auto from = static_cast<std::size_t>(m_linesOut - m_aheadFirst);
        const std::size_t bytes = stride * static_cast<std::size_t>(count);
        target = std::copy_n(m_ahead.Data() + stride * from, bytes, target);
        m_linesOut += count;
        lines -= count;
    }
    return QL_OK;
}

// With k the first output line, w and h the sides of the image as it came, and its pixels numbered
// row by row:
//
//      90   line j, pixel i  is row h - 1 - i, column j
//     180   the pixels before number w (h - k), backward
//     270   line j, pixel i  is row i, column w - 1 - j
void CRotateStage::RotateLines(std::uint16_t* target, std::int32_t lines) const {
    const auto* image = reinterpret_cast<const std::uint16_t*>(m_image.Data());
    const bool color = m_inFormat.m_samplesPerPixel == 3;
    const std::ptrdiff_t pixel = color ? 3 : 1;
    const std::ptrdiff_t w = m_inFormat.m_width;
    const std::ptrdiff_t h = m_inFormat.m_height;
    const std::ptrdiff_t k = m_linesOut;
    const auto count = static_cast<std::size_t>(lines);
    const auto turn = color ? TurnPixels : TurnGray;
    switch (m_turn) {
        case 90:
            turn(image + ((h - 1) * w + k) * pixel, -w * pixel, pixel, target,
                 static_cast<std::size_t>(h), count);
            break;
        case 180:
            (color ? ReversePixels : ReverseGray)(image + (h - k - lines) * w * pixel, target,
                                                  static_cast<std::size_t>(w) * count);
            break;
        case 270:
            turn(image + (w - 1 - k) * pixel, w * pixel, -pixel, target,
                 static_cast<std::size_t>(h), count);
            break;
        default:
            break;
    }
}
