// The service's entries to validation: which rules a written property sets off, and those rules
// that choose the source or the form in which the image is delivered.
//
// A rule that refuses doesn't undo what was written before it. The service takes a refused call
// back as a whole, and validates the values that stood before once more, which brings the driver
// and the controller back to them.
#include <iterator>

#include "diag/debug_dump.h"
#include "diag/function_trace.h"
#include "engine/item_properties.h"
#include "frontend/item_values.h"
#include "frontend/mini_driver.h"
#include "frontend/task_memory.h"
#include "frontend/validation_call.h"
#include "platform/text.h"

namespace {

// Properties that rules look at beside those that were written.
PROPID g_extraIds[] = {WIA_IPA_BITS_PER_CHANNEL, WIA_DPS_DOCUMENT_HANDLING_SELECT,
                       WIA_DPS_DOCUMENT_HANDLING_STATUS};
PROPID g_feederIds[] = {WIA_DPS_DOCUMENT_HANDLING_STATUS, WIA_DPS_DOCUMENT_HANDLING_SELECT};

// The values of a list of properties, for the dumps. Zeroed, as a service may leave out what it
// can't read.
class ListedValues {
  public:
    explicit ListedValues(ULONG count)
        : m_values(AllocateTaskArray<PROPVARIANT>(count)), m_count(m_values ? count : 0) {
        for (ULONG i = 0; i < m_count; ++i)
            m_values[i] = {};
    }
    ~ListedValues() {
        for (ULONG i = 0; i < m_count; ++i)
            PropVariantClear(&m_values[i]);
    }
    ListedValues(const ListedValues&) = delete;
    ListedValues& operator=(const ListedValues&) = delete;

    explicit operator bool() const { return m_values != nullptr; }
    PROPVARIANT* Get() { return m_values.get(); }
    const PROPVARIANT& operator[](ULONG i) const { return m_values[i]; }

  private:
    const TaskArray<PROPVARIANT> m_values;
    const ULONG m_count;
};

// The context of the item that is scanned, by way of the tree.
HRESULT FindTopItem(BYTE* rootContext, BYTE** topContext) {
    ComPtr<IWiaDrvItem> root;
    ComPtr<IWiaDrvItem> top;
    HRESULT hr = wiasGetDrvItem(rootContext, root.Out());
    if (SUCCEEDED(hr))
        hr = root->GetFirstChildItem(top.Out());
    if (FAILED(hr) || !top)
        return FAILED(hr) ? hr : E_INVALIDARG;
    BSTR name = nullptr;
    hr = top->GetFullItemName(&name);
    const TaskText fullName(name);
    return FAILED(hr) ? hr : wiasGetContextFromName(rootContext, 0, name, topContext);
}

// Rules run on the item that was written, and the selects are the root's.
bool IsRoot(BYTE* context) {
    BYTE* root = nullptr;
    return SUCCEEDED(wiasGetRootItem(context, &root)) && root == context;
}

// What the medium and the format of an image are. Two pairs make sense: a bitmap in memory on the
// callback, a bitmap in a file.
HRESULT ReadMedium(BYTE* item, LONG* tymed, GUID* format) {
    const HRESULT hr = wiasReadPropGuid(item, WIA_IPA_FORMAT, format, nullptr, TRUE);
    return FAILED(hr) ? hr : ReadItemLong(item, WIA_IPA_TYMED, tymed);
}

// A bitmap in memory alone has a size that is known ahead of the scan. What can't be told is 0, so
// that no older size is left.
HRESULT UpdateItemSize(BYTE* item) {
    LONG tymed = 0;
    GUID format = GUID_NULL;
    MINIDRV_TRANSFER_CONTEXT transfer = {};
    HRESULT hr = ReadMedium(item, &tymed, &format);
    if (SUCCEEDED(hr) && tymed == TYMED_CALLBACK && format == WiaImgFmt_MEMORYBMP)
        hr = wiasGetImageInformation(item, WIA_INIT_CONTEXT_1, &transfer);
    const HRESULT written =
        wiasWritePropLong(item, WIA_IPA_ITEM_SIZE, SUCCEEDED(hr) ? transfer.lItemSize : 0);
    return FAILED(hr) ? hr : written;
}

}  // namespace

// ---- The service's entries

