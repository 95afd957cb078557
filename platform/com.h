// Component services: reference-counted interfaces found by class identifier, memory that crosses
// their boundary, and strings with a length.
#pragma once

#include <cstddef>

#include "platform/types.h"

// ---- Interfaces. Operations stand in their published order. Objects end when their last reference
// is released, so none of these has a public destructor.

inline constexpr IID IID_IUnknown = {0x00000000, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IClassFactory = {0x00000001, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IStream = {0x0000000C, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

struct IUnknown {
    // E_NOINTERFACE with a null `*object` for an interface that the object doesn't have.
    virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
    // Both return the new count.
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;

  protected:
    ~IUnknown() = default;
};

struct IClassFactory : IUnknown {
    virtual HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) = 0;
    // Keeps the module loaded while no object of it lives.
    virtual HRESULT LockServer(BOOL lock) = 0;

  protected:
    ~IClassFactory() = default;
};

struct LARGE_INTEGER {
    LONGLONG QuadPart;
};
struct ULARGE_INTEGER {
    ULONGLONG QuadPart;
};
struct STATSTG;

struct ISequentialStream : IUnknown {
    // `read` and `written` may be null.
    virtual HRESULT Read(void* target, ULONG bytes, ULONG* read) = 0;
    virtual HRESULT Write(const void* source, ULONG bytes, ULONG* written) = 0;

  protected:
    ~ISequentialStream() = default;
};

struct IStream : ISequentialStream {
    virtual HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) = 0;
    virtual HRESULT SetSize(ULARGE_INTEGER size) = 0;
    virtual HRESULT CopyTo(IStream* target, ULARGE_INTEGER bytes, ULARGE_INTEGER* read,
                           ULARGE_INTEGER* written) = 0;
    virtual HRESULT Commit(DWORD flags) = 0;
    virtual HRESULT Revert() = 0;
    virtual HRESULT LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) = 0;
    virtual HRESULT UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) = 0;
    virtual HRESULT Stat(STATSTG* status, DWORD flag) = 0;
    virtual HRESULT Clone(IStream** stream) = 0;

  protected:
    ~IStream() = default;
};

// ---- Memory

// Memory that crosses an interface: whoever receives it frees it. Null when there is none.
LPVOID CoTaskMemAlloc(std::size_t bytes);
void CoTaskMemFree(LPVOID memory);

// ---- Strings. A BSTR has its length in front of it and a zero behind it; null counts as empty.

BSTR SysAllocStringLen(LPCOLESTR text, UINT length);
void SysFreeString(BSTR text);
UINT SysStringLen(BSTR text);

// ---- Identifiers as text: "{00000000-0000-0000-C000-000000000046}".

// The text comes from CoTaskMemAlloc.
HRESULT StringFromIID(REFIID iid, LPOLESTR* text);
// CO_E_CLASSSTRING, and a zero identifier, for any other form. Hexadecimal digits of either case; a
// null text is the zero identifier.
HRESULT CLSIDFromString(LPCOLESTR text, CLSID* clsid);

// ---- Classes. A class is an entry under HKEY_CLASSES_ROOT\CLSID\{...}\InprocServer32 of the
// registry, whose default value is the path of a shared module, or an object that this process has
// registered. A module is loaded at first need, asked for its class object by its exported
// DllGetClassObject, and stays loaded.

// What a module exports is declared with this.
#define STDAPI extern "C" __attribute__((visibility("default"))) HRESULT

inline constexpr DWORD CLSCTX_INPROC_SERVER = 1;
inline constexpr DWORD CLSCTX_ALL = 23;
inline constexpr DWORD REGCLS_MULTIPLEUSE = 1;

// REGDB_E_CLASSNOTREG for an unknown class or a context without CLSCTX_INPROC_SERVER,
// REGDB_E_READREGDB if the registry can't be read, CO_E_DLLNOTFOUND for a module that can't be
// loaded or whose path isn't absolute, CO_E_ERRORINDLL for one that exports no DllGetClassObject,
// E_POINTER for a null `object`, else the module's own result. Why a module can't be loaded goes to
// the debugger output.
HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, LPVOID reserved, REFIID iid,
                         LPVOID* object);
// The same, and asks the class object for an instance.
HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid,
                         LPVOID* object);

// An object of this process that stands for a class, ahead of the registry's entry and of one that
// was registered before. Counted; the cookie takes it back. E_INVALIDARG for a null argument;
// CO_E_OBJNOTREG for a cookie that is none.
HRESULT CoRegisterClassObject(REFCLSID clsid, IUnknown* object, DWORD context, DWORD flags,
                              DWORD* cookie);
HRESULT CoRevokeClassObject(DWORD cookie);
