// A device that delivers by a script, and a reader at it. For the one program that tests the
// reader.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <semaphore>
#include <vector>

#include "controller/scan_reader.h"

namespace {

constexpr DWORD kSession = 0x5E55;
constexpr DWORD kAsAsked = 0xFFFFFFFEu;

// Every byte of a page differs from its neighbours, lines and buffers away too.
std::vector<BYTE> Page(std::size_t bytes) {
    std::vector<BYTE> page(bytes);
    for (std::size_t i = 0; i < bytes; ++i)
        page[i] = static_cast<BYTE>((i * 2654435761u) >> 13);
    return page;
}

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

    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return static_cast<ULONG>(++m_references); }
    ULONG Release() override { return static_cast<ULONG>(--m_references); }

    HRESULT BeginRead(DWORD, DWORD* status) {
        ++m_begins;
        *status = m_begin.status;
        return m_begin.result;
    }
    HRESULT ReadScan(DWORD session, void* buffer, DWORD wanted, DWORD* got, DWORD* status) {
        EXPECT_EQ(session, kSession);
        const auto call = m_asked.size();
        m_asked.push_back(wanted);
        m_entered.release();
        if (m_onRead)
            m_onRead(call);
        const Answer answer = m_script.count(call) != 0 ? m_script[call] : Answer{};
        *got = answer.bytes == kAsAsked ? wanted : answer.bytes;
        *status = answer.status;
        const DWORD written = std::min(*got, wanted);
        const auto page = Page(m_offset + written);
        std::copy_n(page.begin() + m_offset, written, static_cast<BYTE*>(buffer));
        m_offset += written;
        return answer.result;
    }

    Answer m_begin;
    std::map<std::size_t, Answer> m_script;     // by the number of the read
    std::function<void(std::size_t)> m_onRead;  // in each read, before anything is delivered
    // Fails the test instead of waiting for ever.
    void AwaitRead() { EXPECT_TRUE(m_entered.try_acquire_for(std::chrono::minutes(1))); }
    int m_begins = 0;
    std::vector<DWORD> m_asked;  // bytes asked for by each read
    std::atomic<int> m_references = 0;

  private:
    DWORD m_offset = 0;
    std::counting_semaphore<> m_entered{0};  // once for each read that has begun
};

// A device, and a reader that ends before it.
class CRig {
  public:
    struct Got {
        LONG result;
        DWORD status;
        std::vector<BYTE> bytes;
    };

    CScriptedDevice device;
    CScanReader reader;

    Got Open(CScriptedDevice* from, DWORD wanted, DWORD bytesPerLine, DWORD lines) {
        return Consume(kScanReadOpen, wanted, from, bytesPerLine, lines);
    }
    Got GoOn(DWORD wanted) { return Consume(0, wanted, nullptr, 0, 0); }
    // All that comes, up to the first call without bytes; that one, and any that follows, has this
    // answer.
    std::vector<BYTE> TakePage(DWORD bytesPerLine, DWORD lines, LONG result, DWORD status,
                               CScriptedDevice* from = nullptr) {
        std::vector<BYTE> page;
        Got got = Open(from ? from : &device, kPortion, bytesPerLine, lines);
        for (; !got.bytes.empty(); got = GoOn(kPortion)) {
            EXPECT_EQ(got.result, 1);
            page.insert(page.end(), got.bytes.begin(), got.bytes.end());
        }
        ExpectNothing(got, result, status);
        ExpectNothing(GoOn(kPortion), result, status);
        return page;
    }
    static void ExpectNothing(const Got& got, LONG result, DWORD status) {
        EXPECT_EQ(got.result, result);
        EXPECT_EQ(got.status, status);
        EXPECT_TRUE(got.bytes.empty());
    }

  private:
    static constexpr DWORD kPortion = 20000;

    Got Consume(WORD phase, DWORD wanted, CScriptedDevice* from, DWORD bytesPerLine, DWORD lines) {
        Got got{77, 77, std::vector<BYTE>(wanted)};
        DWORD count = 77;
        got.result = reader.Consume(phase, got.bytes.data(), wanted, &count, &got.status,
                                    bytesPerLine, lines, CScanReadDevice(from), kSession);
        EXPECT_LE(count, wanted);
        got.bytes.resize(std::min(count, wanted));
        return got;
    }
};

}  // namespace
