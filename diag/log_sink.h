// The log's third destination: an external component that takes messages, found by its class
// identifier where one is registered, and the platform's table that hands its interface from thread
// to thread.
#pragma once

#include "platform/com.h"

inline constexpr CLSID CLSID_LogSink = {
    0xA3EEA640, 0x64E4, 0x488D, {0x98, 0x73, 0x02, 0x6D, 0xD1, 0x37, 0xA4, 0x31}};
inline constexpr IID IID_ILogSink = {
    0x25A1D744, 0xB7AD, 0x42F7, {0x8D, 0x37, 0x58, 0xD6, 0x6F, 0xF9, 0xDC, 0x41}};
inline constexpr CLSID CLSID_LogInterfaceTable = {
    0xA2406746, 0xE469, 0x42E2, {0xAD, 0x25, 0xE2, 0x8F, 0x7D, 0x23, 0x94, 0x50}};
inline constexpr IID IID_IGlobalInterfaceTable = {0x00000146, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

struct ILogSink : IUnknown {
    // One finished message; `length` counts its terminating zero. The text is the caller's.
    virtual HRESULT Write(DWORD processId, const char* text, DWORD length) = 0;

  protected:
    ~ILogSink() = default;
};

struct IGlobalInterfaceTable : IUnknown {
    // Keeps a reference until the cookie, never 0, is revoked.
    virtual HRESULT RegisterInterfaceInGlobal(IUnknown* object, REFIID iid, DWORD* cookie) = 0;
    virtual HRESULT RevokeInterfaceFromGlobal(DWORD cookie) = 0;
    // A counted pointer that the calling thread may use.
    virtual HRESULT GetInterfaceFromGlobal(DWORD cookie, REFIID iid, void** object) = 0;

  protected:
    ~IGlobalInterfaceTable() = default;
};
