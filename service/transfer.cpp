#include "service/transfer.h"

#include <algorithm>
#include <map>
#include <mutex>

#include "platform/passing_file.h"

namespace {

// The transfers under way, by their contexts: a driver's write of a file names nothing else. Never
// destroyed, as a driver's thread may come late.
class CActiveTransfers {
  public:
    static CActiveTransfers& Instance() {
        static auto& transfers = *new CActiveTransfers;
        return transfers;
    }
    void Add(CTransfer* transfer) {
        const std::lock_guard guard(m_lock);
        m_transfers[transfer->Context()] = transfer;
    }
    void Remove(CTransfer* transfer) {
        const std::lock_guard guard(m_lock);
        m_transfers.erase(transfer->Context());
    }
    ComPtr<CTransfer> Find(const MINIDRV_TRANSFER_CONTEXT* context) {
        const std::lock_guard guard(m_lock);
        const auto found = m_transfers.find(context);
        return ComPtr<CTransfer>(found == m_transfers.end() ? nullptr : found->second);
    }

  private:
    std::mutex m_lock;
    std::map<const MINIDRV_TRANSFER_CONTEXT*, CTransfer*> m_transfers;
};

// A client's own code may throw, and this is called from inside the driver.
template <class Body>
bool Asked(Body body, std::string& fault) {
    try {
        return body();
    } catch (const std::exception& failure) {
        fault = std::string("the receiver of the page failed: ") + failure.what();
    } catch (...) {
        fault = "the receiver of the page failed";
    }
    return false;
}

}  // namespace

ComPtr<CTransfer> FindTransfer(const MINIDRV_TRANSFER_CONTEXT* context) {
    return CActiveTransfers::Instance().Find(context);
}

CTransfer::CTransfer(IScanSink& sink, int page, CancelFlags cancel, IScanSink* input)
    : m_sink(&sink),
      m_cancel(cancel),
      m_rows(sink, page),
      m_inputSink(input),
      m_input(input ? *input : sink, page) {}

// On the file medium the driver brings its own memory, and there is nothing to deliver into.
ScanStatus CTransfer::Prepare(BYTE* context) {
    HRESULT hr = wiasGetImageInformation(context, WIA_INIT_CONTEXT_1, &m_context);
    if (FAILED(hr))
        return StatusOf(hr, "the size of the picture can't be told");
    m_context.pIWiaMiniDrvCallBack = this;
    m_context.lPage = m_rows.Page().number;
    if (IsFileMedium()) {
        if (!Asked(
                [&] {
                    m_file = m_sink.load()->PageFile(m_context.lPage);
                    return true;
                },
                m_fault))
            return {E_FAIL, m_fault};
        if (m_file.empty())
            return {E_INVALIDARG, "a transfer to a file needs the file's name"};
        CActiveTransfers::Instance().Add(this);
        return {};
    }
    LONG bytes = kLeastBuffer;
    hr = wiasReadPropLong(context, WIA_IPA_MIN_BUFFER_SIZE, &bytes, nullptr, FALSE);
    if (FAILED(hr) || bytes > kMostBuffer)
        return {WIA_ERROR_INVALID_DRIVER_RESPONSE,
                "the driver wants a buffer of " + std::to_string(bytes) + " bytes"};
    m_buffer.resize(static_cast<std::size_t>(std::max(bytes, kLeastBuffer)));
    m_context.lBufferSize = static_cast<LONG>(m_buffer.size());
    m_context.lNumBuffers = 1;
    m_context.lActiveBuffer = 1;
    m_context.pBaseBuffer = m_buffer.data();
    m_context.pTransferBuffer = m_buffer.data();
    m_context.bTransferDataCB = TRUE;
    m_context.bClassDrvAllocBuf = TRUE;
    CActiveTransfers::Instance().Add(this);
    return {};
}

void CTransfer::Close() {
    CActiveTransfers::Instance().Remove(this);
    m_sink = nullptr;
}

bool CTransfer::IsCancelled() const {
    return m_stopped || m_cancel.IsSet();
}

// What went wrong here goes ahead of a cancel, and both ahead of what the driver says: it only
// knows that it was told to stop. A page that the scanner broke off goes to its receivers as far as
// it came, and is a failure whatever they say to it.
ScanStatus CTransfer::Finish(const ScanStatus& driverResult, HRESULT pageResult) {
    if (!m_fault.empty())
        return {m_faultCode, m_fault};
    if (IsCancelled() || driverResult.code == S_FALSE)
        return CancelledScan();
    if (!driverResult.Ok())
        return driverResult;
    bool goOn = true;
    if (m_inputBegun) {
        ScanPage page = m_input.Page();
        page.result = pageResult;
        goOn = Asked([&] { return m_inputSink->EndPage(page); }, m_fault);
    }
    if (goOn) {
        const ScanStatus ended = EndPage(pageResult);
        if (!ended.Ok())
            return ended;
        goOn = ended.code == S_OK;
    }
    if (!m_fault.empty())
        return {E_FAIL, m_fault};
    if (FAILED(pageResult))
        return StatusOf(pageResult, "page " + std::to_string(m_context.lPage) + " broke off");
    return goOn ? ScanStatus{} : CancelledScan();
}

