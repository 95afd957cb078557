#include "frame/stage_bases.h"

#include <algorithm>

QLStatus CInPlaceStage::OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) {
    QLStatus status = QL_OK;
    if (IsActive() && *lines > 0 && buffer && buffer->Data()) {
        status = ProcessPixels(buffer->Samples(), static_cast<std::size_t>(m_outFormat.m_width) *
                                                      static_cast<std::size_t>(*lines));
    }
    CountLines(*lines);
    return status;
}

bool CNewLineStage::Fits(std::int32_t lines, const CQLLineBuffer& buffer) const {
    return std::int64_t{lines} * RowBytes() <= std::int64_t{buffer.Lines()} * buffer.Stride();
}

QLStatus CNewLineStage::Read(std::int32_t* lines, CQLLineBuffer* buffer) {
    if (!WritesNewLines())
        return CQLFilterStage::Read(lines, buffer);
    // A width whose input line has a 32-bit stride and whose output line has none.
    if (*lines < 0 || (m_inFormat.m_bytesPerLine > 0 && m_outFormat.m_bytesPerLine <= 0))
        return QL_ERR_BAD_ARGUMENT;
    if (!m_inLines.Resize(*lines))
        return QL_ERR_NO_MEMORY;
    const QLStatus status = CQLFilterStage::Read(lines, &m_inLines);
    if (status != QL_OK && !GoesOnAfterFailure())
        return status;
    const std::int32_t count = std::min(*lines, m_inLines.Lines());
    if (count > 0 && buffer && buffer->Data()) {
        if (!Fits(count, *buffer))
            return QL_ERR_BAD_ARGUMENT;
        WriteLines(m_inLines, count, buffer->Data());
    }
    CountLines(*lines);
    return status;
}

QLStatus CNewLineStage::OnAfterClose() {
    m_inLines.Resize(0);
    return QL_OK;
}
