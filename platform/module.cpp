#include "platform/module.h"

#include <dlfcn.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "platform/handle.h"
#include "platform/system_error.h"

using platform::Contained;
using platform::Fail;

namespace {

// A hook that threads may set and use at the same time.
template <class Hook>
class HookSlot {
  public:
    Hook Set(Hook hook) {
        const std::lock_guard guard(m_lock);
        std::swap(m_hook, hook);
        return hook;
    }
    // A copy, so that the hook itself runs without the lock.
    Hook Get() {
        const std::lock_guard guard(m_lock);
        return m_hook;
    }

  private:
    std::mutex m_lock;
    Hook m_hook;
};

HookSlot<MessageBoxHook>& MessageBoxSlot() {
    static auto& slot = *new HookSlot<MessageBoxHook>;
    return slot;
}

HookSlot<DebugStringHook>& DebugStringSlot() {
    static auto& slot = *new HookSlot<DebugStringHook>;
    return slot;
}

// The program's own file; empty on failure.
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
bool IsProgram(HMODULE module) {
    return module == ModuleFromAddress(reinterpret_cast<const void*>(getauxval(AT_PHDR)));
}

// Empty if `module` is none; only the loader's lists are searched, nothing is read through the
// handle.
std::string ModuleFile(HMODULE module) {
    if (!module || IsProgram(module))
        return ProgramFile();
    Dl_info info = {};
    if (dladdr(module, &info) == 0 || info.dli_fbase != module || !info.dli_fname)
        return {};
    const std::unique_ptr<char, decltype(&std::free)> whole(realpath(info.dli_fname, nullptr),
                                                            &std::free);
    return whole ? whole.get() : info.dli_fname;
}

}  // namespace

HMODULE ModuleFromAddress(const void* address) {
    Dl_info info = {};
    return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR name, DWORD size) {
    return Contained<DWORD>(0, [&]() -> DWORD {
        const std::string file = ModuleFile(module);
        if (file.empty() || !name || size == 0) {
            Fail(file.empty() ? ERROR_MOD_NOT_FOUND : ERROR_INSUFFICIENT_BUFFER);
            return 0;
        }
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
