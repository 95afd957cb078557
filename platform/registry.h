// The registry: keys with values, kept in one text file of the user.
//
// The file is where NVQ_REGISTRY says, else nvqdrv/registry.reg in the user's configuration folder
// ($XDG_CONFIG_HOME, or .config in the home folder). It has the published export format, "Windows
// Registry Editor Version 5.00", as UTF-8 (UTF-16 is read too), so that people can read and edit
// it. Every change is written beside it and renamed, under a lock between processes; a reader sees
// the file before or after a change and nothing between.
//
// All functions return a system error number, ERROR_SUCCESS (0) for success:
// - ERROR_BADDB: the file exists and is no registry file, and is never overwritten then. Which line
//   is wrong goes to the debugger output.
// - ERROR_KEY_DELETED: somebody has deleted the open key meanwhile. A key that was made again under
//   its name is the same key.
// - ERROR_INVALID_HANDLE: the key isn't open.
// - ERROR_ACCESS_DENIED: the key wasn't opened for that.
// - ERROR_INVALID_PARAMETER: also for what the file can't hold. Names are UTF-8 without control
//   characters, of at most 255 bytes for a level of a path and 16383 for a value; a path has at
//   most 512 levels, a value 1 MiB. ERROR_FILE_TOO_LARGE: the file would have more than 64 MiB.
#pragma once

#include <cstddef>

#include "platform/types.h"

using HKEY = void*;
inline const HKEY HKEY_CLASSES_ROOT = reinterpret_cast<HKEY>(ULONG_PTR{0x80000000u});
inline const HKEY HKEY_CURRENT_USER = reinterpret_cast<HKEY>(ULONG_PTR{0x80000001u});
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(ULONG_PTR{0x80000002u});

using REGSAM = DWORD;
inline constexpr REGSAM KEY_QUERY_VALUE = 1;
inline constexpr REGSAM KEY_SET_VALUE = 2;
inline constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 8;
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_WRITE = 0x20006;
inline constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;  // text with its terminating zero
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;

inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

// Opens a key below another; a null or empty path is the key itself. Levels stand between
// backslashes, of which one too many means nothing; names that differ in the case of the letters A
// to Z are the same. ERROR_FILE_NOT_FOUND if it isn't there.
LONG RegOpenKeyExA(HKEY parent, LPCSTR path, DWORD options, REGSAM access, HKEY* key);
// Makes the key, with those above it, where it isn't there. `disposition` may be null.
LONG RegCreateKeyExA(HKEY parent, LPCSTR path, DWORD reserved, LPSTR className, DWORD options,
                     REGSAM access, void* security, HKEY* key, DWORD* disposition);
LONG RegCloseKey(HKEY key);

// A null or empty name is the key's default value. `size` is in and out, in bytes; with `data` null
// only type and size are told. ERROR_MORE_DATA with the size needed when it doesn't fit; texts are
// stored and told with their terminating zero.
LONG RegQueryValueExA(HKEY key, LPCSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size);
// A text that comes without its terminating zero gets one, a list of texts one more.
LONG RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data,
                    DWORD size);
// Deletes a key with all that is below it. A null or empty path empties the key and leaves it
// there; a root itself is ERROR_ACCESS_DENIED. Values of the process stay.
LONG RegDeleteTreeA(HKEY key, LPCSTR path);

// The index-th subkey, in the order of their making; ERROR_NO_MORE_ITEMS behind the last.
// `nameSize` counts characters: in with, out without the terminating zero.
LONG RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, DWORD* nameSize, DWORD* reserved,
                   LPSTR className, DWORD* classSize, FILETIME* lastWrite);
// Any pointer may be null; classes, security and times are left alone.
LONG RegQueryInfoKeyA(HKEY key, LPSTR className, DWORD* classSize, DWORD* reserved, DWORD* subkeys,
                      DWORD* longestSubkey, DWORD* longestClass, DWORD* values, DWORD* longestName,
                      DWORD* longestValue, DWORD* security, FILETIME* lastWrite);

// Values for this process only, ahead of those in the file: set by a program for the code that it
// hosts. They make their key exist; a change goes to the file all the same, with the key. `root` is
// one of the three roots.
LONG RegSetProcessValue(HKEY root, LPCSTR path, LPCSTR name, DWORD type, const void* data,
                        DWORD size);
void RegClearProcessValues();
