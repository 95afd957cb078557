// What somebody meant who wrote something that isn't known.
#pragma once

#include <span>
#include <string>
#include <string_view>

// The known word that is nearest to the given one, by letters left out, put in, changed or swapped,
// or that begins with it; empty when none is near.
std::string NearWord(std::string_view given, std::span<const std::string> known);
