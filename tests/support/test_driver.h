// A driver that does what a test tells it: a module, loaded by the class identifier of the
// product's own driver, whose script the test shares.
//
// Its root has the source's select, status and pages; its item "\Top" some settings. Left alone it
// takes what is written and delivers pages of TestPicture, 30 lines in a message, on the callback
// medium alone. Its object can't be part of another.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "platform/sti.h"
#include "platform/text.h"
#include "platform/wia.h"

inline constexpr CLSID CLSID_TestDriver = {
    0x0C3A5327, 0x4FBD, 0x4E6C, {0xBC, 0x58, 0xEF, 0x03, 0xA9, 0xB7, 0xB9, 0x81}};

inline constexpr LONG kTestWidth = 101;  // pixels of the picture at 24 bits
inline constexpr LONG kTestLines = 100;
inline constexpr LONG kTestStride = 304;

struct CTestScript {
    // An operation fails, so many times.
    void Fail(const std::string& operation, HRESULT code, int times = 1000000);
    HRESULT Enter(const std::string& operation);
    int Count(const std::string& operation);
    void Press(REFGUID guid);  // and sets the handle

    std::function<HRESULT(BYTE* context)> m_validate;
    std::function<HRESULT(BYTE* context, MINIDRV_TRANSFER_CONTEXT* transfer)> m_acquire;
    std::function<void(BYTE* context)> m_read;
    std::atomic<int> m_sheets{1};   // pages until the feeder is empty
    std::atomic<int> m_objects{0};  // that live
    std::atomic<int> m_made{0};
    std::atomic<DWORD> m_capabilities{0};  // beside those of the registry
    std::atomic<DWORD> m_interval{0};      // between polls, in milliseconds

    std::mutex m_lock;  // for those below
    HANDLE m_handle = nullptr;
    std::deque<GUID> m_presses;
    std::map<std::string, std::pair<HRESULT, int>> m_failures;
    std::map<std::string, int> m_counts;
};

CTestScript& TestScript();
// For the next test. No driver object lives.
void RenewTestScript();

// Byte of the picture at line, offset in the row.
constexpr BYTE TestPicture(LONG line, LONG offset) {
    return static_cast<BYTE>(line * 7 + offset * 3);
}
// Delivers the picture as the driver does: `told` is called behind each message, and `most`
// messages end it.
HRESULT DeliverTestPicture(MINIDRV_TRANSFER_CONTEXT* transfer,
                           const std::function<void()>& told = {}, int most = 1000);
