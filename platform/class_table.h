// The classes of this process: objects that it has registered, and the modules that it has loaded.
// Internal to the layer.
#pragma once

#include <list>
#include <map>
#include <mutex>
#include <string>

#include "platform/com.h"
#include "platform/com_ptr.h"

namespace platform {

// A loaded module and what it exports. The loader counts: several of one file are one module.
class Module {
  public:
    using GetClassObject = HRESULT (*)(REFCLSID clsid, REFIID iid, LPVOID* object);
    using CanUnloadNow = HRESULT (*)();

    Module() = default;
    Module(Module&& other) noexcept { Swap(other); }
    Module& operator=(Module other) noexcept {
        Swap(other);
        return *this;
    }
    ~Module();

    // CO_E_DLLNOTFOUND, CO_E_ERRORINDLL.
    HRESULT Load(const std::string& path);

    HRESULT ClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) const;
    // A module that doesn't export the question stays.
    bool MayUnload() const;

    // Calls under way; under the table's lock.
    int callers = 0;

  private:
    void Swap(Module& other) noexcept;

    void* m_handle = nullptr;
    GetClassObject m_getClassObject = nullptr;
    CanUnloadNow m_canUnloadNow = nullptr;
};

// Calls into modules and objects are made without the lock, as they may come back here.
class ClassTable {
  public:
    static ClassTable& Instance();

    DWORD Register(REFCLSID clsid, IUnknown* object, DWORD contexts);
    // False if there is no such cookie.
    bool Revoke(DWORD cookie);
    // The object registered last for a class in one of the contexts; empty if there is none.
    ComPtr<IUnknown> FindObject(REFCLSID clsid, DWORD contexts);

    // Keeps a module loaded during a call.
    class Use {
      public:
        Use() = default;
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        ~Use();

        const Module* operator->() const { return m_module; }

      private:
        friend class ClassTable;
        Module* m_module = nullptr;
    };

    // Finds the module or loads it.
    HRESULT UseModule(const std::string& path, Use& use);
    void FreeUnused();

  private:
    struct Registered {
        DWORD cookie;
        CLSID clsid;
        DWORD contexts;
        ComPtr<IUnknown> object;
    };
    using Modules = std::map<std::string, Module>;  // by the path in the registry

    std::mutex m_lock;
    std::list<Registered> m_objects;  // the newest first
    DWORD m_lastCookie = 0;
    Modules m_modules;
};

}  // namespace platform
