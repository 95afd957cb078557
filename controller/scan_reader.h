// Reads scan data ahead of the transfer.
//
// The device's read blocks until the scanner has delivered, and a scan head must not stop because
// nobody reads. So a thread of the reader's own fills three buffers in turn, while the transfer's
// thread makes an image of what it takes out.
//
//    idle     --Consume(kScanReadOpen)-->  reading
//    reading  --all lines read, end of media, failure, Shutdown-->  drained (the thread has ended)
//    drained  --last buffer taken-->  Consume answers why there is no more
//    any      --Shutdown-->  idle
//
// A buffer belongs to one thread at a time: to the reader's from a count of m_freeBuffers on, to
// the consumer from a count of m_fullBuffers on. Nothing else is shared but m_status, so there is
// no lock. All public operations are for one thread, the consumer's.
#pragma once

#include <atomic>
#include <memory>

#include "diag/log.h"
#include "platform/com_ptr.h"
#include "platform/sync.h"
#include "platform/types.h"

inline constexpr WORD kScanReadOpen = 2;       // the phase that begins a page
inline constexpr DWORD kScanNotStarted = 2;    // the reader's own status: no memory, or no thread
inline constexpr DWORD kScanEndOfMedia = 15;   // the normal end of a page
inline constexpr DWORD kScanEndOfSheet = 102;  // the feeder's word for the same

// What the reader asks of a device: a counted reference to any interface that has the toolkit's
// BeginRead and ReadScan.
class CScanReadDevice {
  public:
    CScanReadDevice() = default;
    template <class Device>
    explicit CScanReadDevice(Device* device)
        : m_object(device),
          m_beginRead([](IUnknown* object, DWORD sessionId, DWORD* status) {
              return static_cast<Device*>(object)->BeginRead(sessionId, status);
          }),
          m_readScan([](IUnknown* object, DWORD sessionId, void* buffer, DWORD bytesWanted,
                        DWORD* bytesRead, DWORD* status) {
              return static_cast<Device*>(object)->ReadScan(sessionId, buffer, bytesWanted,
                                                            bytesRead, status);
          }) {}

    explicit operator bool() const { return static_cast<bool>(m_object); }
    HRESULT BeginRead(DWORD sessionId, DWORD* status) const {
        return m_beginRead(m_object.Get(), sessionId, status);
    }
    // Blocks until data are there.
    HRESULT ReadScan(DWORD sessionId, void* buffer, DWORD bytesWanted, DWORD* bytesRead,
                     DWORD* status) const {
        return m_readScan(m_object.Get(), sessionId, buffer, bytesWanted, bytesRead, status);
    }

  private:
    ComPtr<IUnknown> m_object;
    HRESULT (*m_beginRead)(IUnknown*, DWORD, DWORD*) = nullptr;
    HRESULT (*m_readScan)(IUnknown*, DWORD, void*, DWORD, DWORD*, DWORD*) = nullptr;
};

// One block of scan data: m_pos to m_end are the bytes that nobody has taken yet.
class CScanBuffer {
  public:
    // Makes it `bytes` large; false, and empty, without memory.
    bool Allocate(DWORD bytes);
    void Free();

    BYTE* Data() { return m_data.get(); }
    // All of it valid, nothing taken.
    void Reset();
    // The first `bytes` bytes are valid; no more than there are.
    void SetEnd(DWORD bytes);
    bool IsDrained() const { return m_pos == m_end; }
    // Copies `wanted` bytes, or those that are left.
    void Take(void* destination, DWORD wanted, DWORD* got);

  private:
    std::unique_ptr<BYTE[]> m_data;
    DWORD m_capacity = 0;
    DWORD m_pos = 0;
    DWORD m_end = 0;
};

class CScanReader {
  public:
    CScanReader() = default;
    ~CScanReader() { Shutdown(); }
    CScanReader(const CScanReader&) = delete;
    CScanReader& operator=(const CScanReader&) = delete;

    // Takes up to `bytesWanted` bytes of the page, waiting for at least one. Phase kScanReadOpen
    // begins a page of `totalLines` lines, ending an earlier one, and takes over the last four
    // arguments; any other phase goes on with the page and ignores them.
    //
    // Returns 1 when `*status` tells how things stand, 0 (and status 0) when nothing came and no
    // reason is known: the page is over, or no page was begun. Statuses:
    //   0   as far as is known all is well; without bytes, the device gave less than a line and no
    //       reason
    //   15  the media ended. Known as soon as the device has said so, so it comes with bytes as
    //       long as there are any; the call that finds none, and all after it, has 0 bytes
    //   kScanNotStarted  nothing was begun: no memory, no thread, no device, or lines of 0 bytes
    //   else the device's error. What was read ahead of it is lost
    LONG Consume(WORD phase, void* destination, DWORD bytesWanted, DWORD* bytesGot, DWORD* status,
                 DWORD bytesPerLine, DWORD totalLines, const CScanReadDevice& device,
                 DWORD sessionId);

    // The device has failed, also where it gave the number of an end for it.
    bool HasFailed() const;

    // A page has been begun and not shut down. Tells kScanNotStarted from a device's error of the
    // same number.
    bool IsOpen() const { return m_thread != nullptr; }

    // Ends the thread and frees the buffers. Waits without limit for a read that the device has not
    // come back from. Harmless on an idle reader.
    void Shutdown();

  private:
    static constexpr LONG kBuffers = 3;

    bool Open(DWORD bytesPerLine, DWORD totalLines, const CScanReadDevice& device, DWORD sessionId);
    bool Start();
    bool TakeFullBuffer();
    void GiveBackBuffer();

    // On the reader's thread.
    static unsigned RunThread(void* reader);
    void ReadAhead();
    bool AwaitFreeBuffer() const;
    bool FillBuffer(CLog& log);
    void Fail(DWORD status);

    CScanReadDevice m_device;
    DWORD m_sessionId = 0;
    DWORD m_bytesPerLine = 0;
    DWORD m_linesPerBuffer = 0;
    DWORD m_bufferBytes = 0;
    HANDLE m_thread = nullptr;  // not null: the other handles and the buffers exist too
    HANDLE m_fullBuffers = nullptr;
    HANDLE m_freeBuffers = nullptr;
    HANDLE m_errorEvent = nullptr;  // the thread has failed
    HANDLE m_quitEvent = nullptr;   // the thread must end
    CScanBuffer m_buffers[kBuffers];
    std::atomic<DWORD> m_status = 0;  // the device's last; 0 while all is well

    // The consumer's.
    CScanBuffer* m_current = nullptr;  // being taken from; null between buffers
    LONG m_consumerIndex = 0;          // of the next buffer to take
    CLog m_log;

    // The thread's, while it runs.
    LONG m_producerIndex = 0;  // of the next buffer to fill
    DWORD m_linesLeft = 0;     // still to be read
};
