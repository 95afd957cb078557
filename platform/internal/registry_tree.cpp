#include "platform/internal/registry_tree.h"

#include <algorithm>
#include <utility>

#include "platform/internal/utf.h"

namespace platform {
namespace {

// Controls would break the file's lines, and other bytes its encoding.
bool IsPlainName(std::string_view name) {
    return !HasControls(name) && IsUtf8(name);
}

}  // namespace

const RegistryKey* FindKey(const RegistryKey& tree, std::span<const std::string> path) {
    // An empty path is the tree itself.
    const RegistryKey* key = &tree;
    for (const std::string& level : path) {
        key = key->subkeys.Find(level);
        if (!key)
            break;
    }
    return key;
}

RegistryKey* FindKey(RegistryKey& tree, std::span<const std::string> path) {
    return const_cast<RegistryKey*>(FindKey(std::as_const(tree), path));
}

RegistryKey& MakeKey(RegistryKey& tree, std::span<const std::string> path) {
    RegistryKey* key = &tree;
    for (const std::string& level : path)
        key = &key->subkeys.FindOrAdd(level);
    return *key;
}

// Tabs and line breaks included; bytes from 0x80 on belong to characters.
bool HasControls(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7F;
    });
}

bool IsKeyName(std::string_view name) {
    return !name.empty() && name.size() <= kMaxKeyName &&
           name.find('\\') == std::string_view::npos && IsPlainName(name);
}

bool IsValueName(std::string_view name) {
    return name.size() <= kMaxValueName && IsPlainName(name);
}

bool IsTextType(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

void TerminateText(DWORD type, std::string& data) {
    if (!IsTextType(type))
        return;
    // A list of texts ends with an empty one.
    const std::size_t zeros = type == REG_MULTI_SZ ? 2 : 1;
    // Zeros that are there already count, and superfluous ones stay: they are the caller's.
    const std::size_t last = data.find_last_not_of('\0');
    const std::size_t behind = data.size() - (last == std::string::npos ? 0 : last + 1);
    if (behind < zeros)
        data.append(zeros - behind, '\0');
}

}  // namespace platform
