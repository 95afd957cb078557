// The files of program and modules, settings files, and the two ways of telling a person something:
// message box and debugger output.
#pragma once

#include <functional>
#include <string>

#include "platform/types.h"

using HMODULE = void*;
using HWND = void*;

// The module that holds the code or data at an address; null if none does.
HMODULE ModuleFromAddress(const void* address);

// A loaded module by the name of its file, without folder and with or without ".so"; null with
// ERROR_MOD_NOT_FOUND when none is called so. The program's own with `name` null.
HMODULE GetModuleHandleA(LPCSTR name);

// The file of a module, or of the program if `module` is null. Returns the characters stored
// without the terminating zero. A name that doesn't fit is cut: then it returns `size`, with
// ERROR_INSUFFICIENT_BUFFER. 0 on failure.
DWORD GetModuleFileNameA(HMODULE module, LPSTR name, DWORD size);
// The same whatever its length; empty on failure. std::bad_alloc without memory.
std::string ModuleFileName(HMODULE module);

// Loads a module from a file, told by its absolute path, and counts: each FreeLibrary takes one
// off, and the last one may unload it. Null with ERROR_MOD_NOT_FOUND for one that isn't there or
// can't be loaded; why it can't goes to the debugger output.
HMODULE LoadLibraryA(LPCSTR fileName);
BOOL FreeLibrary(HMODULE module);
// What a module that LoadLibraryA gave exports under a name; null with ERROR_PROC_NOT_FOUND.
using FARPROC = void (*)();
FARPROC GetProcAddress(HMODULE module, LPCSTR name);

// The value of `key` in the `[section]` of a settings file, without a pair of quotes around it,
// else `defaultText` without blanks at its end. Names in upper or lower case are the same. With
// `key` null all keys of the section, with `section` null all sections, each with its terminating
// zero and one more behind the last. Returns the characters stored without the terminating zero;
// what doesn't fit is cut, and it returns `size` - 1, or - 2 for a list. Lines that are neither
// section nor "key=value", and those that begin with ';', mean nothing. A file above 1 MiB is
// refused as if it weren't there.
DWORD GetPrivateProfileStringA(LPCSTR section, LPCSTR key, LPCSTR defaultText, LPSTR text,
                               DWORD size, LPCSTR fileName);

inline constexpr UINT MB_OK = 0;
inline constexpr UINT MB_ICONERROR = 0x10;
inline constexpr int IDOK = 1;

// Prints "caption: text" to standard error and returns IDOK, or asks the hook.
int MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type);
// Prints to standard error, or calls the hook.
void OutputDebugStringA(LPCSTR text);

// A program that can show messages, or a test, takes them by a hook; null text arrives as "". Each
// returns the hook that was set before, an empty one standing for standard error.
using MessageBoxHook = std::function<int(HWND, LPCSTR text, LPCSTR caption, UINT type)>;
using DebugStringHook = std::function<void(LPCSTR text)>;
MessageBoxHook SetMessageBoxHook(MessageBoxHook hook);
DebugStringHook SetDebugStringHook(DebugStringHook hook);
