#include <atomic>
#include <mutex>
#include <new>
#include <utility>

#include "diag/log.h"
#include "platform/registry_key.h"
#include "platform/sync.h"
#include "platform/text.h"

namespace {

// Below HKEY_LOCAL_MACHINE, with the component's identifier behind it.
constexpr char kKey[] = "Software\\Norvane\\Lumetra\\Ostrel\\";

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

}  // namespace

CLogConfig* CLogConfig::Acquire(REFGUID component) noexcept {
    if (CountAbove(0, 1))
        return g_config;
    // Another thread may have made it while this one waited.
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
    try {
        ReadSettings();
    } catch (const std::bad_alloc&) {
        // The log stays off, as without a key.
    }
    if (m_dwDestination & kLogToSink)
        CreateSink();
}

CLogConfig::~CLogConfig() {
    if (m_dwGitCookie != 0)
        m_pGit->RevokeInterfaceFromGlobal(m_dwGitCookie);
}

void CLogConfig::ReadSettings() {
    CRegistryKey key;
    if (key.Open(HKEY_LOCAL_MACHINE, kKey + GuidText(m_guidComponent)) != ERROR_SUCCESS)
        return;
    ReadNumber(key.Get(), "LogEnabled", m_bEnabled);
    ReadNumber(key.Get(), "LogLevel", m_dwLevel);
    ReadNumber(key.Get(), "LogDestination", m_dwDestination);
    ReadText(key.Get(), "LogFile", m_szLogFile);
}

void CLogConfig::CreateSink() {
    // Known also without a sink: log objects compare with it.
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
    // A level without a category is of the general one.
    if (level < kLogGeneral)
        level |= kLogGeneral;
    // The low 28 bits name the kinds of messages; none of them at all stands for "other".
    constexpr DWORD kLowBits = kLogGeneral - 1;
    if ((level & kLowBits) == 0)
        level |= kLogOther;
    if (m_dwLevel == 0)
        return false;
    // Errors need no other bit.
    if (level & m_dwLevel & kLogError)
        return true;
    const DWORD wanted = level & ~kLogError;
    return (wanted & m_dwLevel) == wanted;
}
