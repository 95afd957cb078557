#include "platform/terminal.h"

#include <unistd.h>

bool IsErrorTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

bool IsOutputTerminal() {
    return isatty(STDOUT_FILENO) == 1;
}
