#include "platform/registry.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/handle.h"
#include "platform/internal/handle_table.h"
#include "platform/internal/registry_file.h"
#include "platform/internal/registry_tree.h"

using platform::Contained;
using platform::RegistryKey;
using platform::RegistryPath;
using platform::RegistryValue;

// The registry as its callers see it: the file's keys and values, with those of the process in
// front. A handle holds a path, and every operation looks it up in the tree of the moment. So a key
// that was deleted and made again is open again, and a file that was edited by hand counts at once.
namespace {

// An open key: where it is, not what is there, which other processes change.
struct Key {
    RegistryPath path;  // the root's name ahead
    REGSAM access = KEY_ALL_ACCESS;

    bool IsRoot() const { return path.size() == 1; }
};

class KeyHandle : public platform::HandleObject {
  public:
    explicit KeyHandle(Key key) : m_key(std::move(key)) {}
    const Key& Get() const { return m_key; }

  private:
    const Key m_key;
};

// Lock order: the file's own lock first, then this one. No hook and no foreign code is called under
// either.
struct Registry {
    platform::RegistryFile file{platform::RegistryFileName()};
    std::mutex lock;      // taken behind the file's own
    RegistryKey process;  // the values of this process only, under the lock
};

// Never destroyed: a module's static objects may close keys while the process ends.
Registry& TheRegistry() {
    static Registry& registry = *new Registry;
    return registry;
}

// A key as this process sees it. Either part may be null.
struct KeyView {
    const RegistryKey* process;
    const RegistryKey* file;

