#include "tools/console.h"

#include <csignal>
#include <cstdio>
#include <utility>

#include "platform/terminal.h"

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void OnSignal(int number) {
    g_interrupted = 1;
    std::signal(number, SIG_DFL);
}

}  // namespace

CProgressLine::CProgressLine(std::string what)
    : m_what(std::move(what)), m_terminal(IsErrorTerminal()) {}

CProgressLine::~CProgressLine() {
    if (m_terminal && m_shown != ~0u)
        std::fputs("\r\033[K", stderr);
}

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
    return g_interrupted != 0;
}
