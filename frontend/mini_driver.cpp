#include "frontend/mini_driver.h"

#include <new>

#include "platform/sync.h"

namespace {

constexpr LONG kUnlinkFlags = WiaItemTypeDisconnected;

}  // namespace

CNVwiaMiniDrv::CNVwiaMiniDrv() {
    // The first holder's identifier tells where the log is configured.
    m_pLogConfig = CLogConfig::Acquire(CLSID_MiniDrv);
    m_pLog.reset(new (std::nothrow) CLog);
    if (!m_pLog) {
        if (m_pLogConfig)
            CLogConfig::Release();
        throw std::bad_alloc();
    }
    m_hShutdownEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);
}

CNVwiaMiniDrv::~CNVwiaMiniDrv() {
    CNVwiaMiniDrv::SetNotificationHandle(nullptr);
    m_pEvents.reset();
    m_pEventMasks.reset();
    if (m_hShutdownEvent)
        CloseHandle(m_hShutdownEvent);
    m_pDcb.Reset();
    DeleteItemTree();
    m_pFormatInfo.reset();
    if (m_pScan) {
        m_pScan->releaseScanner();
        m_pScan->closeScanner();
    }
    m_pEngine.reset();
    m_pScan.reset();
    m_pImageStream.Reset();
    m_pLog.reset();
    if (m_pLogConfig)
        CLogConfig::Release();
    if (m_pToolkit) {
        DWORD error = OSTREL_NO_ERROR;
        m_pToolkit->CloseDevice(m_dwSessionId, &error);
        m_pToolkit.Reset();
    }
}

HRESULT CNVwiaMiniDrv::DeleteItemTree() {
    if (!m_pRootItem)
        return S_OK;
    const HRESULT hr = m_pRootItem->UnlinkItemTree(kUnlinkFlags);
    m_pRootItem.Reset();
    return hr;
}
