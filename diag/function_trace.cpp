#include "diag/function_trace.h"

#include <ostream>

#include "diag/device_error_text.h"
#include "platform/local_time.h"
#include "platform/sync.h"

namespace {

// A call that went well is of the general category; one that failed is an error, and passes where
// only errors do.
constexpr DWORD kCallLevel = kLogGeneral | kLogCalls;
constexpr DWORD kFailedCallLevel = kLogError | kLogCalls;

}  // namespace

// A line that memory runs out for stays open in the log object, which sends it at its end.
CFunctionTrace::CFunctionTrace(const char* name, DWORD session, const DWORD* deviceError,
                               DWORD level) noexcept
    : m_pszName(name ? name : ""),
      m_dwStart(GetTickCount()),
      m_dwSession(session),
      m_pDeviceError(deviceError),
      m_dwLevel(level) {
    try {
        LogEntry();
    } catch (...) {
    }
    // Whether or not the line went out: the depth is that of the calls.
    CLog::EnterCall();
}

CFunctionTrace::~CFunctionTrace() {
    // The exit line stands at the depth of the entry.
    CLog::LeaveCall();
    try {
        LogExit();
    } catch (...) {
    }
}

void CFunctionTrace::LogEntry() {
    std::ostream* message = m_log.Open(m_dwLevel | kCallLevel);
    if (!message)
        return;
    WriteHead(*message, "+++");
    *message << LocalTimeText() << '\n';
    m_log.Finish(message);
}

void CFunctionTrace::LogExit() {
    // Read once, so that level and text tell of the same number.
    const DWORD deviceError = m_pDeviceError ? *m_pDeviceError : 0;
    const bool failed = FAILED(m_hr) || deviceError != 0;
    std::ostream* message = m_log.Open(m_dwLevel | (failed ? kFailedCallLevel : kCallLevel));
    if (!message)
        return;
    WriteHead(*message, "---");
    if (m_hr != S_OK)
        *message << " ERROR:";
    *message << " Returned 0x" << std::hex << static_cast<DWORD>(m_hr) << std::dec;
    if (m_pDeviceError)
        *message << ", OstrelError=" << DeviceErrorText(deviceError) << " (" << deviceError << ')';
    // Without a sign, so that the difference is true when the tick count comes round in between.
    *message << ": Elapsed Time = " << GetTickCount() - m_dwStart << " MS\n\n";
    m_log.Finish(message);
}

void CFunctionTrace::WriteHead(std::ostream& message, const char* mark) const {
    CLog::Indent(message);
    message << mark << m_pszName << " : ";
    if (m_dwSession != 0)
        message << "SessionID=0x" << std::hex << m_dwSession << std::dec << " : ";
}
