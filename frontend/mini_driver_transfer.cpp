// The service's request for a page, and the scan preparation, which validation runs as well.
#include "diag/debug_dump.h"
#include "diag/function_trace.h"
#include "engine/item_properties.h"
#include "frontend/item_properties.h"
#include "frontend/item_values.h"
#include "frontend/mini_driver.h"
#include "frontend/page_transfer.h"

namespace {

constexpr DWORD kScanBits = 8;  // a sample, whatever the item's depth

// The parts of the window, and where the controller wants them.
constexpr struct {
    PROPID id;
    LONG GeomControl::*field;
    LONG GeomControl::*again;
} kWindow[] = {
    {WIA_IPS_XPOS, &GeomControl::xPos, nullptr},
    {WIA_IPS_YPOS, &GeomControl::yPos, nullptr},
    {WIA_IPS_XEXTENT, &GeomControl::xExtent, &GeomControl::xExtent2},
    {WIA_IPS_YEXTENT, &GeomControl::yExtent, &GeomControl::yExtent2},
    {WIA_IPS_XRES, &GeomControl::xRes, nullptr},
    {WIA_IPS_YRES, &GeomControl::yRes, nullptr},
};

}  // namespace

// The value stays as it is when there is none.
HRESULT CNVwiaMiniDrv::ReadRootLong(BYTE* pWiasContext, PROPID id, LONG* value) {
    BYTE* root = nullptr;
    const HRESULT hr = wiasGetRootItem(pWiasContext, &root);
    if (FAILED(hr))
        return hr;
    LONG read = 0;
    const HRESULT result = ReadItemLong(root, id, &read);
    if (result == S_OK)
        *value = read;
    return result;
}

HRESULT CNVwiaMiniDrv::WriteRootLong(BYTE* pWiasContext, PROPID id, LONG value) {
    BYTE* root = nullptr;
    const HRESULT hr = wiasGetRootItem(pWiasContext, &root);
    return FAILED(hr) ? hr : wiasWritePropLong(root, id, value);
}

// ---- The service's request

// One page a call; the service calls again for each page of a feeder job. A cancelled page gives
// the scanner up, since nobody knows whether the job goes on, and so does one that broke off or a
// feed that failed.
HRESULT CNVwiaMiniDrv::drvAcquireItemData(BYTE* pWiasContext, LONG, MINIDRV_TRANSFER_CONTEXT* pmdtc,
                                          LONG* plDevErrVal) {
    CFunctionTrace trace("CNVwiaMiniDrv::drvAcquireItemData");
    if (!pWiasContext || !pmdtc)
        return trace.SetResult(E_INVALIDARG).GetResult();
    if (plDevErrVal)
        *plDevErrVal = 0;
    if (FAILED(trace.SetResult(ValidateDataTransferContext(pmdtc)).GetResult()))
        return trace.GetResult();
    if (!m_pScan || !m_pEngine || !m_pImageStream)
        return trace.SetResult(E_FAIL).GetResult();
    if (FAILED(trace.SetResult(LookForPaper(pWiasContext)).GetResult()))
        return trace.GetResult();
    DumpTransferContext(*m_pLog, *pmdtc);
    m_pImageStream->Reset(m_pEngine.get());
    // The engine has the settings of whatever was validated last, which may be another item.
    HandOverSettings(pWiasContext);
    trace.SetResult(ScanItem(pWiasContext, pmdtc, plDevErrVal));
    if (trace.GetResult() == S_FALSE)
        m_pScan->releaseScanner();
    if (FAILED(trace.GetResult()))
        ReleaseUnlessFeeding();
    DumpTransferContext(*m_pLog, *pmdtc);
    return trace.GetResult();
}

// A feeder job ends with a call that finds the feeder spent. What the page before has told is
// enough for that; the device isn't asked.
HRESULT CNVwiaMiniDrv::LookForPaper(BYTE* pWiasContext) {
    LONG select = 0;
    ReadRootLong(pWiasContext, WIA_DPS_DOCUMENT_HANDLING_SELECT, &select);
    if (!IsFeederChosen(select)) {
        m_bFeederEmpty = false;
        return S_OK;
    }
    if (m_bFeederEmpty) {
        m_bFeederEmpty = false;
        WriteRootLong(pWiasContext, WIA_DPS_DOCUMENT_HANDLING_STATUS, FLAT_READY);
        return WIA_ERROR_PAPER_EMPTY;
    }
    bool ready = false;
    const HRESULT hr = m_pScan->adfReady(&ready);
    if (FAILED(hr))
        return hr;
    if (!ready)
        m_pScan->releaseScanner();
    return ready ? S_OK : WIA_ERROR_PAPER_EMPTY;
}

