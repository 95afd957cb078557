// Internal to the layer.
#pragma once

#include <string>
#include <string_view>

#include "platform/types.h"

namespace platform {

// Reads the rest of a plain file of at most `limit` bytes: ERROR_FILE_TOO_LARGE above it,
// ERROR_FILE_INVALID for what is no plain file.
LONG ReadDescriptor(int fd, std::size_t limit, std::string& text);

// The same by name.
LONG ReadTextFile(const char* name, std::size_t limit, std::string& text);

// `text` without the blanks and tabs at both ends.
std::string_view Trimmed(std::string_view text);

// Takes the next line, without its end, off the front.
std::string_view NextLine(std::string_view& text);

// Names differ in upper and lower case of the letters A to Z only by looks.
int CompareNames(std::string_view a, std::string_view b);

}  // namespace platform
