// Memory of the component services, owned by whoever holds it.
#pragma once

#include <memory>

#include "platform/com.h"

struct TaskMemoryFree {
    void operator()(void* memory) const { CoTaskMemFree(memory); }
};

// Of plain data only: nothing is constructed or destroyed.
template <class T>
using TaskArray = std::unique_ptr<T[], TaskMemoryFree>;

// Null without memory, or for more than can be counted.
template <class T>
TaskArray<T> AllocateTaskArray(std::uint64_t count) {
    if (count > SIZE_MAX / sizeof(T))
        return nullptr;
    return TaskArray<T>(
        static_cast<T*>(CoTaskMemAlloc(static_cast<std::size_t>(count) * sizeof(T))));
}
