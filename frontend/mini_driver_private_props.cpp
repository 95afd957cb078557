// Properties of the scanned item beside the standard ones: the user's settings of tone and colour,
// and the tables of the model, which reach the engine in this way.
#include <cstring>
#include <type_traits>

#include "diag/function_trace.h"
#include "engine/item_properties.h"
#include "frontend/item_properties.h"
#include "frontend/item_values.h"
#include "frontend/mini_driver.h"
#include "frontend/property_rows.h"

namespace {

constexpr LPCOLESTR kPrivateName = u"Private Property";

constexpr LONG kScannerChannels[] = {0, 2, 3, 4, 1, 5};
constexpr LONG kOffOn[] = {0, 1};
constexpr LONG kFullLevel = 100;

// clang-format off
constexpr PropertyRow kSettings[] = {
    ListRow(QL_PROP_SCANNER_CHANNEL, u"Scanner Channel", kReadWriteList, 0, kScannerChannels),
    ListRow(QL_PROP_EXPOSURE_METHOD, u"Exposure Method", kReadWriteList, 0, kOffOn),
    ListRow(QL_PROP_TMA_METHOD, u"TMA Method", kReadWriteList, 0, kOffOn),
    RangeRow(QL_PROP_HIGHLIGHT_LEVEL, u"Highlight Level", 0, -kFullLevel, kFullLevel),
    RangeRow(QL_PROP_MIDTONE_LEVEL, u"Midtone Level", 0, -kFullLevel, kFullLevel),
    RangeRow(QL_PROP_SHADOW_LEVEL, u"Shadow Level", 0, -kFullLevel, kFullLevel),
    RangeRow(QL_PROP_GAMMA, u"Gamma", 2200, 0, 4000),
    RangeRow(QL_PROP_HUE_X, u"Hue X", 0, -kFullLevel, kFullLevel),
    RangeRow(QL_PROP_HUE_Y, u"Hue Y", 0, -kFullLevel, kFullLevel),
    RangeRow(QL_PROP_SHARPEN_LEVEL, u"Sharpen Level", 2, 0, 5),
    RangeRow(QL_PROP_SATURATION, u"Saturation", 1000, 0, 1500),
};
// clang-format on

constexpr std::size_t kLargestTable = sizeof(NegMatrix);

// Fetches a table of the model into zeroed memory. What a getter leaves behind when it fails isn't
// taken: the first byte of many tables says that they are valid.
using Fetch = HRESULT (*)(CNVScan& scan, BYTE* bytes);

template <class Record, HRESULT (CNVScan::*getter)(Record*)>
HRESULT FetchTable(CNVScan& scan, BYTE* bytes) {
    static_assert(sizeof(Record) <= kLargestTable && std::is_trivially_copyable_v<Record>);
    Record record;
    std::memset(&record, 0, sizeof(record));
    const HRESULT hr = (scan.*getter)(&record);
    if (SUCCEEDED(hr))
        std::memcpy(bytes, &record, sizeof(record));
    return hr;
}

struct TableRow {
    PROPID id;
    LPCOLESTR name;
    ULONG bytes;
    Fetch fetch;
};

template <class Record, HRESULT (CNVScan::*getter)(Record*)>
constexpr TableRow Table(PROPID id, LPCOLESTR name = kPrivateName) {
    return {id, name, sizeof(Record), &FetchTable<Record, getter>};
}

constexpr TableRow kTables[] = {
    Table<DefaultsRecord, &CNVScan::getDefaults>(QL_PROP_DEFAULTS, u"Private Defaults"),
    Table<ScanMatrix, &CNVScan::getFlatbedMatrix>(QL_PROP_FLATBED_MATRIX),
    Table<ScanMatrix, &CNVScan::getSlideMatrix>(QL_PROP_SLIDE_MATRIX),
    Table<ScanMatrix, &CNVScan::getAdfMatrix>(QL_PROP_FEEDER_MATRIX),
    Table<NegMatrix, &CNVScan::getNegMatrix>(QL_PROP_DENSITY_MATRIX),
    Table<ScanMatrix, &CNVScan::getPostMatrix>(QL_PROP_POST_MATRIX),
    Table<CoeffRecord, &CNVScan::getFlatbedCoeffs>(QL_PROP_FLATBED_COEFFS),
    Table<CoeffRecord, &CNVScan::getAdfCoeffs>(QL_PROP_FEEDER_COEFFS),
    Table<CoeffRecord, &CNVScan::getSlideCoeffs>(QL_PROP_SLIDE_COEFFS),
    Table<CoeffRecord, &CNVScan::getSlideCoeffsAlias>(QL_PROP_SLIDE_COEFFS_B),
    Table<CoeffRecord, &CNVScan::getNegCoeffs>(QL_PROP_NEG_COEFFS),
    Table<GrayRecord, &CNVScan::getGrayTable>(QL_PROP_GRAY),
};

}  // namespace

HRESULT CNVwiaMiniDrv::InitializePrivateProperties(BYTE* item) {
    CFunctionTrace trace("CNVwiaMiniDrv::InitializePrivateProperties");
    AddRows(m_topProps, kSettings, {});
    trace.SetResult(SetScannerSPFParameters());
    CItemProperties properties;
    if (SUCCEEDED(properties.Attach(item)))
        m_pEngine->PublishDefaults(&properties);
    trace.SetResult(m_topProps.GetError());
    return trace.SetResult(m_topProps.Commit(item)).GetResult();
}

HRESULT CNVwiaMiniDrv::SetScannerSPFParameters() {
    CFunctionTrace trace("CNVwiaMiniDrv::SetScannerSPFParameters");
    for (const TableRow& row : kTables) {
        BYTE bytes[kLargestTable] = {};
        trace.SetResult(row.fetch(*m_pScan, bytes));
        m_topProps.AddBlob(row.id, row.name, kReadOnly, row.bytes, bytes);
    }
    m_topProps.AddFlag(kScaleProperty, kPrivateName, kReadOnly, 0, 0);
    return trace.GetResult();
}
