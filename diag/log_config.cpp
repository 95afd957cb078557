#include <atomic>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

#include "diag/log.h"
#include "platform/format.h"
#include "platform/registry.h"
#include "platform/sync.h"

namespace {

constexpr std::size_t kFormattedBytes = 1024;  // what the formatter may write

// The count moves without the lock as long as it stays above 0, since every trace takes part in it.
// Between 0 and 1 the lock guards it and the pointer.
std::mutex g_configLock;
std::atomic<LONG> g_configCount = 0;
CLogConfig* g_config = nullptr;

// Moves the count by one unless it is at or below the limit.
bool CountAbove(LONG limit, LONG step) {
    LONG count = g_configCount.load();
    while (count > limit) {
        if (g_configCount.compare_exchange_weak(count, count + step))
            return true;
    }
    return false;
}

// Both leave the value alone unless one of the right kind is there, and fits.
void ReadNumber(HKEY key, const char* name, DWORD& value) {
    DWORD type = REG_NONE;
    DWORD number = 0;
    DWORD size = sizeof(number);
    const LONG error =
        RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&number), &size);
    if (error == ERROR_SUCCESS && type == REG_DWORD && size == sizeof(number))
        value = number;
}

void ReadText(HKEY key, const char* name, char (&value)[MAX_PATH]) {
    DWORD type = REG_NONE;
    char text[MAX_PATH];
    DWORD size = sizeof(text);
    const LONG error =
        RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
    if (error != ERROR_SUCCESS || type != REG_SZ || size == 0 || text[size - 1] != 0)
        return;
    std::memcpy(value, text, size);
}

}  // namespace

CLogConfig* CLogConfig::Acquire(REFGUID component) noexcept {
    if (CountAbove(0, 1))
        return g_config;
    const std::lock_guard guard(g_configLock);
    if (CountAbove(0, 1))
        return g_config;
    g_config = new (std::nothrow) CLogConfig(component);
    if (g_config)
        g_configCount = 1;
    return g_config;
}

void CLogConfig::Release() noexcept {
    if (CountAbove(1, -1))
        return;
    CLogConfig* last = nullptr;
    {
        const std::lock_guard guard(g_configLock);
        if (CountAbove(1, -1) || g_configCount == 0)
            return;
        // Another thread may still take a reference until this.
        if (g_configCount.fetch_sub(1) == 1)
            last = std::exchange(g_config, nullptr);
    }
    delete last;
}

CLogConfig::CLogConfig(REFGUID component) noexcept : m_guidComponent(component) {
    ReadSettings();
    if (m_dwDestination & kLogToSink)
        CreateSink();
}

CLogConfig::~CLogConfig() {
    if (m_dwGitCookie != 0)
        m_pGit->RevokeInterfaceFromGlobal(m_dwGitCookie);
}

void CLogConfig::ReadSettings() {
    LPOLESTR component = nullptr;
    if (FAILED(StringFromIID(m_guidComponent, &component)))
        return;
    char path[kFormattedBytes];
    wsprintfA(path, "Software\\Norvane\\Lumetra\\Ostrel\\%S", component);
    CoTaskMemFree(component);

    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return;
    ReadNumber(key, "LogEnabled", m_bEnabled);
    ReadNumber(key, "LogLevel", m_dwLevel);
    ReadNumber(key, "LogDestination", m_dwDestination);
    ReadText(key, "LogFile", m_szLogFile);
    RegCloseKey(key);
}

void CLogConfig::CreateSink() {
    m_dwOwnerThread = GetCurrentThreadId();
    CoCreateInstance(CLSID_LogSink, nullptr, CLSCTX_ALL, IID_ILogSink, m_pSink.OutVoid());
    CoCreateInstance(CLSID_LogInterfaceTable, nullptr, CLSCTX_ALL, IID_IGlobalInterfaceTable,
                     m_pGit.OutVoid());
    if (!m_pSink || !m_pGit)
        return;
    DWORD cookie = 0;
    if (SUCCEEDED(m_pGit->RegisterInterfaceInGlobal(m_pSink.Get(), IID_ILogSink, &cookie)))
        m_dwGitCookie = cookie;
}

bool CLogConfig::ShouldLog(DWORD level) const {
    if (m_bEnabled == 0 || m_dwDestination == 0)
        return false;
    if (level < kLogGeneral)
        level |= kLogGeneral;
    constexpr DWORD kLowBits = kLogGeneral - 1;
    if ((level & kLowBits) == 0)
        level |= kLogOther;
    if (m_dwLevel == 0)
        return false;
    if (level & m_dwLevel & kLogError)
        return true;
    const DWORD wanted = level & ~kLogError;
    return (wanted & m_dwLevel) == wanted;
}