HRESULT CNVwiaMiniDrv::HandOverSettings(BYTE* item) {
    CItemProperties properties;
    const HRESULT hr = properties.Attach(item);
    return FAILED(hr) ? hr : m_pEngine->ReadItemSettings(&properties);
}

// ---- One page

// What is odd about the buffer is only told; see CPageTransfer::ReadRequest.
HRESULT CNVwiaMiniDrv::ValidateDataTransferContext(const MINIDRV_TRANSFER_CONTEXT* pmdtc) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateDataTransferContext");
    if (pmdtc->lSize != static_cast<LONG>(sizeof(*pmdtc))) {
        m_pLog->Write(kLogInformation, "MINIDRV_TRANSFER_CONTEXT size invalid");
        return trace.SetResult(E_INVALIDARG).GetResult();
    }
    if (pmdtc->tymed == TYMED_FILE && pmdtc->pTransferBuffer)
        m_pLog->Write(kLogInformation, "TYMED_FILE  && pTransferbuffer != NULL");
    if (pmdtc->tymed == TYMED_CALLBACK && !pmdtc->pTransferBuffer)
        m_pLog->Write(kLogInformation, "TYMED_CALLBACK && pTransferbuffer == NULL");
    return trace.GetResult();
}

// The preparation is run once more, as between validation and scan another client may have used
// the scanner. It reads and writes properties; the page behind it only reads some. A page is
// delivered to its end also when reading it failed on the way, so that is told beside it.
HRESULT CNVwiaMiniDrv::ScanItem(BYTE* pWiasContext, MINIDRV_TRANSFER_CONTEXT* pmdtc, LONG*) {
    CFunctionTrace trace("CNVwiaMiniDrv::ScanItem");
    CPageTransfer page(*m_pScan, *m_pEngine, *m_pImageStream.Get(), *m_pLog, *pmdtc);
    GeomControl geometry;
    DWORD scanPixelWidth = 0;
    DWORD scanLines = 0;
    WriteRootLong(pWiasContext, QL_PROP_PAGE_RESULT, S_OK);
    trace.SetResult(page.ReadRequest(pWiasContext));
    if (SUCCEEDED(trace.GetResult()))
        trace.SetResult(ValidateWidthHeight(pWiasContext, geometry, scanPixelWidth, scanLines));
    if (SUCCEEDED(trace.GetResult()))
        trace.SetResult(page.Measure(m_dwScanChannel, geometry, scanPixelWidth, scanLines));
    if (FAILED(trace.GetResult()))
        return trace.GetResult();
    m_pPage = &page;
    trace.SetResult(page.Run(m_bFeederEmpty));
    m_pPage = nullptr;
    WriteRootLong(pWiasContext, QL_PROP_PAGE_RESULT, page.ReadResult());
    if (FAILED(page.ReadResult()))
        m_pScan->releaseScanner();
    return trace.GetResult();
}

HRESULT CNVwiaMiniDrv::ImageCallback(std::uint32_t type, std::uint32_t, std::uint32_t percent,
                                     std::int32_t length, std::uint8_t* buffer) {
    CFunctionTrace trace("CNVwiaMiniDrv::ImageCallback");
    trace.SetResult(m_pPage ? m_pPage->TakeImage(type, percent, length, buffer) : E_INVALIDARG);
    return trace.GetResult();
}

// ---- Preparation

// What the root's properties choose holds only as far as the device can follow: no feeder without
// paper, unless there is nothing else, no second side that can't be asked for, no adapter that the
// controller hasn't been told of.
ScanSource CNVwiaMiniDrv::ResolveSource(BYTE* pWiasContext, LONG tmaDefault) {
    bool paper = false;
    bool hasAdf = false;
    bool hasXpa = false;
    bool useXpa = false;
    DWORD only = kHasFlatbed;
    m_pScan->adfReady(&paper);
    m_pScan->hasAdf(&hasAdf);
    m_pScan->hasXpa(&hasXpa);
    m_pScan->getUseXpa(&useXpa);
    m_pScan->isSheetFedOnly(&only);
    // A feeder that was loaded anew is no spent one any more.
    if (paper)
        m_bFeederEmpty = false;

    ScanSource source;
    LONG preview = 0;
    ReadRootLong(pWiasContext, WIA_DPS_PREVIEW, &preview);
    source.preview = preview != 0;
    const bool feederOnly = only == kSheetFedOnly;
    LONG select = 0;
    if (feederOnly || (hasAdf && paper)) {
        ReadRootLong(pWiasContext, WIA_DPS_DOCUMENT_HANDLING_SELECT, &select);
        source.useADF = feederOnly || IsFeederChosen(select);
    }
    bool canRequest = false;
    if (source.useADF && select == DUPLEX)
        m_pScan->canRequestDuplex(&canRequest);
    source.duplex = canRequest;
    // Beside a feeder that is all there is, an adapter can't be chosen.
    if (hasXpa && useXpa && !feederOnly) {
        LONG tma = tmaDefault;
        ReadRootLong(pWiasContext, QL_PROP_TMA_SELECT, &tma);
        source.useXPA = tma == 1;
    }
    LONG film = 0;
    if (source.useXPA)
        ReadItemLong(pWiasContext, QL_PROP_TMA_METHOD, &film);
    source.negative = film == 1;
    return source;
}