// S_FALSE when the sink wants no more, or failed.
ScanStatus CTransfer::EndPage(HRESULT pageResult) {
    bool goOn = true;
    if (IsFileMedium()) {
        if (!m_fileSaved)
            return {WIA_ERROR_INVALID_DRIVER_RESPONSE, "the driver delivered no picture"};
        ScanPage page = m_rows.Page();
        page.file = m_file;
        page.result = pageResult;
        goOn = Asked([&] { return m_sink.load()->EndPage(page); }, m_fault);
    } else {
        auto result = CPageRows::Result::Stop;
        goOn = Asked(
            [&] {
                result = m_rows.Finish(pageResult);
                return result == CPageRows::Result::GoOn;
            },
            m_fault);
        if (result == CPageRows::Result::Nonsense)
            return {WIA_ERROR_INVALID_DRIVER_RESPONSE, "the driver left rows of the picture out"};
    }
    return {goOn ? S_OK : S_FALSE, {}};
}

// The driver is asked to stop; what it sends from now on goes nowhere.
HRESULT CTransfer::Reject(const char* why) {
    m_stopped = true;
    m_faultCode = WIA_ERROR_INVALID_DRIVER_RESPONSE;
    m_fault = why;
    return S_FALSE;
}

// Every way out is a result: nothing is thrown into the driver.
template <class Body>
HRESULT CTransfer::Take(Body body) {
    HRESULT hr = S_OK;
    const bool goOn = Asked(
        [&] {
            hr = body();
            return true;
        },
        m_fault);
    if (!goOn)
        m_faultCode = E_FAIL;
    if (!goOn || hr == S_FALSE)
        m_stopped = true;
    return goOn ? hr : S_FALSE;
}

HRESULT CTransfer::MiniDrvCallback(LONG reason, LONG, LONG percent, LONG offset, LONG length,
                                   MINIDRV_TRANSFER_CONTEXT* transfer, LONG) {
    if (!m_sink || IsCancelled())
        return S_FALSE;
    if (transfer ? transfer != &m_context : reason == IT_MSG_DATA)
        return E_INVALIDARG;
    return Take([&] { return TakeMessage(reason, percent, offset, length); });
}

HRESULT CTransfer::QueryInterface(REFIID asked, void** object) {
    if (!object || asked != IID_IQLInputTap || m_inputSink)
        return CCounted::QueryInterface(asked, object);
    *object = nullptr;
    return E_NOINTERFACE;
}

// The driver hears of a stop with its next message: here it doesn't ask.
HRESULT CTransfer::InputBytes(const BYTE* bytes, DWORD count) {
    if (!m_sink || !m_inputSink || IsCancelled())
        return S_FALSE;
    if (!bytes)
        return E_POINTER;
    return Take([&] { return TakeInput(bytes, count); });
}

HRESULT CTransfer::TakeInput(const BYTE* bytes, DWORD count) {
    const CPageRows::Result result = m_input.Take({bytes, count});
    if (result == CPageRows::Result::Nonsense)
        return Reject("the driver sent lines of the scanner that make no sense");
    m_inputBegun = true;
    return result == CPageRows::Result::Stop ? S_FALSE : S_OK;
}

// On the file medium the bytes go by the file, and messages tell progress alone.
HRESULT CTransfer::TakeMessage(LONG reason, LONG percent, LONG offset, LONG length) {
    if (reason == IT_MSG_DATA && !IsFileMedium()) {
        if (const HRESULT hr = TakeData(offset, length); hr != S_OK)
            return hr;
    }
    // A cancel that came while the sink was at work stops the driver at this message already.
    const HRESULT hr = TakeProgress(percent);
    return m_cancel.IsSet() ? S_FALSE : hr;
}

HRESULT CTransfer::TakeData(LONG offset, LONG length) {
    // Offsets of large pictures come round.
    if (length < 0 || length > m_context.lBufferSize ||
        static_cast<ULONG>(offset) != static_cast<ULONG>(m_received))
        return Reject("the driver sent a part of the picture with a size or place that is wrong");
    if (length == 0)
        return S_OK;
    m_received += static_cast<ULONGLONG>(length);
    switch (m_rows.Take({m_buffer.data(), static_cast<std::size_t>(length)})) {
        case CPageRows::Result::Nonsense:
            return Reject("the driver sent a picture that makes no sense");
        case CPageRows::Result::Stop:
            return S_FALSE;
        case CPageRows::Result::GoOn:
            break;
    }
    return S_OK;
}

// Drivers begin at 0 again for the second half of their work; people don't want to see that.
HRESULT CTransfer::TakeProgress(LONG percent) {
    m_percent = std::max(m_percent, std::clamp<LONG>(percent, 0, 100));
    return m_sink.load()->Progress(m_context.lPage, m_percent) ? S_OK : S_FALSE;
}

// A cancelled page leaves no file.
HRESULT CTransfer::SaveFile(const BYTE* bytes, DWORD size) {
    if (m_file.empty() || IsCancelled())
        return E_INVALIDARG;
    const std::error_code error = StoreFile(m_file, {reinterpret_cast<const char*>(bytes), size});
    // The file is being made: what isn't there is its folder.
    const HRESULT hr = error == std::errc::is_a_directory ? E_INVALIDARG
                       : error == std::errc::no_such_file_or_directory
                           ? ResultFromError(ERROR_PATH_NOT_FOUND)
                           : ResultFromError(ErrorNumber(error));
    m_fileSaved = SUCCEEDED(hr);
    if (FAILED(hr)) {
        m_faultCode = hr;
        m_fault = m_file + ": " + ResultText(hr);
    }
    return hr;
}
