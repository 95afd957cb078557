// The registry's keys and values in memory. Internal to the layer.
#pragma once

#include <list>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/internal/text_file.h"
#include "platform/registry.h"

namespace platform {

// Limits, in bytes; a level is the name of one key. The levels of a path count without its root.
inline constexpr std::size_t kMaxKeyName = 255;
inline constexpr std::size_t kMaxKeyLevels = 512;
inline constexpr std::size_t kMaxValueName = 16383;
inline constexpr std::size_t kMaxValueData = 1 << 20;

// What has a name, in the order of its making; names in upper or lower case are the same.
template <class T>
class NamedList {
  public:
    NamedList() = default;
    // No copies: the index points into the list, whose items stay where they are when it is moved.
    NamedList(NamedList&&) noexcept = default;
    NamedList& operator=(NamedList&&) noexcept = default;

    const T* Find(std::string_view name) const {
        const auto found = m_index.find(name);
        return found == m_index.end() ? nullptr : &*found->second;
    }
    T* Find(std::string_view name) { return const_cast<T*>(std::as_const(*this).Find(name)); }
    T& FindOrAdd(std::string_view name) {
        if (T* found = Find(name))
            return *found;
        std::list<T> made;
        made.emplace_back().name = name;
        m_index.emplace(made.front().name, made.begin());
        m_items.splice(m_items.end(), made);
        return m_items.back();
    }
    // False if it isn't there.
    bool Erase(std::string_view name) {
        const auto found = m_index.find(name);
        if (found == m_index.end())
            return false;
        const auto item = found->second;
        m_index.erase(found);
        m_items.erase(item);
        return true;
    }
    void Clear() {
        m_index.clear();
        m_items.clear();
    }
    bool Empty() const { return m_items.empty(); }
    auto begin() const { return m_items.begin(); }
    auto end() const { return m_items.end(); }

  private:
    struct NameLess {
        bool operator()(std::string_view a, std::string_view b) const {
            return CompareNames(a, b) < 0;
        }
    };
    std::list<T> m_items;
    std::map<std::string_view, typename std::list<T>::iterator, NameLess> m_index;
};

struct RegistryValue {
    std::string name;  // empty for the default value
    DWORD type = REG_NONE;
    std::string data;
    std::string comment;  // the file's comment lines ahead of it
};

// The tree's own root has no name and no values; below it stand the roots that the file names.
struct RegistryKey {
    std::string name;
    NamedList<RegistryValue> values;
    NamedList<RegistryKey> subkeys;
    std::string comment;  // the root's: the one at the file's end
};

// Root and levels of a key.
using RegistryPath = std::vector<std::string>;

// Null if there is no such key.
const RegistryKey* FindKey(const RegistryKey& tree, std::span<const std::string> path);
RegistryKey* FindKey(RegistryKey& tree, std::span<const std::string> path);
// Makes what isn't there yet.
RegistryKey& MakeKey(RegistryKey& tree, std::span<const std::string> path);

// Whether the file can hold a name: UTF-8 without control characters, and not too long.
bool IsKeyName(std::string_view name);
bool IsValueName(std::string_view name);

// Characters below a blank, and delete.
bool HasControls(std::string_view text);

bool IsTextType(DWORD type);
// Puts the terminating zeros behind a text that came without.
void TerminateText(DWORD type, std::string& data);

}  // namespace platform
