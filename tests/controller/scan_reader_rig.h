// A device that delivers by a script, a reader at it, and a view of what the reader asks of the
// platform. For the one program that tests the reader.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <new>
#include <vector>

#include "controller/scan_reader.h"

namespace {

constexpr DWORD kSession = 0x5E55;
constexpr DWORD kDeadlock = 60000;  // a wait this long never ends
constexpr DWORD kAsAsked = 0xFFFFFFFEu;

// What happens as the reader makes its handles and buffers, for tests that look or interfere.
std::atomic<int> g_handlesMade = 0;
int g_failHandle = -1;                   // this one of them can't be made
std::vector<std::size_t> g_allocations;  // bytes
std::size_t g_failAllocation = SIZE_MAX;
std::function<void()> g_onSetEvent;

// A log that the user has switched on makes handles too.
[[maybe_unused]] const int g_noSettings = setenv("NVQ_REGISTRY", "/nonexistent/registry.reg", 1);

// An operation of the platform that a function of this program hides.
template <class Operation>
Operation* Hidden(const char* name) {
    return reinterpret_cast<Operation*>(dlsym(RTLD_NEXT, name));
}

bool MayMakeHandle() {
    return g_handlesMade++ != g_failHandle;
}

}  // namespace

HANDLE CreateEventA(SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL initialState,
                    LPCSTR name) {
    static const auto real =
        Hidden<decltype(CreateEventA)>("_Z12CreateEventAP19SECURITY_ATTRIBUTESiiPKc");
    return MayMakeHandle() ? real(attributes, manualReset, initialState, name) : nullptr;
}

HANDLE CreateSemaphoreA(SECURITY_ATTRIBUTES* attributes, LONG initialCount, LONG maximumCount,
                        LPCSTR name) {
    static const auto real =
        Hidden<decltype(CreateSemaphoreA)>("_Z16CreateSemaphoreAP19SECURITY_ATTRIBUTESiiPKc");
    return MayMakeHandle() ? real(attributes, initialCount, maximumCount, name) : nullptr;
}

ULONG_PTR _beginthreadex(void* security, unsigned stackSize, unsigned (*start)(void*),
                         void* argument, unsigned flags, unsigned* threadId) {
    static const auto real = Hidden<decltype(_beginthreadex)>("_Z14_beginthreadexPvjPFjS_ES_jPj");
    return MayMakeHandle() ? real(security, stackSize, start, argument, flags, threadId) : 0;
}

BOOL SetEvent(HANDLE event) {
    static const auto real = Hidden<decltype(SetEvent)>("_Z8SetEventPv");
    const BOOL done = real(event);
    if (g_onSetEvent)
        g_onSetEvent();
    return done;
}

void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    g_allocations.push_back(bytes);
    const bool fails = g_allocations.size() - 1 == g_failAllocation || bytes > 0x1000000;
    return fails ? nullptr : ::operator new[](bytes);
}

namespace {

// Every byte of a page differs from its neighbours, lines and buffers away too.
BYTE PageByte(std::size_t offset) {
    return static_cast<BYTE>((offset * 2654435761u) >> 13);
}

std::vector<BYTE> Page(std::size_t bytes) {
    std::vector<BYTE> page(bytes);
    for (std::size_t i = 0; i < bytes; ++i)
        page[i] = PageByte(i);
    return page;
}

// A semaphore that fails the test instead of waiting for ever.
class CGate {
  public:
    ~CGate() { CloseHandle(m_semaphore); }
    void Open(LONG times = 1) { ReleaseSemaphore(m_semaphore, times, nullptr); }
    void Pass() { EXPECT_EQ(WaitForSingleObject(m_semaphore, kDeadlock), WAIT_OBJECT_0); }

  private:
    const HANDLE m_semaphore = CreateSemaphoreA(nullptr, 0, 1000000, nullptr);
};

// Delivers the bytes of one endless page, and at each read answers as its script says. Lives on the
// stack and counts its references.
class CScriptedDevice final : public IUnknown {
  public:
    struct Answer {
        DWORD bytes = kAsAsked;
        DWORD status = 0;
        HRESULT result = S_OK;
    };

    ~CScriptedDevice() { EXPECT_EQ(m_references, 0) << "somebody still holds a device that ends"; }

