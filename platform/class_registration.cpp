#include "platform/class_registration.h"

#include "platform/contained.h"
#include "platform/module.h"
#include "platform/registry_key.h"
#include "platform/text.h"

namespace {

std::string ClassKey(REFCLSID clsid) {
    return "CLSID\\" + GuidText(clsid);
}

}  // namespace

HRESULT RegisterModuleClass(REFCLSID clsid, const std::string& name, const void* place) {
    return Contained([&]() -> HRESULT {
        const std::string file = ModuleFileName(ModuleFromAddress(place));
        if (file.empty())
            return ResultFromError(ERROR_MOD_NOT_FOUND);
        CRegistryKey key;
        CRegistryKey server;
        LONG error = key.Create(HKEY_CLASSES_ROOT, ClassKey(clsid));
        if (error == ERROR_SUCCESS)
            error = key.WriteText(nullptr, name);
        if (error == ERROR_SUCCESS)
            error = server.Create(HKEY_CLASSES_ROOT, ClassKey(clsid) + "\\InprocServer32");
        if (error == ERROR_SUCCESS)
            error = server.WriteText(nullptr, file);
        if (error == ERROR_SUCCESS)
            error = server.WriteText("ThreadingModel", "Both");
        return ResultFromError(error);
    });
}

HRESULT UnregisterModuleClass(REFCLSID clsid) {
    return Contained([&] {
        const LONG error = RegDeleteTreeA(HKEY_CLASSES_ROOT, ClassKey(clsid).c_str());
        return error == ERROR_FILE_NOT_FOUND ? S_OK : ResultFromError(error);
    });
}
