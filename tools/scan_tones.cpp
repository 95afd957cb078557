#include "tools/scan_tones.h"

#include "engine/engine.h"
#include "service/item_engine.h"
#include "tools/process/tone_ramp.h"

bool CInputCounter::BeginPage(const ScanPage& page) {
    m_isFirst = page.number == 1;
    if (!m_isFirst)
        return true;
    m_stride = page.stride;
    m_bits = page.info.biBitCount;
    m_counter.Begin(page.info, page.palette);
    return true;
}

bool CInputCounter::Rows(const BYTE* rows, LONG count) {
    if (m_isFirst)
        m_counter.Add({rows, m_stride * static_cast<std::size_t>(count)});
    return true;
}

bool DrawScan(const CToneFiles& plots, const CScanDevice& device, const CInputCounter& input,
              const CToneCounts& result, std::string* error) {
    CDeviceProperties properties;
    CQLEngine engine;
    ScanStatus status = CDeviceProperties::Read(device, properties);
    if (status.Ok())
        status = SetUpEngine(properties, engine);
    if (!status.Ok()) {
        *error = status.text;
        return false;
    }
    const bool isEncoded = engine.GetValue(QL_ATTR_SRGB_OUTPUT) != 0;
    if (!plots.m_histogram.empty() &&
        !DrawHistograms(plots.m_histogram, isEncoded, input.Counts(), result, error))
        return false;
    return plots.m_curves.empty() ||
           DrawCurves(engine, input.Bits(), isEncoded, plots.m_curves, error);
}
