// Properties of the scanned item beside the standard ones: the user's settings of tone and colour,
// and the tables of the model, which reach the engine in this way.
#include "diag/function_trace.h"
#include "frontend/item_properties.h"
#include "frontend/mini_driver.h"
#include "frontend/property_rows.h"

// Commits the standard records too: each build of the item writes all of them.
HRESULT CNVwiaMiniDrv::InitializePrivateProperties(BYTE* item) {
    CFunctionTrace trace("CNVwiaMiniDrv::InitializePrivateProperties");
    AddRows(m_topProps, UserRows());
    const PaletteRecord noColors = {};
    m_topProps.AddBlob(QL_PROP_PALETTE_COLORS, u"Palette Colors",
                       WIA_PROP_READ | WIA_PROP_WRITE | WIA_PROP_NONE, sizeof(noColors),
                       reinterpret_cast<const BYTE*>(&noColors));
    trace.SetResult(SetScannerSPFParameters());
    CItemProperties properties;
    if (SUCCEEDED(properties.Attach(item)))
        m_pEngine->PublishDefaults(&properties);
    trace.SetResult(m_topProps.GetError());
    return trace.SetResult(m_topProps.Commit(item)).GetResult();
}

// A table that can't be had goes out as zeros, and so without its valid flag.
HRESULT CNVwiaMiniDrv::SetScannerSPFParameters() {
    CFunctionTrace trace("CNVwiaMiniDrv::SetScannerSPFParameters");
    for (const RecordRow& row : RecordRows()) {
        BYTE bytes[kLargestRecord] = {};
        trace.SetResult(row.fromScan(*m_pScan, bytes));
        m_topProps.AddBlob(row.id, row.name, kRecordAccess, row.bytes, bytes);
    }
    AddRows(m_topProps, ScaleRows());
    return trace.GetResult();
}
