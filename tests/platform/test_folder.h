// A folder of this process's own, for everything that the tests leave on the medium: the registry,
// lock files and temporary files stand there. It is gone when the program ends.
#pragma once

#include <string>
#include <string_view>

// Without '/' at its end.
const std::string& TestFolder();

// Where NVQ_REGISTRY has been set to: a file in a folder that isn't there at first.
std::string RegistryPath();
// Removes it with its folder.
void ForgetRegistry();

std::string ReadWholeFile(const std::string& path);
void WriteWholeFile(const std::string& path, std::string_view content);
