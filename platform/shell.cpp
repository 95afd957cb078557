#include "platform/shell.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace {

using Variable = std::pair<std::string, std::string>;

// An entry of the environment is "name=value"; names are compared with their '='.
bool IsOneOf(const char* entry, std::span<const Variable> variables) {
    for (const Variable& variable : variables) {
        const std::string begin = variable.first + '=';
        if (std::strncmp(entry, begin.c_str(), begin.size()) == 0)
            return true;
    }
    return false;
}

}  // namespace

int RunShellCommand(const std::string& command, std::span<const Variable> variables) {
    std::vector<std::string> own;
    for (const Variable& variable : variables)
        own.push_back(variable.first + '=' + variable.second);
    // The program's own variables without those that are given anew: with two of a name shells
    // differ in which they take.
    std::vector<char*> environment;
    for (char** entry = environ; *entry; ++entry) {
        if (!IsOneOf(*entry, variables))
            environment.push_back(*entry);
    }
    for (std::string& entry : own)
        environment.push_back(entry.data());
    environment.push_back(nullptr);

    // The interface wants writable texts.
    std::string shell = "sh";
    std::string option = "-c";
    std::string text = command;
    char* const arguments[] = {shell.data(), option.data(), text.data(), nullptr};
    pid_t child = -1;
    if (posix_spawn(&child, "/bin/sh", nullptr, nullptr, arguments, environment.data()) != 0)
        return -1;
    int status = 0;
    // A signal that the program handles interrupts the wait, and not the child.
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    // As shells count it.
    constexpr int kBySignal = 128;
    return WIFEXITED(status) ? WEXITSTATUS(status) : kBySignal + WTERMSIG(status);
}
