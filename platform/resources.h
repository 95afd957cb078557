// Resources: data that a module carries, found by type and name or number.
//
// A module brings its resources with a static ResourceTable over rows of its own:
//
//     constexpr EmbeddedResource kRows[] = {{kResourceData, 201, nullptr, kBytes, sizeof(kBytes)}};
//     const ResourceTable g_resources(kRows);
//
// They are there while the module is loaded.
#pragma once

#include <cstddef>

#include "platform/module.h"
#include "platform/types.h"

using HRSRC = void*;
using HGLOBAL = void*;

// A number in place of a name or type.
inline LPCSTR MAKEINTRESOURCEA(WORD number) {
    return reinterpret_cast<LPCSTR>(ULONG_PTR{number});
}
inline constexpr WORD kResourceData = 10;
inline const LPCSTR RT_RCDATA = MAKEINTRESOURCEA(kResourceData);

// Null if the module has no such resource. Types are numbers; names in upper or lower case are the
// same.
HRSRC FindResourceA(HMODULE module, LPCSTR name, LPCSTR type);
DWORD SizeofResource(HMODULE module, HRSRC resource);
// The bytes are for reading, and last as long as the module; nothing is to be freed.
HGLOBAL LoadResource(HMODULE module, HRSRC resource);
LPVOID LockResource(HGLOBAL resource);

struct EmbeddedResource {
    WORD type;
    WORD number;       // if the name is null
    const char* name;  // zero-terminated
    const void* data;
    DWORD bytes;
};

// Belongs to the module that holds the rows.
class ResourceTable {
  public:
    template <std::size_t count>
    explicit ResourceTable(const EmbeddedResource (&rows)[count]) noexcept
        : ResourceTable(rows, count) {}
    ResourceTable(const EmbeddedResource* rows, std::size_t count) noexcept;
    ~ResourceTable();
    ResourceTable(const ResourceTable&) = delete;
    ResourceTable& operator=(const ResourceTable&) = delete;

    const EmbeddedResource* Find(LPCSTR name, WORD type) const;
    HMODULE Module() const { return m_module; }
    const ResourceTable* Next() const { return m_next; }

  private:
    const EmbeddedResource* const m_rows;
    const std::size_t m_count;
    const HMODULE m_module;
    ResourceTable* m_next;
};
