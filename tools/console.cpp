#include "tools/console.h"

#include <cstdio>
#include <iostream>
#include <mutex>
#include <utility>

#include "platform/terminal.h"

namespace {

// Never destroyed: notices may come while the program ends.
struct ErrorOutput {
    std::mutex lock;
    bool hasPassingLine = false;
    bool hasQuestion = false;
};

ErrorOutput& TheErrorOutput() {
    static auto& output = *new ErrorOutput;
    return output;
}

constexpr char kWipe[] = "\r\033[K";

void Wipe(ErrorOutput& output) {
    if (std::exchange(output.hasPassingLine, false))
        std::fputs(kWipe, stderr);
    if (std::exchange(output.hasQuestion, false))
        std::fputs("\n", stderr);
}

}  // namespace

void ShowPassingLine(const std::string& text) {
    ErrorOutput& output = TheErrorOutput();
    const std::lock_guard guard(output.lock);
    std::fprintf(stderr, "%s%s", kWipe, text.c_str());
    std::fflush(stderr);
    output.hasPassingLine = true;
}

void WipePassingLine() {
    ErrorOutput& output = TheErrorOutput();
    const std::lock_guard guard(output.lock);
    Wipe(output);
}

// In one write: lines of several programs on one terminal stay lines.
void TellLine(const std::string& line) {
    ErrorOutput& output = TheErrorOutput();
    const std::lock_guard guard(output.lock);
    Wipe(output);
    std::fputs(("nvqscan: " + line + '\n').c_str(), stderr);
}

// Whoever answers ends the line; else the next one begins behind it. Not held while it waits.
std::optional<std::string> AskLine(const std::string& question) {
    ErrorOutput& output = TheErrorOutput();
    {
        const std::lock_guard guard(output.lock);
        Wipe(output);
        std::fputs(question.c_str(), stderr);
        output.hasQuestion = true;
    }
    std::string answer;
    const bool isAnswered = static_cast<bool>(std::getline(std::cin, answer));
    const std::lock_guard guard(output.lock);
    if (isAnswered)
        output.hasQuestion = false;
    Wipe(output);
    return isAnswered ? std::optional(answer) : std::nullopt;
}

CProgressLine::CProgressLine(std::string what)
    : m_what(std::move(what)), m_terminal(IsErrorTerminal()) {}

CProgressLine::~CProgressLine() {
    WipePassingLine();
}

// Only changes are drawn: a picture has many more bands than percents.
void CProgressLine::Show(unsigned percent) {
    if (!m_terminal || percent == m_shown)
        return;
    m_shown = percent;
    char number[16];
    std::snprintf(number, sizeof(number), " %3u %%", percent);
    ShowPassingLine(m_what + number);
}
