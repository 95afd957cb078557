#include "frontend/page_file.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

#include "frontend/scan_lines.h"
#include "platform/bitmap_headers.h"
#include "platform/bitmap_white.h"
#include "platform/known_folders.h"
#include "platform/told_lines.h"

namespace {

constexpr char kTempPrefix[] = "nvq";
constexpr char kRawName[] = "scanraw.bmp";
constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;
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

// In the order in which they are tried.
constexpr bool (*kTempFolders[])(char (&folder)[MAX_PATH]) = {&FindApplicationData, &FindDocuments,
                                                              &FindTempFolder};

// False, and an empty name, when no folder takes a file.
bool MakeTempName(char (&name)[MAX_PATH]) {
    std::string cause;
    for (const auto find : kTempFolders) {
        const CToldLines told;  // of a folder that the next one stands in for
        char folder[MAX_PATH] = "";
        if (find(folder) && GetTempFileNameA(folder, kTempPrefix, 0, name) != 0)
            return true;
        cause = told.Cause();
    }
    TellCause(cause);
    name[0] = '\0';
    return false;
}

HANDLE MakeFile(const char* name) {
    return CreateFileA(name, kReadWrite, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// All ones is a size, unless the system reports an error.
std::uint64_t SizeOf(HANDLE file) {
    DWORD high = 0;
    const DWORD low = GetFileSize(file, &high);
    if (low == INVALID_FILE_SIZE && GetLastError() != ERROR_SUCCESS)
        return kNoSize;
    return std::uint64_t{high} << 32 | low;
}

// 0, or a system error.
DWORD FileSeek(HANDLE hFile, std::int64_t offset) {
    LONG high = static_cast<LONG>(offset >> 32);
    const DWORD low =
        SetFilePointer(hFile, static_cast<LONG>(offset & 0xFFFFFFFF), &high, FILE_BEGIN);
    return low == INVALID_SET_FILE_POINTER ? ::GetLastError() : 0;
}

// Where the rows begin.
std::int64_t RowsOffset(const BITMAPINFOHEADER& info) {
    return MakeFileHeader(info, 0).bfOffBits;
}

}  // namespace

// ---- The temporary bitmap

void CPageFile::Open() {
    MakeTempName(m_tempName);
    const std::string name = m_tempName;
    m_folder = name.substr(0, name.rfind('/') + 1);
    m_hTempFile = MakeFile(m_tempName);
    // A system that takes the name away from an open file leaves nothing behind if we are killed.
    // The others refuse, and the file is deleted when it is closed.
    if (m_hTempFile != INVALID_HANDLE_VALUE && DeleteFileA(m_tempName))
        m_tempName[0] = '\0';
}

CPageFile::~CPageFile() {
    if (m_hTempFile && m_hTempFile != INVALID_HANDLE_VALUE)
        CloseHandle(m_hTempFile);
    if (m_tempName[0] != '\0')
        DeleteFileA(m_tempName);
}

HRESULT CPageFile::Write(const void* bytes, DWORD count) {
    DWORD written = 0;
    if (WriteFile(m_hTempFile, bytes, count, &written, nullptr))
        return S_OK;
    m_bWriteFailed = true;
    return Fail();
}

HRESULT CPageFile::Fail() const {
    if (IsDiskFull())
        TellCause("the disk is full: a page on the file medium passes through a file in " +
                  m_folder);
    return E_FAIL;
}

// What the engine has written: its output may have another depth and palette than the stream into
// it, so the stream's header is no help here.
bool CPageFile::ReadInfo(BITMAPINFOHEADER& info, BYTE& white) {
    DWORD read = 0;
    if (FileSeek(m_hTempFile, sizeof(BITMAPFILEHEADER)) != 0 ||
        !ReadFile(m_hTempFile, &info, sizeof(info), &read, nullptr) || read != sizeof(info) ||
        !HasSoundSides(info))
        return false;
    RGBQUAD colors[kMaxBitmapColors] = {};
    const DWORD count = std::min<DWORD>(info.biClrUsed, kMaxBitmapColors);
    const DWORD bytes = count * sizeof(RGBQUAD);
    if (!ReadFile(m_hTempFile, colors, bytes, &read, nullptr) || read != bytes)
        return false;
    white = WhiteByte(info.biBitCount, {colors, count});
    return true;
}

// The palette stays as the engine wrote it.
DWORD CPageFile::TruncateFile(LONG lines, BITMAPINFOHEADER header) {
    header.biHeight = lines;
    const std::int64_t imageBytes = BitmapImageBytes(header);
    header.biSizeImage = BitmapSizeField(imageBytes);
    const BITMAPFILEHEADER file = MakeFileHeader(header, imageBytes);
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
    const DWORD error = FileSeek(m_hTempFile, RowsOffset(header) + imageBytes);
    if (error != 0)
        return error;
    return SetEndOfFile(m_hTempFile) ? 0 : ::GetLastError();
}

// White lines that the engine puts at the end of an image may be shorter than rows.
bool CPageFile::ExtendFile(std::uint64_t bytes, BYTE white) {
    std::uint64_t size = SizeOf(m_hTempFile);
    if (size >= bytes)
        return size != kNoSize;
    if (FileSeek(m_hTempFile, static_cast<std::int64_t>(size)) != 0)
        return false;
    BYTE fill[4096];
    std::fill(std::begin(fill), std::end(fill), white);
    for (DWORD written = 0; size < bytes; size += written) {
        const auto count = static_cast<DWORD>(std::min<std::uint64_t>(bytes - size, sizeof(fill)));
        if (!WriteFile(m_hTempFile, fill, count, &written, nullptr))
            return false;
    }
    return true;
}

// Lines may be missing for two reasons: the media ended, then the page ends with it; or the engine
// had too few to fill its windows, then they are white.
HRESULT CPageFile::Deliver(MINIDRV_TRANSFER_CONTEXT& context, bool cut, DWORD lines) {
    BITMAPINFOHEADER info = {};
    BYTE white = 0xFF;
    if (m_bWriteFailed || !ReadInfo(info, white))
        return E_FAIL;
    if (cut)
        info.biHeight = static_cast<LONG>(std::min<std::int64_t>(lines, BitmapLines(info)));
    if (!ExtendFile(static_cast<std::uint64_t>(RowsOffset(info) + BitmapImageBytes(info)), white))
        return Fail();
    if (cut)
        TruncateFile(info.biHeight, info);
    return MapAndDeliver(context);
}

// The rows are turned in the mapped file, and the service copies from there: no page is held in
// memory.
HRESULT CPageFile::MapAndDeliver(MINIDRV_TRANSFER_CONTEXT& context) {
    const std::uint64_t size = SizeOf(m_hTempFile);
    if (size > static_cast<std::uint64_t>(std::numeric_limits<LONG>::max()))
        return kFileTooLarge;
    const auto bytes = static_cast<DWORD>(size);
    const HANDLE mapping =
        CreateFileMappingA(m_hTempFile, nullptr, PAGE_READWRITE, 0, bytes, nullptr);
    if (!mapping)
        return Fail();
    auto* view = static_cast<BYTE*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, bytes));
    HRESULT hr = view ? FlipBitmapRows(view, bytes) : E_FAIL;
    if (SUCCEEDED(hr)) {
        context.pTransferBuffer = view;
        context.lBufferSize = context.lImageSize = context.lItemSize = static_cast<LONG>(bytes);
        hr = wiasWriteBufToFile(0, &context);
        context.pTransferBuffer = nullptr;  // it ends here
    }
    CloseHandle(mapping);
    if (view)
        UnmapViewOfFile(view);
    return hr;
}

// ---- The raw debug file

void CRawFile::Open(const std::string& name) {
    char standard[MAX_PATH + sizeof(kRawName)] = "";
    if (name.empty()) {
        char folder[MAX_PATH] = "";
        if (!FindTempFolder(folder))
            return;
        std::strcpy(standard, folder);
        std::strcat(standard, kRawName);
    }
    const HANDLE file = MakeFile(name.empty() ? standard : name.c_str());
    if (file != INVALID_HANDLE_VALUE)
        m_hRawFile = file;
}

CRawFile::~CRawFile() {
    if (m_hRawFile)
        CloseHandle(m_hRawFile);
}

void CRawFile::Write(const void* bytes, DWORD count) {
    DWORD written = 0;
    if (m_hRawFile)
        WriteFile(m_hRawFile, bytes, count, &written, nullptr);
}
