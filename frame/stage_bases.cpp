#include "frame/stage_bases.h"

#include <algorithm>

// A pull without lines or buffer is no error of the stage: it has nothing to do, and says so.
QLStatus CInPlaceStage::OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) {
    QLStatus status = QL_OK;
    if (IsActive() && *lines > 0 && m_outFormat.m_width > 0 && buffer && buffer->Data()) {
        status = ProcessPixels(buffer->Samples(), static_cast<std::size_t>(m_outFormat.m_width) *
                                                      static_cast<std::size_t>(*lines));
    }
    CountLines(*lines);
    return status;
}

std::size_t CInPlaceStage::BlockBytes(std::size_t count) const {
    return count / static_cast<std::size_t>(m_outFormat.m_width) *
           static_cast<std::size_t>(m_outFormat.m_bytesPerLine);
}

QLStatus CNewLineStage::Read(std::int32_t* lines, CQLLineBuffer* buffer) {
    if (!WritesNewLines())
        return CQLFilterStage::Read(lines, buffer);
    // A width whose input line has a 32-bit stride and whose output line has none.
    if (*lines < 0 || (m_inFormat.m_bytesPerLine > 0 && m_outFormat.m_bytesPerLine <= 0))
        return QL_ERR_BAD_ARGUMENT;
    // Sized by what is wanted, on the input format: the upstream stage writes there, and never
    // more.
    if (!m_inLines.Resize(*lines))
        return QL_ERR_NO_MEMORY;
    const QLStatus status = CQLFilterStage::Read(lines, &m_inLines);
    if (status != QL_OK && !GoesOnAfterFailure())
        return status;
    // A stage that claims more lines than it was asked for has put no more than these here.
    const std::int32_t count = std::min(*lines, m_inLines.Lines());
    if (count > 0 && buffer && buffer->Data()) {
        if (!buffer->HasRoom(count, RowBytes()))
            return status != QL_OK ? status : QL_ERR_BAD_ARGUMENT;
        WriteLines(m_inLines, count, buffer->Data());
    }
    CountLines(*lines);
    return status;
}

QLStatus CNewLineStage::OnAfterClose() {
    // The stage lives as long as the engine, its buffer as long as the image.
    m_inLines.Resize(0);
    return QL_OK;
}