    HRESULT QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return static_cast<ULONG>(++m_references); }
    ULONG Release() override { return static_cast<ULONG>(--m_references); }

    HRESULT BeginRead(DWORD session, DWORD* status) {
        EXPECT_EQ(session, m_session);
        EXPECT_TRUE(m_asked.empty());
        ++m_begins;
        *status = m_begin.status;
        return m_begin.result;
    }
    HRESULT ReadScan(DWORD session, void* buffer, DWORD wanted, DWORD* got, DWORD* status) {
        EXPECT_EQ(session, m_session);
        const auto call = m_asked.size();
        m_asked.push_back(wanted);
        m_entered.Open();
        if (m_onRead)
            m_onRead(call);
        const auto told = m_script.find(call);
        const Answer answer = told == m_script.end() ? Answer{} : told->second;
        *got = answer.bytes == kAsAsked ? wanted : answer.bytes;
        *status = answer.status;
        const DWORD written = std::min(*got, wanted);
        for (DWORD i = 0; i < written; ++i)
            static_cast<BYTE*>(buffer)[i] = PageByte(m_offset + i);
        m_offset += written;
        return answer.result;
    }

    DWORD m_session = kSession;
    Answer m_begin;
    std::map<std::size_t, Answer> m_script;     // by the number of the read
    std::function<void(std::size_t)> m_onRead;  // in each read, before anything is delivered
    CGate m_entered;                            // once for each read that has begun
    int m_begins = 0;
    std::vector<DWORD> m_asked;  // bytes asked for by each read
    std::atomic<int> m_references = 0;

  private:
    std::size_t m_offset = 0;
};

// What one Consume gave.
struct Got {
    LONG result;
    DWORD status;
    std::vector<BYTE> bytes;
};

// A device, and a reader that ends before it.
class CRig {
  public:
    CScriptedDevice device;
    CScanReader reader;

    Got Open(CScriptedDevice& from, DWORD wanted, DWORD bytesPerLine, DWORD lines) {
        return Consume(kScanReadOpen, wanted, &from, bytesPerLine, lines);
    }
    Got Open(DWORD wanted, DWORD bytesPerLine, DWORD lines) {
        return Open(device, wanted, bytesPerLine, lines);
    }
    Got GoOn(DWORD wanted) { return Consume(0, wanted, nullptr, 0, 0); }
    Got Consume(WORD phase, DWORD wanted, CScriptedDevice* from, DWORD bytesPerLine, DWORD lines) {
        Got got{77, 77, std::vector<BYTE>(wanted)};
        DWORD count = 77;
        got.result =
            reader.Consume(phase, got.bytes.data(), wanted, &count, &got.status, bytesPerLine,
                           lines, CScanReadDevice(from), from ? from->m_session : 0);
        EXPECT_LE(count, wanted);
        got.bytes.resize(std::min(count, wanted));
        return got;
    }

    // All that comes, up to the first call without bytes; that one must have this answer.
    std::vector<BYTE> TakePage(CScriptedDevice& from, DWORD bytesPerLine, DWORD lines, LONG result,
                               DWORD status) {
        std::vector<BYTE> page;
        Got got = Open(from, kPortion, bytesPerLine, lines);
        while (!got.bytes.empty()) {
            EXPECT_EQ(got.result, 1);
            page.insert(page.end(), got.bytes.begin(), got.bytes.end());
            got = GoOn(kPortion);
        }
        ExpectNothing(got, result, status);
        return page;
    }
    std::vector<BYTE> TakePage(DWORD bytesPerLine, DWORD lines, LONG result, DWORD status) {
        return TakePage(device, bytesPerLine, lines, result, status);
    }
    // No bytes and this answer, however often.
    void ExpectNothingMore(LONG result, DWORD status) {
        for (int i = 0; i < 3; ++i)
            ExpectNothing(GoOn(kPortion), result, status);
    }
    static void ExpectNothing(const Got& got, LONG result, DWORD status) {
        EXPECT_EQ(got.result, result);
        EXPECT_EQ(got.status, status);
        EXPECT_TRUE(got.bytes.empty());
    }

  private:
    static constexpr DWORD kPortion = 20000;
};

}  // namespace
