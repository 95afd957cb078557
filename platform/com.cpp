#include "platform/com.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

// What stands ahead of a BSTR's text: its size in bytes, and room that keeps the text aligned.
struct BstrHead {
    std::uint32_t unused;
    std::uint32_t bytes;
};
static_assert(sizeof(BstrHead) == 8);

// Keeps head, text and zero within what a signed 32-bit count of bytes can tell, as the published
// functions promise to those who look at the size in front of the text.
constexpr UINT kMaxBstrUnits = std::numeric_limits<INT>::max() / sizeof(OLECHAR) - sizeof(BstrHead);

BstrHead* HeadOf(BSTR text) {
    return reinterpret_cast<BstrHead*>(text) - 1;
}

// The form of an identifier's text: letters stand for the digits of the bytes that they number, in
// the order in which the record has them in memory on a machine that stores low bytes first.
constexpr std::u16string_view kForm = u"{DDCCBBAA-FFEE-HHGG-IIJJ-KKLLMMNNOOPP}";

// The byte that a place of the form belongs to; -1 for the signs between.
int ByteIndex(std::size_t place) {
    const char16_t c = kForm[place];
    return c >= u'A' && c <= u'P' ? c - u'A' : -1;
}

int HexDigit(OLECHAR c) {
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    return -1;
}

// Two digits in a row are one byte, the high one first; the text's zero ends the walk in time.
bool ParseGuid(LPCOLESTR text, GUID& guid) {
    BYTE bytes[sizeof(GUID)] = {};
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        // Both are looked up before the text's end is known; the zero is no digit and no sign.
        const int index = ByteIndex(i);
        const int digit = HexDigit(text[i]);
        if (index < 0 ? text[i] != kForm[i] : digit < 0)
            return false;
        if (index >= 0)
            bytes[index] = static_cast<BYTE>(bytes[index] << 4 | digit);
    }
    if (text[kForm.size()] != 0)
        return false;
    std::memcpy(&guid, bytes, sizeof(guid));
    return true;
}

}  // namespace

// An allocation of nothing still gives an address that is one and that can be freed.
LPVOID CoTaskMemAlloc(std::size_t bytes) {
    return std::malloc(std::max<std::size_t>(bytes, 1));
}

void CoTaskMemFree(LPVOID memory) {
    std::free(memory);
}

// Head and text are one block, of which the caller knows the text's address alone.
BSTR SysAllocStringLen(LPCOLESTR text, UINT length) {
    if (length > kMaxBstrUnits)
        return nullptr;
    // Zeroed: that makes the terminating zero, and a defined text where the caller gives none.
    const std::size_t bytes = length * sizeof(OLECHAR);
    auto* head = static_cast<BstrHead*>(std::calloc(1, sizeof(BstrHead) + bytes + sizeof(OLECHAR)));
    if (!head)
        return nullptr;
    head->bytes = static_cast<std::uint32_t>(bytes);
    auto* made = reinterpret_cast<BSTR>(head + 1);
    if (text)
        std::memcpy(made, text, bytes);
    return made;
}

void SysFreeString(BSTR text) {
    if (text)
        std::free(HeadOf(text));
}

UINT SysStringLen(BSTR text) {
    return text ? HeadOf(text)->bytes / static_cast<UINT>(sizeof(OLECHAR)) : 0;
}

HRESULT StringFromIID(REFIID iid, LPOLESTR* text) {
    if (!text)
        return E_POINTER;
    *text = static_cast<LPOLESTR>(CoTaskMemAlloc((kForm.size() + 1) * sizeof(OLECHAR)));
    if (!*text)
        return E_OUTOFMEMORY;
    BYTE bytes[sizeof(GUID)];
    std::memcpy(bytes, &iid, sizeof(bytes));
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        const int index = ByteIndex(i);
        // The first of two equal letters is the high digit.
        const int shift = i + 1 < kForm.size() && kForm[i] == kForm[i + 1] ? 4 : 0;
        (*text)[i] = index < 0 ? kForm[i] : u"0123456789ABCDEF"[bytes[index] >> shift & 15];
    }
    (*text)[kForm.size()] = 0;
    return S_OK;
}

HRESULT CLSIDFromString(LPCOLESTR text, CLSID* clsid) {
    if (!clsid)
        return E_POINTER;
    *clsid = GUID_NULL;
    return !text || ParseGuid(text, *clsid) ? S_OK : CO_E_CLASSSTRING;
}
