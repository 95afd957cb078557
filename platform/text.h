// Texts of bytes, UTF-8 as in files and in the registry, and wide texts, UTF-16 as in interfaces.
// Bytes that are no UTF-8 go over into wide text and come back the same.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/com.h"

// All of these throw std::bad_alloc for want of memory. A null text is an empty one.

std::u16string WideFromText(std::string_view text);
// Ends at the zero, or at `most` units where a text's end can't be relied on.
std::string TextFromWide(LPCOLESTR text, std::size_t most = 32767);

// The units of a text with a length; zeros inside stay.
std::u16string_view ViewText(BSTR text);
std::string TextFromBstr(BSTR text);

// A text with a length that crosses an interface, owned.
struct TaskTextFree {
    void operator()(BSTR text) const { SysFreeString(text); }
};
using TaskText = std::unique_ptr<OLECHAR, TaskTextFree>;
TaskText MakeTaskText(std::u16string_view text);
// The same for a receiver who frees it, and who takes null for want of memory.
BSTR BstrFromText(std::string_view text);

// Texts that differ in upper and lower case of the letters A to Z only by looks.
bool EqualNoCase(std::string_view a, std::string_view b);

// Identifiers in their registry form, "{00000000-0000-0000-C000-000000000046}".
std::string GuidText(REFGUID guid);
// False, and a zero identifier, for anything that isn't the text of one.
bool GuidFromText(const std::string& text, GUID& guid);
