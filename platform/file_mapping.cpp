#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <mutex>

#include "platform/files.h"
#include "platform/internal/file_object.h"

using platform::Contained;
using platform::Fail;
using platform::FailErrno;
using platform::File;
using platform::FindHandleAs;

namespace {

// Bytes. The published step is coarser than the pages here, so that what is accepted here is
// accepted everywhere.
constexpr std::uint64_t kOffsetStep = 65536;

// The mapping keeps its file open: handles may be closed in any order.
class Mapping : public platform::HandleObject {
  public:
    Mapping(std::shared_ptr<File> file, std::uint64_t size)
        : m_file(std::move(file)), m_size(size) {}

    int Descriptor() const { return m_file->Descriptor(); }
    std::uint64_t Size() const { return m_size; }

  private:
    const std::shared_ptr<File> m_file;
    const std::uint64_t m_size;  // bytes
};

// Where views begin, and their bytes: a view is known by its address alone, and its size is needed
// to end it.
struct Views {
    std::mutex lock;
    std::map<const void*, std::size_t> sizes;
};

Views& AllViews() {
    static Views& views = *new Views;
    return views;
}

// A 64-bit size or offset from its two halves.
std::uint64_t Join(DWORD high, DWORD low) {
    return static_cast<std::uint64_t>(high) << 32 | low;
}

// Gives the file all its blocks up to a size, also where it has holes, and extends it if it is
// shorter.
BOOL TakeRoom(int fd, off_t size) {
    int error = 0;
    do {
        error = posix_fallocate(fd, 0, size);
    } while (error == EINTR);
    return error == 0 ? TRUE : FailErrno(error);
}

HANDLE MakeMapping(HANDLE handle, DWORD protect, std::uint64_t size) {
    const auto file = FindHandleAs<File>(handle);
    if (!file)
        return nullptr;
    // The checks in the order in which the published function reports them. A pipe or a device has
    // no size that could be mapped, nor has an empty file without a wish for more.
    struct stat status = {};
    LONG error = ERROR_SUCCESS;
    if (protect != PAGE_READWRITE || size > std::numeric_limits<off_t>::max())
        error = ERROR_INVALID_PARAMETER;
    else if (!file->CanRead() || !file->CanWrite())
        error = ERROR_ACCESS_DENIED;
    else if (!file->IsPlain() || fstat(file->Descriptor(), &status) != 0 ||
             (size == 0 && status.st_size == 0))
        error = ERROR_FILE_INVALID;
    if (error != ERROR_SUCCESS) {
        Fail(error);
        return nullptr;
    }
    const auto bytes = size == 0 ? status.st_size : static_cast<off_t>(size);
    if (!TakeRoom(file->Descriptor(), bytes))
        return nullptr;
    SetLastError(ERROR_SUCCESS);
    return platform::AddHandle(std::make_shared<Mapping>(file, static_cast<std::uint64_t>(bytes)));
}

LPVOID MakeView(HANDLE handle, DWORD access, std::uint64_t offset, std::size_t size) {
    const auto mapping = FindHandleAs<Mapping>(handle);
    if (!mapping)
        return nullptr;
    LONG error = ERROR_SUCCESS;
    if (access != FILE_MAP_WRITE && access != FILE_MAP_ALL_ACCESS)
        error = ERROR_INVALID_PARAMETER;
    else if (offset % kOffsetStep != 0)
        error = ERROR_MAPPED_ALIGNMENT;
    else if (offset >= mapping->Size() || size > mapping->Size() - offset)
        error = ERROR_ACCESS_DENIED;
    if (error != ERROR_SUCCESS) {
        Fail(error);
        return nullptr;
    }
    // Within the mapping, as was just checked; the sum can't overflow.
    const std::size_t bytes = size != 0 ? size : mapping->Size() - offset;
    // The record of the view is made first, so that a view can't be left without one.
    std::map<const void*, std::size_t> record{{nullptr, bytes}};
    void* view = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, mapping->Descriptor(),
                      static_cast<off_t>(offset));
    if (view == MAP_FAILED) {
        FailErrno();
        return nullptr;
    }
    auto node = record.extract(record.begin());
    node.key() = view;
    Views& views = AllViews();
    const std::lock_guard guard(views.lock);
    views.sizes.insert(std::move(node));
    return view;
}

}  // namespace

HANDLE CreateFileMappingA(HANDLE file, SECURITY_ATTRIBUTES*, DWORD protect, DWORD sizeHigh,
                          DWORD sizeLow, LPCSTR name) {
    return Contained<HANDLE>(nullptr, [&]() -> HANDLE {
        if (name) {
            Fail(ERROR_NOT_SUPPORTED);
            return nullptr;
        }
        return MakeMapping(file, protect, Join(sizeHigh, sizeLow));
    });
}

LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                     std::size_t size) {
    return Contained<LPVOID>(
        nullptr, [&] { return MakeView(mapping, access, Join(offsetHigh, offsetLow), size); });
}

BOOL UnmapViewOfFile(const void* view) {
    // Under the lock until the view has gone: its address could be another view's the next moment.
    Views& views = AllViews();
    const std::lock_guard guard(views.lock);
    const auto found = views.sizes.find(view);
    if (found == views.sizes.end())
        return Fail(ERROR_INVALID_ADDRESS);
    munmap(const_cast<void*>(view), found->second);
    views.sizes.erase(found);
    return TRUE;
}
