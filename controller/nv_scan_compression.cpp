// How the stream of a scan is compressed.
#include <algorithm>

#include "controller/nv_scan.h"
#include "platform/com.h"

namespace {

// Arguments of the toolkit: to switch on, and the kind of value that a quality factor is.
constexpr DWORD kEnable = 1;
constexpr DWORD kQualityFactor = 1;
// What a preview asks for, ahead of the device's limits; its table isn't looked up.
constexpr DWORD kPreviewQFactor = 1;

// Rows of a JPEG table for as long as they are needed.
class JpegTable {
  public:
    JpegTable() = default;
    ~JpegTable() { CoTaskMemFree(m_rows); }
    JpegTable(const JpegTable&) = delete;
    JpegTable& operator=(const JpegTable&) = delete;

    using Getter = void (CScanAttrib::*)(std::uint32_t&, JpegRow*&) const;
    void Fetch(const CScanAttrib& attrib, Getter getter) { (attrib.*getter)(m_count, m_rows); }

    const JpegRow* begin() const { return m_rows; }
    const JpegRow* end() const { return m_rows + m_count; }

  private:
    std::uint32_t m_count = 0;
    JpegRow* m_rows = nullptr;
};

}  // namespace

// Chooses the quality factor of the scan; 0: no JPEG. The model's table for this depth says it by
// resolution. A row holds for all resolutions up to its own; above the last one the factor stays as
// it was.
HRESULT CNVScan::prepareCompression() {
    if (!m_spCompression || m_compressionType != OSTREL_JPEG ||
        !(m_compressionType & m_compressionCaps.supportedTypes))
        return E_INVALIDARG;
    // A device may forbid JPEG for a format. Its table then counts as empty.
    const bool color = m_channel == kChannelColor;
    const struct {
        bool applies;
        DWORD flags;
        JpegTable::Getter getter;
    } formats[] = {
        {m_depth == 1, m_compressionCaps.lineArtFlags, &CScanAttrib::getJpegTable1},
        {m_depth == 8 && !color, m_compressionCaps.grayFlags, &CScanAttrib::getJpegTable8},
        {m_depth == 8 && color, m_compressionCaps.colorFlags, &CScanAttrib::getJpegTable24},
    };
    JpegTable table;
    for (const auto& format : formats) {
        if (format.applies && !(format.flags & OSTREL_NO_JPEG) && m_pAttrib)
            table.Fetch(*m_pAttrib, format.getter);
    }
    if (table.begin() == table.end()) {
        m_qFactor = 0;
    } else if (m_source.request.preview) {
        m_qFactor = kPreviewQFactor;
    } else {
        const auto resolution = static_cast<DWORD>(m_geometry.scanYRes);
        const auto* row = std::find_if(table.begin(), table.end(), [resolution](const JpegRow& r) {
            return r.m_resolution >= resolution;
        });
        if (row != table.end())
            m_qFactor = row->m_enable ? row->m_qualityFactor : 0;
    }
    // The model's numbers are the profile's, the limits the device's own.
    if (m_qFactor != 0)
        m_qFactor = std::min(std::max(m_qFactor, m_compressionCaps.minQFactor),
                             m_compressionCaps.maxQFactor);
    // A device that can only send JPEG does so with its smallest factor.
    else if (!(m_compressionCaps.supportedTypes & OSTREL_UNCOMPRESSED))
        m_qFactor = m_compressionCaps.minQFactor;
    return S_OK;
}

HRESULT CNVScan::SetUpCompression() {
    if (!m_spCompression)
        return S_OK;
    HRESULT hr = S_OK;
    if (m_compressionType == OSTREL_JPEG) {
        hr = prepareCompression();
        if (SUCCEEDED(hr) && m_qFactor != 0)
            hr = Call<&IOstrelCompression::SetCompressionValue>(m_spCompression, kQualityFactor,
                                                                m_qFactor);
        if (FAILED(hr))
            return hr;
    }
    // Above the limit along the scan the stream goes uncompressed, whatever was asked for.
    const DWORD limit = m_compressionCaps.maxResolution;
    const bool compress = (m_qFactor != 0 || m_compressionType != OSTREL_JPEG) &&
                          (limit == 0 || limit >= static_cast<DWORD>(m_geometry.scanYRes));
    const DWORD type = compress ? m_compressionType : OSTREL_UNCOMPRESSED;
    hr = Call<&IOstrelCompression::SetCompressionType>(m_spCompression, type);
    if (SUCCEEDED(hr) && type != OSTREL_UNCOMPRESSED)
        hr = Call<&IOstrelCompression::EnableCompression>(m_spCompression, kEnable);
    return hr;
}
