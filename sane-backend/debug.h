// What the back end has to say to somebody who looks for a fault.
#pragma once

#include <string>

// As the other back ends: $SANE_DEBUG_NVQ is the greatest level that is told, 0 for nothing.
enum class EDebug { Failures = 1, Notes = 2, Calls = 3 };

// One line on standard error. Never throws.
void Debug(EDebug level, const std::string& line) noexcept;
