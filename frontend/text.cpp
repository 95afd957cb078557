#include "frontend/text.h"

#include "platform/code_pages.h"

std::u16string WideText(const char* text) {
    const int size = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    if (size <= 1)
        return {};
    std::u16string wide(static_cast<std::size_t>(size), u'\0');
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), size);
    wide.pop_back();  // its terminating zero
    return wide;
}

std::string NarrowText(LPCOLESTR text) {
    const int size = WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 1)
        return {};
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, text, -1, narrow.data(), size, nullptr, nullptr);
    narrow.pop_back();
    return narrow;
}
