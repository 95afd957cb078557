// The tree of two items, the properties of its root, and what the device can be told and can tell.
//
//     Root    the scanner: bed, feeder, firmware, and the selects of the source
//     Top     what is scanned
#include <limits>
#include <string>

#include "diag/function_trace.h"
#include "frontend/item_values.h"
#include "frontend/mini_driver.h"
#include "frontend/property_rows.h"
#include "platform/contained.h"
#include "platform/text.h"

namespace {

constexpr LONG kRootFlags = WiaItemTypeFolder | WiaItemTypeDevice | WiaItemTypeRoot;
constexpr LONG kTopFlags = WiaItemTypeImage | WiaItemTypeFile | WiaItemTypeDevice;
constexpr LPCOLESTR kRootName = u"Root";
constexpr LPCOLESTR kTopName = u"\\Top";

constexpr LPCOLESTR kEventIcon = u"sti.dll,-1001";

constexpr struct {
    GUID guid;
    LPCOLESTR name;
    ULONG flags;
    LPCOLESTR icon;
} kCapabilities[] = {
    {WIA_CMD_SYNCHRONIZE, u"Synchronize", 0, u"sti.dll,-2000"},
    {WIA_CMD_BUILD_DEVICE_TREE, u"Build device tree", 0, u"sti.dll,-2006"},
    {WIA_EVENT_DEVICE_CONNECTED, u"Device connected", WIA_NOTIFICATION_EVENT, kEventIcon},
    {WIA_EVENT_DEVICE_DISCONNECTED, u"Device disconnected", WIA_NOTIFICATION_EVENT, kEventIcon},
};

}  // namespace

// ---- The tree

// Once; a tree that could be made only in part is no tree.
HRESULT CNVwiaMiniDrv::BuildItemTree() {
    CFunctionTrace trace("CNVwiaMiniDrv::BuildItemTree");
    if (m_pRootItem)
        return trace.GetResult();
    trace.SetResult(Contained([this] { return MakeItems(); }));
    if (FAILED(trace.GetResult()))
        DeleteItemTree();
    return trace.GetResult();
}

// Full names are the root's with the item's own behind it; the service finds an item by them.
HRESULT CNVwiaMiniDrv::MakeItems() {
    const std::u16string fullName = m_bstrRootFullItemName;
    HRESULT hr =
        wiasCreateDrvItem(kRootFlags, MakeTaskText(kRootName).get(), MakeTaskText(fullName).get(),
                          this, 0, nullptr, m_pRootItem.Out());
    if (FAILED(hr))
        return hr;
    ComPtr<IWiaDrvItem> top;
    hr = wiasCreateDrvItem(kTopFlags, MakeTaskText(kTopName).get(),
                           MakeTaskText(fullName + kTopName).get(), this, 0, nullptr, top.Out());
    return FAILED(hr) ? hr : top->AddItemToFolder(m_pRootItem.Get());
}

// The service asks for both items of each client. Only the scanned item carries the tables of the
// model, by which they reach the engine.
HRESULT CNVwiaMiniDrv::drvInitItemProperties(BYTE* pWiasContext, LONG, LONG* plDevErrVal) {
    CFunctionTrace trace("CNVwiaMiniDrv::drvInitItemProperties");
    if (!pWiasContext || !plDevErrVal)
        return trace.SetResult(E_INVALIDARG).GetResult();
    *plDevErrVal = 0;
    if (!m_pScan || !m_pEngine)
        return trace.SetResult(E_FAIL).GetResult();
    ComPtr<IWiaDrvItem> item;
    LONG flags = 0;
    if (FAILED(trace.SetResult(wiasGetDrvItem(pWiasContext, item.Out())).GetResult()))
        return trace.GetResult();
    trace.SetResult(item->GetItemFlags(&flags));
    if (flags & WiaItemTypeRoot) {
        trace.SetResult(BuildRootItemProperties(pWiasContext));
    } else {
        trace.SetResult(BuildTopItemProperties(pWiasContext));
        if (SUCCEEDED(trace.GetResult()))
            trace.SetResult(InitializePrivateProperties(pWiasContext));
    }
    ReleaseUnlessFeeding();
    return trace.GetResult();
}

// A sheet that has been fed waits for its scan, and a job between two pages for the next one.
// Without these, nothing that was asked for the sake of the properties is a reason to keep others
// from the scanner; a feed that failed least of all.
void CNVwiaMiniDrv::ReleaseUnlessFeeding() {
    bool feeder = false;
    m_pScan->getUseAdf(&feeder);
    if (!feeder || !m_pScan->isFeederWaiting())
        m_pScan->releaseScanner();
}

// ---- Commands and events

// Commands, the two events that every device has, and a press of each of its buttons.
HRESULT CNVwiaMiniDrv::BuildCapabilities() {
    CFunctionTrace trace("CNVwiaMiniDrv::BuildCapabilities");
    if (m_capabilities.Count() != 0)
        return trace.GetResult();
    for (const auto& row : kCapabilities) {
        if (SUCCEEDED(trace.GetResult()))
            trace.SetResult(m_capabilities.Add(row.guid, row.name, row.name, row.flags, row.icon));
    }
    if (SUCCEEDED(trace.GetResult()))
        trace.SetResult(LoadButtonEvents(kEventIcon));
    if (FAILED(trace.GetResult()))
        m_capabilities.Clear();
    return trace.GetResult();
}

