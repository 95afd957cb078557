#include "platform/class_table.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "platform/module.h"
#include "platform/registry.h"
#include "platform/system_error.h"
#include "platform/utf.h"

namespace platform {

// ---- Module

Module::~Module() {
    if (m_handle)
        dlclose(m_handle);
}

void Module::Swap(Module& other) noexcept {
    std::swap(callers, other.callers);
    std::swap(m_handle, other.m_handle);
    std::swap(m_getClassObject, other.m_getClassObject);
    std::swap(m_canUnloadNow, other.m_canUnloadNow);
}

HRESULT Module::Load(const std::string& path) {
    // The loader would look for a name without a folder in places that others may have chosen, for
    // any other relative path in the current folder, and would wait at a pipe.
    struct stat status = {};
    if (path.front() != '/' || stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return CO_E_DLLNOTFOUND;
    m_handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m_handle) {
        const char* reason = dlerror();
        OutputDebugStringA((std::string(reason ? reason : path) + '\n').c_str());
        return CO_E_DLLNOTFOUND;
    }
    m_getClassObject = reinterpret_cast<GetClassObject>(dlsym(m_handle, "DllGetClassObject"));
    m_canUnloadNow = reinterpret_cast<CanUnloadNow>(dlsym(m_handle, "DllCanUnloadNow"));
    return m_getClassObject ? S_OK : CO_E_ERRORINDLL;
}

HRESULT Module::ClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) const {
    return m_getClassObject(clsid, iid, object);
}

bool Module::MayUnload() const {
    return m_canUnloadNow && m_canUnloadNow() == S_OK;
}

// ---- ClassTable

// Never destroyed: what is loaded stays so while the process ends.
ClassTable& ClassTable::Instance() {
    static ClassTable& table = *new ClassTable;
    return table;
}

