#include "platform/known_folders.h"

#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/internal/system_error.h"

namespace {

// The folder's number; the flags stand above it.
constexpr int kNumberMask = 0xFF;
constexpr mode_t kOwnerOnly = 0700;

struct KnownFolder {
    int number;
    const char* variable;
    const char* belowHome;
};
constexpr KnownFolder kFolders[] = {
    {CSIDL_PERSONAL, "XDG_DOCUMENTS_DIR", "/Documents"},
    {CSIDL_APPDATA, "XDG_CONFIG_HOME", "/.config"},
    {CSIDL_LOCAL_APPDATA, "XDG_DATA_HOME", "/.local/share"},
};

// Empty if the variable holds no absolute path: relative ones mean nothing, by the rules of these
// folders. A '/' at the end goes, as callers append one with a name.
std::string AbsolutePath(const char* variable) {
    const char* value = std::getenv(variable);
    std::string path = value && value[0] == '/' ? value : "";
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

// The variable goes first, the usual place below the home folder second.
std::string PathOf(const KnownFolder& folder) {
    std::string path = AbsolutePath(folder.variable);
    if (path.empty()) {
        path = AbsolutePath("HOME");
        if (!path.empty())
            path += folder.belowHome;
    }
    return path;
}

bool IsFolder(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Every level on the way; one that can't be made shows at the last.
bool MakeFolder(const std::string& path) {
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), kOwnerOnly);
    mkdir(path.c_str(), kOwnerOnly);
    return IsFolder(path);
}

}  // namespace

HRESULT SHGetFolderPathA(HWND, int folder, HANDLE, DWORD, LPSTR path) {
    return platform::Contained<HRESULT>(E_OUTOFMEMORY, [&]() -> HRESULT {
        if (!path)
            return E_INVALIDARG;
        *path = 0;
        for (const KnownFolder& row : kFolders) {
            if (row.number != (folder & kNumberMask))
                continue;
            const std::string found = PathOf(row);
            // A path that doesn't fit isn't cut: it would name another folder.
            if (found.empty() || found.size() >= MAX_PATH)
                return E_FAIL;
            if (!IsFolder(found)) {
                if ((folder & CSIDL_FLAG_CREATE) == 0)
                    return S_FALSE;
                if (!MakeFolder(found))
                    return E_FAIL;
            }
            std::memcpy(path, found.c_str(), found.size() + 1);
            return S_OK;
        }
        return E_INVALIDARG;
    });
}
