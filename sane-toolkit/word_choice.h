// The words of an option, by which each back end calls things its own way.
#pragma once

#include <span>
#include <string>
#include <vector>

using WordParts = std::span<const char* const>;

// The first word that has one of the parts by which back ends call what is meant, and none by which
// they call something else; upper and lower case are alike. Empty for none.
std::string ChooseWord(const std::vector<std::string>& words, WordParts parts,
                       WordParts not_parts = {});
