// The device toolkit: the closed component through which all traffic with a scanner goes. It owns
// the transport, the scanner's command set, calibration and the raw image stream; the driver owns
// everything above it.
//
// The toolkit's object offers IOstrelDevice and optional facets, each had by QueryInterface. A
// facet that the query doesn't give means that the device lacks the feature. Most are asked for
// before OpenDevice: the records tell what is attached.
//
// Calling convention. A negative HRESULT is failure. Apart from OpenDevice, every operation takes
// the session first; nearly all take last a pointer to a toolkit error code (toolkit_records.h),
// which the toolkit sets when it fails. ReadScan and BeginRead give that code as a status that has
// a meaning also on success.
//
// Units. Resolutions are dots per inch, lengths 1/300 inch unless told otherwise.
//
// The lock. Everything but OpenDevice, CloseDevice, LockScanner itself and SetPanelText is called
// under LockScanner. The lock nests: a session that holds it may take it again, and gives each
// level back with an UnlockScanner of its own. Another session's LockScanner blocks up to its
// time-out. A session that ends, or whose process dies, holds nothing.
//
// Endings. What UnlockScanner, CloseDevice, EndScan, EndADF2Job, ADFEndJob and EndJobGate end
// counts as over also when they report a failure: the driver doesn't ask again, and may begin anew.
//
// Threads. One thread at a time calls an object, but for BeginRead and ReadScan, which the scan
// reader's thread calls, and which may block. Other objects of the same device may be open in the
// process, and called by other threads.
//
// What a toolkit must do about the feeder, beyond the single operations:
// - ADF2PaperFeed takes the next sheet to the scan position. On a feeder with bit 0 of adfFlags
//   that sheet counts as paper (IsPaperInADF) until EndScan: the driver asks behind StartScan,
//   ahead of SetADFMode.
// - In duplex the second side of a sheet counts as paper until it has been scanned, and
//   ADF2PaperFeed does nothing, and succeeds, while a second side is due.
// - Feeding or starting a scan without paper fails with the code of the empty feeder. Without a
//   sensor IsPaperInADF answers with true, and StartScan or SetADFMode tells it in that way.
// - A scan with the preview bit leaves its sheet where it is, for the final scan.
// - EndADF2Job also ends what was fed and not scanned: the next job feeds again.
#pragma once

#include "controller/toolkit_records.h"
#include "platform/com.h"
#include "platform/com_ptr.h"
#include "platform/types.h"

// ---- Facets. Operations stand in the interface's order; reserved ones are not called.

inline constexpr IID IID_IOstrelDevice = {
    0xC8D84AA9, 0x27DC, 0x4EF2, {0xBD, 0x0B, 0x09, 0x61, 0x81, 0xB4, 0x5F, 0x43}};
inline constexpr IID IID_IOstrelADF2 = {
    0x9CB27D2D, 0x90CD, 0x467C, {0x94, 0x36, 0xBC, 0x4A, 0x07, 0x25, 0x4B, 0xA4}};
inline constexpr IID IID_IOstrelXPA = {
    0x76A293DC, 0x8922, 0x4878, {0x8F, 0xB7, 0x9D, 0xF9, 0x1C, 0x70, 0x6C, 0x0C}};
inline constexpr IID IID_IOstrelXPALamp = {
    0xF5BFDBAA, 0x1A66, 0x41F9, {0xA2, 0x07, 0xE1, 0x0C, 0xC1, 0x9B, 0xC0, 0x45}};
inline constexpr IID IID_IOstrelXPAMedia = {
    0xCD61B358, 0x613B, 0x401A, {0x9B, 0x39, 0xE3, 0xCE, 0x37, 0x1E, 0x9A, 0x19}};
inline constexpr IID IID_IOstrelNvram = {
    0x4CE74DDF, 0xF5C8, 0x4468, {0xAB, 0xEC, 0x84, 0xF7, 0x9D, 0x86, 0xA0, 0x82}};
inline constexpr IID IID_IOstrelCompression = {
    0x7489A94D, 0x373E, 0x4750, {0x82, 0xB3, 0xC4, 0xEA, 0x1B, 0x19, 0xF2, 0xF0}};
