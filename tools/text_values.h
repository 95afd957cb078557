// Values as people write them on a command line.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/text.h"  // EqualNoCase

// "NAME=VALUE" in its two parts; nothing, with a line in `error`, when there is no '=' or no name.
std::optional<std::pair<std::string, std::string>> SplitAssignment(std::string_view text,
                                                                   std::string* error);

// Whole numbers in decimal, or hexadecimal behind 0x.
std::optional<std::int64_t> ParseInteger(std::string_view text);
// Decimal fractions; no infinities.
std::optional<double> ParseReal(std::string_view text);
// true, false, on, off, yes, no, 1, 0.
std::optional<bool> ParseSwitch(std::string_view text);
// Numbers with commas between them.
std::optional<std::vector<double>> ParseReals(std::string_view text);
std::optional<std::vector<std::int64_t>> ParseIntegers(std::string_view text);

// A number without superfluous zeros.
std::string ToText(double value);
// Numbers with commas between them.
std::string ToText(std::span<const double> values);
