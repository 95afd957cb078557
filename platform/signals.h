// The signals by which somebody ends a program, and those by which the system tells of output that
// can't be written.
#pragma once

#include <atomic>

// From now on a pipe without a reader and the limit of a file's size are failures of the write, and
// don't end the program. Programs that this one runs find both as they were.
void TakeOutputSignalsAsFailures();

// From now on Ctrl-C, a hang-up and a polite kill set `asked`, which must live as long as the
// program, and end WaitForEndSignal. What the program was started to ignore, as under nohup, it
// still ignores. Repeated within a second they are the same wish; after that the next one ends the
// program at once. To be called once.
void CatchEndSignals(std::atomic<bool>& asked);
// Comes back when one has come: for a thread of its own.
void WaitForEndSignal();
