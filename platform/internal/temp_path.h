// Internal to the layer.
#pragma once

#include <string>

namespace platform {

// $TMPDIR, or /tmp, with one '/' at its end.
std::string TempPath();

// "what: why", and the way out that there is for files in it.
std::string TempFolderCause(const std::string& what, int error);

}  // namespace platform
