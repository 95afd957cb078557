// Memory of the engine: null where there is none, never an exception. Stages, tables and buffers
// are made through these, so that want of memory becomes a status.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

template <typename T, typename... Arguments>
std::unique_ptr<T> TryNew(Arguments&&... arguments) {
    return std::unique_ptr<T>(new (std::nothrow) T(std::forward<Arguments>(arguments)...));
}

// `count` plain elements of any value.
template <typename T>
std::unique_ptr<T[]> TryNewRaw(std::size_t count) {
    return std::unique_ptr<T[]>(new (std::nothrow) T[count]);
}

// `count` elements, all zero.
template <typename T>
std::unique_ptr<T[]> TryNewArray(std::size_t count) {
    return std::unique_ptr<T[]>(new (std::nothrow) T[count]());
}
