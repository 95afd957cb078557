#include "pictures/file_failure.h"

#include <system_error>

void Fail(const std::string& line) {
    throw CFileFailure(line);
}

// The system's own words for its error number stand behind what was tried.
void FailBySystem(const char* what, int number) {
    Fail(what + (": " + std::generic_category().message(number)));
}
