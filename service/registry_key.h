// An open key of the registry.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/registry.h"

// Closes its key. Values of another kind than asked for, too long or unreadable, count as absent.
class CRegistryKey {
  public:
    static constexpr DWORD kMaxTextBytes = 4096;
    static constexpr std::size_t kMaxSubkeys = 1024;

    CRegistryKey() = default;
    CRegistryKey(CRegistryKey&& other) noexcept;
    CRegistryKey& operator=(CRegistryKey&& other) noexcept;
    ~CRegistryKey();

    // System error numbers.
    LONG Open(HKEY parent, const std::string& path, REGSAM access = KEY_READ);
    LONG Create(HKEY parent, const std::string& path);

    HKEY Get() const { return m_key; }
    std::optional<std::string> ReadText(const char* name) const;
    std::optional<DWORD> ReadNumber(const char* name) const;
    LONG WriteText(const char* name, const std::string& text);
    LONG WriteNumber(const char* name, DWORD number);
    // In the order of their making; what is beyond kMaxSubkeys is left out.
    std::vector<std::string> Subkeys() const;
    bool IsEmpty() const;

  private:
    HKEY m_key = nullptr;
};

// Removes a key that has neither values nor subkeys, then those above it that are empty then.
void PruneEmptyKeys(HKEY root, std::string path);
