#include "service/text.h"

#include "platform/internal/utf.h"

std::string TextFromBstr(BSTR text) {
    return text ? platform::BytesFromUtf16({text, SysStringLen(text)}) : std::string();
}

std::string TextFromWide(LPCOLESTR text, std::size_t most) {
    std::size_t length = 0;
    while (text && length < most && text[length] != 0)
        ++length;
    return length > 0 ? platform::BytesFromUtf16({text, length}) : std::string();
}

std::u16string WideFromText(std::string_view text) {
    return platform::Utf16FromBytes(text);
}

BSTR BstrFromText(std::string_view text) {
    const std::u16string wide = WideFromText(text);
    return SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
}

std::string GuidText(REFGUID guid) {
    LPOLESTR wide = nullptr;
    if (FAILED(StringFromIID(guid, &wide)))
        return {};
    std::string text = TextFromWide(wide);
    CoTaskMemFree(wide);
    return text;
}

bool GuidFromText(const std::string& text, GUID& guid) {
    return !text.empty() && CLSIDFromString(WideFromText(text).c_str(), &guid) == S_OK;
}
