// Watches those allocations of the test program that report failure by a null pointer, and lets one
// of them fail.
#pragma once

#include <cstddef>

// Bytes that were asked for since the last call.
std::size_t TakeAllocatedBytes();

// While it lives, the `which`-th such allocation, counted from 1, fails, and with `forGood` all
// that follow. One at a time.
class CFailingAllocation {
  public:
    CFailingAllocation(std::size_t which, bool forGood);
    ~CFailingAllocation();
    CFailingAllocation(const CFailingAllocation&) = delete;
    CFailingAllocation& operator=(const CFailingAllocation&) = delete;

    // True when that many were asked for.
    bool Happened() const;
};
