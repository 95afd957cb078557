#include "tools/command.h"

#include <cstdio>

#include "tools/console.h"
#include "tools/interrupt_watch.h"
#include "tools/simulated_device.h"

int Complain(const std::string& text, int code) {
    TellLine(text);
    return code;
}

// The code in hexadecimal, as documents of such codes have it.
int Complain(const ScanStatus& status) {
    if (status.code == kCancelledWait)
        return TellCancelled();
    char code[16];
    std::snprintf(code, sizeof(code), " (0x%08X)", static_cast<unsigned>(status.code));
    return Complain(status.text + code, kExitFailed);
}

// The notice of the installation is the program's own, and so are those of the drivers.
ScanStatus MakeClient(CScanClient& client, bool isQuiet) {
    const Notice notice = isQuiet ? Notice([](const std::string&) {}) : Notice(TellLine);
    client = CScanClient(notice, InterruptFlag());
    return ProvideScanner(notice);
}

ScanStatus OpenScanner(const std::string& which, CScanDevice& device, bool isQuiet) {
    CScanClient client;
    ScanStatus status = MakeClient(client, isQuiet);
    return status.Ok() ? client.Open(which, device) : status;
}
