// Properties as people read and write them.
#pragma once

#include <optional>
#include <string>

#include "service/scan_property.h"

// What a value stands for: "colour", "feeder, flatbed" of a sum of bits. Empty where there are no
// words.
std::string ValueWords(PROPID id, const PropertyValue& value);
// A number with the word that it stands for, a text as it is, bytes in hexadecimal, cut when there
// are many.
std::string ValueText(PROPID id, const PropertyValue& value);
// "-1000 to 1000", "75, 100, 150", "any of 1 2 4"; with the step if it isn't 1. Empty for anything.
std::string ValidText(const ScanProperty& property);
// Upper case pairs of digits.
std::string HexText(const std::vector<BYTE>& bytes);

// By the property's type: a number (or words of it), a text, a class identifier, or bytes in
// hexadecimal. Nothing with one line in `error`.
std::optional<PropertyValue> ParseValue(const ScanProperty& property, const std::string& text,
                                        std::string* error);
