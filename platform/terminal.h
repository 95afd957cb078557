// What a program's standard error is connected to.
#pragma once

// True when a person follows it on a terminal.
bool IsErrorTerminal();
