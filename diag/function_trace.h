// One on the stack of each function of interest: logs its entry and exit, indents what is logged in
// between, and holds the function's result.
//
//     HRESULT CNVScan::closeScanner() {
//         CFunctionTrace trace("CNVScan::closeScanner", m_dwSession, &m_dwErrorCode);
//         ...
//         trace.SetResult(hr);
//         return trace.GetResult();
//     }
//
// The exit line of a function that failed, or that leaves a device error behind, is an error and
// passes the settings that the log has by default.
#pragma once

#include <iosfwd>

#include "diag/log.h"
#include "platform/types.h"

class CFunctionTrace {
  public:
    // `name` is kept as a pointer. A session of 0 is none. `deviceError` is read at the exit, where
    // it must still stand; null if the function has none. `level` gives levels to log under beside
    // that for calls.
    explicit CFunctionTrace(const char* name, DWORD session = 0, const DWORD* deviceError = nullptr,
                            DWORD level = 0) noexcept;
    ~CFunctionTrace();
    CFunctionTrace(const CFunctionTrace&) = delete;
    CFunctionTrace& operator=(const CFunctionTrace&) = delete;

    // Replaces the result before it.
    CFunctionTrace& SetResult(HRESULT result) {
        m_hr = result;
        return *this;
    }
    HRESULT GetResult() const { return m_hr; }

  private:
    void LogEntry();
    void LogExit();
    // What entry and exit line begin with.
    void WriteHead(std::ostream& message, const char* mark) const;

    HRESULT m_hr = S_OK;
    const char* const m_pszName;
    const DWORD m_dwStart;  // tick count, in milliseconds
    const DWORD m_dwSession;
    const DWORD* const m_pDeviceError;
    const DWORD m_dwLevel;
    CLog m_log;
};
