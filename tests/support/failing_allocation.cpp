#include "tests/support/failing_allocation.h"

#include <dlfcn.h>
#include <execinfo.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <new>

namespace {

std::atomic<std::size_t> g_bytes = 0;
std::atomic<std::size_t> g_asked = 0;
std::atomic<std::size_t> g_first = 0;  // the first that fails; 0: none
std::atomic<std::size_t> g_last = 0;
std::atomic<bool> g_throwingToo = false;
std::atomic<const char*> g_spared = nullptr;

bool IsSpared() {
    if (!g_spared)
        return false;
    void* frames[100];
    return std::any_of(frames, frames + backtrace(frames, std::size(frames)), [](void* frame) {
        Dl_info module = {};
        return dladdr(frame, &module) != 0 && std::strcmp(module.dli_fname, g_spared) == 0;
    });
}

bool FailsNow() {
    if (g_first == 0)
        return false;
    const std::size_t number = ++g_asked;
    if (number < g_first || number > g_last)
        return false;
    if (!IsSpared())
        return true;
    if (g_first == g_last) {
        ++g_last;
        ++g_first;
    }
    return false;
}

void* TakeOrNull(std::size_t size) {
    g_bytes += size;
    return FailsNow() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* TakeOrThrow(std::size_t size) {
    void* memory = g_throwingToo && FailsNow() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

}  // namespace

std::size_t TakeAllocatedBytes() {
    return g_bytes.exchange(0);
}

CFailingAllocation::CFailingAllocation(std::size_t which, bool forGood, bool throwingToo,
                                       const char* spared) {
    g_asked = 0;
    g_throwingToo = throwingToo;
    g_spared = spared;
    g_last = forGood ? std::numeric_limits<std::size_t>::max() : which;
    g_first = which;
}

CFailingAllocation::~CFailingAllocation() {
    g_first = 0;
    g_throwingToo = false;
}

bool CFailingAllocation::Happened() const {
    return g_asked >= g_first;
}

// clang-format off
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return TakeOrNull(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return TakeOrNull(size); }
void* operator new(std::size_t size) { return TakeOrThrow(size); }
void* operator new[](std::size_t size) { return TakeOrThrow(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
// clang-format on
