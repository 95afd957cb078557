// What is wrong with a command line, in the program's words.
#pragma once

#include <string>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

// In one line, without the name of the program. `command` is the one that was given, or the program
// where none was.
std::string ParserWords(const CLI::ParseError& error, const CLI::App& command);
