// The tables that a profile yields, for people.
#pragma once

#include <iosfwd>

#include "profile/scan_attrib.h"

// Each table with where it comes from, why it has fallen back, and its values in the order of the
// text.
void ShowTables(const CScanAttrib& attrib, std::ostream& out);
