// Internal to the layer.
#pragma once

#include <string>

namespace platform {

// $TMPDIR, or /tmp, with one '/' at its end.
std::string TempPath();

}  // namespace platform