    bool Exists() const { return process || file; }
};

// The root's name; null for what is no root. Roots are numbers and not handles: they are always
// open and never closed.
const char* RootName(HKEY key) {
    static const struct {
        HKEY key;
        const char* name;
    } kRoots[] = {
        {HKEY_CLASSES_ROOT, "HKEY_CLASSES_ROOT"},
        {HKEY_CURRENT_USER, "HKEY_CURRENT_USER"},
        {HKEY_LOCAL_MACHINE, "HKEY_LOCAL_MACHINE"},
    };
    for (const auto& root : kRoots) {
        if (root.key == key)
            return root.name;
    }
    return nullptr;
}

// Without a last error: these functions return theirs.
std::shared_ptr<KeyHandle> FindKeyHandle(HKEY key) {
    return std::dynamic_pointer_cast<KeyHandle>(platform::FindHandle(key));
}

LONG FindKey(HKEY handle, Key& key) {
    if (const char* name = RootName(handle)) {
        key.path = {name};
        return ERROR_SUCCESS;
    }
    const auto found = FindKeyHandle(handle);
    if (!found)
        return ERROR_INVALID_HANDLE;
    key = found->Get();
    return ERROR_SUCCESS;
}

// Goes down from a key; levels without a name count for nothing. False if no key can be there.
bool Descend(Key& key, LPCSTR path) {
    std::string_view rest = path ? path : "";
    while (!rest.empty()) {
        const std::size_t end = rest.find('\\');
        const std::string_view level = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        if (level.empty())
            continue;
        if (!platform::IsKeyName(level) || key.path.size() > platform::kMaxKeyLevels)
            return false;
        key.path.emplace_back(level);
    }
    return true;
}

// A root is there also when the file doesn't name it yet.
KeyView ViewOf(const RegistryKey& file, const Key& key) {
    static const RegistryKey& emptyRoot = *new RegistryKey;
    const RegistryKey* found = platform::FindKey(file, key.path);
    return {platform::FindKey(TheRegistry().process, key.path),
            found || !key.IsRoot() ? found : &emptyRoot};
}

// Shows a key; `missing` is the result if it isn't there.
LONG ReadKey(const Key& key, LONG missing, const std::function<LONG(const KeyView&)>& use) {
    Registry& registry = TheRegistry();
    return registry.file.Read([&](const RegistryKey& tree) {
        const std::lock_guard guard(registry.lock);
        const KeyView view = ViewOf(tree, key);
        return view.Exists() ? use(view) : missing;
    });
}

// The frame of the functions that look at an open key.
LONG ReadOpenKey(HKEY handle, REGSAM access, const std::function<LONG(const KeyView&)>& use) {
    return Contained<LONG>(ERROR_NOT_ENOUGH_MEMORY, [&]() -> LONG {
        Key key;
        if (const LONG error = FindKey(handle, key); error != ERROR_SUCCESS)
            return error;
        return (key.access & access) == access ? ReadKey(key, ERROR_KEY_DELETED, use)
                                               : ERROR_ACCESS_DENIED;
    });
}

LONG CheckExists(const Key& key, LONG missing) {
    return ReadKey(key, missing, [](const KeyView&) { return ERROR_SUCCESS; });
}

// The access is the new handle's own, and not that of the key it was found below.
LONG OpenHandle(Key key, REGSAM access, HKEY* handle) {
    key.access = access;
    *handle = platform::AddHandle(std::make_shared<KeyHandle>(std::move(key)));
    return ERROR_SUCCESS;
}

// The values or the subkeys of both parts, the file's first; of two of one name the process's
// counts.
template <class T>
std::vector<const T*> Merged(const KeyView& view, const platform::NamedList<T> RegistryKey::*list) {
    // Finding by name is quick on both sides: the lists are indexed.
    std::vector<const T*> items;
    for (const RegistryKey* part : {view.file, view.process}) {
        if (!part)
            continue;
        for (const T& item : part->*list) {
            // The process's version stands in the file's place, so that the order stays that of the
            // file.
            const T* ahead = view.process ? (view.process->*list).Find(item.name) : nullptr;
            if (part == view.file)
                items.push_back(ahead ? ahead : &item);
            else if (!view.file || !(view.file->*list).Find(item.name))
                items.push_back(&item);
        }
    }
    return items;
}

const RegistryValue* FindValue(const KeyView& view, std::string_view name) {
    const RegistryValue* value = view.process ? view.process->values.Find(name) : nullptr;
    return value || !view.file ? value : view.file->values.Find(name);
}

// `*size` counts characters: with the zero on the way in, without it on the way out.
LONG CopyName(const std::string& name, LPSTR out, DWORD* size) {
    if (name.size() >= *size)
        return ERROR_MORE_DATA;
    std::copy_n(name.c_str(), name.size() + 1, out);
    *size = static_cast<DWORD>(name.size());
    return ERROR_SUCCESS;
}

LONG CopyValue(const RegistryValue& value, DWORD* type, BYTE* data, DWORD* size) {
    const auto bytes = static_cast<DWORD>(value.data.size());
    if (type)
        *type = value.type;
    if (!size)
        return ERROR_SUCCESS;
    // The size is told in every case, also with ERROR_MORE_DATA, so that the caller can make room.
    const DWORD room = std::exchange(*size, bytes);
    if (!data)
        return ERROR_SUCCESS;
    if (room < bytes)
        return ERROR_MORE_DATA;
    std::copy(value.data.begin(), value.data.end(), data);
    return ERROR_SUCCESS;
}

// A value from a caller's arguments; false if the registry can't hold it.
bool MakeValue(LPCSTR name, DWORD type, const void* data, DWORD size, RegistryValue& value) {
    value.name = name ? name : "";
    if (!platform::IsValueName(value.name) || (!data && size != 0) ||
        size > platform::kMaxValueData)
        return false;
    value.type = type;
    if (size > 0)
        value.data.assign(static_cast<const char*>(data), size);
    // The zeros that a text lacks count against the limit too.
    platform::TerminateText(type, value.data);
    return value.data.size() <= platform::kMaxValueData;
}

// The name keeps the letters in which it was made, and the value its comment.
void PutValue(RegistryKey& key, const RegistryValue& from) {
    RegistryValue& value = key.values.FindOrAdd(from.name);
    value.type = from.type;
    value.data = from.data;
}

// The frame of the functions that change an open key's values. A key that only the process's values
// make is made in the file.
LONG ChangeOpenKey(HKEY handle, const std::function<LONG(RegistryKey&)>& change) {
    Key key;
    LONG error = FindKey(handle, key);
    if (error == ERROR_SUCCESS && (key.access & KEY_SET_VALUE) == 0)
        error = ERROR_ACCESS_DENIED;
    if (error != ERROR_SUCCESS)
        return error;
    // The look and the change are one step under the file's lock; only the process's values have a
    // lock of their own, and it isn't needed for the change.
    Registry& registry = TheRegistry();
    return registry.file.Change([&](RegistryKey& tree) -> LONG {
        {
            const std::lock_guard guard(registry.lock);
            if (!ViewOf(tree, key).Exists())
                return ERROR_KEY_DELETED;
        }
        return change(platform::MakeKey(tree, key.path));
    });
}

}  // namespace

