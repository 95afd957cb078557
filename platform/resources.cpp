#include "platform/resources.h"

#include <mutex>

#include "platform/internal/text_file.h"

namespace {

// The tables form a list through the modules' static objects, which come and go with their modules.
// Lock and list are there before any of them.
constinit std::mutex g_lock;
constinit ResourceTable* g_first = nullptr;

// Names and numbers share one parameter: no text lies in the first 64 KiB of memory.
bool IsNumber(LPCSTR name) {
    return reinterpret_cast<ULONG_PTR>(name) <= 0xFFFF;
}

WORD NumberOf(LPCSTR name) {
    return static_cast<WORD>(reinterpret_cast<ULONG_PTR>(name));
}

bool Matches(const EmbeddedResource& row, LPCSTR name) {
    if (IsNumber(name) || !row.name)
        return IsNumber(name) && !row.name && row.number == NumberOf(name);
    return platform::CompareNames(row.name, name) == 0;
}

}  // namespace

ResourceTable::ResourceTable(const EmbeddedResource* rows, std::size_t count) noexcept
    : m_rows(rows), m_count(count), m_module(ModuleFromAddress(rows)) {
    const std::lock_guard guard(g_lock);
    m_next = g_first;
    g_first = this;
}

ResourceTable::~ResourceTable() {
    const std::lock_guard guard(g_lock);
    // Modules leave in any order, so the table is looked for from the front.
    ResourceTable** link = &g_first;
    while (*link != this)
        link = &(*link)->m_next;
    *link = m_next;
}

const EmbeddedResource* ResourceTable::Find(LPCSTR name, WORD type) const {
    for (std::size_t i = 0; i < m_count; ++i) {
        if (m_rows[i].type == type && Matches(m_rows[i], name))
            return &m_rows[i];
    }
    return nullptr;
}

HRSRC FindResourceA(HMODULE module, LPCSTR name, LPCSTR type) {
    if (!module || !IsNumber(type))
        return nullptr;
    // A module may bring several tables.
    const std::lock_guard guard(g_lock);
    for (const ResourceTable* table = g_first; table; table = table->Next()) {
        const EmbeddedResource* found =
            table->Module() == module ? table->Find(name, NumberOf(type)) : nullptr;
        if (found)
            return const_cast<EmbeddedResource*>(found);
    }
    return nullptr;
}

DWORD SizeofResource(HMODULE, HRSRC resource) {
    return resource ? static_cast<EmbeddedResource*>(resource)->bytes : 0;
}

HGLOBAL LoadResource(HMODULE, HRSRC resource) {
    return resource;
}

LPVOID LockResource(HGLOBAL resource) {
    return resource ? const_cast<void*>(static_cast<EmbeddedResource*>(resource)->data) : nullptr;
}
