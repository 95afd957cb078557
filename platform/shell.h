// Commands of the user's, run by the shell.
#pragma once

#include <span>
#include <string>
#include <utility>

// Runs "/bin/sh -c command" with these environment variables beside the program's own, and waits
// for it. Gives its exit code, 128 and the number for one that a signal has ended, -1 when it can't
// be started.
int RunShellCommand(const std::string& command,
                    std::span<const std::pair<std::string, std::string>> variables);
