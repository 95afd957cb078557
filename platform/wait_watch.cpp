#include "platform/wait_watch.h"

#include <utility>

namespace {

thread_local CWaitWatch* t_watch = nullptr;
thread_local CWaitScope* t_scope = nullptr;

}  // namespace

CWaitWatch::CWaitWatch(Told told, Interrupted interrupted)
    : m_told(std::move(told)),
      m_interrupted(std::move(interrupted)),
      m_outer(std::exchange(t_watch, this)) {}

CWaitWatch::~CWaitWatch() {
    t_watch = m_outer;
}

CWaitScope::CWaitScope(WaitCause cause)
    : m_cause(cause),
      m_begin(std::chrono::steady_clock::now()),
      m_outer(std::exchange(t_scope, this)) {}

CWaitScope::~CWaitScope() {
    t_scope = m_outer;
}

bool IsWaitWatched() {
    return t_watch && t_scope;
}

bool WaitGoesOn() {
    if (!IsWaitWatched())
        return true;
    CWaitWatch& watch = *t_watch;
    if (watch.m_interrupted && watch.m_interrupted()) {
        watch.m_hasInterrupted = true;
        return false;
    }
    const unsigned bit = 1u << static_cast<unsigned>(t_scope->m_cause);
    const auto waited = std::chrono::steady_clock::now() - t_scope->m_begin;
    if ((watch.m_toldCauses & bit) == 0 && waited >= kWaitUntold) {
        watch.m_toldCauses |= bit;
        if (watch.m_told)
            watch.m_told(t_scope->m_cause);
    }
    return true;
}