// The service's own check of valid values runs here for a single property; a longer list has been
// checked before it came. Single or not, the last rule that ran decides over the call, so that a
// client may write a set of values of which some don't fit on the way.
HRESULT CNVwiaMiniDrv::drvValidateItemProperties(BYTE* pWiasContext, LONG, ULONG nPropSpec,
                                                 const PROPSPEC* pPropSpec, LONG* plDevErrVal) {
    CFunctionTrace trace("CNVwiaMiniDrv::drvValidateItemProperties");
    if (!pWiasContext || !pPropSpec || !plDevErrVal || nPropSpec == 0)
        return trace.SetResult(E_INVALIDARG).GetResult();
    *plDevErrVal = 0;
    if (!m_pScan || !m_pEngine)
        return trace.SetResult(E_FAIL).GetResult();
    ListedValues values(nPropSpec);
    if (!values)
        return trace.SetResult(E_OUTOFMEMORY).GetResult();
    if (FAILED(wiasReadMultiple(pWiasContext, nPropSpec, pPropSpec, values.Get(), nullptr)))
        m_pLog->Format(kLogInformation,
                       "drvValidateItemProperties: wiasReadMultiple failed nPropSpec %d",
                       nPropSpec);
    ValidationCall call;
    call.written = {pPropSpec, nPropSpec};
    if (FAILED(wiasCreatePropContext(nPropSpec, const_cast<PROPSPEC*>(pPropSpec),
                                     static_cast<ULONG>(std::size(g_extraIds)), g_extraIds,
                                     &call.context)))
        m_pLog->Write(kLogInformation, "drvValidateItemProperties: wiasCreatePropContext failed");
    for (ULONG i = 0; i < nPropSpec; ++i) {
        DumpPropSpec(*m_pLog, pPropSpec[i], values[i], static_cast<LONG>(i));
        if (nPropSpec == 1) {
            trace.SetResult(wiasValidateItemProperties(pWiasContext, 1, pPropSpec));
            const bool passed = SUCCEEDED(trace.GetResult());
            m_pLog->Format(
                kLogInformation,
                passed ? "validate: %d: %d Val %7d" : "pre-validate failed: %d: %d Val %7d", i,
                pPropSpec[i].propid, values[i].lVal);
            if (!passed)
                break;
        }
        if (pPropSpec[i].ulKind == PRSPEC_PROPID)
            RunRules(trace, pWiasContext, pPropSpec[i].propid, call);
    }
    wiasFreePropContext(&call.context);
    // No later rule makes up for a window of nothing, or for colours that aren't there.
    if (call.emptyWindow)
        trace.SetResult(kNothingToScan);
    if (call.lacksColors)
        trace.SetResult(kNoPaletteColors);
    if (FAILED(trace.GetResult()))
        m_pLog->Write(kLogInformation, "drvValidateItemProperties: failure: ");
    else
        HandOverScanItem(pWiasContext);
    ReleaseUnlessFeeding();
    return trace.GetResult();
}

