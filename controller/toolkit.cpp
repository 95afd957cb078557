#include "controller/toolkit.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "diag/device_error_text.h"

namespace {

// The driver's own failures are 0x80040000 and a number; the front end has a message for each.
constexpr HRESULT ToolkitResult(unsigned number) {
    return MakeResult(0x80040000u + number);
}

constexpr HRESULT kUnknownError = ToolkitResult(0x0D);
constexpr HRESULT kCalibrationFailedOnAdapter = ToolkitResult(0x05);
constexpr HRESULT kFeederOnlyEmpty = ToolkitResult(0x12);

OstrelError Row(DWORD code, HRESULT result) {
    return {code, DeviceErrorText(code), result};
}

// A code's wording is the log's, so that it stands in one place.
const OstrelError kErrors[] = {
    Row(OSTREL_NO_ERROR, S_OK),
    Row(OSTREL_INVALID_SESSION, ToolkitResult(0x01)),
    Row(OSTREL_INVALID_PARAMETER, ToolkitResult(0x01)),
    Row(OSTREL_NOT_FOUND, ToolkitResult(0x03)),
    Row(OSTREL_NOT_LOCKED, ToolkitResult(0x01)),
    Row(OSTREL_LOCK_FAILED, ToolkitResult(0x06)),
    Row(OSTREL_LAMP_OFF, ToolkitResult(0x01)),
    Row(OSTREL_CALIBRATION_FAILED, ToolkitResult(0x0B)),
    Row(OSTREL_OUT_OF_MEMORY, E_OUTOFMEMORY),
    Row(OSTREL_UNKNOWN_ERROR, kUnknownError),
    Row(OSTREL_NOT_IMPLEMENTED, ToolkitResult(0x02)),
    Row(OSTREL_CARRIAGE_STUCK, ToolkitResult(0x04)),
    Row(OSTREL_COMMUNICATION, ToolkitResult(0x07)),
    Row(OSTREL_OPEN_FAILED, ToolkitResult(0x08)),
    Row(OSTREL_INVALID_HW_PROPERTY, ToolkitResult(0x01)),
    Row(OSTREL_END_OF_MEDIA, kUnknownError),
    Row(OSTREL_CANCEL_BUTTON, ToolkitResult(0x09)),
    Row(17, ToolkitResult(0x0B)),
    Row(18, ToolkitResult(0x13)),
    Row(OSTREL_ADF_JAMMED, ToolkitResult(0x0A)),
    Row(OSTREL_ADF_EMPTY, ToolkitResult(0x0F)),
    Row(OSTREL_ADF_END_OF_PAGE, kUnknownError),
    Row(OSTREL_ADF_HATCH_OPEN, ToolkitResult(0x0E)),
    Row(OSTREL_APF_JAMMED, ToolkitResult(0x10)),
    Row(105, ToolkitResult(0x11)),
    Row(107, ToolkitResult(0x14)),
    Row(108, ToolkitResult(0x15)),
    Row(300, ToolkitResult(0x05)),
    Row(320, kUnknownError),
    Row(321, kUnknownError),
    Row(322, kUnknownError),
    Row(323, kUnknownError),
    Row(400, ToolkitResult(0x13)),
    Row(401, ToolkitResult(0x07)),
    Row(OSTREL_NO_FIRMWARE_PROFILE, kUnknownError),
};

// The first characters of the model that the device tells. The object made for it is of no model in
// particular, and is gone again before the real one is made.
HRESULT FetchModelKey(REFCLSID clsid, LPCOLESTR deviceName, WORD ioType,
                      char (&modelKey)[kOstrelModelChars]) {
    ComPtr<IOstrelDevice> device;
    HRESULT hr = CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IID_IOstrelDevice, device.OutVoid());
    if (FAILED(hr) || !device)
        return FAILED(hr) ? hr : E_FAIL;
    DWORD session = 0;
    DWORD error = OSTREL_NO_ERROR;
    hr = device->OpenDevice(deviceName, ioType, &session, &error);
    if (FAILED(hr))
        return hr;
    OstrelDeviceCaps caps = {};
    {
        const OstrelLock lock(device.Get(), session);
        hr =
            lock.IsLocked() ? device->GetDeviceCapabilities(session, &caps, &error) : lock.Result();
    }
    device->CloseDevice(session, &error);
    if (SUCCEEDED(hr))
        std::memcpy(modelKey, caps.model, sizeof(modelKey));
    return hr;
}

