// Writes a whole file under a passing name and puts it in the place of `target`.
#pragma once

#include <string>

#include "platform/types.h"

// What was at the target stays when it fails, and nothing else is left behind. E_INVALIDARG for a
// target that is there and is no plain file.
HRESULT WriteWholeFile(const std::string& target, const BYTE* bytes, DWORD size);
