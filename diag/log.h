// The log. CLogConfig holds the settings of the process, read once from the registry; CLog formats
// messages and sends them out.
//
// A level is a mask. One with the top bit is an error and passes whenever the configured level has
// that bit too. Otherwise each of its other bits must be set in the configured level; a level below
// 0x10000000 belongs to the general category and needs that bit as well.
//
// The log is off by default. A message costs one test then, and no text is formatted. Nothing here
// ever fails the caller: a message that can't be made or sent is lost. The last error of the
// calling thread stays what it was.
#pragma once

#include <cstdarg>
#include <iosfwd>
#include <list>
#include <mutex>
#include <string>

#include "diag/log_sink.h"
#include "platform/com_ptr.h"
#include "platform/types.h"

inline constexpr DWORD kLogError = 0x80000000u;
inline constexpr DWORD kLogGeneral = 0x10000000u;
inline constexpr DWORD kLogCalls = 2;   // entry and exit of functions
inline constexpr DWORD kLogOther = 8;   // stands for no bit at all
inline constexpr DWORD kLogDumps = 16;  // records, field by field
inline constexpr DWORD kLogInformation = 64;

// Where messages go; any of these together.
inline constexpr DWORD kLogToFile = 1;
inline constexpr DWORD kLogToDebugger = 2;
inline constexpr DWORD kLogToSink = 4;

// The settings of the process: LogEnabled, LogLevel, LogDestination and LogFile of the key
// Software\Norvane\Lumetra\Ostrel\{component} under HKEY_LOCAL_MACHINE. Counted; any thread may
// acquire and release.
class CLogConfig {
  public:
    // One more holder. The first one's identifier selects the key, all later ones mean nothing.
    // Null without memory; then there is nothing to release.
    static CLogConfig* Acquire(REFGUID component) noexcept;
    // One holder less; the last one ends the object.
    static void Release() noexcept;

    bool ShouldLog(DWORD level) const;

    CLogConfig(const CLogConfig&) = delete;
    CLogConfig& operator=(const CLogConfig&) = delete;

  private:
    friend class CLog;

    explicit CLogConfig(REFGUID component) noexcept;
    ~CLogConfig();
    void ReadSettings();
    void CreateSink();

    DWORD m_bEnabled = 0;
    DWORD m_dwLevel = kLogError | kLogInformation;
    DWORD m_dwDestination = 0;
    DWORD m_dwOwnerThread = 0;  // the thread that made the sink
    char m_szLogFile[MAX_PATH] = "";
    DWORD m_dwGitCookie = 0;  // the sink's in the table; 0: none
    const GUID m_guidComponent;
    ComPtr<ILogSink> m_pSink;  // for its own thread
    ComPtr<IGlobalInterfaceTable> m_pGit;
};

// Formats messages and sends them to the destinations that were set when it was made. Holds the
// settings as long as it lives. Threads may share one.
class CLog {
  public:
    CLog() noexcept;
    // Sends what is still open.
    ~CLog();
    CLog(const CLog&) = delete;
    CLog& operator=(const CLog&) = delete;

    bool ShouldLog(DWORD level) const { return m_pConfig && m_pConfig->ShouldLog(level); }

    // One line, indented by the depth of traced calls; without a level, an information.
    void Write(const char* text) noexcept;
    void Write(DWORD level, const char* text) noexcept;
    // The same with the layer's own formats (platform/format.h), up to 1023 bytes.
    void Format(const char* format, ...) noexcept;
    void Format(DWORD level, const char* format, ...) noexcept;

    // Opens a message for text of the caller's: a stream that stays this object's, or null if the
    // message isn't wanted.
    std::ostream* Open(DWORD level) noexcept;
    // Sends an open message. The stream is gone then.
    void Finish(std::ostream* message) noexcept;

    // The depth of traced calls, common to all threads of the process.
    static void EnterCall();
    static void LeaveCall();
    // Writes the blanks that every line of a message begins with.
    static void Indent(std::ostream& message);

  private:
    void MakePath();
    void TakeSink();
    void FormatList(DWORD level, const char* format, va_list arguments) noexcept;
    void Send(const std::string& text) const;

    CLogConfig* const m_pConfig;  // null without memory
    DWORD m_dwDestination = 0;
    std::mutex m_pendingLock;
    std::list<std::ostringstream> m_pending;  // open messages, the oldest first
    ComPtr<ILogSink> m_pSink;
    char m_szPath[MAX_PATH];  // the log file; made only where it is wanted
};
