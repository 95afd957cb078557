// The time between two scans of a batch.
#pragma once

#include <chrono>

enum class BatchWish { Next, Done, Cancelled };

// Asks on standard error whether the next page lies there, and reads the answer from standard
// input: an empty line is one, 'q' and the input's end are the batch's.
BatchWish AskForNextPage(int page);

// Waits until then, with the seconds on the terminal.
BatchWish WaitForNextPage(int page, std::chrono::steady_clock::time_point when);
