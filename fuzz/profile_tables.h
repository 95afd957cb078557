// The tables of a profile's text, from whatever text.
#pragma once

#include <string>

// Loads the tables and requires that each holds what its facts promise; then checks the text as
// its author would.
void LoadTables(const std::string& text);
