// The writing side of the profile container (profile/profile_container.h).
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

// Packs a text of any length below 4 GiB. Leaves are listed in ascending order of their bytes, then
// the inner nodes in ascending order, the root last. The same text always gives the same bytes.
std::vector<std::uint8_t> PackProfile(std::string_view text);
