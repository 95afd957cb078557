// Scanning: one call of the driver for a page.
#include "engine/private_properties.h"
#include "service/device_session.h"
#include "service/page_count.h"
#include "service/transfer.h"

namespace {

std::optional<LONG> NumberOf(const CPropertyStore& store, PROPID id) {
    PropertyValue value;
    const LONG* number =
        store.Read(id, value, nullptr) == S_OK ? std::get_if<LONG>(&value) : nullptr;
    return number ? std::optional(*number) : std::nullopt;
}

}  // namespace

// The settings go to the driver ahead of each page: its own state may be another client's since the
// last one. Whatever happens, the sink is out of the driver's reach behind this.
ScanStatus CDeviceSession::ScanPage(CItemContext& item, int page, const ScanOptions& options,
                                    IScanSink& sink) {
    ComPtr<CTransfer> transfer;
    transfer.Attach(new CTransfer(sink, page, {m_caller.cancel, options.cancel}, options.input));
    ScanStatus status = transfer->Prepare(item.Handle());
    if (status.Ok()) {
        const ScanStatus driver = Call(item, {}, [&](BYTE* context, LONG* deviceError) {
            IWiaMiniDrv* const imaging = m_use.driver->Imaging();
            const HRESULT hr =
                imaging->drvWriteItemProperties(context, 0, transfer->Context(), deviceError);
            return FAILED(hr) && hr != E_NOTIMPL
                       ? hr
                       : imaging->drvAcquireItemData(context, 0, transfer->Context(), deviceError);
        });
        // A driver without the property has no way to tell.
        const auto result = NumberOf(m_use.items->Root()->Store(), QL_PROP_PAGE_RESULT);
        status = transfer->Finish(driver, result.value_or(S_OK));
    }
    transfer->Close();
    return status;
}

// A feeder that is found empty behind the first page is how a job ends, not a failure.
ScanStatus CDeviceSession::Scan(const std::string& name, const ScanOptions& options,
                                IScanSink& sink, int& scanned) {
    scanned = 0;
    const CCallGate::Hold hold(m_host->Gate(), options.refusesOthers ? CCallGate::Others::TurnedAway
                                                                     : CCallGate::Others::Wait);
    if (!hold)
        return StatusOf(WIA_ERROR_BUSY, Device().name);
    ItemContextPtr item;
    if (ScanStatus status = FindItem(name, item); !status.Ok())
        return status;
    if ((item->Flags() & WiaItemTypeFolder) != 0)
        return {E_INVALIDARG, ShownItemName(item->Name()) + ": holds no image"};
    const CPropertyStore& root = m_use.items->Root()->Store();
    const int wanted =
        PagesOfScan(NumberOf(root, WIA_DPS_DOCUMENT_HANDLING_SELECT),
                    NumberOf(root, WIA_DPS_PREVIEW), NumberOf(root, WIA_DPS_PAGES), options.pages);
    for (int page = 1; wanted == 0 || page <= wanted; ++page) {
        if (CancelFlags{m_caller.cancel, options.cancel}.IsSet())
            return CancelledScan();
        ScanStatus status = ScanPage(*item, page, options, sink);
        if (IsEmptyFeeder(status.code) && page > 1)
            break;
        if (status.code != S_OK)
            return status;
        ++scanned;
    }
    return {};
}
