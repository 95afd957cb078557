#include "sane-backend/debug.h"

#include <cstdio>
#include <cstdlib>

void Debug(EDebug level, const std::string& line) noexcept {
    static const int wanted = [] {
        const char* text = std::getenv("SANE_DEBUG_NVQ");
        return text ? std::atoi(text) : 0;
    }();
    if (static_cast<int>(level) <= wanted)
        std::fprintf(stderr, "[nvq] %s\n", line.c_str());
}
