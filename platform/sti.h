// The still-image service as a driver sees it: presence, status and events of a device. Published
// names, orders and layouts.
#pragma once

#include "platform/com.h"
#include "platform/registry.h"
#include "platform/types.h"

inline constexpr IID IID_IStiUSD = {
    0x0C9BB460, 0x51AC, 0x11D0, {0x90, 0xEA, 0x00, 0xAA, 0x00, 0x60, 0xF8, 0x6C}};
inline constexpr IID IID_IStiDeviceControl = {
    0x128A9860, 0x52DC, 0x11D0, {0x9E, 0xDF, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};

// Generic capabilities of a device.
inline constexpr DWORD STI_GENCAP_NOTIFICATIONS = 1;
inline constexpr DWORD STI_GENCAP_POLLING_NEEDED = 2;

struct STI_USD_CAPS {
    DWORD dwVersion;
    DWORD dwGenericCaps;
};
static_assert(sizeof(STI_USD_CAPS) == 8);

inline constexpr DWORD STI_DEVSTATUS_ONLINE_STATE = 1;
inline constexpr DWORD STI_DEVSTATUS_EVENTS_STATE = 2;
inline constexpr DWORD STI_ONLINESTATE_OPERATIONAL = 1;
inline constexpr DWORD STI_EVENTHANDLING_PENDING = 4;

struct STI_DEVICE_STATUS {
    DWORD dwSize;
    DWORD StatusMask;
    DWORD dwOnlineState;
    DWORD dwHardwareStatusCode;
    DWORD dwEventHandlingState;
    DWORD dwPollingInterval;
};
static_assert(sizeof(STI_DEVICE_STATUS) == 24);

struct STI_ERROR_INFO {
    DWORD dwSize;
    DWORD dwGenericError;
    DWORD dwVendorError;
    WCHAR szExtendedErrorText[255];
};

struct STI_DIAG {
    DWORD dwSize;
    DWORD dwBasicDiagCode;
    DWORD dwVendorDiagCode;
    DWORD dwStatusMask;
    STI_ERROR_INFO sErrorInfo;
};
static_assert(sizeof(STI_DIAG) == 540);

struct STINOTIFY {
    DWORD dwSize;
    GUID guidNotificationCode;
    BYTE abNotificationData[64];
};
static_assert(sizeof(STINOTIFY) == 84);

// What the service gives a driver: where its device is.
struct IStiDeviceControl : IUnknown {
    virtual HRESULT Initialize(DWORD deviceType, DWORD mode, LPCOLESTR portName, DWORD flags) = 0;
    virtual HRESULT RawReadData(LPVOID buffer, DWORD* bytes, LPVOID overlapped) = 0;
    virtual HRESULT RawWriteData(LPVOID buffer, DWORD bytes, LPVOID overlapped) = 0;
    virtual HRESULT RawReadCommand(LPVOID buffer, DWORD* bytes, LPVOID overlapped) = 0;
    virtual HRESULT RawWriteCommand(LPVOID buffer, DWORD bytes, LPVOID overlapped) = 0;
    virtual HRESULT RawDeviceControl(DWORD function, LPVOID in, DWORD inBytes, LPVOID out,
                                     DWORD outBytes, DWORD* outActual) = 0;
    virtual HRESULT GetLastError(DWORD* error) = 0;
    // `characters` counts the terminating zero.
    virtual HRESULT GetMyDevicePortName(LPOLESTR name, DWORD characters) = 0;
    virtual HRESULT GetMyDeviceHandle(HANDLE* handle) = 0;
    virtual HRESULT GetMyDeviceOpenMode(DWORD* mode) = 0;
    virtual HRESULT WriteToErrorLog(DWORD type, LPCOLESTR text, DWORD error) = 0;

  protected:
    ~IStiDeviceControl() = default;
};

// What a driver implements: its still-image face.
struct IStiUSD : IUnknown {
    virtual HRESULT Initialize(IStiDeviceControl* pHelDcb, DWORD dwStiVersion,
                               HKEY hParametersKey) = 0;
    virtual HRESULT GetCapabilities(STI_USD_CAPS* pUsdCaps) = 0;
    virtual HRESULT GetStatus(STI_DEVICE_STATUS* pStatus) = 0;
    virtual HRESULT DeviceReset() = 0;
    virtual HRESULT Diagnostic(STI_DIAG* pBuffer) = 0;
    virtual HRESULT Escape(DWORD function, LPVOID in, DWORD inBytes, LPVOID out, DWORD outBytes,
                           DWORD* outActual) = 0;
    virtual HRESULT GetLastError(DWORD* pdwLastDeviceError) = 0;
    virtual HRESULT LockDevice() = 0;
    virtual HRESULT UnLockDevice() = 0;
    virtual HRESULT RawReadData(LPVOID buffer, DWORD* bytes, LPVOID overlapped) = 0;
    virtual HRESULT RawWriteData(LPVOID buffer, DWORD bytes, LPVOID overlapped) = 0;
    virtual HRESULT RawReadCommand(LPVOID buffer, DWORD* bytes, LPVOID overlapped) = 0;
    virtual HRESULT RawWriteCommand(LPVOID buffer, DWORD bytes, LPVOID overlapped) = 0;
    // Events: signalled when GetNotificationData has one. Null or -1 ends it.
    virtual HRESULT SetNotificationHandle(HANDLE hEvent) = 0;
    virtual HRESULT GetNotificationData(STINOTIFY* pBuffer) = 0;
    virtual HRESULT GetLastErrorInfo(STI_ERROR_INFO* pLastErrorInfo) = 0;

  protected:
    ~IStiUSD() = default;
};
