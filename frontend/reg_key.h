// An open key of the registry, and its values. A value of another type than asked for, or one that
// doesn't fit, counts as absent.
#pragma once

#include "platform/registry.h"
#include "platform/types.h"

class CRegKey {
  public:
    CRegKey() = default;
    ~CRegKey();
    CRegKey(const CRegKey&) = delete;
    CRegKey& operator=(const CRegKey&) = delete;

    // Once, or until it succeeds. System error numbers.
    LONG Open(HKEY parent, const char* path, REGSAM access = KEY_READ);
    LONG Create(HKEY parent, const char* path);
    HKEY Get() const { return m_key; }

  private:
    HKEY m_key = nullptr;
};

// All leave the value alone, and return false, when there is none.
bool ReadText(HKEY key, const char* name, char* text, DWORD size);
template <DWORD size>
bool ReadText(HKEY key, const char* name, char (&text)[size]) {
    return ReadText(key, name, text, size);
}
bool ReadNumber(HKEY key, const char* name, DWORD& number);

LONG WriteText(HKEY key, const char* name, const char* text);
LONG WriteNumber(HKEY key, const char* name, DWORD number);