// Failures on the way to setGeomControl don't stop here: what the property's write answers decides.
HRESULT CNVwiaMiniDrv::ValidateWidthHeight(BYTE* pWiasContext, GeomControl& geometry,
                                           DWORD& scanPixelWidth, DWORD& scanLines) {
    CFunctionTrace trace("CNVwiaMiniDrv::ValidateWidthHeight");
    constexpr LONG kAdapterUnlessTold = 1;
    geometry = {};
    m_pScan->buildTonemap(nullptr);
    const ScanSource source = ResolveSource(pWiasContext, kAdapterUnlessTold);
    // A preview would be all that there ever is of a sheet that the feeder doesn't keep.
    if (source.preview && source.useADF && !m_pScan->keepsPreviewedSheet())
        return trace.SetResult(kSheetNotKept).GetResult();
    if (FAILED(trace.SetResult(m_pScan->firstScanInit(&source)).GetResult())) {
        m_pLog->Format(kLogInformation, "ValidateWidthHeight: firstScanInit failed hr %d",
                       trace.GetResult());
        return trace.GetResult();
    }
    trace.SetResult(m_pScan->getGeomControl(&geometry));
    for (const auto& part : kWindow) {
        LONG value = 0;
        trace.SetResult(ReadItemLong(pWiasContext, part.id, &value));
        geometry.*part.field = value;
        if (part.again)
            geometry.*part.again = value;
    }
    geometry.adjustX = 0;
    geometry.adjustY = 0;
    geometry.flag = 0;
    bool overscanned = false;
    DWORD scale = 0;
    trace.SetResult(m_pScan->setGeomControl(&geometry, 0, &overscanned, &scale));
    trace.SetResult(wiasWritePropLong(pWiasContext, kScaleProperty, static_cast<LONG>(scale)));
    if (SUCCEEDED(trace.GetResult()))
        trace.SetResult(HoldsPixels(geometry) ? SettleFormat(pWiasContext) : kNothingToScan);
    if (FAILED(trace.GetResult()))
        return trace.GetResult();
    trace.SetResult(m_pScan->secondScanInit(&scanPixelWidth, &scanLines));
    if (SUCCEEDED(trace.GetResult()))
        trace.SetResult(m_pScan->setScannerTonemap());
    if (FAILED(trace.GetResult()))
        m_pLog->Format(kLogInformation, "secondScanInit or setScannerTonemap failed hr %d",
                       trace.GetResult());
    return trace.GetResult();
}

// Device and band loop must agree on the lines: both go by what the controller has made of the
// item's channel at the resolution of this scan.
HRESULT CNVwiaMiniDrv::SettleFormat(BYTE* pWiasContext) {
    LONG channel = 0;
    LONG type = WIA_DATA_COLOR;
    ReadItemLong(pWiasContext, QL_PROP_SCANNER_CHANNEL, &channel);
    ReadItemLong(pWiasContext, WIA_IPA_DATATYPE, &type);
    DataFormat format = {static_cast<DWORD>(channel), kScanBits, 0};
    bool byTonemap = false;
    if (type == WIA_DATA_DITHER)
        m_pScan->isThresholdTonemap(&byTonemap);
    if (byTonemap)
        m_pScan->getThresholdValue(&format.threshold);
    HRESULT hr = m_pScan->resolveDataFormat(&format);
    if (SUCCEEDED(hr) && format.bits != kScanBits) {
        m_pLog->Format(kLogError,
                       "ValidateWidthHeight: the source gives %d bits a sample and no %d",
                       format.bits, kScanBits);
        hr = E_FAIL;
    }
    m_dwScanChannel = format.channel;
    return FAILED(hr) ? hr
                      : wiasWritePropLong(pWiasContext, QL_PROP_SCANNER_CHANNEL,
                                          KeptChannel(static_cast<DWORD>(channel), format.channel));
}
