#include "platform/module.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "platform/handle.h"
#include "platform/hook_slot.h"
#include "platform/internal/system_error.h"

using platform::Contained;
using platform::Fail;

namespace {

constexpr std::string_view kSuffix = ".so";

// Loaded files by the address at which they lie, which is what stands for a module elsewhere too.
class LoadedModules {
  public:
    static LoadedModules& Instance() {
        static auto& modules = *new LoadedModules;
        return modules;
    }

    void Add(HMODULE module, void* handle) {
        const std::lock_guard guard(m_lock);
        m_handles.emplace(module, handle);
    }
    // Null if the module isn't here.
    void* Find(HMODULE module) {
        const std::lock_guard guard(m_lock);
        const auto found = m_handles.find(module);
        return found == m_handles.end() ? nullptr : found->second;
    }
    void* Take(HMODULE module) {
        const std::lock_guard guard(m_lock);
        const auto found = m_handles.find(module);
        if (found == m_handles.end())
            return nullptr;
        void* const handle = found->second;
        m_handles.erase(found);
        return handle;
    }

  private:
    std::mutex m_lock;
    std::multimap<HMODULE, void*> m_handles;
};

CHookSlot<MessageBoxHook>& MessageBoxSlot() {
    static auto& slot = *new CHookSlot<MessageBoxHook>;
    return slot;
}

CHookSlot<DebugStringHook>& DebugStringSlot() {
    static auto& slot = *new CHookSlot<DebugStringHook>;
    return slot;
}

// The program's own file; empty on failure. How long the name is can't be asked for, so the room
// grows until it does.
std::string ProgramFile() {
    std::string name(256, '\0');
    for (;;) {
        const ssize_t size = readlink("/proc/self/exe", name.data(), name.size());
        if (size < 0)
            return {};
        if (static_cast<std::size_t>(size) < name.size()) {
            name.resize(static_cast<std::size_t>(size));
            return name;
        }
        name.resize(name.size() * 2);
    }
}

// The loader knows the program only by what it was called with.
HMODULE Program() {
    return ModuleFromAddress(reinterpret_cast<const void*>(getauxval(AT_PHDR)));
}

// What dl_iterate_phdr looks for, and what it has found.
struct NamedModule {
    std::string_view name;
    HMODULE module;
};

int FindNamed(dl_phdr_info* info, std::size_t, void* context) {
    auto& wanted = *static_cast<NamedModule*>(context);
    std::string_view file = info->dlpi_name ? info->dlpi_name : "";
    file.remove_prefix(file.rfind('/') + 1);
    if (file.size() == wanted.name.size() + kSuffix.size() && file.ends_with(kSuffix))
        file.remove_suffix(kSuffix.size());
    if (file.empty() || file != wanted.name)
        return 0;
    // Headers lie in the module's first part, by whose start it is known.
    wanted.module = ModuleFromAddress(info->dlpi_phdr);
    return 1;
}

}  // namespace

HMODULE ModuleFromAddress(const void* address) {
    Dl_info info = {};
    return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
}

// Only the loader's lists are searched; nothing is read through the handle.
std::string ModuleFileName(HMODULE module) {
    if (!module || module == Program())
        return ProgramFile();
    // The handle must be the start of what the loader has there: any other address is no module.
    Dl_info info = {};
    if (dladdr(module, &info) == 0 || info.dli_fbase != module || !info.dli_fname)
        return {};
    // The loader knows it by the name it was loaded under, which may lead over links.
    const std::unique_ptr<char, decltype(&std::free)> whole(realpath(info.dli_fname, nullptr),
                                                            &std::free);
    return whole ? whole.get() : info.dli_fname;
}

HMODULE GetModuleHandleA(LPCSTR name) {
    if (!name)
        return Program();
    NamedModule wanted = {name, nullptr};
    dl_iterate_phdr(&FindNamed, &wanted);
    if (!wanted.module)
        Fail(ERROR_MOD_NOT_FOUND);
    return wanted.module;
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR name, DWORD size) {
    return Contained<DWORD>(0, [&]() -> DWORD {
        const std::string file = ModuleFileName(module);
        if (file.empty() || !name || size == 0) {
            Fail(file.empty() ? ERROR_MOD_NOT_FOUND : ERROR_INSUFFICIENT_BUFFER);
            return 0;
        }
        // A name that is cut ends with a zero all the same.
        const std::size_t stored = std::min<std::size_t>(file.size(), size - 1);
        std::memcpy(name, file.data(), stored);
        name[stored] = 0;
        if (stored == file.size()) {
            SetLastError(ERROR_SUCCESS);
            return static_cast<DWORD>(stored);
        }
        Fail(ERROR_INSUFFICIENT_BUFFER);
        return size;
    });
}

HMODULE LoadLibraryA(LPCSTR fileName) {
    return Contained<HMODULE>(nullptr, [&]() -> HMODULE {
        // The loader looks for any other name in places that others may have chosen, and would wait
        // at a pipe.
        struct stat status = {};
        if (!fileName || fileName[0] != '/' || stat(fileName, &status) != 0 ||
            !S_ISREG(status.st_mode)) {
            Fail(ERROR_MOD_NOT_FOUND);
            return nullptr;
        }
        // The symbols stay the module's own, and all of them are bound now: one that is missing
        // shows here and not in the middle of a scan.
        void* const handle = dlopen(fileName, RTLD_NOW | RTLD_LOCAL);
        link_map* map = nullptr;
        if (!handle || dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0) {
            const char* reason = dlerror();
            OutputDebugStringA((std::string(reason ? reason : fileName) + '\n').c_str());
            if (handle)
                dlclose(handle);
            Fail(ERROR_MOD_NOT_FOUND);
            return nullptr;
        }
        // The table of dynamic entries lies within the module, whose start is what it is known by.
        const HMODULE module = ModuleFromAddress(map->l_ld);
        LoadedModules::Instance().Add(module, handle);
        return module;
    });
}

// The entry is taken out first: whoever else closes at the same time finds another, or none.
BOOL FreeLibrary(HMODULE module) {
    void* const handle = LoadedModules::Instance().Take(module);
    return handle && dlclose(handle) == 0 ? TRUE : Fail(ERROR_MOD_NOT_FOUND);
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
    void* const handle = LoadedModules::Instance().Find(module);
    void* const address = handle && name ? dlsym(handle, name) : nullptr;
    if (!address)
        Fail(handle ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND);
    return reinterpret_cast<FARPROC>(address);
}

// Standard error stands in for a window: this layer has no display of its own.
int MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type) {
    return Contained(0, [&] {
        const char* shown = text ? text : "";
        const char* title = caption ? caption : "";
        if (const MessageBoxHook hook = MessageBoxSlot().Get())
            return hook(owner, shown, title, type);
        std::fprintf(stderr, "%s: %s\n", title, shown);
        return IDOK;
    });
}

void OutputDebugStringA(LPCSTR text) {
    Contained(0, [&] {
        if (const DebugStringHook hook = DebugStringSlot().Get())
            hook(text ? text : "");
        else
            std::fputs(text ? text : "", stderr);
        return 0;
    });
}

MessageBoxHook SetMessageBoxHook(MessageBoxHook hook) {
    return MessageBoxSlot().Set(std::move(hook));
}

DebugStringHook SetDebugStringHook(DebugStringHook hook) {
    return DebugStringSlot().Set(std::move(hook));
}
