// A driver that does what a test tells it: a module, loaded by the class identifier of the
// product's own driver, whose script the test shares.
//
// Its root has the source's select, status and pages; its item "\Top" some settings of every kind.
// Left alone it follows a written resolution (the window starts where it did) and delivers pages of
// TestPicture, 30 lines in a message. Its object can't be part of another.
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
// Of the same source, built as the module of a device toolkit; it makes no objects.
inline constexpr CLSID CLSID_TestToolkit = {
    0x1E0C2B4A, 0x77F1, 0x4B7E, {0xA1, 0x0F, 0x6C, 0x2D, 0x54, 0x90, 0x3B, 0xE8}};

inline constexpr PROPID kTestBlob = 71698;  // 4 bytes, can be written
inline constexpr LONG kTestWidth = 101;     // pixels of the picture at 24 bits
inline constexpr LONG kTestLines = 100;
inline constexpr LONG kTestStride = 304;

struct CTestScript {
    // An operation fails, so many times.
    void Fail(const std::string& operation, HRESULT code, int times = 1000000);
    HRESULT Enter(const std::string& operation);
    int Count(const std::string& operation);
    void Press(REFGUID guid);  // and sets the handle

    std::function<HRESULT(BYTE* context, ULONG count, const PROPSPEC* specs)> m_validate;
    std::function<HRESULT(BYTE* context, MINIDRV_TRANSFER_CONTEXT* transfer)> m_acquire;
    std::function<void(BYTE* context)> m_initItem;  // behind the driver's own
    std::function<void(BYTE* context)> m_read;
    std::atomic<int> m_sheets{1};        // pages until the feeder is empty
    std::atomic<bool> m_noFaces{false};  // an object has neither face
    std::atomic<int> m_objects{0};       // that live
    std::atomic<int> m_made{0};
    std::atomic<int> m_inside{0};  // calls of the imaging face under way
    std::atomic<int> m_mostInside{0};
    std::atomic<DWORD> m_capabilities{0};
    std::atomic<DWORD> m_interval{0};

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
BYTE TestPicture(LONG line, LONG offset);
// Delivers the picture as the driver does: `told` is called behind each message, and `most`
// messages end it.
HRESULT DeliverTestPicture(MINIDRV_TRANSFER_CONTEXT* transfer,
                           const std::function<void()>& told = {}, int most = 1000);

// A BSTR.
class CText {
  public:
    explicit CText(const std::u16string& text) : m_text(MakeTaskText(text).release()) {}
    ~CText() { SysFreeString(m_text); }
    CText(const CText&) = delete;
    CText& operator=(const CText&) = delete;
    BSTR Get() const { return m_text; }

  private:
    const BSTR m_text;
};
