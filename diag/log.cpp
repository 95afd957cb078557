#include "diag/log.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>

#include "diag/log_banner.h"
#include "platform/files.h"
#include "platform/format.h"
#include "platform/module.h"
#include "platform/named_lock.h"
#include "platform/sync.h"

namespace {

constexpr std::string_view kIndentation = "     ";
// The formatter itself ends at 1024 bytes; the room is the published one.
constexpr std::size_t kFormatBytes = 4096;
constexpr char kDefaultFile[] = "ostrel.log";
// What a caller means who names no level.
constexpr DWORD kDefaultLevel = kLogGeneral | kLogInformation;

// Of all threads together: their lines interleave at a common depth.
std::atomic<LONG> g_callDepth = 0;

// A text with line breaks in it becomes several lines; one that is empty gets no blanks.
void WriteLines(std::ostream& message, std::string_view text) {
    for (;;) {
        const std::string_view line = text.substr(0, text.find('\n'));
        if (!line.empty())
            CLog::Indent(message);
        message << line << '\n';
        if (line.size() == text.size())
            return;
        text.remove_prefix(line.size() + 1);
    }
}

// Callers log between a failure and their look at its number.
class CLastErrorKeeper {
  public:
    CLastErrorKeeper() : m_error(GetLastError()) {}
    ~CLastErrorKeeper() { SetLastError(m_error); }
    CLastErrorKeeper(const CLastErrorKeeper&) = delete;
    CLastErrorKeeper& operator=(const CLastErrorKeeper&) = delete;

  private:
    const DWORD m_error;
};

// The name of the lock that processes take for a log file: its path without the characters that a
// name may not have on every system.
std::string LockName(const char* path) {
    std::string name = path;
    std::erase_if(name, [](char c) { return c == '\\' || c == ':'; });
    return name;
}

// One write in append mode: each message lands whole behind the others, also behind those of
// processes with which this one shares no lock, as they were started with another runtime folder.
// The lock keeps the rest in the order of their coming. Without one to be had it writes unguarded:
// a message out of order is better than none.
void AppendToFile(const char* path, const std::string& text) {
    const CNamedLock lock(LockName(path).c_str());
    const CHandle file(CreateFileA(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                   nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return;
    // The system has the bytes then: what was logged ahead of a crash of the process is in the
    // file. Waiting for the medium too would slow every scan that is logged.
    DWORD written = 0;
    WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

}  // namespace

CLog::CLog() noexcept : m_pConfig(CLogConfig::Acquire(GUID_NULL)) {
    m_szPath[0] = 0;
    if (!m_pConfig)
        return;
    // A copy, so that an object's messages all go the same way.
    m_dwDestination = m_pConfig->m_dwDestination;
    if (m_pConfig->m_bEnabled == 0)
        return;
    if (m_dwDestination & kLogToFile)
        MakePath();
    if (m_dwDestination & kLogToSink)
        TakeSink();
}

CLog::~CLog() {
    // A message that an exception left open isn't lost: it is sent as far as it came.
    while (!m_pending.empty())
        Finish(&m_pending.front());
    m_pSink.Reset();
    if (m_pConfig)
        CLogConfig::Release();
}

void CLog::MakePath() {
    if (m_pConfig->m_szLogFile[0] != 0) {
        std::memcpy(m_szPath, m_pConfig->m_szLogFile, sizeof(m_szPath));
        return;
    }
    // What the name leaves for the folder. A folder that doesn't fit leaves the path empty, and
    // messages for the file are lost.
    constexpr DWORD kRoom = MAX_PATH - sizeof(kDefaultFile) + 1;
    const DWORD size = GetTempPathA(kRoom, m_szPath);
    if (size > 0 && size < kRoom)
        std::memcpy(m_szPath + size, kDefaultFile, sizeof(kDefaultFile));
}

void CLog::TakeSink() {
    const CLogConfig& config = *m_pConfig;
    // The sink's own pointer is for the thread that made it; others get theirs from the table.
    if (config.m_dwGitCookie == 0 || config.m_dwOwnerThread == GetCurrentThreadId())
        m_pSink = config.m_pSink;
    else
        config.m_pGit->GetInterfaceFromGlobal(config.m_dwGitCookie, IID_ILogSink,
                                              m_pSink.OutVoid());
}

void CLog::Write(const char* text) noexcept {
    Write(kDefaultLevel, text);
}

void CLog::Write(DWORD level, const char* text) noexcept {
    std::ostream* message = Open(level);
    if (!message)
        return;
    WriteLines(*message, text ? text : "");
    Finish(message);
}

void CLog::Format(const char* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    FormatList(kDefaultLevel, format, arguments);
    va_end(arguments);
}

void CLog::Format(DWORD level, const char* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    FormatList(level, format, arguments);
    va_end(arguments);
}

void CLog::FormatList(DWORD level, const char* format, va_list arguments) noexcept {
    std::ostream* message = Open(level);
    if (!message)
        return;
    char text[kFormatBytes];
    wvsprintfA(text, format ? format : "", arguments);
    WriteLines(*message, text);
    Finish(message);
}

std::ostream* CLog::Open(DWORD level) noexcept {
    if (!ShouldLog(level))
        return nullptr;
    const CLastErrorKeeper keeper;
    try {
        // Made outside the lock, and spliced in: an open stream never moves.
        std::list<std::ostringstream> opened(1);
        std::ostringstream& message = opened.front();
        // A program's own locale puts separators into numbers.
        message.imbue(std::locale::classic());
        WriteBannerIfNewWriter(message);
        const std::lock_guard guard(m_pendingLock);
        m_pending.splice(m_pending.end(), opened);
        return &message;
    } catch (...) {
        return nullptr;
    }
}

void CLog::Finish(std::ostream* message) noexcept {
    const CLastErrorKeeper keeper;
    // Out of the list first: sending takes time, and others may open messages meanwhile.
    std::list<std::ostringstream> taken;
    {
        const std::lock_guard guard(m_pendingLock);
        const auto open = std::find_if(m_pending.begin(), m_pending.end(),
                                       [message](auto& stream) { return &stream == message; });
        if (open == m_pending.end())
            return;
        taken.splice(taken.end(), m_pending, open);
    }
    try {
        Send(taken.front().str());
    } catch (...) {
        // Without memory, or with a destination that throws, the message is lost.
    }
}

void CLog::Send(const std::string& text) const {
    if (m_dwDestination & kLogToFile)
        AppendToFile(m_szPath, text);
    if (m_dwDestination & kLogToDebugger)
        OutputDebugStringA(text.c_str());
    // The length that the sink gets counts the terminating zero.
    if ((m_dwDestination & kLogToSink) && m_pSink)
        m_pSink->Write(GetCurrentProcessId(), text.c_str(), static_cast<DWORD>(text.size()) + 1);
}

void CLog::EnterCall() {
    ++g_callDepth;
}

void CLog::LeaveCall() {
    --g_callDepth;
}

void CLog::Indent(std::ostream& message) {
    for (LONG depth = g_callDepth; depth > 0; --depth)
        message << kIndentation;
}
