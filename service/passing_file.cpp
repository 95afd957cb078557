#include "service/passing_file.h"

#include <filesystem>
#include <random>
#include <system_error>

#include "platform/files.h"
#include "service/scan_status.h"

namespace {

namespace fs = std::filesystem;

HRESULT LastResult() {
    return ResultFromError(static_cast<LONG>(GetLastError()));
}

// A link is followed: renaming would put the file in its place.
HRESULT FindTarget(fs::path& target) {
    std::error_code missing;
    const fs::path real = fs::canonical(target, missing);
    if (missing)
        return S_OK;
    target = real;
    return fs::is_regular_file(real, missing) ? S_OK : E_INVALIDARG;
}

HANDLE CreatePassing(const fs::path& folder, fs::path& name) {
    constexpr int kAttempts = 100;
    std::random_device random;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        name = folder / (".nvqscan-" + std::to_string(random()) + ".tmp");
        const HANDLE file = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file != INVALID_HANDLE_VALUE || GetLastError() != static_cast<DWORD>(ERROR_FILE_EXISTS))
            return file;
    }
    return INVALID_HANDLE_VALUE;
}

}  // namespace

HRESULT WriteWholeFile(const std::string& targetName, const BYTE* bytes, DWORD size) {
    fs::path target = targetName;
    if (const HRESULT hr = FindTarget(target); FAILED(hr))
        return hr;
    fs::path name;
    const HANDLE file = CreatePassing(target.parent_path(), name);
    if (file == INVALID_HANDLE_VALUE)
        return LastResult();
    DWORD written = 0;
    HRESULT hr = WriteFile(file, bytes, size, &written, nullptr) ? S_OK : LastResult();
    CloseHandle(file);
    if (SUCCEEDED(hr)) {
        std::error_code failure;
        fs::rename(name, target, failure);
        hr = failure ? ResultFromError(ERROR_WRITE_FAULT) : S_OK;
    }
    if (FAILED(hr))
        DeleteFileA(name.c_str());
    return hr;
}
