#include "tools/console.h"

#include <csignal>
#include <cstdio>
#include <utility>

#include "platform/terminal.h"

namespace {

// All that a handler of signals may touch.
std::atomic<bool> g_interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "set by a handler of signals");

// The second signal of a kind finds the usual handling again, and ends the program.
void OnSignal(int number) {
    g_interrupted = true;
    std::signal(number, SIG_DFL);
}

}  // namespace

CProgressLine::CProgressLine(std::string what)
    : m_what(std::move(what)), m_terminal(IsErrorTerminal()) {}

CProgressLine::~CProgressLine() {
    if (m_terminal && m_shown != ~0u)
        std::fputs("\r\033[K", stderr);
}

// Only changes are drawn: a picture has many more bands than percents.
void CProgressLine::Show(unsigned percent) {
    if (!m_terminal || percent == m_shown)
        return;
    m_shown = percent;
    std::fprintf(stderr, "\r%s %3u %%", m_what.c_str(), percent);
    std::fflush(stderr);
}

void CatchInterrupts() {
    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
}

bool WasInterrupted() {
    return g_interrupted;
}

const std::atomic<bool>* InterruptFlag() {
    return &g_interrupted;
}
