// The border that no exception crosses: operations of interfaces and module exports run in it.
#pragma once

#include <exception>
#include <new>

#include "platform/types.h"

// Runs the body of an operation and gives its result. What a body can throw is a want of memory,
// E_OUTOFMEMORY, or a failure of a library, E_FAIL.
template <class Body>
HRESULT Contained(Body body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::exception&) {
        return E_FAIL;
    }
}
