#include "service/driver_object.h"

#include <utility>

#include "platform/text.h"
#include "service/device_control.h"

namespace {

// Of the still-image interface, as it is told to a driver.
constexpr DWORD kStiVersion = 2;

// Why the object of a class can't be had, in words, with what may help. Empty for a result that
// tells nothing of the class or its module.
std::string LoadFailure(const std::string& whose, HRESULT hr, REFCLSID clsid) {
    const std::string module = RegisteredModule(clsid);
    switch (static_cast<std::uint32_t>(hr)) {
        case static_cast<std::uint32_t>(REGDB_E_CLASSNOTREG):
            return whose + ", class " + GuidText(clsid) +
                   ", isn't registered; install the device again";
        case static_cast<std::uint32_t>(CO_E_DLLNOTFOUND):
            return whose + "'s module " + module +
                   " is missing or can't be loaded; install the device again";
        case static_cast<std::uint32_t>(CO_E_ERRORINDLL):
            return whose + "'s module " + module + " is no component; it exports no class object";
        default:
            return {};
    }
}

// The same for the driver itself, where any other result is told in its own words.
std::string DriverFailure(HRESULT hr, REFCLSID clsid) {
    const std::string why = LoadFailure("its driver", hr, clsid);
    return why.empty() ? "its driver's module " + RegisteredModule(clsid) +
                             " gives no object: " + ResultText(hr)
                       : why;
}

// An interface whose object somebody else keeps: found and not counted.
template <class T>
HRESULT FindFace(IUnknown* object, REFIID iid, T*& face) {
    T* found = nullptr;
    const HRESULT hr = object->QueryInterface(iid, reinterpret_cast<void**>(&found));
    if (FAILED(hr))
        return hr;
    if (!found)
        return E_NOINTERFACE;
    found->Release();
    face = found;
    return S_OK;
}

}  // namespace

std::string ToolkitFailure(HRESULT hr, const InstalledDevice& device) {
    return LoadFailure("its device toolkit", hr, device.toolkitClass);
}

// The object's identity is the outer one; every other interface is the driver's.
HRESULT CDriverObject::QueryInterface(REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (iid == IID_IUnknown) {
        *object = this;
        AddRef();
        return S_OK;
    }
    return m_inner ? m_inner->QueryInterface(iid, object) : E_NOINTERFACE;
}

ULONG CDriverObject::AddRef() {
    return ++m_refs;
}

ULONG CDriverObject::Release() {
    const ULONG left = --m_refs;
    if (left == 0) {
        m_refs = 1;  // for what the inner object counts while it goes
        m_inner.Reset();
        delete this;
    }
    return left;
}

// As a part of this object if the driver can be one, else alone.
HRESULT CDriverObject::Create(REFCLSID clsid) {
    HRESULT hr =
        CoCreateInstance(clsid, this, CLSCTX_INPROC_SERVER, IID_IUnknown, m_inner.OutVoid());
    if (hr == CLASS_E_NOAGGREGATION)
        hr =
            CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, m_inner.OutVoid());
    return hr;
}

// The key is the driver's to read and write, and stays open as long as the driver lives.
ScanStatus CDriverObject::Initialize(const InstalledDevice& device, const Notice& notice) {
    LONG error = m_key.Open(HKEY_LOCAL_MACHINE, DeviceKeyPath(device.number), KEY_ALL_ACCESS);
    if (error != ERROR_SUCCESS)
        return StatusOf(ResultFromError(error), "its key in the registry");
    ComPtr<CDeviceControl> control;
    control.Attach(new CDeviceControl(device.port, notice));
    const HRESULT hr = m_stillImage->Initialize(control.Get(), kStiVersion, m_key.Get());
    if (FAILED(hr)) {
        const std::string why = ToolkitFailure(hr, device);
        return why.empty() ? StatusOf(hr, "its driver does not start") : ScanStatus{hr, why};
    }
    STI_USD_CAPS capabilities = {};
    if (SUCCEEDED(m_stillImage->GetCapabilities(&capabilities)))
        m_capabilities = capabilities.dwGenericCaps;
    m_capabilities |= device.capabilities;
    return {};
}

// Both faces must be there: a driver with one of them alone is of no use to anybody.
ScanStatus CDriverObject::Load(const InstalledDevice& device, const Notice& notice,
                               ComPtr<CDriverObject>& driver) {
    driver.Reset();
    if (!device.fault.empty())
        return {REGDB_E_CLASSNOTREG, device.name + ": " + device.fault};
    ComPtr<CDriverObject> made;
    made.Attach(new CDriverObject);
    if (const HRESULT hr = made->Create(device.driverClass); FAILED(hr))
        return {hr, device.name + ": " + DriverFailure(hr, device.driverClass)};
    HRESULT hr = FindFace(made->m_inner.Get(), IID_IStiUSD, made->m_stillImage);
    if (SUCCEEDED(hr))
        hr = FindFace(made->m_inner.Get(), IID_IWiaMiniDrv, made->m_imaging);
    if (FAILED(hr))
        return {hr, device.name + ": the module " + RegisteredModule(device.driverClass) +
                        " is no driver of imaging devices; it lacks an interface"};
    ScanStatus status = made->Initialize(device, notice);
    if (status.Ok())
        driver = made;
    else
        status.text = device.name + ": " + status.text;
    return status;
}
