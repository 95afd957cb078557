#include "platform/told_lines.h"

#include <algorithm>
#include <utility>

namespace {

// A scan that warns of each line would fill the memory.
constexpr std::size_t kMostWarnings = 16;

thread_local CToldLines* t_innermost = nullptr;

}  // namespace

CToldLines::CToldLines() : m_outer(std::exchange(t_innermost, this)) {}

CToldLines::~CToldLines() {
    t_innermost = m_outer;
}

bool TellCause(const std::string& line) {
    if (t_innermost)
        t_innermost->m_cause = line;
    return t_innermost != nullptr;
}

bool TellCauseUnlessTold(const std::string& line) {
    if (t_innermost && !t_innermost->m_cause.empty())
        return true;
    return TellCause(line);
}

bool TellWarning(const std::string& line) {
    if (!t_innermost)
        return false;
    std::vector<std::string>& warnings = t_innermost->m_warnings;
    if (warnings.size() < kMostWarnings &&
        std::find(warnings.begin(), warnings.end(), line) == warnings.end())
        warnings.push_back(line);
    return true;
}
