// The border that no exception crosses.
#pragma once

#include <exception>
#include <new>

#include "platform/types.h"

// Runs the body of an operation. What it can throw is a want of memory, of this code or of a
// library.
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
