#include "frame/stage.h"

CQLStage::CQLStage(QLAttribTree* tree) : CQLAttribStore(tree) {
    // What stands until the first open tells better.
    m_inFormat.SetPixelType(QL_PIXEL_RGB8);
    m_outFormat = m_inFormat;
}

std::uint64_t CQLStage::GetAttrib(std::int32_t id) {
    return m_rows.Get(id);
}

void CQLStage::SetAttrib(std::int32_t id, std::uint64_t value) {
    m_rows.Set(*this, id, value);
}

void CQLStage::OnAttribNotify(std::int32_t id) {
    m_rows.OnNotify(*this, id);
}

QLStatus CQLStage::SetUpstream(CQLStage* stage) {
    m_upstream = stage;
    if (stage)
        stage->m_downstream = this;
    return QL_OK;
}

// Copied whole, not referred to: a stage may change its output format without its neighbour's
// knowing.
void CQLStage::TakeUpstreamFormat() {
    if (m_upstream)
        m_inFormat = *m_upstream->GetOutputFormat();
    m_outFormat = m_inFormat;
}

QLStatus CQLStage::Open() {
    QLStatus status = OnBeforeOpen();
    if (m_upstream && status == QL_OK) {
        status = m_upstream->Open();
        // Also when the upstream stage failed: the owner of the chain reports the format that there
        // was.
        TakeUpstreamFormat();
    }
    return status == QL_OK ? OnAfterOpen() : status;
}

QLStatus CQLStage::Read(std::int32_t* lines, CQLLineBuffer* buffer) {
    if (*lines < 0)
        return QL_ERR_BAD_ARGUMENT;
    // At the head of a chain this status stands; everywhere else the neighbour's takes its place.
    QLStatus status = OnBeforeRead(lines, buffer);
    if (m_upstream)
        status = m_upstream->Read(lines, buffer);
    return status == QL_OK ? OnAfterRead(lines, buffer) : status;
}

QLStatus CQLStage::Close() {
    QLStatus status = OnBeforeClose();
    if (m_upstream) {
        // In any case: whoever was opened has something to give back, also behind a failure here.
        const QLStatus upstream = m_upstream->Close();
        if (status == QL_OK) {
            status = upstream;
            m_inFormat = *m_upstream->GetOutputFormat();
            // The input may have turned out shorter than announced.
            if (m_inFormat.m_height != m_outFormat.m_height)
                m_outFormat.SetHeight(m_inFormat.m_height);
        }
    }
    const QLStatus after = OnAfterClose();
    return status == QL_OK ? after : status;
}

// Only the formats travel. What a stage worked out at its open stands until the next one.
QLStatus CQLStage::OnFormatChanged() {
    TakeUpstreamFormat();
    return m_downstream ? m_downstream->OnFormatChanged() : QL_OK;
}

QLStatus CQLStage::TransformColor(QLColorQuery* query) {
    return m_upstream ? m_upstream->TransformColor(query) : QL_OK;
}

// Colour tables travel from stage to stage towards the tail; single colours (TransformColor) ask
// their way up to the head and come back down.
QLStatus CQLStage::MapColorTableBack(QLColorTable* table) {
    return m_downstream ? m_downstream->MapColorTableBack(table) : QL_OK;
}

QLStatus CQLStage::MapColorTable(QLColorTable* table) {
    return m_downstream ? m_downstream->MapColorTable(table) : QL_OK;
}

QLStatus CQLFilterStage::OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) {
    return *lines < 0 || !buffer ? QL_ERR_BAD_ARGUMENT : QL_OK;
}
