// The count of references of an object that may be a part of another one. The count is atomic and
// needs no lock beside it.
#pragma once

#include <atomic>

#include "platform/types.h"

class CObjectRoot {
  protected:
    CObjectRoot() = default;
    ~CObjectRoot() = default;
    // Both return the new count.
    ULONG InternalAddRef() { return ++m_dwRef; }
    ULONG InternalRelease() { return --m_dwRef; }

  private:
    std::atomic<ULONG> m_dwRef = 0;
};
