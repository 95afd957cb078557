// Classes: objects that this process has registered, and the modules that the registry names.
#include <algorithm>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "platform/com.h"
#include "platform/com_ptr.h"
#include "platform/contained.h"
#include "platform/module.h"
#include "platform/registry_key.h"
#include "platform/text.h"

namespace {

// What a module exports.
using ClassObjectFunction = HRESULT (*)(REFCLSID clsid, REFIID iid, LPVOID* object);

// CO_E_DLLNOTFOUND, CO_E_ERRORINDLL.
HRESULT LoadModule(const std::string& path, ClassObjectFunction& function) {
    const HMODULE module = LoadLibraryA(path.c_str());
    if (!module)
        return CO_E_DLLNOTFOUND;
    function = reinterpret_cast<ClassObjectFunction>(GetProcAddress(module, "DllGetClassObject"));
    if (function)
        return S_OK;
    FreeLibrary(module);
    return CO_E_ERRORINDLL;
}

// Never destroyed, and a module stays loaded: code of it may still run while the process ends.
// Calls into modules and objects are made without the lock, as they may come back here.
class ClassTable {
  public:
    static ClassTable& Instance() {
        static ClassTable& table = *new ClassTable;
        return table;
    }

    DWORD Register(REFCLSID clsid, IUnknown* object, DWORD contexts);
    // False if there is no such cookie.
    bool Revoke(DWORD cookie);
    // The object registered last for a class in one of the contexts; empty if there is none.
    ComPtr<IUnknown> FindObject(REFCLSID clsid, DWORD contexts);
    // Finds the module, or loads it.
    HRESULT FindModule(const std::string& path, ClassObjectFunction& function);

  private:
    struct Registered {
        DWORD cookie;
        CLSID clsid;
        DWORD contexts;
        ComPtr<IUnknown> object;
    };

    std::mutex m_lock;
    std::list<Registered> m_objects;  // the newest first
    // Counts up and never comes round in a process's life; 0 is no cookie.
    DWORD m_lastCookie = 0;
    std::map<std::string, ClassObjectFunction> m_modules;  // by the path in the registry
};

DWORD ClassTable::Register(REFCLSID clsid, IUnknown* object, DWORD contexts) {
    std::list<Registered> made;
    made.push_front({0, clsid, contexts, ComPtr<IUnknown>(object)});
    // The entry was made without the lock, since its reference is counted by foreign code.
    const std::lock_guard guard(m_lock);
    made.front().cookie = ++m_lastCookie;
    m_objects.splice(m_objects.begin(), made);
    return m_lastCookie;
}

bool ClassTable::Revoke(DWORD cookie) {
    std::list<Registered> revoked;  // released without the lock
    const std::lock_guard guard(m_lock);
    const auto found =
        std::find_if(m_objects.begin(), m_objects.end(),
                     [cookie](const Registered& entry) { return entry.cookie == cookie; });
    if (found == m_objects.end())
        return false;
    revoked.splice(revoked.begin(), m_objects, found);
    return true;
}

ComPtr<IUnknown> ClassTable::FindObject(REFCLSID clsid, DWORD contexts) {
    const std::lock_guard guard(m_lock);
    for (const Registered& entry : m_objects) {
        if (entry.clsid == clsid && (entry.contexts & contexts) != 0)
            return entry.object;
    }
    return nullptr;
}

// Two threads may load the same module at once. The loader counts: it is one module all the same.
HRESULT ClassTable::FindModule(const std::string& path, ClassObjectFunction& function) {
    {
        const std::lock_guard guard(m_lock);
        if (const auto found = m_modules.find(path); found != m_modules.end()) {
            function = found->second;
            return S_OK;
        }
    }
    const HRESULT hr = LoadModule(path, function);
    if (FAILED(hr))
        return hr;
    const std::lock_guard guard(m_lock);
    m_modules.emplace(path, function);
    return S_OK;
}

// The module that the registry names for a class.
HRESULT FindModulePath(REFCLSID clsid, std::string& path) {
    CRegistryKey server;
    const std::string key = "CLSID\\" + GuidText(clsid) + "\\InprocServer32";
    if (const LONG error = server.Open(HKEY_CLASSES_ROOT, key); error != ERROR_SUCCESS)
        return error == ERROR_FILE_NOT_FOUND      ? REGDB_E_CLASSNOTREG
               : error == ERROR_NOT_ENOUGH_MEMORY ? E_OUTOFMEMORY
                                                  : REGDB_E_READREGDB;
    path = server.ReadText(nullptr).value_or("");
    return path.empty() ? REGDB_E_CLASSNOTREG : S_OK;
}

// A result that promises an object without giving one is the other side's fault.
HRESULT Checked(HRESULT hr, LPVOID* object) {
    if (FAILED(hr))
        *object = nullptr;
    return SUCCEEDED(hr) && !*object ? E_UNEXPECTED : hr;
}

// An object of the process stands ahead of the registry: a test, or a program that hosts the
// driver, puts its own in the place of what is installed.
HRESULT FindClassObject(REFCLSID clsid, DWORD context, REFIID iid, LPVOID* object) {
    if ((context & CLSCTX_INPROC_SERVER) == 0)
        return REGDB_E_CLASSNOTREG;
    if (const auto registered = ClassTable::Instance().FindObject(clsid, CLSCTX_INPROC_SERVER))
        return Checked(registered->QueryInterface(iid, object), object);
    std::string path;
    ClassObjectFunction function = nullptr;
    HRESULT hr = FindModulePath(clsid, path);
    if (SUCCEEDED(hr))
        hr = ClassTable::Instance().FindModule(path, function);
    return SUCCEEDED(hr) ? Checked(function(clsid, iid, object), object) : hr;
}

}  // namespace

HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, LPVOID, REFIID iid, LPVOID* object) {
    return Contained([&]() -> HRESULT {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        return FindClassObject(clsid, context, iid, object);
    });
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid,
                         LPVOID* object) {
    return Contained([&]() -> HRESULT {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        // The class object is let go at the end also when it fails: what it made keeps itself.
        ComPtr<IClassFactory> factory;
        const HRESULT hr = FindClassObject(clsid, context, IID_IClassFactory, factory.OutVoid());
        if (FAILED(hr))
            return hr;
        return Checked(factory->CreateInstance(outer, iid, object), object);
    });
}

HRESULT CoRegisterClassObject(REFCLSID clsid, IUnknown* object, DWORD context, DWORD,
                              DWORD* cookie) {
    return Contained([&]() -> HRESULT {
        if (!object || !cookie)
            return E_INVALIDARG;
        *cookie = ClassTable::Instance().Register(clsid, object, context);
        return S_OK;
    });
}

HRESULT CoRevokeClassObject(DWORD cookie) {
    return ClassTable::Instance().Revoke(cookie) ? S_OK : CO_E_OBJNOTREG;
}