LONG RegOpenKeyExA(HKEY parent, LPCSTR path, DWORD, REGSAM access, HKEY* handle) {
    return Contained<LONG>(ERROR_NOT_ENOUGH_MEMORY, [&]() -> LONG {
        if (!handle)
            return ERROR_INVALID_PARAMETER;
        *handle = nullptr;
        Key key;
        LONG error = FindKey(parent, key);
        if (error == ERROR_SUCCESS)
            error = CheckExists(key, ERROR_KEY_DELETED);
        if (error == ERROR_SUCCESS)
            error =
                Descend(key, path) ? CheckExists(key, ERROR_FILE_NOT_FOUND) : ERROR_FILE_NOT_FOUND;
        return error == ERROR_SUCCESS ? OpenHandle(std::move(key), access, handle) : error;
    });
}

LONG RegCreateKeyExA(HKEY parent, LPCSTR path, DWORD, LPSTR, DWORD, REGSAM access, void*,
                     HKEY* handle, DWORD* disposition) {
    return Contained<LONG>(ERROR_NOT_ENOUGH_MEMORY, [&]() -> LONG {
        if (!handle)
            return ERROR_INVALID_PARAMETER;
        *handle = nullptr;
        // A parent that has been deleted is told from a path that isn't there.
        Key above;
        LONG error = FindKey(parent, above);
        if (error == ERROR_SUCCESS)
            error = CheckExists(above, ERROR_KEY_DELETED);
        if (error != ERROR_SUCCESS)
            return error;
        Key key = above;
        if (!Descend(key, path))
            return ERROR_INVALID_PARAMETER;
        // Mostly the key is there, which is found out without the lock between processes. The
        // change looks again, as another process may have been faster.
        DWORD done = REG_OPENED_EXISTING_KEY;
        error = CheckExists(key, ERROR_FILE_NOT_FOUND);
        if (error == ERROR_FILE_NOT_FOUND) {
            error = TheRegistry().file.Change([&](RegistryKey& tree) -> LONG {
                if (!platform::FindKey(tree, key.path))
                    done = REG_CREATED_NEW_KEY;
                platform::MakeKey(tree, key.path);
                return ERROR_SUCCESS;
            });
        }
        if (error != ERROR_SUCCESS)
            return error;
        if (disposition)
            *disposition = done;
        return OpenHandle(std::move(key), access, handle);
    });
}

