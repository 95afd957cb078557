// The profile that the module carries as a resource, for models without one of their own.
#pragma once

#include <string>

#include "platform/module.h"
#include "platform/types.h"

inline constexpr WORD kBuiltinProfileNumber = 201;

// The packed container. Made by the build from builtin_profile.txt.
extern const unsigned char kBuiltinProfile[];
extern const DWORD kBuiltinProfileBytes;

// What is packed there.
std::string BuiltinProfileText();

// The module that this code has become a part of, with the built-in profile among its resources.
// Null if the system doesn't know it.
HMODULE ProfileModule();
