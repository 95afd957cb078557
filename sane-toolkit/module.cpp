// The entries of the module, and its one class.
#include <new>

#include "platform/class_registration.h"
#include "sane-toolkit/sane_toolkit.h"

namespace {

constexpr CLSID kClass = {
    0x42F71CCC, 0xE3A8, 0x46D9, {0xBC, 0x89, 0x54, 0x6C, 0x19, 0xAB, 0xF5, 0x4F}};

// Lives as long as the module, so its references aren't counted.
class CSaneFactory final : public IClassFactory {
  public:
    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (!object)
            return E_POINTER;
        *object = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }
    HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        if (outer)
            return CLASS_E_NOAGGREGATION;
        auto* scanner = new (std::nothrow) CSaneToolkit;
        if (!scanner)
            return E_OUTOFMEMORY;
        const HRESULT hr = scanner->QueryInterface(iid, object);
        scanner->Release();
        return hr;
    }
    HRESULT LockServer(BOOL lock) override {
        g_saneObjects += lock ? 1 : -1;
        return S_OK;
    }
};

CSaneFactory g_factory;

}  // namespace

#define NVQ_EXPORT extern "C" __attribute__((visibility("default")))

NVQ_EXPORT HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    return clsid == kClass ? g_factory.QueryInterface(iid, object) : CLASS_E_CLASSNOTAVAILABLE;
}

NVQ_EXPORT HRESULT DllCanUnloadNow() {
    return g_saneObjects == 0 ? S_OK : S_FALSE;
}

NVQ_EXPORT HRESULT DllRegisterServer() {
    return RegisterModuleClass(kClass, "Scanner of SANE", &g_factory);
}

NVQ_EXPORT HRESULT DllUnregisterServer() {
    return UnregisterModuleClass(kClass);
}