inline constexpr IID IID_IOstrelExtendedLamp = {
    0x51F7F3E6, 0xCC84, 0x400A, {0xAE, 0x59, 0x89, 0x0F, 0x7D, 0xA5, 0xDE, 0x58}};
inline constexpr IID IID_IOstrelPanel = {
    0x0BAA8F0A, 0x54D8, 0x4D16, {0x8C, 0x95, 0x18, 0x02, 0xAC, 0x01, 0xE6, 0xC4}};
inline constexpr IID IID_IOstrelProperties = {
    0x1661E5A1, 0x7BCD, 0x4E1A, {0x9E, 0x37, 0x13, 0xD8, 0xE4, 0xAB, 0x47, 0xC8}};
inline constexpr IID IID_IOstrelADF3 = {
    0x4A9F19A8, 0x3C7F, 0x4753, {0xB4, 0x00, 0xB3, 0xA8, 0xC1, 0x1D, 0xD0, 0xBC}};
inline constexpr IID IID_IOstrelColorMatrix = {
    0xEF5906AF, 0x7809, 0x49B6, {0xB7, 0x00, 0xB4, 0xA6, 0x91, 0x12, 0x52, 0x14}};
inline constexpr IID IID_IOstrelJobGate = {
    0x2089F754, 0xA439, 0x4E86, {0x95, 0xAE, 0x85, 0x34, 0x31, 0x0F, 0xFF, 0x43}};
inline constexpr IID IID_IOstrelProfile = {
    0x32AD2E3A, 0x0D80, 0x4ED1, {0xB4, 0x4E, 0xEA, 0x34, 0xAD, 0xCB, 0x3E, 0x73}};
inline constexpr IID IID_IOstrelResolutions = {
    0x67BD7934, 0x1ECB, 0x4C04, {0x83, 0x65, 0x77, 0x3E, 0x5B, 0x19, 0x78, 0xD7}};
inline constexpr IID IID_IOstrelADF = {
    0x3DBE6293, 0x2A79, 0x4359, {0x99, 0x9C, 0xDD, 0x5F, 0x73, 0x03, 0x72, 0x48}};
inline constexpr IID IID_IOstrelButtons = {
    0x13E7D8EB, 0x21B1, 0x40EB, {0x96, 0x5F, 0x2C, 0x56, 0xE3, 0xA9, 0x5A, 0xC2}};
inline constexpr IID IID_IOstrelInstantLamp = {
    0x21B4B84D, 0x6467, 0x4C71, {0xB8, 0x97, 0x21, 0xE3, 0x1F, 0xCD, 0x42, 0xA5}};
inline constexpr IID IID_IOstrelPendingTask = {
    0x97C76887, 0x43C2, 0x48D3, {0xA0, 0x2A, 0xA7, 0x46, 0x92, 0x5B, 0xC4, 0x74}};
inline constexpr IID IID_IOstrelModelFactory = {
    0x802A4598, 0xD08B, 0x475D, {0x9B, 0x90, 0x1E, 0x71, 0x77, 0xAF, 0xAD, 0x7E}};

// Modes and time-outs of LockScanner that the driver uses. Short jobs don't wait (0), but for a
// pending task, which waits without limit (0xFFFFFFFF).
inline constexpr WORD OSTREL_LOCK_SCAN = 0;
inline constexpr WORD OSTREL_LOCK_SHORT_JOB = 1;
inline constexpr DWORD OSTREL_LOCK_WAIT = 30000;  // milliseconds