// Any other kind of handle is refused, not closed.
LONG RegCloseKey(HKEY key) {
    if (RootName(key))
        return ERROR_SUCCESS;
    return FindKeyHandle(key) && CloseHandle(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LONG RegQueryValueExA(HKEY key, LPCSTR name, DWORD*, DWORD* type, BYTE* data, DWORD* size) {
    if (data && !size)
        return ERROR_INVALID_PARAMETER;
    return ReadOpenKey(key, KEY_QUERY_VALUE, [&](const KeyView& view) {
        const RegistryValue* value = FindValue(view, name ? name : "");
        return value ? CopyValue(*value, type, data, size) : ERROR_FILE_NOT_FOUND;
    });
}

LONG RegSetValueExA(HKEY key, LPCSTR name, DWORD, DWORD type, const BYTE* data, DWORD size) {
    return Contained<LONG>(ERROR_NOT_ENOUGH_MEMORY, [&]() -> LONG {
        RegistryValue value;
        if (!MakeValue(name, type, data, size, value))
            return ERROR_INVALID_PARAMETER;
        return ChangeOpenKey(key, [&](RegistryKey& target) {
            PutValue(target, value);
            return ERROR_SUCCESS;
        });
    });
}

LONG RegDeleteTreeA(HKEY handle, LPCSTR path) {
    return Contained<LONG>(ERROR_NOT_ENOUGH_MEMORY, [&]() -> LONG {
        Key key;
        LONG error = FindKey(handle, key);
        if (error == ERROR_SUCCESS && (key.access & KEY_SET_VALUE) == 0)
            error = ERROR_ACCESS_DENIED;
        if (error == ERROR_SUCCESS)
            error = CheckExists(key, ERROR_KEY_DELETED);
        if (error != ERROR_SUCCESS)
            return error;
        // A path that leads nowhere below means the key itself, which is emptied and stays.
        const std::size_t levels = key.path.size();
        if (!Descend(key, path))
            return ERROR_FILE_NOT_FOUND;
        const bool itself = key.path.size() == levels;
        if (key.IsRoot())
            return ERROR_ACCESS_DENIED;
        return TheRegistry().file.Change([&](RegistryKey& tree) -> LONG {
            RegistryKey* found = platform::FindKey(tree, key.path);
            if (!found)
                return ERROR_FILE_NOT_FOUND;
            // Emptied first, which is all that is wanted of the key itself.
            found->values.Clear();
            found->subkeys.Clear();
            const std::span above(key.path.data(), key.path.size() - 1);
            if (!itself)
                platform::FindKey(tree, above)->subkeys.Erase(key.path.back());
            return ERROR_SUCCESS;
        });
    });
}

LONG RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, DWORD* nameSize, DWORD*, LPSTR, DWORD*,
                   FILETIME*) {
    if (!name || !nameSize)
        return ERROR_INVALID_PARAMETER;
    return ReadOpenKey(key, KEY_ENUMERATE_SUB_KEYS, [&](const KeyView& view) {
        const auto subkeys = Merged(view, &RegistryKey::subkeys);
        return index < subkeys.size() ? CopyName(subkeys[index]->name, name, nameSize)
                                      : ERROR_NO_MORE_ITEMS;
    });
}

LONG RegQueryInfoKeyA(HKEY key, LPSTR, DWORD*, DWORD*, DWORD* subkeys, DWORD* longestSubkey, DWORD*,
                      DWORD* values, DWORD* longestName, DWORD* longestValue, DWORD*, FILETIME*) {
    return ReadOpenKey(key, KEY_QUERY_VALUE, [&](const KeyView& view) {
        // Counts and lengths are within 32 bits by the limits of the file.
        const auto tell = [](DWORD* out, std::size_t number) {
            if (out)
                *out = static_cast<DWORD>(number);
        };
        std::size_t longest = 0;
        const auto keyList = Merged(view, &RegistryKey::subkeys);
        for (const RegistryKey* subkey : keyList)
            longest = std::max(longest, subkey->name.size());
        tell(subkeys, keyList.size());
        tell(longestSubkey, longest);
        longest = 0;
        std::size_t most = 0;
        const auto valueList = Merged(view, &RegistryKey::values);
        for (const RegistryValue* value : valueList) {
            longest = std::max(longest, value->name.size());
            most = std::max(most, value->data.size());
        }
        tell(values, valueList.size());
        tell(longestName, longest);
        tell(longestValue, most);
        return ERROR_SUCCESS;
    });
}

LONG RegSetProcessValue(HKEY root, LPCSTR path, LPCSTR name, DWORD type, const void* data,
                        DWORD size) {
    return Contained<LONG>(ERROR_NOT_ENOUGH_MEMORY, [&]() -> LONG {
        // Below a root only: a value that depended on an open key would go with it.
        const char* rootName = RootName(root);
        if (!rootName)
            return ERROR_INVALID_HANDLE;
        Key key{{rootName}, KEY_ALL_ACCESS};
        RegistryValue value;
        if (!Descend(key, path) || !MakeValue(name, type, data, size, value))
            return ERROR_INVALID_PARAMETER;
        Registry& registry = TheRegistry();
        const std::lock_guard guard(registry.lock);
        PutValue(platform::MakeKey(registry.process, key.path), value);
        return ERROR_SUCCESS;
    });
}

void RegClearProcessValues() {
    Registry& registry = TheRegistry();
    const std::lock_guard guard(registry.lock);
    registry.process = {};
}
