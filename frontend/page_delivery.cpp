#include "frontend/page_delivery.h"

#include <algorithm>
#include <cstring>

#include "diag/debug_dump.h"
#include "engine/engine.h"
#include "platform/bitmap_headers.h"

bool CPageDelivery::IsToFile() const {
    return m_context.tymed != TYMED_CALLBACK && m_context.tymed != TYMED_MULTIPAGE_CALLBACK;
}

// A client that has cancelled hears nothing more, whatever the engine still has to say.
HRESULT CPageDelivery::Take(DWORD type, DWORD percent, LONG length, BYTE* buffer) {
    if (m_bCancelled)
        return S_FALSE;
    if (length < 0 || (length > 0 && !buffer))
        return E_INVALIDARG;
    const auto bytes = static_cast<DWORD>(length);
    switch (type) {
        case QL_IMAGE_CALLBACK_DIB_HEADER:
            return TakeHeader(percent, bytes, buffer);
        case QL_IMAGE_CALLBACK_DIB_BUFFER:
            return TakeRun(percent, bytes, buffer);
        case QL_IMAGE_CALLBACK_DONE:
            return CallClient(IT_MSG_TERMINATION, 100, 0, 0, nullptr);
        default:
            return S_OK;
    }
}

// `length` counts the info header and its palette, which lie side by side. In a file the height
// stays positive: its rows are turned behind the last one.
HRESULT CPageDelivery::TakeHeader(DWORD percent, DWORD length, BYTE* buffer) {
    m_log.Write(kLogInformation, "QL_IMAGE_CALLBACK_DIB_HEADER");
    BITMAPINFOHEADER info;
    if (length < sizeof(info))
        return E_INVALIDARG;
    std::memcpy(&info, buffer, sizeof(info));
    m_hasImage = true;
    DumpBitmapHeader(m_log, info);
    if (IsToFile()) {
        m_log.Write(kLogInformation, "TYMED_FILE");
        const BITMAPFILEHEADER file = MakeFileHeader(info, info.biSizeImage);
        const HRESULT hr = m_file.Write(&file, sizeof(file));
        return FAILED(hr) ? hr : m_file.Write(buffer, length);
    }
    // The client sees what the rows are: a bitmap from the top.
    m_log.Write(kLogInformation, "TYMED_CALLBACK");
    info.biHeight = -info.biHeight;
    std::memcpy(buffer, &info, sizeof(info));
    const HRESULT hr = SendData(percent, length, buffer);
    m_dwRowBytes = static_cast<DWORD>(BitmapStride(info));
    return hr;
}

// A file's client gets the percentage and no bytes. What came with a cancel is written all the
// same; the file goes nowhere.
HRESULT CPageDelivery::TakeRun(DWORD percent, DWORD length, const BYTE* buffer) {
    m_log.Format(kLogInformation, "QL_IMAGE_CALLBACK_DIB_BUFFER length %d total %d percent %d",
                 length, m_context.cbOffset, percent);
    if (length == 0 && percent == 100) {
        CallClient(IT_MSG_TERMINATION, 100, 0, 0, nullptr);
        return S_OK;
    }
    if (!IsToFile())
        return SendData(percent, length, buffer);
    const HRESULT answer = CallClient(IT_MSG_STATUS, percent, 0, 0, &m_context);
    m_bCancelled = answer == S_FALSE;
    const HRESULT hr = length != 0 ? m_file.Write(buffer, length) : S_OK;
    return FAILED(hr) ? hr : answer;
}

// A run that is longer than the client's buffer goes out in parts, of whole rows where one fits.
HRESULT CPageDelivery::SendData(DWORD percent, DWORD length, const BYTE* buffer) {
    HRESULT hr = S_OK;
    do {
        if (!HasBuffer())
            return E_POINTER;
        DWORD room = static_cast<DWORD>(m_context.lBufferSize);
        if (m_dwRowBytes != 0 && m_dwRowBytes <= room)
            room -= room % m_dwRowBytes;
        const DWORD part = std::min(length, room);
        if (part != 0)
            std::memcpy(m_context.pTransferBuffer, buffer, part);
        hr = CallClient(IT_MSG_DATA, percent, m_context.cbOffset, part, &m_context);
        // Wraps on images of 4 GiB and more.
        m_context.cbOffset = static_cast<LONG>(static_cast<DWORD>(m_context.cbOffset) + part);
        buffer += part;
        length -= part;
    } while (length != 0 && hr != S_FALSE);
    if (hr == S_FALSE) {
        m_log.Write(kLogInformation, "MiniDrvCallback == S_FALSE: Cancel");
        m_bCancelled = true;
    }
    return hr;
}

// A client without a callback takes everything.
HRESULT CPageDelivery::CallClient(LONG reason, DWORD percent, LONG offset, DWORD length,
                                  MINIDRV_TRANSFER_CONTEXT* context) {
    IWiaMiniDrvCallBack* client = m_context.pIWiaMiniDrvCallBack;
    if (!client)
        return S_OK;
    return client->MiniDrvCallback(reason, IT_STATUS_TRANSFER_TO_CLIENT, static_cast<LONG>(percent),
                                   offset, static_cast<LONG>(length), context, 0);
}

// An image without a band has no file, and nothing to deliver.
HRESULT CPageDelivery::DeliverFile(bool cut, DWORD lines) {
    return m_file.IsWanted() && !m_bCancelled ? m_file.Deliver(m_context, cut, lines) : S_OK;
}