DWORD ClassTable::Register(REFCLSID clsid, IUnknown* object, DWORD contexts) {
    std::list<Registered> made;
    made.push_front({0, clsid, contexts, ComPtr<IUnknown>(object)});
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

ClassTable::Use::~Use() {
    if (!m_module)
        return;
    const std::lock_guard guard(Instance().m_lock);
    --m_module->callers;
}

HRESULT ClassTable::UseModule(const std::string& path, Use& use) {
    {
        const std::lock_guard guard(m_lock);
        if (const auto found = m_modules.find(path); found != m_modules.end()) {
            use.m_module = &found->second;
            ++use.m_module->callers;
            return S_OK;
        }
    }
    Modules loaded;  // what isn't needed in the end is closed without the lock
    if (const HRESULT hr = loaded[path].Load(path); FAILED(hr))
        return hr;
    const std::lock_guard guard(m_lock);
    m_modules.merge(loaded);  // another thread may have been faster
    use.m_module = &m_modules[path];
    ++use.m_module->callers;
    return S_OK;
}

// The modules are taken out of the table for the question. Who needs one of them meanwhile loads it
// again, which only counts; the question's answer holds for what the module gave out before.
void ClassTable::FreeUnused() {
    Modules idle;
    {
        const std::lock_guard guard(m_lock);
        for (auto i = m_modules.begin(); i != m_modules.end();) {
            const auto entry = i++;
            if (entry->second.callers == 0)
                idle.insert(m_modules.extract(entry));
        }
    }
    Modules leaving;
    for (auto i = idle.begin(); i != idle.end();) {
        const auto entry = i++;
        if (entry->second.MayUnload())
            leaving.insert(idle.extract(entry));
    }
    const std::lock_guard guard(m_lock);
    m_modules.merge(idle);
}

namespace {

// The module that the registry names for a class.
HRESULT FindModulePath(REFCLSID clsid, std::string& path) {
    LPOLESTR text = nullptr;
    if (const HRESULT hr = StringFromIID(clsid, &text); FAILED(hr))
        return hr;
    const std::string key = "CLSID\\" + BytesFromUtf16(text) + "\\InprocServer32";
    CoTaskMemFree(text);

    HKEY server = nullptr;
    LONG error = RegOpenKeyExA(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_READ, &server);
    if (error != ERROR_SUCCESS)
        return error == ERROR_FILE_NOT_FOUND ? REGDB_E_CLASSNOTREG : REGDB_E_READREGDB;
    DWORD type = REG_NONE;
    std::vector<char> value(MAX_PATH);
    do {
        DWORD size = static_cast<DWORD>(value.size());
        error = RegQueryValueExA(server, nullptr, nullptr, &type,
                                 reinterpret_cast<BYTE*>(value.data()), &size);
        value.resize(size);
    } while (error == ERROR_MORE_DATA);
    RegCloseKey(server);
    if (error != ERROR_SUCCESS)
        return error == ERROR_FILE_NOT_FOUND ? REGDB_E_CLASSNOTREG : REGDB_E_READREGDB;
    if ((type != REG_SZ && type != REG_EXPAND_SZ) || value.front() == 0)
        return REGDB_E_CLASSNOTREG;
    path = value.data();
    return S_OK;
}

// `use` keeps the module of the class object loaded, if it is in one.
HRESULT FindClassObject(REFCLSID clsid, DWORD context, REFIID iid, LPVOID* object,
                        ClassTable::Use& use) {
    if ((context & CLSCTX_INPROC_SERVER) == 0)
        return REGDB_E_CLASSNOTREG;
    if (const auto registered = ClassTable::Instance().FindObject(clsid, CLSCTX_INPROC_SERVER))
        return registered->QueryInterface(iid, object);
    std::string path;
    HRESULT hr = FindModulePath(clsid, path);
    if (SUCCEEDED(hr))
        hr = ClassTable::Instance().UseModule(path, use);
    return SUCCEEDED(hr) ? use->ClassObject(clsid, iid, object) : hr;
}

// A result that promises an object without giving one is the other side's fault.
HRESULT Checked(HRESULT hr, LPVOID* object) {
    if (FAILED(hr))
        *object = nullptr;
    return SUCCEEDED(hr) && !*object ? E_UNEXPECTED : hr;
}

}  // namespace
}  // namespace platform

HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, LPVOID, REFIID iid, LPVOID* object) {
    return platform::Contained<HRESULT>(E_OUTOFMEMORY, [&]() -> HRESULT {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        platform::ClassTable::Use use;
        return platform::Checked(platform::FindClassObject(clsid, context, iid, object, use),
                                 object);
    });
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid,
                         LPVOID* object) {
    return platform::Contained<HRESULT>(E_OUTOFMEMORY, [&]() -> HRESULT {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        platform::ClassTable::Use use;  // outlives the factory, which may not keep its module
        LPVOID found = nullptr;
        HRESULT hr = platform::FindClassObject(clsid, context, IID_IClassFactory, &found, use);
        hr = platform::Checked(hr, &found);
        if (FAILED(hr))
            return hr;
        ComPtr<IClassFactory> factory;
        factory.Attach(static_cast<IClassFactory*>(found));
        return platform::Checked(factory->CreateInstance(outer, iid, object), object);
    });
}

HRESULT CoRegisterClassObject(REFCLSID clsid, IUnknown* object, DWORD context, DWORD,
                              DWORD* cookie) {
    return platform::Contained<HRESULT>(E_OUTOFMEMORY, [&]() -> HRESULT {
        if (!object || !cookie)
            return E_INVALIDARG;
        *cookie = platform::ClassTable::Instance().Register(clsid, object, context);
        return S_OK;
    });
}

HRESULT CoRevokeClassObject(DWORD cookie) {
    return platform::ClassTable::Instance().Revoke(cookie) ? S_OK : CO_E_OBJNOTREG;
}

void CoFreeUnusedLibraries() {
    platform::Contained(0, [] {
        platform::ClassTable::Instance().FreeUnused();
        return 0;
    });
}
