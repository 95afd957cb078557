// Text of bytes, as registry and files have it, and wide text, as interfaces have it.
#pragma once

#include <string>

#include "platform/types.h"

// Both throw std::bad_alloc. A null text is an empty one.
std::u16string WideText(const char* text);
std::string NarrowText(LPCOLESTR text);
