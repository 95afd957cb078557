#include "service/device_control.h"

#include <algorithm>
#include <utility>

#include "platform/text.h"

namespace {

constexpr DWORD kModeData = 2;  // the device is opened for data

}  // namespace

CDeviceControl::CDeviceControl(const std::string& port, Notice notice)
    : m_port(WideFromText(port)), m_notice(std::move(notice)) {}

HRESULT CDeviceControl::GetLastError(DWORD* error) {
    if (!error)
        return E_INVALIDARG;
    *error = 0;
    return S_OK;
}

// With its zero the name must fit whole: a part of a path is another path.
HRESULT CDeviceControl::GetMyDevicePortName(LPOLESTR name, DWORD characters) {
    if (!name || characters <= m_port.size())
        return E_INVALIDARG;
    *std::copy(m_port.begin(), m_port.end(), name) = 0;
    return S_OK;
}

HRESULT CDeviceControl::GetMyDeviceOpenMode(DWORD* mode) {
    if (!mode)
        return E_INVALIDARG;
    *mode = kModeData;
    return S_OK;
}

// Cut after a line's worth: a driver may pass anything.
HRESULT CDeviceControl::WriteToErrorLog(DWORD, LPCOLESTR text, DWORD) {
    if (!text)
        return E_INVALIDARG;
    constexpr std::size_t kMostUnits = 1024;
    if (m_notice)
        m_notice("the driver reports: " + TextFromWide(text, kMostUnits));
    return S_OK;
}
