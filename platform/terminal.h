// What a program's standard output and standard error are connected to.
#pragma once

// True when a person follows it on a terminal.
bool IsErrorTerminal();
bool IsOutputTerminal();
