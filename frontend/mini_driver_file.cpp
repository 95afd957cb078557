// The temporary file of the file medium: the engine writes its rows from the top, a bitmap file has
// them from the bottom, and so a page goes to the client only when it is whole.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>

#include "frontend/mini_driver.h"
#include "frontend/scan_lines.h"
#include "frontend/transfer_state.h"
#include "platform/files.h"
#include "platform/known_folders.h"

namespace {

constexpr char kTempPrefix[] = "nvq";
constexpr char kRawName[] = "scanraw.bmp";
constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;
constexpr std::uint64_t kHeaderBytes = sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER);
constexpr std::uint64_t kNoSize = std::numeric_limits<std::uint64_t>::max();

bool FindApplicationData(char (&folder)[MAX_PATH]) {
    return SHGetFolderPathA(nullptr, CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0, folder) ==
           S_OK;
}

bool FindDocuments(char (&folder)[MAX_PATH]) {
    return SHGetFolderPathA(nullptr, CSIDL_PERSONAL, nullptr, 0, folder) == S_OK;
}

// No file has a name in a longer folder.
bool FindTempFolder(char (&folder)[MAX_PATH]) {
    const DWORD length = GetTempPathA(MAX_PATH, folder);
    return length != 0 && length < MAX_PATH;
}

constexpr struct {
    DWORD skipBit;
    bool (*find)(char (&folder)[MAX_PATH]);
} kTempFolders[] = {
    {1, &FindApplicationData},
    {2, &FindDocuments},
    {4, &FindTempFolder},
};

