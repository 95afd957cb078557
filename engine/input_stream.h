// The byte stream that the engine is fed from: the bytes of a bitmap file, headers first, rows with
// the top line first behind a negative height.
#pragma once

#include "platform/com.h"

// Who feeds the engine implements this. The counters are plain fields that the engine reads
// directly; it lowers m_nLines itself when it has taken lines.
class CQLInputStream : public IStream {
  public:
    std::uint32_t m_nLines = 0;     // lines written and not yet taken by the engine
    std::uint32_t m_cbWritten = 0;  // bytes accepted; wraps together with m_cbRead
    std::uint32_t m_cbRead = 0;     // bytes taken out

    // It goes one way, from the first byte to the last.
    HRESULT Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return E_NOTIMPL; }
    HRESULT SetSize(ULARGE_INTEGER) override { return S_OK; }
    HRESULT CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override {
        return E_NOTIMPL;
    }
    HRESULT Commit(DWORD) override { return E_NOTIMPL; }
    HRESULT Revert() override { return E_NOTIMPL; }
    HRESULT LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    HRESULT UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    HRESULT Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
    HRESULT Clone(IStream**) override { return E_NOTIMPL; }

  protected:
    ~CQLInputStream() = default;
};
