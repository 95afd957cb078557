#include "service/registry_key.h"

#include <utility>

CRegistryKey::CRegistryKey(CRegistryKey&& other) noexcept
    : m_key(std::exchange(other.m_key, nullptr)) {}

CRegistryKey& CRegistryKey::operator=(CRegistryKey&& other) noexcept {
    std::swap(m_key, other.m_key);
    return *this;
}

CRegistryKey::~CRegistryKey() {
    if (m_key)
        RegCloseKey(m_key);
}

LONG CRegistryKey::Open(HKEY parent, const std::string& path, REGSAM access) {
    CRegistryKey opened;
    const LONG error = RegOpenKeyExA(parent, path.c_str(), 0, access, &opened.m_key);
    if (error == ERROR_SUCCESS)
        std::swap(m_key, opened.m_key);
    return error;
}

LONG CRegistryKey::Create(HKEY parent, const std::string& path) {
    CRegistryKey made;
    const LONG error = RegCreateKeyExA(parent, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                       KEY_ALL_ACCESS, nullptr, &made.m_key, nullptr);
    if (error == ERROR_SUCCESS)
        std::swap(m_key, made.m_key);
    return error;
}

std::optional<std::string> CRegistryKey::ReadText(const char* name) const {
    std::string text(kMaxTextBytes, '\0');
    DWORD type = REG_NONE;
    DWORD size = kMaxTextBytes;
    if (RegQueryValueExA(m_key, name, nullptr, &type, reinterpret_cast<BYTE*>(text.data()),
                         &size) != ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ))
        return std::nullopt;
    text.resize(size);
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

std::optional<DWORD> CRegistryKey::ReadNumber(const char* name) const {
    DWORD number = 0;
    DWORD type = REG_NONE;
    DWORD size = sizeof(number);
    if (RegQueryValueExA(m_key, name, nullptr, &type, reinterpret_cast<BYTE*>(&number), &size) !=
            ERROR_SUCCESS ||
        type != REG_DWORD || size != sizeof(number))
        return std::nullopt;
    return number;
}

LONG CRegistryKey::WriteText(const char* name, const std::string& text) {
    return RegSetValueExA(m_key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>(text.size() + 1));
}

LONG CRegistryKey::WriteNumber(const char* name, DWORD number) {
    return RegSetValueExA(m_key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                          sizeof(number));
}

std::vector<std::string> CRegistryKey::Subkeys() const {
    std::vector<std::string> names;
    while (names.size() < kMaxSubkeys) {
        char name[256] = {};
        DWORD size = sizeof(name);
        if (RegEnumKeyExA(m_key, static_cast<DWORD>(names.size()), name, &size, nullptr, nullptr,
                          nullptr, nullptr) != ERROR_SUCCESS)
            break;
        names.emplace_back(name, size);
    }
    return names;
}

bool CRegistryKey::IsEmpty() const {
    DWORD subkeys = 0;
    DWORD values = 0;
    return RegQueryInfoKeyA(m_key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values,
                            nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
           subkeys == 0 && values == 0;
}

void PruneEmptyKeys(HKEY root, std::string path) {
    while (!path.empty()) {
        CRegistryKey key;
        const LONG error = key.Open(root, path);
        if (error != ERROR_FILE_NOT_FOUND) {
            if (error != ERROR_SUCCESS || !key.IsEmpty() ||
                RegDeleteTreeA(root, path.c_str()) != ERROR_SUCCESS)
                return;
        }
        const std::size_t end = path.rfind('\\');
        path.resize(end == std::string::npos ? 0 : end);
    }
}
