// How Ctrl-C, a hang-up and a polite kill end the program.
//
// The program's own loops look at the flag and come to their end. But a call into a driver or a
// library may take its time: for another program's scan, a lamp, a picture that is decoded. So a
// thread of its own, the watch, gives the program a moment and then ends it from outside, behind
// the stopping of scanners that would go on by themselves, and what the present job wants done
// first.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>

// To be called once, before anything else. Without room for a thread there is the flag alone.
void CatchInterrupts();
bool WasInterrupted();
// The flag itself, for those that look by themselves.
const std::atomic<bool>* InterruptFlag();

// Held by whoever does what must not be met half done: the watch waits until it is free, and lets
// nobody on behind that.
using CWorkHold = std::unique_lock<std::recursive_mutex>;
CWorkHold HoldWork();

// As long as it lives, the watch ends the program by its function, which gives the exit code; else
// with the word that it was cancelled. There is one at a time.
class CInterruptedEnd {
  public:
    explicit CInterruptedEnd(std::function<int()> conclude);
    ~CInterruptedEnd();
    CInterruptedEnd(const CInterruptedEnd&) = delete;
    CInterruptedEnd& operator=(const CInterruptedEnd&) = delete;
};

// Says "cancelled", once, however many come to that. Gives the exit code.
int TellCancelled();
// The program has come to its end, with this code: from here on the watch has nothing to say, only
// that the rest is not to take long.
int EndWatch(int code);
