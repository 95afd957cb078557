#include "stages/mirror.h"

#include <algorithm>

#include "frame/try_new.h"
#include "stages/turn_kernels.h"

namespace {

bool IsBits(const QLImageFormat& format) {
    return format.m_pixelType == QL_PIXEL_BILEVEL || format.m_pixelType == QL_PIXEL_HALFTONE;
}

}  // namespace

std::span<const QLAttribRow> CMirrorStage::Rows() {
    using S = CMirrorStage;
    using R = QLRowsOf<S>;
    static constexpr QLAttribRow rows[] = {
        R::Provides(QL_ATTR_MIRROR_ACTIVE).Reads<&S::IsMirrored>(),
        R::Provides(QL_ATTR_MIRROR).Reads<&S::m_mirror>().Writes<&S::SetMirror>(),
        R::Provides(QL_ATTR_MIRROR_TOGGLE).OnFire<&S::Toggle>(),
        R::Provides(QL_ATTR_MIRROR_RECT).Writes<&S::SetRect>(),
        R::Listens(QL_ATTR_ROTATE_DEFAULT).Calls<&S::TakeOff>(),
        R::Follows(QL_ATTR_TMA).Calls<&S::OnSource>(),
    };
    return rows;
}

CMirrorStage::CMirrorStage(QLAttribTree* tree) : CInPlaceStage(tree) {
    AttachRows(this);
}

// Through the toggle, which others hear of too: the rotation changes with it.
void CMirrorStage::SetMirror(bool on) {
    if (on != m_mirror)
        Notify(QL_ATTR_MIRROR_TOGGLE);
}

void CMirrorStage::SetRect(const QLRect* rect) {
    if (rect)
        m_mirrorRect = *rect;
}

// An adapter may look at its film from behind.
void CMirrorStage::OnSource() {
    m_forced = GetValue(QL_ATTR_TMA) != 0 && GetValue(QL_ATTR_ATTR_231) != 0;
}

QLStatus CMirrorStage::OnBeforeOpen() {
    m_active = IsMirrored();
    m_bypass = !m_active;
    return QL_OK;
}

QLStatus CMirrorStage::OnAfterOpen() {
    m_line.reset();
    if (!m_active || !m_inFormat.IsInternal() || m_inFormat.m_bytesPerLine <= 0)
        return QL_OK;
    m_line = TryNewRaw<std::uint16_t>(static_cast<std::size_t>(m_inFormat.m_bytesPerLine) / 2);
    return m_line ? QL_OK : QL_ERR_NO_MEMORY;
}

QLStatus CMirrorStage::ProcessPixels(std::uint16_t* samples, std::size_t count) {
    const auto width = static_cast<std::size_t>(m_inFormat.m_width);
    const std::size_t lines = count / width;
    if (IsBits(m_inFormat)) {
        auto* line = reinterpret_cast<std::uint8_t*>(samples);
        for (std::size_t i = 0; i < lines; ++i, line += m_inFormat.m_bytesPerLine)
            ReverseBits(line, width);
        return QL_OK;
    }
    if (!m_line)
        return QL_OK;
    const bool color = m_inFormat.m_samplesPerPixel == 3;
    const std::size_t lineSamples = width * m_inFormat.m_samplesPerPixel;
    for (std::size_t i = 0; i < lines; ++i, samples += lineSamples) {
        std::copy_n(samples, lineSamples, m_line.get());
        (color ? ReversePixels : ReverseGray)(m_line.get(), samples, width);
    }
    return QL_OK;
}

QLStatus CMirrorStage::OnAfterClose() {
    m_line.reset();
    return QL_OK;
}