struct IOstrelDevice : IUnknown {
    // `ioType`: 1 USB, 2 parallel port, 3 SCSI, 4 DOT4, 5 network. The session stays valid until
    // CloseDevice.
    virtual HRESULT OpenDevice(LPCOLESTR name, WORD ioType, DWORD* session, DWORD* error) = 0;
    virtual HRESULT CloseDevice(DWORD session, DWORD* error) = 0;
    virtual HRESULT LockScanner(DWORD session, WORD mode, DWORD milliseconds, DWORD* error) = 0;
    virtual HRESULT UnlockScanner(DWORD session, DWORD* error) = 0;
    virtual HRESULT IsLampOn(DWORD session, BOOL* on, DWORD* error) = 0;
    // Switches the flatbed's lamp on, or starts its time-out anew.
    virtual HRESULT LampOn(DWORD session, DWORD* error) = 0;
    virtual HRESULT Reserved1() = 0;
    virtual HRESULT GetDeviceCapabilities(DWORD session, OstrelDeviceCaps* caps, DWORD* error) = 0;
    // How the device would carry the parameters out. At every change of a setting.
    virtual HRESULT GetScanSetup(DWORD session, const OstrelScanParams* params,
                                 OstrelScanSetup* setup, DWORD* error) = 0;
    // For the parameters given last. May take long.
    virtual HRESULT CalibrateScanner(DWORD session, DWORD* error) = 0;
    // Once, when all capabilities have been read.
    virtual HRESULT FinishOpen(DWORD session, DWORD* error) = 0;
    virtual HRESULT StartScan(DWORD session, const OstrelScanParams* params, DWORD* error) = 0;
    // Behind each GetScanSetup, for the next start. Each table has `bytes` bytes, as the device's
    // record tells their sizes. There is no scan without.
    virtual HRESULT SetTonemap(DWORD session, DWORD bytes, const void* red, const void* green,
                               const void* blue, DWORD* error) = 0;
    // Once, ahead of the first ReadScan.
    virtual HRESULT BeginRead(DWORD session, DWORD* status) = 0;
    // Behind the last read of a page, also of a cancelled one; harmless when no scan has begun.
    virtual HRESULT EndScan(DWORD session, DWORD* error) = 0;
    virtual HRESULT Reserved2() = 0;
    // Whole lines, at least one: blocks until it is there. Less is a failure, unless the status
    // tells the end of the medium.
    virtual HRESULT ReadScan(DWORD session, void* buffer, DWORD bytesWanted, DWORD* bytesRead,
                             DWORD* status) = 0;

  protected:
    ~IOstrelDevice() = default;
};

// Values of SetADFMode.
inline constexpr DWORD OSTREL_ADF_MODE_GLASS = 2;
inline constexpr DWORD OSTREL_ADF_MODE_SHEET_THROUGH = 4;
inline constexpr DWORD OSTREL_ADF_MODE_DUPLEX = 17;

struct IOstrelADF2 : IUnknown {
    virtual HRESULT Reserved1() = 0;
    virtual HRESULT Reserved2() = 0;
    virtual HRESULT IsPaperInADF(DWORD session, BOOL* paper, DWORD* error) = 0;
    virtual HRESULT GetADF2Capabilities(DWORD session, OstrelAdf2Caps* caps, DWORD* error) = 0;
    virtual HRESULT SetADFMode(DWORD session, DWORD mode, DWORD* error) = 0;
    virtual HRESULT EndADF2Job(DWORD session, DWORD* error) = 0;
    // `pageLength` in tenths of an inch; 0: unknown.
    virtual HRESULT ADF2PaperFeed(DWORD session, DWORD* pageLength, DWORD* error) = 0;

  protected:
    ~IOstrelADF2() = default;
};

struct IOstrelADF3 : IUnknown {
    virtual HRESULT Reserved1() = 0;
    virtual HRESULT Reserved2() = 0;
    virtual HRESULT Reserved3() = 0;
    virtual HRESULT Reserved4() = 0;
    virtual HRESULT Reserved5() = 0;
    virtual HRESULT Reserved6() = 0;
    virtual HRESULT Reserved7() = 0;
    virtual HRESULT GetADF3Capabilities(DWORD session, OstrelAdf3Caps* caps, DWORD* error) = 0;
    virtual HRESULT GetDuplexSwitch(DWORD session, BOOL* duplex, DWORD* error) = 0;
    virtual HRESULT Reserved8() = 0;
    virtual HRESULT ADFStartJob(DWORD session, DWORD* error) = 0;
    virtual HRESULT ADFEndJob(DWORD session, DWORD* error) = 0;

  protected:
    ~IOstrelADF3() = default;
};

struct IOstrelXPA : IUnknown {
    virtual HRESULT GetXPACapabilities(DWORD session, OstrelXpaCaps* caps, DWORD* error) = 0;
    virtual HRESULT Reserved1() = 0;
    virtual HRESULT XPALampOn(DWORD session, DWORD* error) = 0;

  protected:
    ~IOstrelXPA() = default;
};

