// Options that turn an image, alike for all commands that make one.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "engine/private_properties.h"

// `image` is what people call it; `note` follows the words about the angle.
template <typename Degrees>
void AddTurnOptions(CLI::App& sub, bool& mirror, Degrees& degrees, const std::string& image,
                    const std::string& note) {
    sub.add_flag("--mirror", mirror, "Each line from right to left");
    sub.add_option("--rotate", degrees,
                   "Degrees clockwise, of the mirrored " + image + " if it is. " + note)
        ->check(CLI::IsMember(std::vector<int>(QL_TURNS + 1, std::end(QL_TURNS))));
}
