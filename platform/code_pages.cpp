#include "platform/code_pages.h"

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>

#include "platform/internal/system_error.h"
#include "platform/internal/utf.h"

using platform::Contained;
using platform::Fail;

namespace {

template <class From, class To>
int ConvertInto(UINT codePage, const From* source, int length, To* target, int size,
                std::basic_string<To> (*convert)(std::basic_string_view<From>)) {
    return Contained(0, [&]() -> int {
        if ((codePage != CP_ACP && codePage != CP_UTF8) || !source || length == 0 || length < -1 ||
            size < 0 || (!target && size != 0))
            return Fail(ERROR_INVALID_PARAMETER);
        const std::size_t units = length < 0 ? std::char_traits<From>::length(source) + 1
                                             : static_cast<std::size_t>(length);
        const std::basic_string<To> made = convert({source, units});
        if (made.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
            return Fail(ERROR_INVALID_PARAMETER);
        const int count = static_cast<int>(made.size());
        if (size == 0)
            return count;
        if (count > size)
            return Fail(ERROR_INSUFFICIENT_BUFFER);
        std::copy(made.begin(), made.end(), target);
        return count;
    });
}

}  // namespace

int MultiByteToWideChar(UINT codePage, DWORD, LPCSTR text, int length, LPOLESTR wide, int size) {
    return ConvertInto<char, OLECHAR>(codePage, text, length, wide, size,
                                      &platform::Utf16FromBytes);
}

int WideCharToMultiByte(UINT codePage, DWORD, LPCOLESTR wide, int length, LPSTR text, int size,
                        LPCSTR, BOOL*) {
    return ConvertInto<OLECHAR, char>(codePage, wide, length, text, size,
                                      &platform::BytesFromUtf16);
}
