// What the service tells a driver about its device.
#pragma once

#include <string>

#include "platform/counted.h"
#include "platform/sti.h"
#include "service/install.h"

// Drivers bring their own way to the device, so there is no data path here.
class CDeviceControl final : public CCounted<Face<IStiDeviceControl, IID_IStiDeviceControl>> {
  public:
    CDeviceControl(const std::string& port, Notice notice);

    HRESULT Initialize(DWORD, DWORD, LPCOLESTR, DWORD) override { return S_OK; }
    HRESULT RawReadData(LPVOID, DWORD*, LPVOID) override { return E_NOTIMPL; }
    HRESULT RawWriteData(LPVOID, DWORD, LPVOID) override { return E_NOTIMPL; }
    HRESULT RawReadCommand(LPVOID, DWORD*, LPVOID) override { return E_NOTIMPL; }
    HRESULT RawWriteCommand(LPVOID, DWORD, LPVOID) override { return E_NOTIMPL; }
    HRESULT RawDeviceControl(DWORD, LPVOID, DWORD, LPVOID, DWORD, DWORD*) override {
        return E_NOTIMPL;
    }
    HRESULT GetLastError(DWORD* error) override;
    // E_INVALIDARG when the name doesn't fit.
    HRESULT GetMyDevicePortName(LPOLESTR name, DWORD characters) override;
    HRESULT GetMyDeviceHandle(HANDLE*) override { return E_NOTIMPL; }
    HRESULT GetMyDeviceOpenMode(DWORD* mode) override;
    // Goes to the user as a notice.
    HRESULT WriteToErrorLog(DWORD type, LPCOLESTR text, DWORD error) override;

  private:
    ~CDeviceControl() override = default;

    const std::u16string m_port;
    const Notice m_notice;
};
