// The module's entry: class object and registration.
#include <string>

#include "platform/class_registration.h"
#include "platform/text.h"
#include "simulator/call_frame.h"
#include "simulator/model_store.h"
#include "simulator/sim_toolkit.h"
#include "simulator/simulator_class.h"

#define NVQ_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// The object begins with one reference, which this gives back: a query that fails deletes it.
HRESULT MakeObject(const std::string& model, std::uint32_t facets, REFIID iid, void** object) {
    auto* toolkit = new (std::nothrow) CSimToolkit(model, facets);
    if (!toolkit)
        return E_OUTOFMEMORY;
    const HRESULT hr = toolkit->QueryInterface(iid, object);
    toolkit->Release();
    return hr;
}

// Lives as long as the module, so its references aren't counted.
class CSimFactory final : public IClassFactory, public IOstrelModelFactory {
  public:
    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        if (iid == IID_IUnknown || iid == IID_IClassFactory)
            *object = static_cast<IClassFactory*>(this);
        else if (iid == IID_IOstrelModelFactory)
            *object = static_cast<IOstrelModelFactory*>(this);
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }

    HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        return outer ? CLASS_E_NOAGGREGATION : MakeObject({}, 0, iid, object);
    }
    HRESULT LockServer(BOOL lock) override {
        g_moduleUses += lock ? 1 : -1;
        return S_OK;
    }
    HRESULT CreateForModel(LPCOLESTR model, IUnknown** object) override;
};

// A model that can't be had is a class that can't be had; the line that says why has gone to
// standard error.
HRESULT CSimFactory::CreateForModel(LPCOLESTR model, IUnknown** object) {
    if (!model || !object)
        return E_POINTER;
    *object = nullptr;
    HRESULT hr = E_FAIL;
    const DWORD code = Contain([&] {
        const std::string name = TextFromWide(model);
        const std::uint32_t facets = name.empty() ? 0 : LoadModel(name).m_facets;
        hr = MakeObject(name, facets, IID_IUnknown, reinterpret_cast<void**>(object));
    });
    return code == OSTREL_NO_ERROR ? hr : CLASS_E_CLASSNOTAVAILABLE;
}

CSimFactory g_factory;

}  // namespace

NVQ_EXPORT HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    return clsid == CLSID_OstrelSimulator ? g_factory.QueryInterface(iid, object)
                                          : CLASS_E_CLASSNOTAVAILABLE;
}

// Objects and locks of the server count alike.
NVQ_EXPORT HRESULT DllCanUnloadNow() {
    return g_moduleUses == 0 ? S_OK : S_FALSE;
}

NVQ_EXPORT HRESULT DllRegisterServer() {
    return RegisterModuleClass(CLSID_OstrelSimulator, "Simulated scanner", &g_factory);
}

NVQ_EXPORT HRESULT DllUnregisterServer() {
    return UnregisterModuleClass(CLSID_OstrelSimulator);
}
