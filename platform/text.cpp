#include "platform/text.h"

#include <new>

#include "platform/internal/text_file.h"
#include "platform/internal/utf.h"

std::u16string WideFromText(std::string_view text) {
    return platform::Utf16FromBytes(text);
}

std::string TextFromWide(LPCOLESTR text, std::size_t most) {
    std::size_t length = 0;
    // Nothing behind `most` is looked at: the text may lie in a record without a zero.
    while (text && length < most && text[length] != 0)
        ++length;
    return length > 0 ? platform::BytesFromUtf16({text, length}) : std::string();
}

std::u16string_view ViewText(BSTR text) {
    return text ? std::u16string_view(text, SysStringLen(text)) : std::u16string_view();
}

std::string TextFromBstr(BSTR text) {
    return platform::BytesFromUtf16(ViewText(text));
}

TaskText MakeTaskText(std::u16string_view text) {
    TaskText made(SysAllocStringLen(text.data(), static_cast<UINT>(text.size())));
    if (!made)
        throw std::bad_alloc();
    return made;
}

BSTR BstrFromText(std::string_view text) {
    const std::u16string wide = WideFromText(text);
    return SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
}

bool EqualNoCase(std::string_view a, std::string_view b) {
    return platform::CompareNames(a, b) == 0;
}

std::string GuidText(REFGUID guid) {
    LPOLESTR wide = nullptr;
    if (FAILED(StringFromIID(guid, &wide)))
        throw std::bad_alloc();
    // Freed also when the conversion throws.
    const std::unique_ptr<OLECHAR, decltype(&CoTaskMemFree)> freed(wide, &CoTaskMemFree);
    return TextFromWide(wide);
}

// An empty text, which CLSIDFromString takes for the zero identifier only when it is null, is none.
bool GuidFromText(const std::string& text, GUID& guid) {
    return CLSIDFromString(WideFromText(text).c_str(), &guid) == S_OK;
}
