// The standard properties of the item that is scanned, made for the source that is chosen. They are
// made anew with each change of the source.
#include "diag/function_trace.h"
#include "frontend/item_values.h"
#include "frontend/mini_driver.h"
#include "frontend/property_rows.h"

namespace {

// An empty feeder, of a device that has nothing else.
constexpr HRESULT kFeederOnlyEmpty = MakeResult(0x80040012);

// The count comes from the controller, the room from its record.
std::span<const LONG> ListOf(const LONG (&list)[kGeomResolutions], LONG count) {
    return {list, static_cast<std::size_t>(Clamp(count, 0, kGeomResolutions))};
}

}  // namespace

// The window is the whole area of the source at its default resolution. That may be one that its
// list doesn't have; a client that writes one has to choose from the list.
HRESULT CNVwiaMiniDrv::BuildTopItemProperties(BYTE* pWiasContext) {
    CFunctionTrace trace("CNVwiaMiniDrv::BuildTopItemProperties");
    m_topProps.ClearError();
    if (FAILED(trace.SetResult(BuildRootFirst(pWiasContext)).GetResult()))
        return trace.GetResult();
    constexpr LONG kFlatbedUnlessTold = 0;
    const ScanSource source = ResolveSource(pWiasContext, kFlatbedUnlessTold);
    GeomControl geometry = {};
    if (FAILED(trace.SetResult(ChooseForProperties(source)).GetResult()) ||
        FAILED(trace.SetResult(m_pScan->getGeomControl(&geometry)).GetResult()))
        return trace.GetResult();
    m_lBedWidth = ThousandthsOf(geometry.maxWidth);
    m_lBedHeight = ThousandthsOf(geometry.maxHeight);
    trace.SetResult(m_pScan->getDefaultResolution(source.useXPA, source.useADF, &m_defaultRes));
    m_pLog->Format(kLogInformation,
                   "BuildTopItemProp m_defaultRes hr %d: bUseResList %d:useADF %d useTMA %d "
                   "useDuplex %d",
                   m_defaultRes, 0, source.useADF, source.useXPA, source.duplex);
    // The new properties say colour.
    DataFormat format;
    trace.SetResult(m_pScan->resolveDataFormat(&format));
    AddTopProperties(geometry);
    m_bTopBuilt = true;
    if (FAILED(trace.SetResult(m_topProps.GetError()).GetResult()))
        return trace.GetResult();
    return trace.SetResult(m_topProps.Commit(pWiasContext)).GetResult();
}

// A service may begin with the scanned item, whose build reads the root's selects.
HRESULT CNVwiaMiniDrv::BuildRootFirst(BYTE* pWiasContext) {
    if (m_bRootBuilt)
        return S_OK;
    BYTE* root = nullptr;
    const HRESULT hr = wiasGetRootItem(pWiasContext, &root);
    return FAILED(hr) ? hr : BuildRootItemProperties(root);
}

// A device that has nothing but its feeder shows what that can do also while it is empty.
HRESULT CNVwiaMiniDrv::ChooseForProperties(const ScanSource& source) {
    const HRESULT hr = m_pScan->firstScanInit(&source);
    if (hr == kFeederOnlyEmpty) {
        m_pScan->releaseScanner();
        return S_OK;
    }
    if (FAILED(hr))
        m_pLog->Format(kLogInformation, "BuildTopItemProperties: firstScanInit failed hr %d", hr);
    return hr;
}

void CNVwiaMiniDrv::AddTopProperties(const GeomControl& geometry) {
    const auto resolution = static_cast<LONG>(m_defaultRes);
    LONG numbers[kTopNumbers] = {};
    numbers[kDefaultResolution] = resolution;
    numbers[kPixels] = PixelsOf(m_lBedWidth, resolution);
    numbers[kLines] = PixelsOf(m_lBedHeight, resolution);
    std::span<const LONG> lists[kTopLists];
    lists[kResolutionsAcross] = ListOf(geometry.xResList, geometry.xResCount);
    lists[kResolutionsAlong] = ListOf(geometry.yResList, geometry.yResCount);
    AddRows(m_topProps, TopRows(), {.numbers = numbers, .lists = lists});
}
