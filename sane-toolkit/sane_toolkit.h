// The toolkit over SANE: one device of its, a flatbed.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "controller/toolkit.h"
#include "platform/unique_handle.h"
#include "sane-toolkit/frame_reader.h"
#include "sane-toolkit/sane_device.h"
#include "sane-toolkit/scanner_facts.h"

extern std::atomic<int> g_saneObjects;  // that live

// A port is one of these and the device's name.
inline constexpr char kDisplayPort[] = "sane:";      // samples are display values
inline constexpr char kLightPort[] = "sane-light:";  // samples are light

// Guarded by nothing of its own: only ReadScan comes on another thread, and EndScan waits for that.
// The device stays open from OpenDevice to CloseDevice. It has the profile facet when its samples
// are display values: the profile says so, and the engine makes light of them.
class CSaneToolkit final : public IOstrelDevice, public IOstrelProfile {
  public:
    CSaneToolkit() { ++g_saneObjects; }

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

    HRESULT GetProfileSize(DWORD session, DWORD* bytes, DWORD* error) override;
    HRESULT ReadProfile(DWORD session, DWORD bytes, void* buffer, DWORD* error) override;

  private:
    ~CSaneToolkit();

    DWORD Check(DWORD session) const;
    bool IsOpen(DWORD session) const;
    DWORD Open(const std::string& port);
    DWORD Read(BYTE* out, DWORD bytesWanted, DWORD& bytesRead);

    std::atomic<ULONG> m_references = 1;
    std::string m_name;  // of the device
    bool m_isLight = false;
    std::unique_ptr<CSaneDevice> m_device;
    ScannerFacts m_facts;
    CHandle m_lock;
    DWORD m_levels = 0;  // of the lock
    ToneTables m_tones = {};
    ScanPlan m_plan;
    CFrameReader m_reader;
    DWORD m_linesLeft = 0;
    bool m_isScanning = false;
};
