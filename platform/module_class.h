// The end of a module that has a component's class:
//
//     CModuleClass<CThing> g_class(CLSID_Thing, "Thing");
//
//     NVQ_MODULE_ENTRIES(g_class)
#pragma once

#include <atomic>
#include <type_traits>

#include "platform/class_registration.h"
#include "platform/contained.h"
#include "platform/counted.h"

// The class object, of which a module has one that lives as long as itself, so that references to
// it aren't counted. It makes objects by their default constructor; they are counted, each
// beginning with one reference. A class object with more than that derives, and names its further
// faces.
template <class Object, class... MoreFaces>
class CModuleClass : public CFaces<Face<IClassFactory, IID_IClassFactory>, MoreFaces...> {
  public:
    // `name` is for people.
    CModuleClass(const CLSID& clsid, const char* name) : m_clsid(clsid), m_name(name) {}
    CModuleClass(const CModuleClass&) = delete;
    CModuleClass& operator=(const CModuleClass&) = delete;
    virtual ~CModuleClass() = default;

    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }
    HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        return outer ? CLASS_E_NOAGGREGATION : Make(iid, object);
    }
    HRESULT LockServer(BOOL lock) override {
        m_uses += lock ? 1 : -1;
        return S_OK;
    }

    // ---- What the module's entries do

    HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** object) {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        return clsid == m_clsid ? this->QueryInterface(iid, object) : CLASS_E_CLASSNOTAVAILABLE;
    }
    HRESULT CanUnloadNow() const { return m_uses == 0 ? S_OK : S_FALSE; }
    HRESULT Register() const { return RegisterModuleClass(m_clsid, m_name, this); }
    HRESULT Unregister() const { return UnregisterModuleClass(m_clsid); }

  protected:
    // An object that lacks the interface is gone again.
    template <class... Arguments>
    HRESULT Make(REFIID iid, void** object, const Arguments&... arguments) {
        return Contained([&] {
            Object* const made = new CMade(m_uses, arguments...);
            const HRESULT hr = made->QueryInterface(iid, object);
            made->Release();
            return hr;
        });
    }

  private:
    class CUse {
      public:
        explicit CUse(std::atomic<LONG>& uses) : m_uses(uses) { ++m_uses; }
        ~CUse() { --m_uses; }
        CUse(const CUse&) = delete;
        CUse& operator=(const CUse&) = delete;

      private:
        std::atomic<LONG>& m_uses;
    };

    // The use of the module is the last that goes with an object.
    class CMade final : private CUse, public Object {
      public:
        template <class... Arguments>
        explicit CMade(std::atomic<LONG>& uses, const Arguments&... arguments)
            : CUse(uses), Object(arguments...) {}

      private:
        static_assert(std::has_virtual_destructor_v<Object>, "Release must delete all of it");
    };

    const CLSID& m_clsid;
    const char* const m_name;
    std::atomic<LONG> m_uses = 0;  // objects, and locks of clients
};

// The functions that a module exports; `moduleClass` is its class object.
#define NVQ_MODULE_ENTRIES(moduleClass)                                    \
    STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) { \
        return moduleClass.GetClassObject(clsid, iid, object);             \
    }                                                                      \
    STDAPI DllCanUnloadNow() {                                             \
        return moduleClass.CanUnloadNow();                                 \
    }                                                                      \
    STDAPI DllRegisterServer() {                                           \
        return moduleClass.Register();                                     \
    }                                                                      \
    STDAPI DllUnregisterServer() {                                         \
        return moduleClass.Unregister();                                   \
    }
