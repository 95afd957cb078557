// The module's entry: class object and registration.
#include <string>

#include "platform/module_class.h"
#include "platform/text.h"
#include "simulator/call_frame.h"
#include "simulator/model_store.h"
#include "simulator/sim_toolkit.h"
#include "simulator/simulator_class.h"

namespace {

class CSimClass final
    : public CModuleClass<CSimToolkit, Face<IOstrelModelFactory, IID_IOstrelModelFactory>> {
  public:
    CSimClass() : CModuleClass(CLSID_OstrelSimulator, "Simulated scanner") {}

    HRESULT CreateForModel(LPCOLESTR model, IUnknown** object) override;
};

// A model that can't be had is a class that can't be had; the line that says why has gone to
// standard error.
HRESULT CSimClass::CreateForModel(LPCOLESTR model, IUnknown** object) {
    if (!model || !object)
        return E_POINTER;
    *object = nullptr;
    HRESULT hr = E_FAIL;
    const DWORD code = Contain([&] {
        const std::string name = TextFromWide(model);
        const std::uint32_t facets = name.empty() ? 0 : LoadModel(name).m_facets;
        hr = Make(IID_IUnknown, reinterpret_cast<void**>(object), name, facets);
    });
    return code == OSTREL_NO_ERROR ? hr : CLASS_E_CLASSNOTAVAILABLE;
}

CSimClass g_class;

}  // namespace

NVQ_MODULE_ENTRIES(g_class)
