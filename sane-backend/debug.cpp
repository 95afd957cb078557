#include "sane-backend/debug.h"

#include <cstdio>
#include <cstdlib>

void DebugLine(EDebug level, std::initializer_list<std::string_view> parts) noexcept {
    static const int wanted = [] {
        const char* text = std::getenv("SANE_DEBUG_NVQ");
        return text ? std::atoi(text) : 0;
    }();
    if (static_cast<int>(level) > wanted)
        return;
    flockfile(stderr);
    std::fputs("[nvq] ", stderr);
    for (const std::string_view part : parts)
        std::fwrite(part.data(), 1, part.size(), stderr);
    std::fputc('\n', stderr);
    funlockfile(stderr);
}
