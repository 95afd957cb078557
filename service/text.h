// Texts of the interfaces, which are wide, and of the service's own, which are UTF-8.
#pragma once

#include <string>
#include <string_view>

#include "platform/com.h"

// Zeros inside a BSTR stay.
std::string TextFromBstr(BSTR text);
// Empty for null. Ends at the zero, or at `most` units.
std::string TextFromWide(LPCOLESTR text, std::size_t most = 32767);
std::u16string WideFromText(std::string_view text);
// The caller's to free; null when there is no memory.
BSTR BstrFromText(std::string_view text);

std::string GuidText(REFGUID guid);
// False for anything that isn't the text of an identifier.
bool GuidFromText(const std::string& text, GUID& guid);
