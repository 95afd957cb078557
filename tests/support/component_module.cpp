// A module with one class, as the class table loads them.
#include "tests/support/component_module.h"

namespace {

// Class object and component in one. Not counted: it lives as long as the module, which stays.
class CComponent final : public IClassFactory {
  public:
    HRESULT QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }
    HRESULT CreateInstance(IUnknown*, REFIID iid, void** object) override {
        return QueryInterface(iid, object);
    }
    HRESULT LockServer(BOOL) override { return S_OK; }
};

CComponent g_component;

}  // namespace

extern "C" __attribute__((visibility("default"))) HRESULT DllGetClassObject(REFCLSID clsid,
                                                                            REFIID iid,
                                                                            LPVOID* object) {
    return clsid == CLSID_TestComponent ? g_component.QueryInterface(iid, object)
                                        : CLASS_E_CLASSNOTAVAILABLE;
}
