// What the program shows on standard error while it works.
#pragma once

#include <optional>
#include <string>

// The line that is written over, of a bar or a percentage; what is told meanwhile wipes it first.
// From any thread.
void ShowPassingLine(const std::string& text);
void WipePassingLine();
// One line of the program's own.
void TellLine(const std::string& line);
// A question, which leaves the line open for its answer; nothing for one that was cut short.
std::optional<std::string> AskLine(const std::string& question);

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
