// Integers, identifiers, result codes and bitmap records, under their published names.
//
// LONG, DWORD and BOOL have 32 bits, pointers 64. Records that stand in files or cross an interface
// have their published sizes, checked below.
#pragma once

#include <cstddef>
#include <cstdint>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using INT = std::int32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using BOOL = std::int32_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using LPVOID = void*;
using LPCSTR = const char*;
using LPSTR = char*;

using WCHAR = char16_t;
using OLECHAR = char16_t;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
using BSTR = OLECHAR*;

// A wide string literal.
#define OLESTR(text) u##text

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;
inline constexpr DWORD MAX_PATH = 260;
inline constexpr DWORD INFINITE = 0xFFFFFFFFu;

// A handle to a file, a mapping or something that can be waited for; opaque above this layer.
using HANDLE = void*;
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1));

// Taken wherever the published signature has it and not looked at: files and objects belong to the
// user who makes them, and no handle is inherited by a program that is started.
struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};

// 100 ns steps since 1601.
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};
static_assert(sizeof(FILETIME) == 8);

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];

    friend constexpr bool operator==(const GUID& a, const GUID& b) {
        for (int i = 0; i < 8; ++i) {
            if (a.Data4[i] != b.Data4[i])
                return false;
        }
        return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3;
    }
};
static_assert(sizeof(GUID) == 16);

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline constexpr GUID GUID_NULL = {};

// Result codes. Negative means failure; S_FALSE is no failure.
using HRESULT = std::int32_t;

constexpr bool SUCCEEDED(HRESULT hr) {
    return hr >= 0;
}
constexpr bool FAILED(HRESULT hr) {
    return hr < 0;
}
constexpr HRESULT MakeResult(std::uint32_t code) {
    return static_cast<HRESULT>(code);
}

// The result that stands for a system error number; S_OK for none.
constexpr HRESULT ResultFromError(LONG error) {
    return error == 0 ? 0 : MakeResult(0x80070000u | (static_cast<std::uint32_t>(error) & 0xFFFFu));
}

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = MakeResult(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = MakeResult(0x80004002u);
inline constexpr HRESULT E_POINTER = MakeResult(0x80004003u);
inline constexpr HRESULT E_FAIL = MakeResult(0x80004005u);
inline constexpr HRESULT E_UNEXPECTED = MakeResult(0x8000FFFFu);
inline constexpr HRESULT E_OUTOFMEMORY = MakeResult(0x8007000Eu);
inline constexpr HRESULT E_INVALIDARG = MakeResult(0x80070057u);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = MakeResult(0x80040110u);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = MakeResult(0x80040111u);
inline constexpr HRESULT REGDB_E_READREGDB = MakeResult(0x80040150u);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = MakeResult(0x80040154u);
inline constexpr HRESULT CO_E_CLASSSTRING = MakeResult(0x800401F3u);
inline constexpr HRESULT CO_E_DLLNOTFOUND = MakeResult(0x800401F8u);
inline constexpr HRESULT CO_E_ERRORINDLL = MakeResult(0x800401F9u);
inline constexpr HRESULT CO_E_OBJNOTREG = MakeResult(0x800401FCu);

// System error numbers, as GetLastError and the registry functions give them.
inline constexpr LONG ERROR_SUCCESS = 0;
inline constexpr LONG ERROR_FILE_NOT_FOUND = 2;
inline constexpr LONG ERROR_PATH_NOT_FOUND = 3;
inline constexpr LONG ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr LONG ERROR_ACCESS_DENIED = 5;
inline constexpr LONG ERROR_INVALID_HANDLE = 6;
inline constexpr LONG ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr LONG ERROR_OUTOFMEMORY = 14;
inline constexpr LONG ERROR_WRITE_FAULT = 29;
inline constexpr LONG ERROR_READ_FAULT = 30;
inline constexpr LONG ERROR_GEN_FAILURE = 31;
inline constexpr LONG ERROR_NOT_SUPPORTED = 50;
inline constexpr LONG ERROR_FILE_EXISTS = 80;
inline constexpr LONG ERROR_INVALID_PARAMETER = 87;
inline constexpr LONG ERROR_BROKEN_PIPE = 109;
inline constexpr LONG ERROR_BUFFER_OVERFLOW = 111;
inline constexpr LONG ERROR_DISK_FULL = 112;
inline constexpr LONG ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr LONG ERROR_MOD_NOT_FOUND = 126;
inline constexpr LONG ERROR_PROC_NOT_FOUND = 127;
inline constexpr LONG ERROR_NEGATIVE_SEEK = 131;
inline constexpr LONG ERROR_ALREADY_EXISTS = 183;
inline constexpr LONG ERROR_FILE_TOO_LARGE = 223;
inline constexpr LONG ERROR_MORE_DATA = 234;
inline constexpr LONG ERROR_NO_MORE_ITEMS = 259;
inline constexpr LONG ERROR_TOO_MANY_POSTS = 298;
inline constexpr LONG ERROR_INVALID_ADDRESS = 487;
inline constexpr LONG ERROR_FILE_INVALID = 1006;
inline constexpr LONG ERROR_BADDB = 1009;  // the registry's file is none
inline constexpr LONG ERROR_KEY_DELETED = 1018;
inline constexpr LONG ERROR_MAPPED_ALIGNMENT = 1132;

// Records of the bitmap file format, little-endian as stored.
#pragma pack(push, 2)
struct BITMAPFILEHEADER {
    WORD bfType;  // "BM", 19778
    DWORD bfSize;
    WORD bfReserved1;
    WORD bfReserved2;
    DWORD bfOffBits;
};
#pragma pack(pop)
static_assert(sizeof(BITMAPFILEHEADER) == 14);

struct BITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    LONG biHeight;  // positive: bottom line first
    WORD biPlanes;
    WORD biBitCount;
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
};
static_assert(sizeof(BITMAPINFOHEADER) == 40);

struct RGBQUAD {
    BYTE rgbBlue;
    BYTE rgbGreen;
    BYTE rgbRed;
    BYTE rgbReserved;
};
static_assert(sizeof(RGBQUAD) == 4);

inline constexpr WORD BITMAP_FILE_TYPE = 19778;