// In the order of the event table, which is that of the device's key in the registry.
HRESULT CNVwiaMiniDrv::LoadButtonEvents(LPCOLESTR iconText) {
    return Contained([&] {
        HRESULT hr = S_OK;
        for (DWORD i = 0; i < m_buttons.Count() && SUCCEEDED(hr); ++i) {
            const std::u16string name = WideFromText(m_buttons[i].name);
            hr = m_capabilities.Add(m_buttons[i].guid, name.c_str(), name.c_str(),
                                    WIA_NOTIFICATION_EVENT | WIA_ACTION_EVENT, iconText);
        }
        return hr;
    });
}

// ---- The root

// What the device can't tell at the moment stays 0: a root with gaps can be looked at, and a scan
// will meet the failure again. Only a set of properties that can't be made fails the build.
HRESULT CNVwiaMiniDrv::BuildRootItemProperties(BYTE* item) {
    CFunctionTrace trace("CNVwiaMiniDrv::BuildRootItemProperties");
    LONG numbers[kRootNumbers] = {};
    trace.SetResult(AskForSources(numbers));
    trace.SetResult(AskForAreas(numbers));
    trace.SetResult(AskForSelect(numbers));
    LPOLESTR version = nullptr;
    trace.SetResult(m_pScan->getFirmwareVersion(&version));
    CPropertySet properties;
    AddRows(properties, RootRows(), {.numbers = numbers, .text = version});
    CoTaskMemFree(version);
    if (FAILED(trace.SetResult(properties.GetError()).GetResult()))
        return trace.GetResult();
    m_bRootBuilt = TRUE;
    return trace.SetResult(properties.Commit(item)).GetResult();
}

// Asks for the plainest source that the device takes: the flatbed, or the feeder where there is
// nothing else. It is no preview: the property that would say so is only being made. A failure
// shows in the answers that follow.
HRESULT CNVwiaMiniDrv::AskForSources(std::span<LONG> numbers) {
    DWORD only = kHasFlatbed;
    bool chosen = false;
    m_pScan->isSheetFedOnly(&only);
    m_pScan->getUseXpa(&chosen);
    ScanSource source;
    source.useADF = only == kSheetFedOnly;
    HRESULT hr = m_pScan->firstScanInit(&source);
    // That was no client's choice, and takes none back.
    if (!source.useADF)
        m_pScan->setUseXpa(chosen);
    bool ready = false;
    bool hasAdf = false;
    bool hasXpa = false;
    bool useXpa = false;
    hr = m_pScan->adfReady(&ready);
    hr = m_pScan->hasAdf(&hasAdf);
    hr = m_pScan->hasXpa(&hasXpa);
    hr = m_pScan->getUseXpa(&useXpa);
    numbers[kHasFeeder] = hasAdf;
    numbers[kFeederReady] = hasAdf && ready;
    numbers[kAdapterChosen] = hasXpa && useXpa;
    return hr;
}

// Lengths come in 1/300 inch and go out in 1/1000 inch. The members are left with the area of the
// feeder, if there is paper in it: the sheet's size is that of what lies there.
HRESULT CNVwiaMiniDrv::AskForAreas(std::span<LONG> numbers) {
    constexpr WORD kFirstMedia = 0;
    const auto ask = [this](bool xpa, bool adf) {
        DWORD width = 0;
        DWORD height = 0;
        HRESULT hr = m_pScan->getMaxWidth(xpa, kFirstMedia, adf, &width);
        hr = m_pScan->getMaxHeight(xpa, kFirstMedia, adf, &height);
        m_lBedWidth = ThousandthsOf(width);
        m_lBedHeight = ThousandthsOf(height);
        return hr;
    };
    HRESULT hr = ask(numbers[kAdapterChosen] != 0, false);
    numbers[kBedWidth] = m_lBedWidth;
    numbers[kBedHeight] = m_lBedHeight;
    if (numbers[kFeederReady])
        hr = ask(false, true);
    if (numbers[kHasFeeder]) {
        numbers[kSheetWidth] = m_lBedWidth;
        numbers[kSheetHeight] = m_lBedHeight;
    }
    DWORD optical = 0;
    hr = m_pScan->getOpticalResolution(&optical);
    numbers[kOptical] = Clamp(optical, 0, std::numeric_limits<LONG>::max());
    return hr;
}

// Duplex is offered where software may ask for it; the status tells it also where a switch decides.
HRESULT CNVwiaMiniDrv::AskForSelect(std::span<LONG> numbers) {
    DWORD only = kHasFlatbed;
    bool duplex = false;
    bool canRequest = false;
    HRESULT hr = m_pScan->isSheetFedOnly(&only);
    hr = m_pScan->getDuplexEnabled(&duplex);
    m_pScan->canRequestDuplex(&canRequest);
    LONG& bits = numbers[kSelectBits];
    numbers[kSelect] = bits = FLATBED;
    if (only == kSheetFedOnly)
        numbers[kSelect] = bits = FEEDER;
    else if (only == kHasFlatbed && numbers[kHasFeeder])
        bits |= FEEDER;
    if ((bits & FEEDER) && canRequest)
        bits |= DUPLEX;
    numbers[kStatus] = FLAT_READY;
    if (numbers[kFeederReady])
        numbers[kStatus] = duplex ? FEED_READY | DUP_READY : FEED_READY;
    return hr;
}
