// A module with one class, whose objects can nothing but count. The module may go when none of them
// lives and nobody holds it.
#include "tests/support/component_module.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace {

std::atomic<LONG> g_holds{0};

class CComponent final : public IUnknown {
  public:
    CComponent() { ++g_holds; }
    ~CComponent() { --g_holds; }

    HRESULT QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown ? this : nullptr;
        if (!*object)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_count; }
    ULONG Release() override {
        const ULONG left = --m_count;
        if (left == 0)
            delete this;
        return left;
    }

  private:
    std::atomic<ULONG> m_count{1};
};

// Not counted: it lives as long as the module.
class CFactory final : public IClassFactory {
  public:
    HRESULT QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }
    HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (outer)
            return CLASS_E_NOAGGREGATION;
        auto* component = new CComponent;
        const HRESULT hr = component->QueryInterface(iid, object);
        component->Release();
        // No object keeps the module now, and its code still runs: time for a fault to show.
        if (FAILED(hr))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return hr;
    }
    HRESULT LockServer(BOOL lock) override {
        g_holds += lock ? 1 : -1;
        return S_OK;
    }
};

CFactory g_factory;

}  // namespace

extern "C" {

__attribute__((visibility("default"))) HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid,
                                                                 LPVOID* object) {
    return clsid == CLSID_TestComponent ? g_factory.QueryInterface(iid, object)
                                        : CLASS_E_CLASSNOTAVAILABLE;
}

__attribute__((visibility("default"))) HRESULT DllCanUnloadNow() {
    return g_holds == 0 ? S_OK : S_FALSE;
}
}
