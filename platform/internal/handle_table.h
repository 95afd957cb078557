// The objects behind handles. Internal to the layer.
//
// A handle is a number out of a counter that never comes round, and the table of live handles is
// the only way from the number to the object: a stale or wild handle is refused and never followed.
#pragma once

#include <memory>

#include "platform/internal/system_error.h"
#include "platform/types.h"

namespace platform {

class HandleObject {
  public:
    HandleObject() = default;
    HandleObject(const HandleObject&) = delete;
    HandleObject& operator=(const HandleObject&) = delete;
    virtual ~HandleObject() = default;
};

// Gives the object a handle. Throws std::bad_alloc.
HANDLE AddHandle(std::shared_ptr<HandleObject> object);

// The object of a live handle, else null.
std::shared_ptr<HandleObject> FindHandle(HANDLE handle);

// The same for a handle that must be of kind T; null leaves ERROR_INVALID_HANDLE.
template <class T>
std::shared_ptr<T> FindHandleAs(HANDLE handle) {
    auto object = std::dynamic_pointer_cast<T>(FindHandle(handle));
    if (!object)
        Fail(ERROR_INVALID_HANDLE);
    return object;
}

}  // namespace platform
