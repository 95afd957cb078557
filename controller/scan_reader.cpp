#include "controller/scan_reader.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

// Bytes of a buffer, at the most, unless one line is longer. Filled with whole lines only, so that
// every read of the device begins at a line.
constexpr DWORD kBufferBytes = 65536;

bool IsSignalled(HANDLE handle) {
    return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
}

void CloseAndClear(HANDLE& handle) {
    if (handle)
        CloseHandle(handle);
    handle = nullptr;
}

}  // namespace

// Not cleared: what nobody wrote is never handed out, as SetEnd tells how far it goes.
bool CScanBuffer::Allocate(DWORD bytes) {
    Free();
    m_data.reset(new (std::nothrow) BYTE[bytes]);
    m_capacity = m_data ? bytes : 0;
    Reset();
    return m_data != nullptr;
}

void CScanBuffer::Free() {
    m_data.reset();
    m_capacity = 0;
    Reset();
}

void CScanBuffer::Reset() {
    m_pos = 0;
    m_end = m_capacity;
}

void CScanBuffer::SetEnd(DWORD bytes) {
    m_end = std::min(bytes, m_capacity);
}

void CScanBuffer::Take(void* destination, DWORD wanted, DWORD* got) {
    *got = std::min(wanted, m_end - m_pos);
    if (*got > 0)
        std::memcpy(destination, m_data.get() + m_pos, *got);
    m_pos += *got;
}

// One call is served from one buffer: a caller that wants more comes again, and doesn't wait here
// with bytes in hand.
LONG CScanReader::Consume(WORD phase, void* destination, DWORD bytesWanted, DWORD* bytesGot,
                          DWORD* status, DWORD bytesPerLine, DWORD totalLines,
                          const CScanReadDevice& device, DWORD sessionId) {
    *bytesGot = 0;
    if (phase == kScanReadOpen && !Open(bytesPerLine, totalLines, device, sessionId)) {
        *status = kScanNotStarted;
        return 1;
    }
    if (!m_current && !TakeFullBuffer()) {
        *status = m_status;
        return HasFailed() || *status == kScanEndOfMedia ? 1 : 0;
    }
    m_current->Take(destination, bytesWanted, bytesGot);
    if (m_current->IsDrained())
        GiveBackBuffer();
    *status = m_status;
    return 1;
}

// The fields that the thread uses change only behind the end of an earlier page's thread.
bool CScanReader::Open(DWORD bytesPerLine, DWORD totalLines, const CScanReadDevice& device,
                       DWORD sessionId) {
    Shutdown();
    m_status = 0;
    m_device = device;
    m_sessionId = sessionId;
    m_bytesPerLine = bytesPerLine;
    m_linesLeft = totalLines;
    if (bytesPerLine == 0 || !device)
        return false;
    m_linesPerBuffer = std::max(kBufferBytes / bytesPerLine, 1u);
    m_bufferBytes = m_linesPerBuffer * bytesPerLine;
    if (Start())
        return true;
    Shutdown();
    return false;
}

// Handles and buffers for one page. Whatever is missing, Shutdown takes the rest back.
bool CScanReader::Start() {
    for (CScanBuffer& buffer : m_buffers) {
        if (!buffer.Allocate(m_bufferBytes))
            return false;
    }
    m_consumerIndex = 0;
    m_producerIndex = 0;
    // At first the thread may fill all three, and none is full.
    m_fullBuffers = CreateSemaphoreA(nullptr, 0, kBuffers, nullptr);
    m_freeBuffers = CreateSemaphoreA(nullptr, kBuffers, kBuffers, nullptr);
    m_errorEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    m_quitEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (m_fullBuffers && m_freeBuffers && m_errorEvent && m_quitEvent)
        m_thread =
            reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, &RunThread, this, 0, nullptr));
    return m_thread != nullptr;
}

// The buffers go last: until the thread has ended it may be writing into one.
void CScanReader::Shutdown() {
    if (m_quitEvent)
        SetEvent(m_quitEvent);
    if (m_thread)
        WaitForSingleObject(m_thread, INFINITE);
    for (HANDLE* handle : {&m_thread, &m_fullBuffers, &m_freeBuffers, &m_errorEvent, &m_quitEvent})
        CloseAndClear(*handle);
    m_current = nullptr;
    for (CScanBuffer& buffer : m_buffers)
        buffer.Free();
}

