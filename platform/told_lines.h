// What code behind an interface of numbers has to say to a person: which file, why, and what helps.
// The words wait, on the thread that told them, for who turns the number into a message.
#pragma once

#include <string>
#include <vector>

// Why the operation under way fails; and what it does otherwise than expected, and goes on. One
// line without its end. False if nobody takes it.
bool TellCause(const std::string& line);
// For who knows less than those that he calls.
bool TellCauseUnlessTold(const std::string& line);
bool TellWarning(const std::string& line);

// Takes what is told on this thread as long as it lives; of several the innermost.
class CToldLines {
  public:
    CToldLines();
    ~CToldLines();
    CToldLines(const CToldLines&) = delete;
    CToldLines& operator=(const CToldLines&) = delete;

    // The last one, which is next to the failure; empty if none was told.
    const std::string& Cause() const { return m_cause; }
    // In the order of their coming, each once.
    const std::vector<std::string>& Warnings() const { return m_warnings; }

  private:
    friend bool TellCause(const std::string& line);
    friend bool TellCauseUnlessTold(const std::string& line);
    friend bool TellWarning(const std::string& line);

    CToldLines* const m_outer;
    std::string m_cause;
    std::vector<std::string> m_warnings;
};