// The result is that of the last rule that ran; without one it stays. A row's rules stop at the
// first that fails.
void CNVwiaMiniDrv::RunRules(CFunctionTrace& trace, BYTE* item, PROPID id, ValidationCall& call) {
    using Rule = HRESULT (CNVwiaMiniDrv::*)(BYTE*, ValidationCall&);
    using Driver = CNVwiaMiniDrv;
    struct Row {
        PROPID id;
        Rule rules[4];            // each runs if the one before it has succeeded
        const char* failedRules;  // for the log; null where the rules tell it themselves
    };
#define NVQ_FAILED(rule) "drvValidateItemProperties: " rule " failed"
    // clang-format off
    static constexpr Row kRows[] = {
        {WIA_IPS_CUR_INTENT, {&Driver::ValidateIntent, &Driver::ValidateResolution, &Driver::ValidateExtents, &Driver::ValidateImageSize}, NVQ_FAILED("ValidateIntent")},
        {WIA_IPA_DATATYPE, {&Driver::ValidateDataType, &Driver::ValidateImageSize}, NVQ_FAILED("ValidateDataType")},
        {WIA_IPA_DEPTH, {&Driver::ValidateDepth, &Driver::ValidateImageSize}, NVQ_FAILED("ValidateDataType")},
        {WIA_IPA_CHANNELS_PER_PIXEL, {&Driver::ValidateDataType, &Driver::ValidateImageSize}, NVQ_FAILED("ValidateDataType")},
        {QL_PROP_SCANNER_CHANNEL, {&Driver::ValidateChannel, &Driver::ValidateImageSize}, NVQ_FAILED("ValidateDataType")},
        {QL_PROP_PALETTE, {&Driver::ValidatePalette, &Driver::ValidateChannel, &Driver::ValidateImageSize}, NVQ_FAILED("ValidatePalette")},
        {QL_PROP_PALETTE_COLORS, {&Driver::ValidatePalette}, NVQ_FAILED("ValidatePalette")},
        {WIA_IPA_BITS_PER_CHANNEL, {&Driver::ValidateBPC, &Driver::ValidateImageSize}, NVQ_FAILED("ValidateBPC")},
        {WIA_IPS_XRES, {&Driver::ValidateResolution, &Driver::ValidateExtents, &Driver::ValidateImageSize}, NVQ_FAILED("ValidateResolution")},
        {WIA_IPS_YRES, {&Driver::ValidateResolution, &Driver::ValidateExtents, &Driver::ValidateImageSize}, NVQ_FAILED("ValidateResolution")},
        {WIA_IPS_XPOS, {&Driver::ValidateExtents, &Driver::ValidateImageSize}, NVQ_FAILED("ValidateExtents")},
        {WIA_IPS_YPOS, {&Driver::ValidateExtents, &Driver::ValidateImageSize}, NVQ_FAILED("ValidateExtents")},
        {WIA_IPS_XEXTENT, {&Driver::ValidateExtents, &Driver::ValidateImageSize}, NVQ_FAILED("ValidateExtents")},
        {WIA_IPS_YEXTENT, {&Driver::ValidateExtents, &Driver::ValidateImageSize}, NVQ_FAILED("ValidateExtents")},
        {WIA_IPA_PIXELS_PER_LINE, {&Driver::ValidateImageSize}, NVQ_FAILED("ValidateImageSize")},
        {WIA_IPA_BYTES_PER_LINE, {&Driver::ValidateImageSize}, NVQ_FAILED("ValidateImageSize")},
        {WIA_IPA_NUMBER_OF_LINES, {&Driver::ValidateImageSize}, NVQ_FAILED("ValidateImageSize")},
        {QL_PROP_ROTATION, {&Driver::ValidateImageSize}, NVQ_FAILED("ValidateImageSize")},
        {WIA_DPS_DOCUMENT_HANDLING_SELECT, {&Driver::ValidateSelect, &Driver::RebuildForSelect}, nullptr},
        {QL_PROP_TMA_SELECT, {&Driver::ValidateTMA, &Driver::RebuildForAdapter}, nullptr},
        {WIA_IPA_ICM_PROFILE_NAME, {&Driver::ValidateProfileName}, nullptr},
        {WIA_IPA_ITEM_SIZE, {&Driver::ValidateItemSize}, nullptr},
        {WIA_IPA_TYMED, {&Driver::ValidateTymed}, nullptr},
        {WIA_IPA_FORMAT, {&Driver::ValidateFormat}, nullptr},
    };
    // clang-format on
#undef NVQ_FAILED
    for (const Row& row : kRows) {
        if (row.id != id)
            continue;
        for (const Rule rule : row.rules) {
            if (!rule)
                break;
            if (SUCCEEDED(trace.SetResult((this->*rule)(item, call)).GetResult()))
                continue;
            if (row.failedRules)
                m_pLog->Write(kLogInformation, row.failedRules);
            break;
        }
    }
}

// The settings of a scan are read by way of the item that is scanned, whichever was written. Its
// size follows from what the rules have left there.
void CNVwiaMiniDrv::HandOverScanItem(BYTE* item) {
    BYTE* scanned = item;
    if (IsRoot(item) && (!m_bTopBuilt || FAILED(FindTopItem(item, &scanned))))
        return;
    UpdateItemSize(scanned);
    HandOverSettings(scanned);
}

// Values are the service's; this only brings those up to date that change without a write.
HRESULT CNVwiaMiniDrv::drvReadItemProperties(BYTE* pWiasContext, LONG, ULONG nPropSpec,
                                             const PROPSPEC* pPropSpec, LONG* plDevErrVal) {
    CFunctionTrace trace("CNVwiaMiniDrv::drvReadItemProperties");
    if (!pWiasContext || !pPropSpec || !plDevErrVal)
        return trace.SetResult(E_INVALIDARG).GetResult();
    *plDevErrVal = 0;
    if (!m_pScan)
        return trace.SetResult(E_FAIL).GetResult();
    ListedValues values(nPropSpec);
    if (!values)
        return trace.SetResult(E_OUTOFMEMORY).GetResult();
    if (FAILED(wiasReadMultiple(pWiasContext, nPropSpec, pPropSpec, values.Get(), nullptr)))
        m_pLog->Format(kLogInformation, "wiasReadMultiple failed nPropSpec %d", nPropSpec);
    for (ULONG i = 0; i < nPropSpec; ++i) {
        DumpPropSpec(*m_pLog, pPropSpec[i], values[i], static_cast<LONG>(i));
        if (pPropSpec[i].ulKind == PRSPEC_PROPID)
            Refresh(trace, pWiasContext, pPropSpec[i].propid);
    }
    return trace.GetResult();
}

