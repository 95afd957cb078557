#include "frontend/mini_driver.h"

namespace {

// Items that the service still holds know then that they are gone.
constexpr LONG kUnlinkFlags = WiaItemTypeDisconnected;

}  // namespace

// The engine goes before the controller and the stream that it borrows.
CNVwiaMiniDrv::~CNVwiaMiniDrv() {
    CNVwiaMiniDrv::SetNotificationHandle(nullptr);
    m_pDcb.Reset();
    DeleteItemTree();
    if (m_pScan) {
        m_pScan->releaseScanner();
        m_pScan->closeScanner();
    }
    m_pEngine.reset();
    m_pScan.reset();
    m_pImageStream.Reset();
    CloseToolkit();
}

HRESULT CNVwiaMiniDrv::DeleteItemTree() {
    if (!m_pRootItem)
        return S_OK;
    const HRESULT hr = m_pRootItem->UnlinkItemTree(kUnlinkFlags);
    m_pRootItem.Reset();
    return hr;
}
