#include "platform/registry_key.h"

#include <cstring>
#include <new>
#include <utility>

namespace {

// The longest name of a level, and its zero.
constexpr DWORD kNameRoom = 256;

bool IsText(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ;
}

// Nothing in these two allocates, so that they serve where memory may be short. A value that
// doesn't count is ERROR_FILE_NOT_FOUND.
LONG QueryText(HKEY key, const char* name, char* text, DWORD size) {
    DWORD type = REG_NONE;
    DWORD bytes = size;
    const LONG error =
        RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &bytes);
    // The registry stores texts with their zero; one that came without is none.
    if (error == ERROR_SUCCESS && IsText(type) && std::memchr(text, 0, bytes) != nullptr)
        return ERROR_SUCCESS;
    text[0] = 0;
    return error == ERROR_SUCCESS ? ERROR_FILE_NOT_FOUND : error;
}

LONG QueryNumber(HKEY key, const char* name, DWORD& number) {
    DWORD type = REG_NONE;
    DWORD read = 0;
    DWORD bytes = sizeof(read);
    const LONG error =
        RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&read), &bytes);
    if (error != ERROR_SUCCESS)
        return error;
    if (type != REG_DWORD || bytes != sizeof(read))
        return ERROR_FILE_NOT_FOUND;
    number = read;
    return ERROR_SUCCESS;
}

// True for success. Without memory nothing is known of what was asked for.
bool IsThere(LONG error) {
    if (error == ERROR_NOT_ENOUGH_MEMORY)
        throw std::bad_alloc();
    return error == ERROR_SUCCESS;
}

}  // namespace

// ---- Values

bool ReadText(HKEY key, const char* name, char* text, DWORD size) {
    return text && size != 0 && QueryText(key, name, text, size) == ERROR_SUCCESS;
}

bool ReadNumber(HKEY key, const char* name, DWORD& number) {
    return QueryNumber(key, name, number) == ERROR_SUCCESS;
}

LONG WriteText(HKEY key, const char* name, const std::string& text) {
    return RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>(text.size() + 1));
}

LONG WriteNumber(HKEY key, const char* name, DWORD number) {
    return RegSetValueExA(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                          sizeof(number));
}

// ---- CRegistryKey

CRegistryKey::CRegistryKey(CRegistryKey&& other) noexcept
    : m_key(std::exchange(other.m_key, nullptr)) {}

CRegistryKey& CRegistryKey::operator=(CRegistryKey&& other) noexcept {
    std::swap(m_key, other.m_key);
    return *this;
}

CRegistryKey::~CRegistryKey() {
    Take(nullptr);
}

void CRegistryKey::Take(HKEY key) {
    if (m_key)
        RegCloseKey(m_key);
    m_key = key;
}

LONG CRegistryKey::Open(HKEY parent, const char* path, REGSAM access) {
    HKEY opened = nullptr;
    const LONG error = RegOpenKeyExA(parent, path, 0, access, &opened);
    if (error == ERROR_SUCCESS)
        Take(opened);
    return error;
}

LONG CRegistryKey::Open(HKEY parent, const std::string& path, REGSAM access) {
    return Open(parent, path.c_str(), access);
}

bool CRegistryKey::Find(HKEY parent, const std::string& path) {
    return IsThere(Open(parent, path));
}

LONG CRegistryKey::Create(HKEY parent, const std::string& path, REGSAM access) {
    HKEY made = nullptr;
    const LONG error = RegCreateKeyExA(parent, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                       access, nullptr, &made, nullptr);
    if (error == ERROR_SUCCESS)
        Take(made);
    return error;
}

// The longest text that counts fits into a page of the stack.
std::optional<std::string> CRegistryKey::ReadText(const char* name) const {
    char text[kMaxTextBytes];
    if (!IsThere(QueryText(m_key, name, text, sizeof(text))))
        return std::nullopt;
    return text;
}

std::optional<DWORD> CRegistryKey::ReadNumber(const char* name) const {
    DWORD number = 0;
    if (!IsThere(QueryNumber(m_key, name, number)))
        return std::nullopt;
    return number;
}

LONG CRegistryKey::WriteText(const char* name, const std::string& text) {
    return ::WriteText(m_key, name, text);
}

LONG CRegistryKey::WriteNumber(const char* name, DWORD number) {
    return ::WriteNumber(m_key, name, number);
}

std::vector<std::string> CRegistryKey::Subkeys() const {
    std::vector<std::string> names;
    // The index is the count so far. A key that another program removes meanwhile ends the list
    // early or costs one entry; nobody is shown one twice.
    while (names.size() < kMaxSubkeys) {
        char name[kNameRoom] = {};
        DWORD size = sizeof(name);
        if (!IsThere(RegEnumKeyExA(m_key, static_cast<DWORD>(names.size()), name, &size, nullptr,
                                   nullptr, nullptr, nullptr)))
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

// A key that isn't there is passed over, as those above it may be empty all the same; the first one
// that holds something, or that can't be removed, ends the walk.
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
