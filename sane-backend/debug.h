// What the back end has to say to somebody who looks for a fault.
#pragma once

#include <initializer_list>
#include <string_view>

// As the other back ends: $SANE_DEBUG_NVQ is the greatest level that is told, 0 for nothing.
enum class EDebug { Failures = 1, Notes = 2, Calls = 3 };

void DebugLine(EDebug level, std::initializer_list<std::string_view> parts) noexcept;

// One line of texts on standard error. Takes no memory: it tells the want of it too.
template <class... Parts>
void Debug(EDebug level, const Parts&... parts) noexcept {
    DebugLine(level, {std::string_view(parts)...});
}
