#include "platform/device_io.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/files.h"
#include "platform/internal/file_object.h"
#include "platform/internal/waitable.h"
#include "platform/sync.h"

using platform::Contained;
using platform::DispatcherLock;
using platform::Event;
using platform::Fail;
using platform::File;
using platform::FindHandle;
using platform::FindHandleAs;

// An overlapped wait has no thread of its own: whoever waits for its event polls the pipe beside
// it, and takes the byte when it comes. So nothing runs on behalf of a device that nobody waits
// for, and a byte that comes when no wait is under way stays in the pipe for the next one.
namespace {

// What stands in OVERLAPPED until the operation has ended.
constexpr ULONG_PTR kPending = 0x103;

// A wait under way, known to its event and to its device; all under the dispatcher lock. It ends
// once, and touches nothing of its caller's afterwards.
class DeviceWait : public platform::WaitSource {
  public:
    DeviceWait(int pipe, const std::shared_ptr<Event>& event, BYTE* out, OVERLAPPED* overlapped)
        : m_pipe(pipe), m_event(event), m_out(out), m_overlapped(overlapped) {}

    int Descriptor() const override { return m_pipe; }
    void Check() override;
    void End(LONG error, DWORD bytes);
    bool IsOf(const OVERLAPPED* overlapped) const { return m_overlapped == overlapped; }
    bool HasEnded() const { return !m_overlapped; }

  private:
    const int m_pipe;  // the device's
    const std::weak_ptr<Event> m_event;
    BYTE* const m_out;  // may be null
    OVERLAPPED* m_overlapped;
};

void DeviceWait::Check() {
    if (HasEnded())
        return;
    BYTE byte = 0;
    // One byte is one event; what stands behind it belongs to the waits that follow.
    const ssize_t got = read(m_pipe, &byte, 1);
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    // The end of the file comes when the last writer of a pipe that was opened for reading alone
    // has gone.
    if (got <= 0) {
        End(got == 0 ? ERROR_BROKEN_PIPE : platform::ErrorFromErrno(errno), 0);
        return;
    }
    if (m_out)
        *m_out = byte;
    End(ERROR_SUCCESS, m_out ? 1 : 0);
}

void DeviceWait::End(LONG error, DWORD bytes) {
    // Taken first: the record may be gone as soon as its event is set.
    OVERLAPPED* const overlapped = std::exchange(m_overlapped, nullptr);
    if (!overlapped)
        return;
    overlapped->Internal = static_cast<ULONG_PTR>(error);
    overlapped->InternalHigh = bytes;
    if (const auto event = m_event.lock()) {
        event->SetSource(nullptr);
        event->SetCount(1);
    }
}

// A pipe that was opened for overlapped waits.
class Device : public File {
  public:
    using File::File;
    ~Device() override {
        const std::lock_guard guard(DispatcherLock());
        EndWait();
    }

    // Under the dispatcher lock.
    std::shared_ptr<DeviceWait> Wait() const { return m_wait; }
    bool IsBusy() const { return m_wait && !m_wait->HasEnded(); }
    void SetWait(std::shared_ptr<DeviceWait> wait) { m_wait = std::move(wait); }
    void EndWait() {
        if (m_wait)
            m_wait->End(ERROR_OPERATION_ABORTED, 0);
        m_wait.reset();
    }

  private:
    std::shared_ptr<DeviceWait> m_wait;
};

// Any other file is no device that could be waited for.
std::shared_ptr<Device> FindDevice(HANDLE handle) {
    const auto object = FindHandle(handle);
    auto device = std::dynamic_pointer_cast<Device>(object);
    if (!device)
        Fail(std::dynamic_pointer_cast<File>(object) ? ERROR_NOT_SUPPORTED : ERROR_INVALID_HANDLE);
    return device;
}

BOOL BeginWait(Device& device, BYTE* out, OVERLAPPED* overlapped, DWORD* returned) {
    const auto event = FindHandleAs<Event>(overlapped->hEvent);
    if (!event)
        return FALSE;
    auto wait = std::make_shared<DeviceWait>(device.Descriptor(), event, out, overlapped);
    // From here on no other thread can end, cancel or take the wait.
    const std::lock_guard guard(DispatcherLock());
    if (device.IsBusy() || event->Source())
        return Fail(ERROR_BUSY);
    // The published order: the result stands as pending and the event is reset ahead of the first
    // look at the pipe, so that a byte that is there already sets it again.
    overlapped->Internal = kPending;
    overlapped->InternalHigh = 0;
    event->SetCount(0);
    event->SetSource(wait);
    device.SetWait(wait);
    wait->Check();
    if (!wait->HasEnded())
        return Fail(ERROR_IO_PENDING);
    if (returned)
        *returned = static_cast<DWORD>(overlapped->InternalHigh);
    return overlapped->Internal == ERROR_SUCCESS ? TRUE
                                                 : Fail(static_cast<LONG>(overlapped->Internal));
}

// ERROR_IO_INCOMPLETE while it is under way.
LONG Result(const Device& device, OVERLAPPED* overlapped, DWORD* bytes) {
    const std::lock_guard guard(DispatcherLock());
    // Held by the copy while it ends.
    if (const auto wait = device.Wait(); wait && wait->IsOf(overlapped))
        wait->Check();
    if (overlapped->Internal == kPending)
        return ERROR_IO_INCOMPLETE;
    *bytes = static_cast<DWORD>(overlapped->InternalHigh);
    return static_cast<LONG>(overlapped->Internal);
}

}  // namespace

std::shared_ptr<File> platform::MakeDevice(UniqueFd pipe, DWORD access) {
    return std::make_shared<Device>(std::move(pipe), access, false);
}

BOOL DeviceIoControl(HANDLE handle, DWORD code, LPVOID, DWORD, LPVOID out, DWORD outBytes,
                     DWORD* returned, OVERLAPPED* overlapped) {
    return Contained(FALSE, [&] {
        const auto device = FindDevice(handle);
        if (!device)
            return FALSE;
        if (code != IOCTL_WAIT_ON_DEVICE_EVENT)
            return Fail(ERROR_NOT_SUPPORTED);
        if (!overlapped || (!out && outBytes != 0))
            return Fail(ERROR_INVALID_PARAMETER);
        if (!device->CanRead())
            return Fail(ERROR_ACCESS_DENIED);
        BYTE* const target = outBytes != 0 ? static_cast<BYTE*>(out) : nullptr;
        return BeginWait(*device, target, overlapped, returned);
    });
}

// Looks for itself, so that a caller who polls needs no wait to make the byte come over.
BOOL GetOverlappedResult(HANDLE handle, OVERLAPPED* overlapped, DWORD* bytes, BOOL wait) {
    const auto device = FindDevice(handle);
    if (!device)
        return FALSE;
    if (!overlapped || !bytes)
        return Fail(ERROR_INVALID_PARAMETER);
    LONG error = Result(*device, overlapped, bytes);
    while (error == ERROR_IO_INCOMPLETE && wait) {
        if (WaitForSingleObject(overlapped->hEvent, INFINITE) != WAIT_OBJECT_0)
            return FALSE;
        error = Result(*device, overlapped, bytes);
    }
    return error == ERROR_SUCCESS ? TRUE : Fail(error);
}

BOOL CancelIo(HANDLE handle) {
    const auto device = FindDevice(handle);
    if (!device)
        return FALSE;
    const std::lock_guard guard(DispatcherLock());
    device->EndWait();
    return TRUE;
}
