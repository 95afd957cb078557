#include "tests/support/failing_allocation.h"

#include <atomic>
#include <limits>
#include <new>

namespace {

std::atomic<std::size_t> g_bytes = 0;
std::atomic<std::size_t> g_asked = 0;
std::atomic<std::size_t> g_first = 0;  // the first that fails; 0: none
std::atomic<std::size_t> g_last = 0;

bool FailsNow(std::size_t size) {
    g_bytes += size;
    const std::size_t number = ++g_asked;
    return g_first != 0 && number >= g_first && number <= g_last;
}

}  // namespace

std::size_t TakeAllocatedBytes() {
    return g_bytes.exchange(0);
}

CFailingAllocation::CFailingAllocation(std::size_t which, bool forGood) {
    g_asked = 0;
    g_last = forGood ? std::numeric_limits<std::size_t>::max() : which;
    g_first = which;
}

CFailingAllocation::~CFailingAllocation() {
    g_first = 0;
}

bool CFailingAllocation::Happened() const {
    return g_asked >= g_first;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return FailsNow(size) ? nullptr : ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return FailsNow(size) ? nullptr : ::operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
