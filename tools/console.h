// What the program shows while it works, and how it is interrupted.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

// A line with the percentage, on standard error, when that is a terminal. Wiped when it goes.
class CProgressLine {
  public:
    explicit CProgressLine(std::string what);
    ~CProgressLine();
    CProgressLine(const CProgressLine&) = delete;
    CProgressLine& operator=(const CProgressLine&) = delete;

    void Show(unsigned percent);

  private:
    std::string m_what;
    bool m_terminal;
    unsigned m_shown = ~0u;
};

// From the first call on, Ctrl-C and a polite kill only raise the flag that WasInterrupted reads. A
// second one ends the program at once.
void CatchInterrupts();
bool WasInterrupted();
// The flag itself, for those that look by themselves.
const std::atomic<bool>* InterruptFlag();
