// A device's driver: the object that its module makes, with both faces.
#pragma once

#include <atomic>

#include "platform/com_ptr.h"
#include "platform/registry_key.h"
#include "platform/sti.h"
#include "platform/wia.h"
#include "service/install.h"

// What a driver's failure to begin says of the device toolkit that it loads; empty when it is about
// something else.
std::string ToolkitFailure(HRESULT hr, const InstalledDevice& device);

// The outer object in which the driver's is aggregated; a driver that can't be aggregated stands
// alone, and is used the same way. Counted: a driver may hold it.
class CDriverObject final : public IUnknown {
  public:
    // Loads the module by the device's class, makes the object and initialises its still-image
    // face. What fails is released; the text of the failure says what to do about it.
    static ScanStatus Load(const InstalledDevice& device, const Notice& notice,
                           ComPtr<CDriverObject>& driver);

    IWiaMiniDrv* Imaging() const { return m_imaging; }
    IStiUSD* StillImage() const { return m_stillImage; }
    // What the registry says and what the driver adds.
    DWORD Capabilities() const { return m_capabilities; }

    HRESULT QueryInterface(REFIID iid, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

  private:
    CDriverObject() = default;
    ~CDriverObject() = default;
    HRESULT Create(REFCLSID clsid);
    ScanStatus Initialize(const InstalledDevice& device, const Notice& notice);

    std::atomic<ULONG> m_refs{1};
    CRegistryKey m_key;  // the device's; the driver may keep it
    ComPtr<IUnknown> m_inner;
    // Kept by m_inner, not counted: their counts would be this object's own.
    IWiaMiniDrv* m_imaging = nullptr;
    IStiUSD* m_stillImage = nullptr;
    DWORD m_capabilities = 0;
};