// ASCII by contract; a byte above it becomes the letter of the same number.
std::u16string WideModel(const char (&modelKey)[kOstrelModelChars]) {
    std::u16string wide;
    for (const char c : modelKey) {
        if (c == '\0')
            break;
        wide += static_cast<char16_t>(static_cast<unsigned char>(c));
    }
    return wide;
}

}  // namespace

std::span<const OstrelError> OstrelErrorTable() {
    return kErrors;
}

// Two codes mean more than their row says: what a person has to look at differs with the source and
// the kind of device.
HRESULT MapOstrelError(DWORD code, const OstrelErrorContext& context) {
    if (code == OSTREL_CALIBRATION_FAILED && context.useXpa)
        return kCalibrationFailedOnAdapter;
    if (code == OSTREL_ADF_EMPTY && context.sheetFedOnly)
        return kFeederOnlyEmpty;
    const auto* row = std::find_if(std::begin(kErrors), std::end(kErrors),
                                   [code](const OstrelError& error) { return error.code == code; });
    return row == std::end(kErrors) ? kUnknownError : row->result;
}

OstrelLock::OstrelLock(IOstrelDevice* device, DWORD session, WORD mode, DWORD milliseconds,
                       DWORD* error)
    : m_device(device), m_session(session) {
    Lock(mode, milliseconds, error);
}

OstrelLock::OstrelLock(IOstrelDevice* device, DWORD session)
    : m_device(device), m_session(session) {
    DWORD error = OSTREL_NO_ERROR;
    Lock(OSTREL_LOCK_SHORT_JOB, 0, &error);
}

void OstrelLock::Lock(WORD mode, DWORD milliseconds, DWORD* error) {
    if (m_device)
        m_result = m_device->LockScanner(m_session, mode, milliseconds, error);
    m_locked = SUCCEEDED(m_result) ? 1 : 0;
}

// The error has no place to go: a level that can't be given back is lost to the device.
OstrelLock::~OstrelLock() {
    DWORD error = OSTREL_NO_ERROR;
    if (m_locked == 1)
        m_device->UnlockScanner(m_session, &error);
}

// A toolkit that knows models makes the object by its own factory; any other is asked for the one
// class that it has.
HRESULT CreateScannerInterface(REFCLSID clsid, LPCOLESTR deviceName, WORD ioType,
                               char (&modelKey)[kOstrelModelChars], IOstrelDevice** toolkit) {
    if (!toolkit)
        return E_POINTER;
    *toolkit = nullptr;
    // A toolkit that can't tell its model gets an object for no model in particular.
    if (modelKey[0] == '\0')
        FetchModelKey(clsid, deviceName, ioType, modelKey);
    ComPtr<IOstrelModelFactory> factory;
    ComPtr<IUnknown> object;
    HRESULT hr = CoGetClassObject(clsid, CLSCTX_INPROC_SERVER, nullptr, IID_IOstrelModelFactory,
                                  factory.OutVoid());
    if (SUCCEEDED(hr) && factory)
        hr = factory->CreateForModel(WideModel(modelKey).c_str(), object.Out());
    else
        hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.OutVoid());
    if (FAILED(hr))
        return hr;
    return object ? object->QueryInterface(IID_IOstrelDevice, reinterpret_cast<void**>(toolkit))
                  : E_FAIL;
}
