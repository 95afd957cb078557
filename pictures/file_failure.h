// How the readers and writers of picture files fail inside: with the line that the user reads, to
// stand behind the file's name. Nothing of it crosses their interfaces: RunGuarded stands there.
#pragma once

#include <new>
#include <stdexcept>
#include <string>

class CFileFailure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void Fail(const std::string& line);
// "`what`: " and what the system says to `number`, an error number of <cerrno>.
[[noreturn]] void FailBySystem(const char* what, int number);

// Runs `action`; false with the line in `error` when it fails or finds no memory.
template <typename TAction>
bool RunGuarded(std::string* error, TAction action) {
    try {
        action();
        return true;
    } catch (const std::bad_alloc&) {
        *error = "is too large for the memory that is left";
    } catch (const std::exception& failure) {
        *error = failure.what();
    }
    return false;
}