// Brings a value up to date that only the device or the other properties know.
void CNVwiaMiniDrv::Refresh(CFunctionTrace& trace, BYTE* item, PROPID id) {
    switch (id) {
        case WIA_DPA_CONNECT_STATUS:
            trace.SetResult(wiasWritePropLong(item, id, WIA_DEVICE_CONNECTED));
            break;
        case WIA_DPS_DOCUMENT_HANDLING_STATUS:
        case WIA_DPS_DOCUMENT_HANDLING_SELECT: {
            ValidationCall call;
            wiasCreatePropContext(0, nullptr, static_cast<ULONG>(std::size(g_feederIds)),
                                  g_feederIds, &call.context);
            trace.SetResult(ValidateADF(item, call));
            wiasFreePropContext(&call.context);
            break;
        }
        case WIA_IPA_ITEM_SIZE:
            trace.SetResult(UpdateItemSize(item));
            break;
        default:
            break;
    }
}

// ---- The source

// Feeder, flatbed or both sides from the feeder: one of them. The adapter takes the flatbed's place
// and goes when the feeder comes.
HRESULT CNVwiaMiniDrv::ValidateSelect(BYTE* item, ValidationCall& call) {
    LONG select = 0;
    ReadRootLong(item, WIA_DPS_DOCUMENT_HANDLING_SELECT, &select);
    if (select == (FEEDER | DUPLEX)) {
        select = DUPLEX;
        WriteRootLong(item, WIA_DPS_DOCUMENT_HANDLING_SELECT, select);
    }
    if (select != FLATBED && !IsFeederChosen(select))
        return E_INVALIDARG;
    if (IsFeederChosen(select))
        WriteRootLong(item, QL_PROP_TMA_SELECT, 0);
    FollowSelects(item);
    return ValidateADF(item, call);
}

// What the two selects come to outside of the properties: the controller's adapter, and a feeder
// that is given up. It goes by both, whichever was written: when a write is taken back, its rule
// runs for the values that stood before, and must find the way back to the source that the other
// select still names.
HRESULT CNVwiaMiniDrv::FollowSelects(BYTE* item) {
    LONG select = 0;
    LONG adapter = 0;
    DWORD only = kHasFlatbed;
    bool use = false;
    ReadRootLong(item, WIA_DPS_DOCUMENT_HANDLING_SELECT, &select);
    ReadRootLong(item, QL_PROP_TMA_SELECT, &adapter);
    m_pScan->isSheetFedOnly(&only);
    const bool feeder = IsFeederChosen(select);
    m_pScan->setUseXpa(!feeder && only != kSheetFedOnly && adapter != 0);
    m_pScan->getUseXpa(&use);
    if (!feeder) {
        m_bFeederEmpty = false;
        m_pScan->releaseScanner();
    }
    return WriteRootLong(item, QL_PROP_TMA_SELECT, use);
}

// What the device can't tell stands in the exit line alone: the source is chosen all the same.
HRESULT CNVwiaMiniDrv::ValidateADF(BYTE* item, ValidationCall&) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateADF");
    LONG select = 0;
    trace.SetResult(ReadRootLong(item, WIA_DPS_DOCUMENT_HANDLING_SELECT, &select));
    if (!IsFeederChosen(select))
        return trace.GetResult();
    bool has = false;
    bool ready = false;
    if (FAILED(trace.SetResult(m_pScan->hasAdf(&has)).GetResult()) ||
        FAILED(trace.SetResult(m_pScan->adfReady(&ready)).GetResult()))
        return S_OK;
    m_pLog->Format(kLogInformation, "DocSelect FEEDER adfReady %d", ready);
    if (ready)
        m_bFeederEmpty = false;
    trace.SetResult(WriteRootLong(item, WIA_DPS_SHOW_PREVIEW_CONTROL, 1));
    trace.SetResult(
        WriteRootLong(item, WIA_DPS_DOCUMENT_HANDLING_STATUS, ready ? FEED_READY : FLAT_READY));
    return trace.GetResult();
}