struct IOstrelXPALamp : IUnknown {
    virtual HRESULT Reserved1() = 0;
    virtual HRESULT Reserved2() = 0;
    virtual HRESULT Reserved3() = 0;
    virtual HRESULT Reserved4() = 0;
    virtual HRESULT IsXPALampOn(DWORD session, DWORD* state, DWORD* error) = 0;

  protected:
    ~IOstrelXPALamp() = default;
};

struct IOstrelXPAMedia : IUnknown {
    virtual HRESULT Reserved1() = 0;
    virtual HRESULT Reserved2() = 0;
    virtual HRESULT Reserved3() = 0;
    virtual HRESULT Reserved4() = 0;
    virtual HRESULT Reserved5() = 0;
    virtual HRESULT GetMediaSummary(DWORD session, OstrelMediaList* list, DWORD* error) = 0;
    virtual HRESULT GetMediaRecord(DWORD session, WORD index, OstrelMedia* media, DWORD* error) = 0;

  protected:
    ~IOstrelXPAMedia() = default;
};

struct IOstrelNvram : IUnknown {
    virtual HRESULT GetNvramInfo(DWORD session, OstrelNvramInfo* info, DWORD* error) = 0;
    virtual HRESULT ReadNvram(DWORD session, DWORD item, DWORD* value, DWORD* error) = 0;
    virtual HRESULT WriteNvram(DWORD session, DWORD item, DWORD value, DWORD* error) = 0;

  protected:
    ~IOstrelNvram() = default;
};

struct IOstrelCompression : IUnknown {
    virtual HRESULT GetCompressionCapabilities(DWORD session, OstrelCompressionCaps* caps,
                                               DWORD* error) = 0;
    virtual HRESULT SetCompressionType(DWORD session, DWORD type, DWORD* error) = 0;
    // `enable` is always 1.
    virtual HRESULT EnableCompression(DWORD session, DWORD enable, DWORD* error) = 0;
    // `kind` is always 1: the quality factor.
    virtual HRESULT SetCompressionValue(DWORD session, DWORD kind, DWORD value, DWORD* error) = 0;

  protected:
    ~IOstrelCompression() = default;
};

struct IOstrelExtendedLamp : IUnknown {
    virtual HRESULT SetLampTimeout(DWORD session, DWORD minutes, DWORD* error) = 0;

  protected:
    ~IOstrelExtendedLamp() = default;
};

struct IOstrelPanel : IUnknown {
    virtual HRESULT GetPanelCapabilities(DWORD session, OstrelPanelCaps* caps, DWORD* error) = 0;
    virtual HRESULT Reserved1() = 0;
    virtual HRESULT Reserved2() = 0;
    virtual HRESULT Reserved3() = 0;
    virtual HRESULT Reserved4() = 0;
    // `line` is always 1; `bytes` count the text with its terminating zero.
    virtual HRESULT SetPanelText(DWORD session, DWORD line, LPCOLESTR text, DWORD bytes,
                                 DWORD* error) = 0;

  protected:
    ~IOstrelPanel() = default;
};

// Names of properties: "Firmware Version" (text); "CurrentLampOn" (0 off, 1 flatbed, 2 adapter),
// "ADF" and "XPA" (the accessory is attached). A device that lacks one answers
// OSTREL_INVALID_HW_PROPERTY.
struct IOstrelProperties : IUnknown {
    // The caller frees the text with CoTaskMemFree.
    virtual HRESULT GetStringProperty(DWORD session, LPCOLESTR name, LPOLESTR* text,
                                      DWORD* error) = 0;
    virtual HRESULT GetLongProperty(DWORD session, LPCOLESTR name, DWORD* value, DWORD* error) = 0;

  protected:
    ~IOstrelProperties() = default;
};

struct IOstrelColorMatrix : IUnknown {
    virtual HRESULT GetColorMatrixCapabilities(DWORD session, OstrelColorMatrixCaps* caps,
                                               DWORD* error) = 0;
    virtual HRESULT Reserved1() = 0;
    // Nine doubles, by rows.
    virtual HRESULT SetColorMatrix(DWORD session, const double* matrix, DWORD* error) = 0;

  protected:
    ~IOstrelColorMatrix() = default;
};

