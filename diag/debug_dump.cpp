#include "diag/debug_dump.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/registry_key.h"

namespace {

// The product's key for debug images; those of the log stand beside it.
constexpr char kKey[] = "Software\\Norvane\\Lumetra\\Quillet";

constexpr DWORD kNameRoom = MAX_PATH + 1;  // a name has up to 260 bytes

std::string ReadName(HKEY key, const char* name) {
    char text[kNameRoom];
    return ReadText(key, name, text) ? text : "";
}

// A field of a record, by its place. Of a field with 64 bits the first 32 are shown, unless it is a
// pointer.
struct Field {
    const char* format;
    std::size_t offset;
    bool pointer = false;
};

#define FIELD(name) offsetof(MINIDRV_TRANSFER_CONTEXT, name)
// In the order of the log's lines, which is that of the record; the format's identifier and the
// item's size aren't shown. Blanks and tabs are part of the lines, as tools that read logs expect
// them.
constexpr Field kTransferFields[] = {
    {"WIA_PMDTC : pmdtc->lSize            \t= %d", FIELD(lSize)},
    {"WIA_PMDTC : pmdtc->lWidthInPixels   \t= %d", FIELD(lWidthInPixels)},
    {"WIA_PMDTC : pmdtc->lLines           \t= %d", FIELD(lLines)},
    {"WIA_PMDTC : pmdtc->lDepth           \t= %d", FIELD(lDepth)},
    {"WIA_PMDTC : pmdtc->lXRes            \t= %d", FIELD(lXRes)},
    {"WIA_PMDTC : pmdtc->lYRes\t           \t= %d", FIELD(lYRes)},
    {"WIA_PMDTC : pmdtc->lCompression     \t= %d", FIELD(lCompression)},
    {"WIA_PMDTC : pmdtc->tymed\t           \t= %d", FIELD(tymed)},
    {"WIA_PMDTC : pmdtc->hFile            \t= %d", FIELD(hFile)},
    {"WIA_PMDTC : pmdtc->cbOffset         \t= %d", FIELD(cbOffset)},
    {"WIA_PMDTC : pmdtc->lBufferSize      \t= %d", FIELD(lBufferSize)},
    {"WIA_PMDTC : pmdtc->lActiveBuffer    \t= %d", FIELD(lActiveBuffer)},
    {"WIA_PMDTC : pmdtc->lNumBuffers      \t= %d", FIELD(lNumBuffers)},
    {"WIA_PMDTC : pmdtc->pBaseBuffer\t     \t= %p", FIELD(pBaseBuffer), true},
    {"WIA_PMDTC : pmdtc->pTransferBuffer  \t= %p", FIELD(pTransferBuffer), true},
    {"WIA_PMDTC : pmdtc->bTransferDataCB  \t= %d", FIELD(bTransferDataCB)},
    {"WIA_PMDTC : pmdtc->bClassDrvAllocBuf\t= %d", FIELD(bClassDrvAllocBuf)},
    {"WIA_PMDTC : pmdtc->lClientAddress   \t= %d", FIELD(lClientAddress)},
    {"WIA_PMDTC : pmdtc->pMiniDrvCallBack \t= %p", FIELD(pIWiaMiniDrvCallBack), true},
    {"WIA_PMDTC : pmdtc->lImageSize       \t= %d", FIELD(lImageSize)},
    {"WIA_PMDTC : pmdtc->lHeaderSize      \t= %d", FIELD(lHeaderSize)},
    {"WIA_PMDTC : pmdtc->cbWidthInBytes   \t= %d", FIELD(cbWidthInBytes)},
    {"WIA_PMDTC : pmdtc->lPage            \t= %d", FIELD(lPage)},
    {"WIA_PMDTC : pmdtc->lCurIfdOffset    \t= %d", FIELD(lCurIfdOffset)},
    {"WIA_PMDTC : pmdtc->lPrevIfdOffset   \t= %d", FIELD(lPrevIfdOffset)},
};
#undef FIELD

constexpr char kRule[] = "WIA_PMDTC : ----------------------------------------------";

// Copied out, as a field of 64 bits is read as 32 there and a pointer as one.
template <class Value>
Value ValueAt(const void* record, std::size_t offset) {
    Value value;
    std::memcpy(&value, static_cast<const BYTE*>(record) + offset, sizeof(value));
    return value;
}

}  // namespace

