#include "service/module_files.h"

#include <cstdlib>
#include <filesystem>

#include "platform/module.h"
#include "platform/registry_key.h"
#include "platform/text.h"
#include "service/device_registry.h"

namespace {

namespace fs = std::filesystem;

using RegisterFunction = HRESULT (*)();

// Empty when the path is longer than any that can be opened. Null is the program.
fs::path FolderOf(HMODULE module) {
    return fs::path(ModuleFileName(module)).parent_path();
}

// From a build's tree and from an installation the modules are found without a setting.
std::vector<fs::path> ModuleFolders() {
    if (const char* own = std::getenv("NVQ_MODULE_DIR"); own && *own)
        return {own};
    const fs::path library = FolderOf(ModuleFromAddress(reinterpret_cast<void*>(&ModuleFolders)));
    const fs::path program = FolderOf(nullptr);
    return {library, library / "nvqdrv", program, program.parent_path() / "lib",
            program.parent_path() / "lib" / "nvqdrv"};
}

bool IsFile(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error);
}

// `change` is "registered" or "taken out of the registry".
ScanStatus CallModule(const std::string& file, const char* function, const char* change) {
    const HMODULE module = LoadLibraryA(file.c_str());
    if (!module)
        return {CO_E_DLLNOTFOUND, file + ": can't be loaded as a module"};
    const auto call = reinterpret_cast<RegisterFunction>(GetProcAddress(module, function));
    if (!call) {
        FreeLibrary(module);
        return {CO_E_ERRORINDLL, file + ": is no component, for it doesn't export " + function};
    }
    const HRESULT hr = call();
    FreeLibrary(module);
    return StatusOf(hr, file + ": can't be " + change);
}

}  // namespace

// Links are followed: the registry gets the file itself, which stays when a link is changed.
ScanStatus FindModuleFile(const std::string& name, std::string& file) {
    std::string places;
    std::vector<fs::path> candidates = {name};
    if (name.empty() || name.front() != '/') {
        candidates.clear();
        for (const fs::path& folder : ModuleFolders())
            candidates.push_back(folder / name);
    }
    for (const fs::path& candidate : candidates) {
        if (IsFile(candidate)) {
            std::error_code error;
            const fs::path whole = fs::canonical(candidate, error);
            file = error ? candidate.string() : whole.string();
            return {};
        }
        places += (places.empty() ? "" : ", ") + candidate.parent_path().string();
    }
    return {CO_E_DLLNOTFOUND, "the module " + fs::path(name).filename().string() +
                                  " is missing; it was looked for in " + places};
}

ScanStatus RegisterModule(const std::string& file) {
    return CallModule(file, "DllRegisterServer", "registered");
}

ScanStatus UnregisterModule(const std::string& file) {
    return CallModule(file, "DllUnregisterServer", "taken out of the registry");
}

// By the file, not by its name: two paths may lead to one module.
std::vector<CLSID> ClassesOfModule(const std::string& file) {
    std::vector<CLSID> found;
    CRegistryKey classes;
    if (classes.Open(HKEY_CLASSES_ROOT, "CLSID") != ERROR_SUCCESS)
        return found;
    for (const std::string& name : classes.Subkeys()) {
        CLSID clsid = GUID_NULL;
        std::error_code error;
        if (GuidFromText(name, clsid) && fs::equivalent(RegisteredModule(clsid), file, error) &&
            !error)
            found.push_back(clsid);
    }
    return found;
}
