// The toolkit over SANE: one device of its.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "controller/toolkit.h"
#include "platform/device_lock.h"
#include "sane-toolkit/scan_plan.h"
#include "sane-toolkit/shared_device.h"

// Guarded by nothing of its own: only ReadScan comes on another thread, and EndScan waits for that.
// The facets of an open device are those that it has; before, nobody knows, and it has all of them.
// The profile is there when samples are values for a screen: it says so, and the engine makes
// light of them.
class CSaneToolkit : public IOstrelDevice,
                     public IOstrelADF2,
                     public IOstrelXPA,
                     public IOstrelButtons,
                     public IOstrelProfile {
  public:
    HRESULT QueryInterface(REFIID iid, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    HRESULT OpenDevice(LPCOLESTR name, WORD ioType, DWORD* session, DWORD* error) override;
    HRESULT CloseDevice(DWORD session, DWORD* error) override;
    HRESULT LockScanner(DWORD session, WORD mode, DWORD milliseconds, DWORD* error) override;
    HRESULT UnlockScanner(DWORD session, DWORD* error) override;
    HRESULT IsLampOn(DWORD session, BOOL* on, DWORD* error) override;
    HRESULT LampOn(DWORD session, DWORD* error) override;
    HRESULT Reserved1() override { return E_NOTIMPL; }
    HRESULT GetDeviceCapabilities(DWORD session, OstrelDeviceCaps* caps, DWORD* error) override;
    HRESULT GetScanSetup(DWORD session, const OstrelScanParams* params, OstrelScanSetup* setup,
                         DWORD* error) override;
    HRESULT CalibrateScanner(DWORD session, DWORD* error) override;
    HRESULT FinishOpen(DWORD session, DWORD* error) override;
    HRESULT StartScan(DWORD session, const OstrelScanParams* params, DWORD* error) override;
    HRESULT SetTonemap(DWORD session, DWORD bytes, const void* red, const void* green,
                       const void* blue, DWORD* error) override;
    HRESULT BeginRead(DWORD session, DWORD* status) override;
    HRESULT EndScan(DWORD session, DWORD* error) override;
    HRESULT Reserved2() override { return E_NOTIMPL; }
    HRESULT ReadScan(DWORD session, void* buffer, DWORD bytesWanted, DWORD* bytesRead,
                     DWORD* status) override;

    HRESULT IsPaperInADF(DWORD session, BOOL* paper, DWORD* error) override;
    HRESULT GetADF2Capabilities(DWORD session, OstrelAdf2Caps* caps, DWORD* error) override;
    HRESULT SetADFMode(DWORD session, DWORD mode, DWORD* error) override;
    HRESULT EndADF2Job(DWORD session, DWORD* error) override;
    HRESULT ADF2PaperFeed(DWORD session, DWORD* pageLength, DWORD* error) override;

    HRESULT GetXPACapabilities(DWORD session, OstrelXpaCaps* caps, DWORD* error) override;
    HRESULT XPALampOn(DWORD session, DWORD* error) override;

    HRESULT GetButtonDataSize(DWORD session, DWORD* bytes, DWORD* error) override;
    HRESULT ReadButtons(DWORD session, DWORD bytes, BYTE* buffer, DWORD* error) override;
    HRESULT EndButtonRead(DWORD session, DWORD* error) override;

    HRESULT GetProfileSize(DWORD session, DWORD* bytes, DWORD* error) override;
    HRESULT ReadProfile(DWORD session, DWORD bytes, void* buffer, DWORD* error) override;

  protected:
    virtual ~CSaneToolkit();

  private:
    DWORD Check(DWORD session) const;
    // Also that the device isn't given away.
    DWORD CheckDevice(DWORD session) const;
    bool IsOpen(DWORD session) const;
    DWORD Open(const std::string& port);
    bool HasFacet(bool isThere) const { return !m_device || isThere; }
    DWORD Plan(const OstrelScanParams& params, bool isDuplex);
    DWORD Begin();
    void Cancel();
    DWORD Read(BYTE* out, DWORD bytesWanted, DWORD& bytesRead);

    std::atomic<ULONG> m_references = 1;
    std::shared_ptr<CSharedDevice> m_device;
    CDeviceLock m_lock;
    ToneTables m_tones = {};

    // What the device is set up for.
    OstrelScanParams m_params = {};
    bool m_isDuplex = false;
    ScanPlan m_plan;

    CFrameReader m_reader;
    DWORD m_linesLeft = 0;
    DWORD m_pending = OSTREL_NO_ERROR;  // what the next read fails with
    bool m_isArmed = false;             // a sheet's scan waits for the feeder's mode
    bool m_isScanning = false;          // from the device's start to EndScan
    // The device has begun and wasn't cancelled: it gives the next sheet at the next start, with
    // the same settings.
    bool m_isInBatch = false;
    bool m_isBackDue = false;
};
