#include "stages/five_line.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::int32_t kBelow = 2;  // lines below the middle one that the ring holds
constexpr std::int32_t kMiddle = 2;
constexpr std::int32_t kFewestLines = kBelow + 1;
constexpr std::int32_t kFewestOfKernels = 5;  // pixels, and lines

}  // namespace

CFiveLineStage::CFiveLineStage(QLAttribTree* tree)
    : CQLFilterStage(tree),
      m_buffers{CQLLineBuffer(&m_inFormat), CQLLineBuffer(&m_inFormat), CQLLineBuffer(&m_inFormat),
                CQLLineBuffer(&m_inFormat), CQLLineBuffer(&m_inFormat)} {
    for (std::size_t i = 0; i < kRing; ++i)
        m_ring[i] = &m_buffers[i];
}

QLStatus CFiveLineStage::OnAfterOpen() {
    m_passThrough =
        m_passThrough || m_inFormat.m_height < kFewestLines || m_inFormat.m_bytesPerLine <= 0;
    m_active = !m_passThrough;
    m_outLines = 0;
    m_inLines = 0;
    m_pending = 0;
    m_tailCount = 0;
    m_inputEnded = false;
    return QL_OK;
}

QLStatus CFiveLineStage::OnAfterClose() {
    for (CQLLineBuffer& buffer : m_buffers)
        buffer.Resize(0);
    return QL_OK;
}

bool CFiveLineStage::IsTooSmallOrPacked() const {
    return std::min(m_inFormat.m_width, m_inFormat.m_height) < kFewestOfKernels ||
           !m_inFormat.IsInternal();
}

std::int32_t CFiveLineStage::HeldLines() const {
    return m_passThrough ? 0 : kBelow;
}

QLStatus CFiveLineStage::Read(std::int32_t* lines, CQLLineBuffer* buffer) {
    if (m_passThrough)
        return CQLFilterStage::Read(lines, buffer);
    if (*lines < 0 ||
        (*lines > 0 && !(buffer && buffer->HasRoom(*lines, m_outFormat.m_bytesPerLine))))
        return QL_ERR_BAD_ARGUMENT;
    for (CQLLineBuffer& ringBuffer : m_buffers) {
        if (!ringBuffer.Resize(1))
            return QL_ERR_NO_MEMORY;
    }
    std::uint16_t* out = *lines > 0 ? buffer->Samples() : nullptr;
    const std::size_t samples =
        static_cast<std::size_t>(m_outFormat.m_bytesPerLine) / sizeof(std::uint16_t);
    std::int32_t done = 0;
    for (; done < *lines; ++done, out += samples) {
        bool ready = false;
        const QLStatus status = Advance(&ready);
        if (status != QL_OK)
            return status;
        if (!ready)
            break;
        m_pending = FilterLine(out, m_ring[0]->Samples(), m_ring[1]->Samples(),
                               m_ring[2]->Samples(), m_ring[3]->Samples(), m_ring[4]->Samples());
        ++m_outLines;
    }
    *lines = done;
    return QL_OK;
}

QLStatus CFiveLineStage::Advance(bool* ready) {
    // A short pull is taken up where it ended, here as in the steps: m_pending counts down.
    if (m_outLines == 0)
        return Fill(ready);
    QLStatus status = QL_OK;
    *ready = true;
    while (status == QL_OK && *ready && m_pending > 0) {
        status = Step(ready);
        if (status == QL_OK && *ready)
            --m_pending;
    }
    // The ring has moved down to copies of the last line: that one has been the middle.
    if (m_tailCount > kBelow)
        *ready = false;
    return status;
}

// The middle line and the two below it; the first line of the image stands above itself.
QLStatus CFiveLineStage::Fill(bool* ready) {
    *ready = true;
    while (m_inLines + m_tailCount < kFewestLines) {
        CQLLineBuffer** next = m_ring + kMiddle + m_inLines + m_tailCount;
        const QLStatus status = PullLine(*next, m_inLines > 0 ? next[-1] : nullptr, ready);
        if (status != QL_OK || !*ready)
            return status;
    }
    CopyLine(m_ring[0], m_ring[kMiddle]);
    CopyLine(m_ring[1], m_ring[kMiddle]);
    return QL_OK;
}

// Lines go where the uppermost one lies, which the next output line doesn't see any more. Only when
// it is there the ring turns.
QLStatus CFiveLineStage::Step(bool* ready) {
    const QLStatus status = PullLine(m_ring[0], m_ring[kRing - 1], ready);
    if (status == QL_OK && *ready)
        std::rotate(m_ring, m_ring + 1, m_ring + kRing);
    return status;
}

QLStatus CFiveLineStage::PullLine(CQLLineBuffer* target, const CQLLineBuffer* last, bool* ready) {
    *ready = true;
    if (m_inLines < m_inFormat.m_height) {
        std::int32_t count = 1;
        const QLStatus status = CQLFilterStage::Read(&count, target);
        if (status != QL_OK)
            return status;
        if (count > 0) {
            ++m_inLines;
            return QL_OK;
        }
        if (!m_inputEnded || !last) {
            *ready = false;
            return QL_OK;
        }
    }
    CopyLine(target, last);
    ++m_tailCount;
    return QL_OK;
}

void CFiveLineStage::CopyLine(CQLLineBuffer* target, const CQLLineBuffer* source) const {
    std::memcpy(target->Data(), source->Data(),
                static_cast<std::size_t>(m_inFormat.m_bytesPerLine));
}
