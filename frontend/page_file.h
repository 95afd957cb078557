// The files that a page writes itself: the temporary bitmap of the file medium, and the raw debug
// file.
//
// The engine writes its rows from the top, a bitmap file has them from the bottom. So a page goes
// to the client only when it is whole and has been turned.
#pragma once

#include <string>

#include "platform/files.h"
#include "platform/wia.h"

// What a file of more than 2^31 - 1 bytes is refused with: the sizes of a transfer have 31 bits.
inline constexpr HRESULT kFileTooLarge = MakeResult(0x800700DFu);

class CPageFile {
  public:
    CPageFile() = default;
    ~CPageFile();
    CPageFile(const CPageFile&) = delete;
    CPageFile& operator=(const CPageFile&) = delete;

    // Once. Looks for a folder that takes a file: the user's application data, documents, the
    // temporary folder. If none does, the first write fails.
    void Open();
    bool IsWanted() const { return m_hTempFile != nullptr; }

    // E_FAIL; the file is none from then on, as the rows behind would lie in wrong places. A disk
    // that is full is told (platform/told_lines.h).
    HRESULT Write(const void* bytes, DWORD count);

    // Completes the bitmap, turns it and gives it to the service, which answers. With `cut` it ends
    // behind its first `lines` rows, else has as many as its header says. E_FAIL for a file that
    // wasn't written whole. The context's buffer is null again behind it.
    HRESULT Deliver(MINIDRV_TRANSFER_CONTEXT& context, bool cut, DWORD lines);

  private:
    // `white` is what fills its rows with white.
    bool ReadInfo(BITMAPINFOHEADER& info, BYTE& white);
    // Rewrites the bitmap for a shorter height. `header` is the one that stands in the file. 0, or
    // a system error.
    DWORD TruncateFile(LONG lines, BITMAPINFOHEADER header);
    // Appends bytes of one value up to a size; false when that fails.
    bool ExtendFile(std::uint64_t bytes, BYTE white);
    HRESULT MapAndDeliver(MINIDRV_TRANSFER_CONTEXT& context);
    // E_FAIL, as the last call to the system tells why.
    HRESULT Fail() const;

    // Null: none is wanted. One that couldn't be made is INVALID_HANDLE_VALUE.
    HANDLE m_hTempFile = nullptr;
    char m_tempName[MAX_PATH] = "";  // of a file that is left to be deleted
    std::string m_folder;            // of the file
    bool m_bWriteFailed = false;
};

// The stream into the engine, kept for whoever looks for a fault. Nothing depends on it.
class CRawFile {
  public:
    CRawFile() = default;
    ~CRawFile();
    CRawFile(const CRawFile&) = delete;
    CRawFile& operator=(const CRawFile&) = delete;

    // Once. An empty name stands for one in the temporary folder.
    void Open(const std::string& name);
    void Write(const void* bytes, DWORD count);

  private:
    HANDLE m_hRawFile = nullptr;
};
