#include "platform/handle.h"

#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <utility>

#include "platform/internal/handle_table.h"

namespace platform {
namespace {

// Looked up far more often than changed.
struct HandleTable {
    std::shared_mutex lock;
    std::unordered_map<ULONG_PTR, std::shared_ptr<HandleObject>> live;
    // In steps of 4, as handles are, and out of reach of the numbers that mean something of their
    // own: 0, -1, and those of the registry's roots.
    ULONG_PTR next = ULONG_PTR{1} << 32;
};

// Never destroyed: objects of static life may close handles while the process ends.
HandleTable& Table() {
    static HandleTable& table = *new HandleTable;
    return table;
}

ULONG_PTR HandleNumber(HANDLE handle) {
    return reinterpret_cast<ULONG_PTR>(handle);
}

// Each thread has its own.
thread_local DWORD t_lastError = 0;

}  // namespace

HANDLE AddHandle(std::shared_ptr<HandleObject> object) {
    HandleTable& table = Table();
    const std::unique_lock guard(table.lock);
    const ULONG_PTR number = table.next;
    table.live.emplace(number, std::move(object));
    // A number is never given out again, so that a stale handle can't mean a new object.
    table.next += 4;
    return reinterpret_cast<HANDLE>(number);
}

std::shared_ptr<HandleObject> FindHandle(HANDLE handle) {
    HandleTable& table = Table();
    const std::shared_lock guard(table.lock);
    const auto found = table.live.find(HandleNumber(handle));
    return found == table.live.end() ? nullptr : found->second;
}

}  // namespace platform

BOOL CloseHandle(HANDLE handle) {
    platform::HandleTable& table = platform::Table();
    decltype(table.live)::node_type closed;  // its object goes when the table is unlocked again
    {
        const std::unique_lock guard(table.lock);
        closed = table.live.extract(platform::HandleNumber(handle));
    }
    return closed.empty() ? platform::Fail(ERROR_INVALID_HANDLE) : TRUE;
}

DWORD GetLastError() {
    return platform::t_lastError;
}

void SetLastError(DWORD error) {
    platform::t_lastError = error;
}
