// Watches the allocations of the test program, and lets one of them fail: those that report failure
// by a null pointer do so, the others throw.
#pragma once

#include <cstddef>

// Bytes that were asked for, of the kind that reports failure, since the last call.
std::size_t TakeAllocatedBytes();

// While it lives, the `which`-th allocation, counted from 1, fails, and with `forGood` all that
// follow. One at a time. Without `throwingToo` only those count that report failure. What code of
// the module `spared`, a file, asks for or has asked for doesn't fail: the next one does in its
// place.
class CFailingAllocation {
  public:
    CFailingAllocation(std::size_t which, bool forGood, bool throwingToo = false,
                       const char* spared = nullptr);
    ~CFailingAllocation();
    CFailingAllocation(const CFailingAllocation&) = delete;
    CFailingAllocation& operator=(const CFailingAllocation&) = delete;

    // True when that many were asked for.
    bool Happened() const;
};
