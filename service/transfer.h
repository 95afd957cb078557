// The transfer of one page from a driver to a sink.
#pragma once

#include <atomic>

#include "engine/input_tap.h"
#include "platform/com_ptr.h"
#include "platform/counted.h"
#include "platform/wia.h"
#include "service/caller_watch.h"
#include "service/page_rows.h"
#include "service/scan_status.h"

// Owns the transfer context and, on the callback medium, the buffer; it is the driver's callback. A
// driver that keeps it beyond the transfer gets no answer but stop.
class CTransfer final : public CCounted<Face<IWiaMiniDrvCallBack, IID_IWiaMiniDrvCallBack>,
                                        Face<IQLInputTap, IID_IQLInputTap>> {
  public:
    // Bytes of the buffer on the callback medium: as the item's property asks, within these.
    static constexpr LONG kLeastBuffer = 65536;
    static constexpr LONG kMostBuffer = 256 * 1024 * 1024;

    // The sinks live as long as the transfer's owner says, up to Close. `input`, which gets the
    // page as the device delivers it, may be null.
    CTransfer(IScanSink& sink, int page, CancelFlags cancel, IScanSink* input);

    // Sizes and medium from the item behind `context`, and the buffer or the file's name.
    ScanStatus Prepare(BYTE* context);
    MINIDRV_TRANSFER_CONTEXT* Context() { return &m_context; }
    // What the page came to, from what the driver's call gave, and from what it says of the
    // reading of a page that it delivered: S_FALSE when it was cancelled.
    ScanStatus Finish(const ScanStatus& driverResult, HRESULT pageResult);
    // Nothing reaches the sink from here on.
    void Close();

    // It is a tap where somebody wants the input.
    HRESULT QueryInterface(REFIID asked, void** object) override;
    HRESULT InputBytes(const BYTE* bytes, DWORD count) override;

    HRESULT MiniDrvCallback(LONG reason, LONG status, LONG percent, LONG offset, LONG length,
                            MINIDRV_TRANSFER_CONTEXT* transfer, LONG reserved) override;

    // The file medium: the picture into the page's file.
    HRESULT SaveFile(const BYTE* bytes, DWORD size);

  private:
    ~CTransfer() override = default;
    // Runs what a driver's call asks for; S_FALSE when it must stop, for whatever reason.
    template <class Body>
    HRESULT Take(Body body);
    HRESULT TakeInput(const BYTE* bytes, DWORD count);
    // Known behind Prepare.
    bool IsFileMedium() const { return m_context.tymed == TYMED_FILE; }
    bool IsCancelled() const;
    ScanStatus EndPage(HRESULT pageResult);
    HRESULT TakeMessage(LONG reason, LONG percent, LONG offset, LONG length);
    HRESULT TakeData(LONG offset, LONG length);
    HRESULT TakeProgress(LONG percent);
    // Remembers what the driver did wrong, for the page's result.
    HRESULT Reject(const char* why);

    std::atomic<IScanSink*> m_sink;  // null behind Close
    const CancelFlags m_cancel;
    CPageRows m_rows;
    IScanSink* const m_inputSink;
    CPageRows m_input;  // into m_inputSink
    bool m_inputBegun = false;
    MINIDRV_TRANSFER_CONTEXT m_context = {};
    std::vector<BYTE> m_buffer;
    std::string m_file;
    bool m_fileSaved = false;
    bool m_stopped = false;    // the driver has been told to stop
    ULONGLONG m_received = 0;  // bytes of data messages
    LONG m_percent = 0;
    std::string m_fault;  // what the driver did wrong, or why the sink failed
    HRESULT m_faultCode = S_OK;
};

// The transfer whose context this is; empty if there is none under way.
ComPtr<CTransfer> FindTransfer(const MINIDRV_TRANSFER_CONTEXT* context);