HANDLE MakeFile(const char* name) {
    return CreateFileA(name, kReadWrite, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::uint64_t SizeOf(HANDLE file) {
    DWORD high = 0;
    const DWORD low = GetFileSize(file, &high);
    if (low == INVALID_FILE_SIZE && GetLastError() != ERROR_SUCCESS)
        return kNoSize;
    return std::uint64_t{high} << 32 | low;
}

std::uint64_t PaletteBytes(const BITMAPINFOHEADER& header) {
    return std::uint64_t{header.biClrUsed} * sizeof(RGBQUAD);
}

std::uint64_t ImageBytes(const BITMAPINFOHEADER& header, LONG lines) {
    return RowStride(static_cast<DWORD>(header.biWidth), header.biBitCount) *
           static_cast<std::uint64_t>(std::abs(std::int64_t{lines}));
}

}  // namespace

// ---- Making and ending

bool CNVwiaMiniDrv::MakeTempName(DWORD skip, char (&name)[MAX_PATH]) {
    for (const auto& place : kTempFolders) {
        char folder[MAX_PATH] = "";
        if (!(skip & place.skipBit) && place.find(folder) &&
            GetTempFileNameA(folder, kTempPrefix, 0, name) != 0)
            return true;
    }
    name[0] = '\0';
    return false;
}

void CNVwiaMiniDrv::OpenTempFile(TransferState& page) {
    MakeTempName(0, page.tempName);
    m_hTempFile = MakeFile(page.tempName);
    // A system that takes the name away from an open file leaves nothing behind if we are killed.
    // The others refuse, and the file is deleted when it is closed.
    if (m_hTempFile != INVALID_HANDLE_VALUE && DeleteFileA(page.tempName))
        page.tempName[0] = '\0';
}

void CNVwiaMiniDrv::CloseTempFile(TransferState& page) {
    if (!m_hTempFile)
        return;
    if (m_hTempFile != INVALID_HANDLE_VALUE)
        CloseHandle(m_hTempFile);
    if (page.tempName[0] != '\0')
        DeleteFileA(page.tempName);
    page.tempName[0] = '\0';
    m_hTempFile = nullptr;
}

void CNVwiaMiniDrv::OpenRawFile(const char* name) {
    char standard[MAX_PATH + sizeof(kRawName)] = "";
    if (name[0] == '\0') {
        char folder[MAX_PATH] = "";
        if (!FindTempFolder(folder))
            return;
        std::strcpy(standard, folder);
        std::strcat(standard, kRawName);
        name = standard;
    }
    const HANDLE file = MakeFile(name);
    if (file != INVALID_HANDLE_VALUE)
        m_hRawFile = file;
}

void CNVwiaMiniDrv::CloseRawFile() {
    if (m_hRawFile)
        CloseHandle(m_hRawFile);
    m_hRawFile = nullptr;
}

// ---- Changes of the file

DWORD CNVwiaMiniDrv::FileSeek(HANDLE hFile, LONGLONG offset) {
    LONG high = static_cast<LONG>(offset >> 32);
    const DWORD low =
        SetFilePointer(hFile, static_cast<LONG>(offset & 0xFFFFFFFF), &high, FILE_BEGIN);
    return low == INVALID_SET_FILE_POINTER ? ::GetLastError() : 0;
}

bool CNVwiaMiniDrv::ReadFileHeader(BITMAPINFOHEADER& header) {
    DWORD read = 0;
    return FileSeek(m_hTempFile, sizeof(BITMAPFILEHEADER)) == 0 &&
           ReadFile(m_hTempFile, &header, sizeof(header), &read, nullptr) &&
           read == sizeof(header) && header.biWidth >= 0;
}

DWORD CNVwiaMiniDrv::TruncateFile(LONG lines, BITMAPINFOHEADER header) {
    const std::uint64_t rowsAt = kHeaderBytes + PaletteBytes(header);
    const std::uint64_t imageBytes = ImageBytes(header, lines);
    header.biHeight = lines;
    header.biSizeImage = static_cast<DWORD>(imageBytes);
    BITMAPFILEHEADER file = {};
    file.bfType = BITMAP_FILE_TYPE;
    file.bfOffBits = static_cast<DWORD>(rowsAt);
    file.bfSize = file.bfOffBits + header.biSizeImage;
    const struct {
        LONGLONG offset;
        const void* bytes;
        DWORD count;
    } parts[] = {{0, &file, sizeof(file)}, {sizeof(file), &header, sizeof(header)}};
    for (const auto& part : parts) {
        const DWORD error = FileSeek(m_hTempFile, part.offset);
        if (error != 0)
            return error;
        DWORD written = 0;
        if (!WriteFile(m_hTempFile, part.bytes, part.count, &written, nullptr))
            return ::GetLastError();
    }
    const DWORD error = FileSeek(m_hTempFile, static_cast<LONGLONG>(rowsAt + imageBytes));
    if (error != 0)
        return error;
    return SetEndOfFile(m_hTempFile) ? 0 : ::GetLastError();
}

// White lines that the engine puts at the end of an image may be shorter than rows.
bool CNVwiaMiniDrv::ExtendFile(std::uint64_t bytes) {
    std::uint64_t size = SizeOf(m_hTempFile);
    if (size >= bytes)
        return size != kNoSize;
    if (FileSeek(m_hTempFile, static_cast<LONGLONG>(size)) != 0)
        return false;
    BYTE white[4096];
    std::fill(std::begin(white), std::end(white), BYTE{0xFF});
    for (DWORD written = 0; size < bytes; size += written) {
        const auto count = static_cast<DWORD>(std::min<std::uint64_t>(bytes - size, sizeof(white)));
        if (!WriteFile(m_hTempFile, white, count, &written, nullptr))
            return false;
    }
    return true;
}

// ---- Delivery

HRESULT CNVwiaMiniDrv::DeliverFile(MINIDRV_TRANSFER_CONTEXT* pmdtc, const TransferState& page) {
    BITMAPINFOHEADER header = {};
    if (m_bWriteFailed || !ReadFileHeader(header))
        return E_FAIL;
    LONG lines = header.biHeight;
    const bool cut = page.linesRead < page.scanLines;
    if (cut)
        lines = static_cast<LONG>(
            std::min<std::uint64_t>(page.scaling ? page.linesDelivered : page.linesRead,
                                    static_cast<std::uint64_t>(std::abs(std::int64_t{lines}))));
    if (!ExtendFile(kHeaderBytes + PaletteBytes(header) + ImageBytes(header, lines)))
        return E_FAIL;
    if (cut)
        TruncateFile(lines, header);
    return MapAndDeliver(pmdtc);
}

HRESULT CNVwiaMiniDrv::MapAndDeliver(MINIDRV_TRANSFER_CONTEXT* pmdtc) {
    const std::uint64_t size = SizeOf(m_hTempFile);
    // The context's sizes have 31 bits.
    if (size > static_cast<std::uint64_t>(std::numeric_limits<LONG>::max()))
        return E_FAIL;
    const auto bytes = static_cast<DWORD>(size);
    const HANDLE mapping =
        CreateFileMappingA(m_hTempFile, nullptr, PAGE_READWRITE, 0, bytes, nullptr);
    if (!mapping)
        return E_FAIL;
    auto* view = static_cast<BYTE*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, bytes));
    HRESULT hr = view ? FlipBitmapRows(view, bytes) : E_FAIL;
    if (SUCCEEDED(hr)) {
        pmdtc->pTransferBuffer = view;
        pmdtc->lBufferSize = pmdtc->lImageSize = pmdtc->lItemSize = static_cast<LONG>(bytes);
        hr = wiasWriteBufToFile(0, pmdtc);
        pmdtc->pTransferBuffer = nullptr;  // it ends here
    }
    CloseHandle(mapping);
    if (view)
        UnmapViewOfFile(view);
    return hr;
}