DebugImageSettings ReadDebugImageSettings() {
    CRegistryKey key;
    DWORD enabled = 0;
    if (key.Open(HKEY_LOCAL_MACHINE, kKey) != ERROR_SUCCESS ||
        !ReadNumber(key.Get(), "Enabled", enabled) || enabled == 0)
        return {};
    try {
        return {true, ReadName(key.Get(), "RawFile"), ReadName(key.Get(), "OutputFile")};
    } catch (const std::bad_alloc&) {
        return {};
    }
}

void DumpTransferContext(CLog& log, const MINIDRV_TRANSFER_CONTEXT& context) {
    if (!log.ShouldLog(kLogDumps))
        return;
    log.Write(kLogDumps, kRule);
    // A pointer takes 64 bits out of the arguments, anything else 32.
    for (const Field& field : kTransferFields) {
        if (field.pointer)
            log.Format(kLogDumps, field.format, ValueAt<const void*>(&context, field.offset));
        else
            log.Format(kLogDumps, field.format, ValueAt<LONG>(&context, field.offset));
    }
    log.Write(kLogDumps, kRule);
}

void DumpBitmapHeader(CLog& log, const BITMAPINFOHEADER& header) {
    if (!log.ShouldLog(kLogDumps))
        return;
    // Unsigned fields are shown as signed, as the published format has them.
    const struct {
        const char* format;
        LONG value;
    } lines[] = {
        {"WIA_BITMAPHEADER pBMPInfoHeader->biSize\t= %ld", static_cast<LONG>(header.biSize)},
        {"WIA_BITMAPHEADER pBMPInfoHeader->biWidth\t= %ld", header.biWidth},
        {"WIA_BITMAPHEADER: pBMPInfoHeader->biHeight\t= %ld", header.biHeight},
        {"WIA_BITMAPHEADER: pBMPInfoHeader->biPlanes\t= %d", header.biPlanes},
        {"WIA_BITMAPHEADER: pBMPInfoHeader->biBitCount\t= %d", header.biBitCount},
        {"WIA_BITMAPHEADER: pBMPInfoHeader->biCompression\t= %ld",
         static_cast<LONG>(header.biCompression)},
        {"WIA_BITMAPHEADER: pBMPInfoHeader->biSizeImage\t= %ld",
         static_cast<LONG>(header.biSizeImage)},
        {"WIA_BITMAPHEADER: pBMPInfoHeader->biXPelsPerMeter\t= %ld", header.biXPelsPerMeter},
        {"WIA_BITMAPHEADER: pBMPInfoHeader->biYPelsPerMeter\t= %ld", header.biYPelsPerMeter},
        {"WIA_BITMAPHEADER: pBMPInfoHeader->biClrUsed\t= %ld", static_cast<LONG>(header.biClrUsed)},
        {"WIA_BITMAPHEADER: pBMPInfoHeader->biClrImportant\t= %ld",
         static_cast<LONG>(header.biClrImportant)},
    };
    for (const auto& line : lines)
        log.Format(kLogDumps, line.format, line.value);
}

void DumpPropSpec(CLog& log, const PROPSPEC& spec, const PROPVARIANT& value, LONG index) {
    if (!log.ShouldLog(kLogInformation))
        return;
    // A hundred names, looked through only when the line is wanted.
    const auto* known = std::find_if(
        std::begin(kWiaPropertyNames), std::end(kWiaPropertyNames),
        [&spec](const WiaPropertyName& property) { return property.id == spec.propid; });
    const bool named = known != std::end(kWiaPropertyNames);
    log.Format(kLogInformation, "PROPSPEC: %d:  %d  Val %7d %s\t %s", index, spec.propid,
               // Whatever the value's type is: for a text the low half of its address.
               ValueAt<LONG>(&value, offsetof(PROPVARIANT, lVal)),
               spec.propid == WIA_IPS_YEXTENT ? " " : "",
               named ? known->name : "UNDEFINED DEFAULT:");
}
