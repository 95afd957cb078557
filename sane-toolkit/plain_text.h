// What a device says of itself, for people.
#pragma once

#include <string>

// One line: control characters and line ends are blanks, there are none at its ends, and what is
// beyond 100 units is left out. Empty for null.
std::string PlainText(const char* text);
