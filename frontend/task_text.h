// A text with a length that crosses the service's functions, owned.
#pragma once

#include <memory>
#include <new>
#include <string_view>

#include "platform/com.h"

struct TaskTextFree {
    void operator()(BSTR text) const { SysFreeString(text); }
};

using TaskText = std::unique_ptr<OLECHAR, TaskTextFree>;

// std::bad_alloc without memory.
inline TaskText MakeTaskText(std::u16string_view text) {
    TaskText made(SysAllocStringLen(text.data(), static_cast<UINT>(text.size())));
    if (!made)
        throw std::bad_alloc();
    return made;
}

// The units of a text; null counts as empty.
inline std::u16string_view ViewText(BSTR text) {
    return text ? std::u16string_view(text, SysStringLen(text)) : std::u16string_view();
}
