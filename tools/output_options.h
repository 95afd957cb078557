// Where a picture goes and as what: options of all commands that write one.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "pictures/picture_options.h"

// As they stand on the command line.
struct COutputOptions {
    std::string m_path;  // "-": standard output
    CPictureOptions m_picture;
};

// -o and what goes with it. `words` says what -o names. Gives back -o.
CLI::Option* AddOutputOptions(CLI::App& sub, COutputOptions& options, const std::string& words);

// What can be told of the options alone, ahead of any work. `path` is the file's name, of several
// one of them. False with one line in `error`.
bool CheckOutput(const std::string& path, const CPictureOptions& picture, std::string* error);
// The same of a name in which "%d" stands for the page.
bool CheckPageOutput(const std::string& pattern, const CPictureOptions& picture,
                     std::string* error);
