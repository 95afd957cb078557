#include "tools/command.h"

#include <cstdio>
#include <iostream>

int Complain(const std::string& text, int code) {
    std::cerr << "nvqscan: " << text << '\n';
    return code;
}

int Complain(const ScanStatus& status) {
    char code[16];
    std::snprintf(code, sizeof(code), " (0x%08X)", static_cast<unsigned>(status.code));
    return Complain(status.text + code, kExitFailed);
}

CScanClient MakeClient() {
    return CScanClient([](const std::string& line) { std::cerr << "nvqscan: " + line + '\n'; });
}