// A request that the controller refuses, or that there is no adapter for, shows in the property.
// A choice that counts puts the feeder away, as the two can't be had at once.
HRESULT CNVwiaMiniDrv::ValidateTMA(BYTE* item, ValidationCall&) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateTMA");
    bool has = false;
    if (FAILED(trace.SetResult(m_pScan->hasXpa(&has)).GetResult()))
        return S_OK;
    DWORD only = kHasFlatbed;
    LONG asked = 0;
    trace.SetResult(ReadRootLong(item, QL_PROP_TMA_SELECT, &asked));
    m_pScan->isSheetFedOnly(&only);
    if (asked != 0 && has && only != kSheetFedOnly)
        WriteRootLong(item, WIA_DPS_DOCUMENT_HANDLING_SELECT, FLATBED);
    return trace.SetResult(FollowSelects(item)).GetResult();
}

// The two differ in what the log says when the item can't be found.
HRESULT CNVwiaMiniDrv::RebuildForSelect(BYTE* item, ValidationCall&) {
    return RebuildTopItem(item, "drvValidateItemProperties: wiasGetContextFromName failed");
}

HRESULT CNVwiaMiniDrv::RebuildForAdapter(BYTE* item, ValidationCall&) {
    return RebuildTopItem(item, "drvValidateItemProperties: ValidateTMA failed");
}

// Limits, resolutions and default sizes belong to a source: all of the scanned item is made anew,
// and what a client had written there before is gone.
HRESULT CNVwiaMiniDrv::RebuildTopItem(BYTE* item, const char* notFound) {
    if (!m_bTopBuilt)
        return S_OK;
    BYTE* top = nullptr;
    const HRESULT hr = FindTopItem(item, &top);
    if (FAILED(hr)) {
        m_pLog->Write(kLogInformation, notFound);
        return hr;
    }
    // A source that can't be had now is no choice.
    return BuildTopItemProperties(top);
}

// ---- Form of the image

// The engine's output is sRGB; no other profile would be true.
HRESULT CNVwiaMiniDrv::ValidateProfileName(BYTE* item, ValidationCall&) {
    BSTR read = nullptr;
    const HRESULT hr = wiasReadPropStr(item, WIA_IPA_ICM_PROFILE_NAME, &read, nullptr, TRUE);
    const TaskText name(read);
    if (FAILED(hr)) {
        m_pLog->Write(kLogInformation,
                      "drvValidateItemProperties: WIA_IPA_ICM_PROFILE_NAME failed");
        return hr;
    }
    return ViewText(read) == kColorProfileName ? S_OK : E_INVALIDARG;
}

// The driver's own business, whatever was written there.
HRESULT CNVwiaMiniDrv::ValidateItemSize(BYTE* item, ValidationCall& call) {
    const HRESULT hr = ValidateTymed(item, call);
    UpdateItemSize(item);
    wiasSetPropChanged(WIA_IPA_ITEM_SIZE, &call.context, TRUE);
    return hr;
}

// A bitmap in memory is for the callback, one with a file's header for a file.
HRESULT CNVwiaMiniDrv::ValidateTymed(BYTE* item, ValidationCall& call) {
    LONG tymed = 0;
    GUID format = GUID_NULL;
    HRESULT hr = ReadMedium(item, &tymed, &format);
    if (FAILED(hr))
        return hr;
    const GUID& impossible = tymed == TYMED_CALLBACK ? WiaImgFmt_BMP : WiaImgFmt_MEMORYBMP;
    if (format != impossible)
        return hr;
    hr = wiasWritePropGuid(item, WIA_IPA_FORMAT,
                           tymed == TYMED_CALLBACK ? WiaImgFmt_MEMORYBMP : WiaImgFmt_BMP);
    wiasSetPropChanged(WIA_IPA_FORMAT, &call.context, TRUE);
    return hr;
}

// A format by itself takes the medium along. Where both were written, the medium decides.
HRESULT CNVwiaMiniDrv::ValidateFormat(BYTE* item, ValidationCall& call) {
    LONG tymed = 0;
    GUID format = GUID_NULL;
    if (call.Wrote(WIA_IPA_TYMED))
        return ValidateTymed(item, call);
    HRESULT hr = ReadMedium(item, &tymed, &format);
    if (FAILED(hr))
        return hr;
    hr = wiasWritePropLong(item, WIA_IPA_TYMED,
                           format == WiaImgFmt_BMP ? TYMED_FILE : TYMED_CALLBACK);
    wiasSetPropChanged(WIA_IPA_TYMED, &call.context, TRUE);
    return hr;
}