struct IOstrelJobGate : IUnknown {
    // `flags` is always 0.
    virtual HRESULT BeginJobGate(DWORD session, DWORD flags, DWORD* error) = 0;
    virtual HRESULT EndJobGate(DWORD session, DWORD* error) = 0;
    virtual HRESULT GetJobGateState(DWORD session, DWORD* state, DWORD* error) = 0;
    // `reason` is always 1.
    virtual HRESULT AbortJobGate(DWORD session, DWORD reason, DWORD* error) = 0;

  protected:
    ~IOstrelJobGate() = default;
};

// A scanner profile that is stored in the device, as plain text.
struct IOstrelProfile : IUnknown {
    virtual HRESULT GetProfileSize(DWORD session, DWORD* bytes, DWORD* error) = 0;
    virtual HRESULT ReadProfile(DWORD session, DWORD bytes, void* buffer, DWORD* error) = 0;

  protected:
    ~IOstrelProfile() = default;
};

struct IOstrelResolutions : IUnknown {
    // `source`: 0 flatbed, 1 feeder, 2 adapter.
    virtual HRESULT GetResolutionTable(DWORD session, DWORD source, OstrelResolutionTable* table,
                                       DWORD* error) = 0;

  protected:
    ~IOstrelResolutions() = default;
};

struct IOstrelADF : IUnknown {
    virtual HRESULT GetADFCapabilities(DWORD session, OstrelAdfCaps* caps, DWORD* error) = 0;

  protected:
    ~IOstrelADF() = default;
};

struct IOstrelButtons : IUnknown {
    virtual HRESULT GetButtonDataSize(DWORD session, DWORD* bytes, DWORD* error) = 0;
    virtual HRESULT Reserved1() = 0;
    // One byte a button, not 0 when it was pressed.
    virtual HRESULT ReadButtons(DWORD session, DWORD bytes, BYTE* buffer, DWORD* error) = 0;
    virtual HRESULT Reserved2() = 0;
    virtual HRESULT EndButtonRead(DWORD session, DWORD* error) = 0;

  protected:
    ~IOstrelButtons() = default;
};

struct IOstrelInstantLamp : IUnknown {
    virtual HRESULT Reserved1() = 0;
    virtual HRESULT SetInstantLamp(DWORD session, DWORD state, DWORD* error) = 0;

  protected:
    ~IOstrelInstantLamp() = default;
};

struct IOstrelPendingTask : IUnknown {
    // 1: a task waits.
    virtual HRESULT GetPendingState(DWORD session, DWORD* state, DWORD* error) = 0;
    virtual HRESULT RunPendingTask(DWORD session, DWORD* error) = 0;

  protected:
    ~IOstrelPendingTask() = default;
};

// Offered by the class object of a toolkit that has an object of its own for each model.
struct IOstrelModelFactory : IUnknown {
    virtual HRESULT CreateForModel(LPCOLESTR model, IUnknown** object) = 0;

  protected:
    ~IOstrelModelFactory() = default;
};

// ---- Helpers

// A lock of the scanner for the life of a block. Not held when the device is null or the lock could
// not be had in time.
class OstrelLock {
  public:
    // The controller's form: the error goes to `error`.
    OstrelLock(IOstrelDevice* device, DWORD session, WORD mode, DWORD milliseconds, DWORD* error);
    // For short jobs, which don't wait: mode 1, no time, and an error word of its own.
    OstrelLock(IOstrelDevice* device, DWORD session);
    ~OstrelLock();
    OstrelLock(const OstrelLock&) = delete;
    OstrelLock& operator=(const OstrelLock&) = delete;

    bool IsLocked() const { return m_locked == 1; }
    // What LockScanner answered; E_POINTER for a null device.
    HRESULT Result() const { return m_result; }

  private:
    void Lock(WORD mode, DWORD milliseconds, DWORD* error);

    DWORD m_locked = 0;
    HRESULT m_result = E_POINTER;
    ComPtr<IOstrelDevice> m_device;
    DWORD m_session;
};

// Makes the toolkit's object for a device. `modelKey`, empty at first, is fetched from the device
// once and stays with the caller. The reference in `*toolkit` is the caller's.
HRESULT CreateScannerInterface(REFCLSID clsid, LPCOLESTR deviceName, WORD ioType,
                               char (&modelKey)[kOstrelModelChars], IOstrelDevice** toolkit);
