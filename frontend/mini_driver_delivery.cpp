// Both seams of a transfer: the bitmap headers on the way into the engine, and the finished image
// on its way to the client.
#include <algorithm>
#include <cstring>

#include "diag/debug_dump.h"
#include "diag/function_trace.h"
#include "frontend/mini_driver.h"
#include "frontend/scan_lines.h"
#include "frontend/transfer_state.h"
#include "platform/files.h"

namespace {

BITMAPFILEHEADER FileHeaderFor(const BITMAPINFOHEADER& info) {
    BITMAPFILEHEADER file = {};
    file.bfType = BITMAP_FILE_TYPE;
    file.bfOffBits = info.biClrUsed * static_cast<DWORD>(sizeof(RGBQUAD)) +
                     static_cast<DWORD>(sizeof(file) + sizeof(info));
    file.bfSize = file.bfOffBits + info.biSizeImage;
    return file;
}

// Colours in the palette of a bitmap.
DWORD ColorsOf(WORD bitCount) {
    return bitCount == 1 ? 2 : bitCount == 8 ? 256 : 0;
}

}  // namespace

// What is odd about the buffer is only told; see ReadRequest.
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

// ---- Into the engine

HRESULT CNVwiaMiniDrv::SetupBitmapHeaders(BITMAPINFOHEADER* header) {
    CFunctionTrace trace("CNVwiaMiniDrv::SetupBitmapHeaders");
    const DWORD colors = ColorsOf(header->biBitCount);
    header->biClrUsed = colors;
    const BITMAPFILEHEADER file = FileHeaderFor(*header);
    RGBQUAD palette[256] = {};
    for (DWORD i = 0; i < colors; ++i) {
        const auto gray = static_cast<BYTE>(i * 255 / (colors - 1));
        palette[i] = {gray, gray, gray, 0};
    }
    const struct {
        const void* bytes;
        std::size_t count;
    } parts[] = {
        {&file, sizeof(file)}, {header, sizeof(*header)}, {palette, colors * sizeof(RGBQUAD)}};
    for (const auto& part : parts) {
        ULONG written = 0;
        if (part.count == 0)
            continue;
        m_pImageStream->Write(part.bytes, static_cast<ULONG>(part.count), &written);
        WriteRaw(part.bytes, static_cast<DWORD>(part.count));
    }
    return trace.GetResult();
}

// ---- Out of the engine

HRESULT CNVwiaMiniDrv::ImageCallback(std::uint32_t type, std::uint32_t, std::uint32_t percent,
                                     std::int32_t length, std::uint8_t* buffer) {
    CFunctionTrace trace("CNVwiaMiniDrv::ImageCallback");
    if (m_bCancelled)
        return trace.SetResult(S_FALSE).GetResult();
    if (!m_pTransferContext || length < 0 || (length > 0 && !buffer))
        return trace.SetResult(E_INVALIDARG).GetResult();
    const auto bytes = static_cast<DWORD>(length);
    switch (type) {
        case QL_IMAGE_CALLBACK_DIB_HEADER:
            trace.SetResult(DeliverHeader(percent, bytes, buffer));
            break;
        case QL_IMAGE_CALLBACK_DIB_BUFFER:
            trace.SetResult(DeliverRun(percent, bytes, buffer));
            break;
        case QL_IMAGE_CALLBACK_DONE:
            trace.SetResult(CallClient(IT_MSG_TERMINATION, 100, 0, 0, nullptr));
            break;
        default:
            break;
    }
    return trace.GetResult();
}