// A failure without a status counts too.
bool CScanReader::HasFailed() const {
    const DWORD status = m_status;
    return (status != 0 && status != kScanEndOfMedia) ||
           (m_errorEvent && IsSignalled(m_errorEvent));
}

// Waits for the next buffer; false when none will come. A failure goes ahead of buffers that were
// filled before it.
bool CScanReader::TakeFullBuffer() {
    if (!m_thread)
        return false;
    const HANDLE handles[] = {m_thread, m_errorEvent, m_fullBuffers};
    constexpr DWORD kThreadEnded = WAIT_OBJECT_0;
    constexpr DWORD kBufferFull = WAIT_OBJECT_0 + 2;
    const DWORD ended = WaitForMultipleObjects(3, handles, FALSE, INFINITE);
    if (HasFailed())
        return false;
    if (ended != kBufferFull && !(ended == kThreadEnded && IsSignalled(m_fullBuffers)))
        return false;
    m_log.Format(kLogInformation, "Consuming Buffer %d", m_consumerIndex);
    m_current = &m_buffers[m_consumerIndex];
    return true;
}

// Only a drained buffer goes back, so the thread is never further ahead than three of them.
void CScanReader::GiveBackBuffer() {
    m_current->Reset();
    m_current = nullptr;
    m_consumerIndex = (m_consumerIndex + 1) % kBuffers;
    ReleaseSemaphore(m_freeBuffers, 1, nullptr);
}

unsigned CScanReader::RunThread(void* reader) {
    static_cast<CScanReader*>(reader)->ReadAhead();
    return 0;
}

void CScanReader::ReadAhead() {
    CLog log;  // a log's sink belongs to the thread that made the log
    DWORD status = 0;
    if (FAILED(m_device.BeginRead(m_sessionId, &status))) {
        Fail(status);
        return;
    }
    while (m_linesLeft > 0 && AwaitFreeBuffer() && FillBuffer(log)) {
    }
}

// False when the thread must end. The wait prefers a buffer, so the event is looked at behind it.
bool CScanReader::AwaitFreeBuffer() const {
    const HANDLE handles[] = {m_freeBuffers, m_quitEvent};
    return WaitForMultipleObjects(2, handles, FALSE, INFINITE) == WAIT_OBJECT_0 &&
           !IsSignalled(m_quitEvent);
}

// False when the page ends here. A status other than an end of media means nothing while the read
// succeeds.
bool CScanReader::FillBuffer(CLog& log) {
    log.Format(kLogInformation, "Filling Buffer %d, scan thread = %x", m_producerIndex,
               GetCurrentThreadId());
    CScanBuffer& buffer = m_buffers[m_producerIndex];
    buffer.Reset();
    const DWORD wanted = std::min(m_linesPerBuffer, m_linesLeft) * m_bytesPerLine;
    DWORD got = 0;
    DWORD status = 0;
    const HRESULT hr = m_device.ReadScan(m_sessionId, buffer.Data(), wanted, &got, &status);
    // No device has put more there than was asked for, whatever it says. This also keeps the lines
    // below from passing m_linesLeft.
    got = std::min(got, wanted);
    buffer.SetEnd(got);
    if (status == kScanEndOfMedia || status == kScanEndOfSheet) {
        m_status.exchange(kScanEndOfMedia);
        m_linesLeft = 0;
        ReleaseSemaphore(m_fullBuffers, 1, nullptr);
        return false;
    }
    // A part of a line behind whole ones is handed on, but doesn't count.
    const DWORD lines = got / m_bytesPerLine;
    if (lines == 0 || FAILED(hr)) {
        Fail(status);
        return false;
    }
    m_producerIndex = (m_producerIndex + 1) % kBuffers;
    m_linesLeft -= lines;
    ReleaseSemaphore(m_fullBuffers, 1, nullptr);
    return true;
}

// The status stands before the event is seen: who wakes by it finds the reason.
void CScanReader::Fail(DWORD status) {
    m_status.exchange(status);
    SetEvent(m_errorEvent);
}
