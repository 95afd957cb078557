// The registry's file as text, in the published export format. Internal to the layer.
//
//     Windows Registry Editor Version 5.00
//
//     [HKEY_CURRENT_USER\Software\Vendor]
//     @="default value"
//     "Text"="with \\ and \" escaped"
//     "Number"=dword:0000002a
//     "Bytes"=hex:00,ff,10
//     "Path"=hex(2):25,00,54,00,00,00
//
// A list of bytes goes on in the next line after a backslash at the line's end. A number in
// parentheses is the type of the value; the bytes of the text types 1, 2 and 7 are UTF-16 there,
// low bytes first. A minus sign in place of a value deletes it, one ahead of a key's name the key
// with all below it. Lines that begin with ';' are comments, kept with what they stand before.
#pragma once

#include <string>
#include <string_view>

#include "platform/internal/registry_tree.h"

namespace platform {

// Reads UTF-8, with or without its mark, or UTF-16 with its mark, low bytes first. 0 for success,
// else the number of the line that is wrong, from 1. No text at all is an empty registry.
std::size_t ParseRegistry(std::string_view bytes, RegistryKey& tree);

// UTF-8 without a mark, lines ended by '\n'.
std::string RegistryText(const RegistryKey& tree);

}  // namespace platform