HRESULT CNVwiaMiniDrv::DeliverHeader(DWORD percent, DWORD length, BYTE* buffer) {
    m_pLog->Write(kLogInformation, "QL_IMAGE_CALLBACK_DIB_HEADER");
    BITMAPINFOHEADER info;
    if (length < sizeof(info))
        return E_INVALIDARG;
    std::memcpy(&info, buffer, sizeof(info));
    DumpBitmapHeader(*m_pLog, info);
    if (IsCallbackMedium(m_pTransferContext->tymed)) {
        // The client sees what the rows are: a bitmap from the top.
        m_pLog->Write(kLogInformation, "TYMED_CALLBACK");
        info.biHeight = -info.biHeight;
        std::memcpy(buffer, &info, sizeof(info));
        m_dwRowBytes = 0;  // a header has none
        const HRESULT hr = SendData(percent, length, buffer);
        m_dwRowBytes =
            static_cast<DWORD>(RowStride(static_cast<DWORD>(info.biWidth), info.biBitCount));
        return hr;
    }
    m_pLog->Write(kLogInformation, "TYMED_FILE");
    const BITMAPFILEHEADER file = FileHeaderFor(info);
    const HRESULT hr = WriteTempFile(&file, sizeof(file));
    return FAILED(hr) ? hr : WriteTempFile(buffer, length);
}

HRESULT CNVwiaMiniDrv::DeliverRun(DWORD percent, DWORD length, const BYTE* buffer) {
    m_pLog->Format(kLogInformation, "QL_IMAGE_CALLBACK_DIB_BUFFER length %d total %d percent %d",
                   length, m_pTransferContext->cbOffset, percent);
    if (length == 0 && percent == 100) {
        CallClient(IT_MSG_TERMINATION, 100, 0, 0, nullptr);
        return S_OK;
    }
    if (IsCallbackMedium(m_pTransferContext->tymed))
        return SendData(percent, length, buffer);
    const HRESULT answer = CallClient(IT_MSG_STATUS, percent, 0, 0, m_pTransferContext);
    m_bCancelled = answer == S_FALSE;
    const HRESULT hr = length != 0 ? WriteTempFile(buffer, length) : S_OK;
    return FAILED(hr) ? hr : answer;
}

// A run that is longer than the client's buffer goes out in parts, of whole rows where one fits.
HRESULT CNVwiaMiniDrv::SendData(DWORD percent, DWORD length, const BYTE* buffer) {
    MINIDRV_TRANSFER_CONTEXT& context = *m_pTransferContext;
    HRESULT hr = S_OK;
    do {
        // The client may have exchanged its buffer in the call before.
        if (!context.pTransferBuffer || context.lBufferSize < 1)
            return E_POINTER;
        DWORD room = static_cast<DWORD>(context.lBufferSize);
        if (m_dwRowBytes != 0 && m_dwRowBytes <= room)
            room -= room % m_dwRowBytes;
        const DWORD part = std::min(length, room);
        if (part != 0)
            std::memcpy(context.pTransferBuffer, buffer, part);
        hr = CallClient(IT_MSG_DATA, percent, context.cbOffset, part, &context);
        // Wraps on images of 4 GiB and more.
        context.cbOffset = static_cast<LONG>(static_cast<DWORD>(context.cbOffset) + part);
        buffer += part;
        length -= part;
    } while (length != 0 && hr != S_FALSE);
    if (hr == S_FALSE) {
        m_pLog->Write(kLogInformation, "MiniDrvCallback == S_FALSE: Cancel");
        m_bCancelled = true;
    }
    return hr;
}

// A client without a callback takes everything.
HRESULT CNVwiaMiniDrv::CallClient(LONG reason, DWORD percent, LONG offset, DWORD length,
                                  MINIDRV_TRANSFER_CONTEXT* context) {
    IWiaMiniDrvCallBack* client = m_pTransferContext->pIWiaMiniDrvCallBack;
    if (!client)
        return S_OK;
    return client->MiniDrvCallback(reason, IT_STATUS_TRANSFER_TO_CLIENT, static_cast<LONG>(percent),
                                   offset, static_cast<LONG>(length), context, 0);
}

HRESULT CNVwiaMiniDrv::WriteTempFile(const void* bytes, DWORD count) {
    DWORD written = 0;
    if (WriteFile(m_hTempFile, bytes, count, &written, nullptr))
        return S_OK;
    // The rows behind it would lie in wrong places.
    m_bWriteFailed = true;
    return E_FAIL;
}
