// The module's entry: its class object, its registration, and the question whether it may go.
#include <algorithm>
#include <iterator>
#include <string>

#include "frontend/class_factory.h"
#include "frontend/mini_driver.h"
#include "platform/contained.h"
#include "platform/module.h"
#include "platform/registry_key.h"
#include "platform/text.h"

namespace {

constexpr CLSID LIBID_MiniDrv = {
    0xA8E99949, 0xC66E, 0x419B, {0x90, 0x9D, 0x85, 0xF3, 0x20, 0xD8, 0xC8, 0xDA}};

// The registration, below HKEY_CLASSES_ROOT. %C stands for the class identifier, %L for that of the
// type library, %M for the module's file.
constexpr struct {
    const char* key;
    const char* name;  // null: the default value
    const char* text;
} kScript[] = {
    {"nvqdrv.MiniDrv.1", nullptr, "MiniDrv Class"},
    {"nvqdrv.MiniDrv.1\\CLSID", nullptr, "%C"},
    {"nvqdrv.MiniDrv", nullptr, "MiniDrv Class"},
    {"nvqdrv.MiniDrv\\CLSID", nullptr, "%C"},
    {"nvqdrv.MiniDrv\\CurVer", nullptr, "nvqdrv.MiniDrv.1"},
    {"CLSID\\%C", nullptr, "MiniDrv Class"},
    {"CLSID\\%C\\ProgID", nullptr, "nvqdrv.MiniDrv.1"},
    {"CLSID\\%C\\VersionIndependentProgID", nullptr, "nvqdrv.MiniDrv"},
    {"CLSID\\%C\\InprocServer32", nullptr, "%M"},
    {"CLSID\\%C\\InprocServer32", "ThreadingModel", "Both"},
    {"CLSID\\%C\\TypeLib", nullptr, "%L"},
    {"TypeLib\\%L\\1.0", nullptr, "nvqdrv 1.0 Type Library"},
};

// What goes, with all below it, when the module is unregistered.
constexpr const char* kOwnKeys[] = {"nvqdrv.MiniDrv.1", "nvqdrv.MiniDrv", "CLSID\\%C",
                                    "TypeLib\\%L"};

class CScript {
  public:
    std::string Fill(std::string text) const {
        for (const auto& [mark, with] : m_marks) {
            if (const auto at = text.find(mark); at != std::string::npos)
                return text.replace(at, std::string(mark).size(), with);
        }
        return text;
    }
    bool IsComplete() const {
        return std::none_of(std::begin(m_marks), std::end(m_marks),
                            [](const auto& mark) { return mark.with.empty(); });
    }

  private:
    struct Mark {
        const char* mark;
        std::string with;
    };
    const Mark m_marks[3] = {
        {"%C", GuidText(CLSID_MiniDrv)},
        {"%L", GuidText(LIBID_MiniDrv)},
        {"%M", ModuleFileName(ModuleFromAddress(&CMiniDrvFactory::Instance()))}};
};

HRESULT Register() {
    const CScript script;
    if (!script.IsComplete())
        return ResultFromError(ERROR_MOD_NOT_FOUND);
    for (const auto& row : kScript) {
        CRegistryKey key;
        LONG error = key.Create(HKEY_CLASSES_ROOT, script.Fill(row.key).c_str());
        if (error == ERROR_SUCCESS)
            error = WriteText(key.Get(), row.name, script.Fill(row.text).c_str());
        if (error != ERROR_SUCCESS)
            return ResultFromError(error);
    }
    return S_OK;
}

// What isn't there needs no removal. The first failure counts, and the rest goes all the same.
HRESULT Unregister() {
    const CScript script;
    HRESULT hr = S_OK;
    for (const char* key : kOwnKeys) {
        const LONG error = RegDeleteTreeA(HKEY_CLASSES_ROOT, script.Fill(key).c_str());
        if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND && SUCCEEDED(hr))
            hr = ResultFromError(error);
    }
    return hr;
}

}  // namespace

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    return clsid == CLSID_MiniDrv ? CMiniDrvFactory::Instance().QueryInterface(iid, object)
                                  : CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
    return CModuleUses::None() ? S_OK : S_FALSE;
}

STDAPI DllRegisterServer() {
    return Contained(&Register);
}

STDAPI DllUnregisterServer() {
    return Contained(&Unregister);
}
