// An open key of the registry, and the values that most of its users have: texts and numbers. A
// value of another kind than asked for, or one that doesn't fit, counts as absent.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/registry.h"

// ---- Values of a key that somebody else holds open; a null name is the key's default value.

// Texts are those of REG_SZ and REG_EXPAND_SZ, up to their first zero. `size` counts the room for
// the terminating zero; without a value the text is empty, and the answer false.
bool ReadText(HKEY key, const char* name, char* text, DWORD size);
template <DWORD size>
bool ReadText(HKEY key, const char* name, char (&text)[size]) {
    return ReadText(key, name, text, size);
}
// Numbers are those of REG_DWORD. Without a value `number` stays as it is, and the answer is false.
bool ReadNumber(HKEY key, const char* name, DWORD& number);

// System error numbers.
LONG WriteText(HKEY key, const char* name, const std::string& text);
LONG WriteNumber(HKEY key, const char* name, DWORD number);

// ---- A key that is closed at its end

class CRegistryKey {
  public:
    static constexpr DWORD kMaxTextBytes = 4096;  // of ReadText, with the terminating zero
    static constexpr std::size_t kMaxSubkeys = 1024;

    CRegistryKey() = default;
    CRegistryKey(CRegistryKey&& other) noexcept;
    CRegistryKey& operator=(CRegistryKey&& other) noexcept;
    ~CRegistryKey();

    // System error numbers. A failure leaves the key as it was, so that another path may be tried.
    LONG Open(HKEY parent, const std::string& path, REGSAM access = KEY_READ);
    LONG Open(HKEY parent, const char* path, REGSAM access = KEY_READ);
    LONG Create(HKEY parent, const std::string& path, REGSAM access = KEY_ALL_ACCESS);

    // To read. False, and the key as it was, if it isn't there or can't be opened; throws without
    // memory, as the reads of this class do.
    bool Find(HKEY parent, const std::string& path);

    // Null while nothing is open; every read then finds nothing.
    HKEY Get() const { return m_key; }
    std::optional<std::string> ReadText(const char* name) const;
    std::optional<DWORD> ReadNumber(const char* name) const;
    LONG WriteText(const char* name, const std::string& text);
    LONG WriteNumber(const char* name, DWORD number);
    // In the order of their making; what is beyond kMaxSubkeys is left out.
    std::vector<std::string> Subkeys() const;
    // It has neither values nor subkeys.
    bool IsEmpty() const;

  private:
    void Take(HKEY key);

    HKEY m_key = nullptr;
};

// Removes a key that has neither values nor subkeys, then those above it that are empty then.
void PruneEmptyKeys(HKEY root, std::string path);
