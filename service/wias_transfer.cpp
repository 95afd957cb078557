// What drivers need for a transfer.
#include <array>
#include <limits>

#include "platform/bitmap_headers.h"
#include "platform/files.h"
#include "service/transfer.h"
#include "service/wias_frame.h"

namespace {

// Of a picture as a bitmap, in 64 bits: large ones don't fit the context's 32.
struct ImageSizes {
    LONGLONG rowBytes;
    LONGLONG headerBytes;
    LONGLONG imageBytes;
};

// Colours in front of the rows of a bitmap.
LONG PaletteEntries(LONG depth) {
    return depth == 1 || depth == 4 || depth == 8 ? 1 << depth : 0;
}

// All zero for a format whose size isn't known before it is made.
// Rows are padded to 4 bytes.
ImageSizes SizesOf(const MINIDRV_TRANSFER_CONTEXT& transfer) {
    const bool isFile = transfer.guidFormatID == WiaImgFmt_BMP;
    if (!isFile && transfer.guidFormatID != WiaImgFmt_MEMORYBMP)
        return {};
    ImageSizes sizes = {};
    sizes.rowBytes = BitmapStride(transfer.lWidthInPixels, transfer.lDepth);
    sizes.headerBytes = (isFile ? sizeof(BITMAPFILEHEADER) : 0) + sizeof(BITMAPINFOHEADER) +
                        sizeof(RGBQUAD) * static_cast<ULONG>(PaletteEntries(transfer.lDepth));
    sizes.imageBytes = sizes.rowBytes * transfer.lLines;
    return sizes;
}

constexpr LONG kMaxPixels = 1 << 24;  // a side; keeps the products above in 64 bits
constexpr LONG kMaxDepth = 64;

// Sizes that are no picture's are refused; 0 is let through, for a window that the driver hasn't
// settled yet.
HRESULT ReadSizes(const CPropertyStore& store, MINIDRV_TRANSFER_CONTEXT& transfer) {
    struct Row {
        PROPID id;
        LONG MINIDRV_TRANSFER_CONTEXT::*field;
        LONG most;
    };
    constexpr Row kRows[] = {
        {WIA_IPA_PIXELS_PER_LINE, &MINIDRV_TRANSFER_CONTEXT::lWidthInPixels, kMaxPixels},
        {WIA_IPA_NUMBER_OF_LINES, &MINIDRV_TRANSFER_CONTEXT::lLines, kMaxPixels},
        {WIA_IPA_DEPTH, &MINIDRV_TRANSFER_CONTEXT::lDepth, kMaxDepth},
        {WIA_IPS_XRES, &MINIDRV_TRANSFER_CONTEXT::lXRes, kMaxPixels},
        {WIA_IPS_YRES, &MINIDRV_TRANSFER_CONTEXT::lYRes, kMaxPixels},
    };
    for (const Row& row : kRows) {
        LONG value = 0;
        if (const HRESULT hr = ReadTyped<LONG>(store, row.id, value, nullptr, TRUE); FAILED(hr))
            return hr;
        if (value < 0 || value > row.most)
            return E_INVALIDARG;
        transfer.*row.field = value;
    }
    return ReadTyped<GUID>(store, WIA_IPA_FORMAT, transfer.guidFormatID, nullptr, TRUE);
}

}  // namespace

HRESULT wiasGetImageInformation(BYTE* context, LONG flags, MINIDRV_TRANSFER_CONTEXT* transfer) {
    if (!transfer)
        return E_INVALIDARG;
    return WithContext(context, [&](const CItemContext& item) -> HRESULT {
        MINIDRV_TRANSFER_CONTEXT filled = *transfer;
        if (const HRESULT hr = ReadSizes(item.Store(), filled); FAILED(hr))
            return hr;
        if ((flags & WIA_INIT_CONTEXT_1) != 0) {
            filled.lSize = sizeof(filled);
            ReadTyped<LONG>(item.Store(), WIA_IPA_COMPRESSION, filled.lCompression, nullptr, FALSE);
            const HRESULT hr =
                ReadTyped<LONG>(item.Store(), WIA_IPA_TYMED, filled.tymed, nullptr, TRUE);
            if (FAILED(hr))
                return hr;
        }
        ImageSizes sizes = SizesOf(filled);
        // What doesn't fit is told as what isn't known.
        if (sizes.headerBytes + sizes.imageBytes > std::numeric_limits<LONG>::max())
            sizes.imageBytes = sizes.headerBytes = 0;
        filled.cbWidthInBytes = static_cast<LONG>(sizes.rowBytes);
        filled.lHeaderSize = static_cast<LONG>(sizes.headerBytes);
        filled.lImageSize = static_cast<LONG>(sizes.imageBytes);
        filled.lItemSize = static_cast<LONG>(sizes.headerBytes + sizes.imageBytes);
        *transfer = filled;
        return S_OK;
    });
}

// Outside a transfer of this service a driver may have a file of its own in the context.
HRESULT wiasWriteBufToFile(LONG, MINIDRV_TRANSFER_CONTEXT* transfer) {
    if (!transfer || transfer->lItemSize < 0 || !transfer->pTransferBuffer)
        return E_INVALIDARG;
    return Contained([&]() -> HRESULT {
        const auto bytes = static_cast<DWORD>(transfer->lItemSize);
        if (const ComPtr<CTransfer> active = FindTransfer(transfer))
            return active->SaveFile(transfer->pTransferBuffer, bytes);
        DWORD written = 0;
        const auto file = reinterpret_cast<HANDLE>(transfer->hFile);
        if (!file || file == INVALID_HANDLE_VALUE)
            return E_INVALIDARG;
        return WriteFile(file, transfer->pTransferBuffer, bytes, &written, nullptr)
                   ? S_OK
                   : ResultFromError(static_cast<LONG>(GetLastError()));
    });
}
