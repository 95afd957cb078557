#include "frontend/reg_key.h"

#include <cstring>

namespace {

// Longer than any value that is asked for.
constexpr DWORD kMostText = 1024;

const BYTE* Bytes(const void* data) {
    return static_cast<const BYTE*>(data);
}

}  // namespace

CRegKey::~CRegKey() {
    if (m_key)
        RegCloseKey(m_key);
}

LONG CRegKey::Open(HKEY parent, const char* path, REGSAM access) {
    HKEY key = nullptr;
    const LONG error = RegOpenKeyExA(parent, path, 0, access, &key);
    if (error == ERROR_SUCCESS)
        m_key = key;
    return error;
}

LONG CRegKey::Create(HKEY parent, const char* path) {
    HKEY key = nullptr;
    const LONG error = RegCreateKeyExA(parent, path, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                       KEY_ALL_ACCESS, nullptr, &key, nullptr);
    if (error == ERROR_SUCCESS)
        m_key = key;
    return error;
}

bool ReadText(HKEY key, const char* name, char* text, DWORD size) {
    char read[kMostText];
    DWORD type = REG_NONE;
    DWORD bytes = sizeof(read);
    const LONG error =
        RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(read), &bytes);
    if (error != ERROR_SUCCESS || type != REG_SZ || bytes == 0 || bytes > size ||
        read[bytes - 1] != 0)
        return false;
    std::memcpy(text, read, bytes);
    return true;
}

bool ReadNumber(HKEY key, const char* name, DWORD& number) {
    DWORD read = 0;
    DWORD type = REG_NONE;
    DWORD bytes = sizeof(read);
    const LONG error =
        RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&read), &bytes);
    if (error != ERROR_SUCCESS || type != REG_DWORD || bytes != sizeof(read))
        return false;
    number = read;
    return true;
}

LONG WriteText(HKEY key, const char* name, const char* text) {
    return RegSetValueExA(key, name, 0, REG_SZ, Bytes(text),
                          static_cast<DWORD>(std::strlen(text) + 1));
}

LONG WriteNumber(HKEY key, const char* name, DWORD number) {
    return RegSetValueExA(key, name, 0, REG_DWORD, Bytes(&number), sizeof(number));
}
