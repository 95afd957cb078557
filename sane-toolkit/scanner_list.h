// The scanners that SANE sees. To list them may take seconds, as back ends look for devices in the
// network too.
#pragma once

#include <string>
#include <vector>

#include "controller/toolkit_records.h"
#include "sane-toolkit/scanner_buttons.h"
#include "sane-toolkit/scanner_ports.h"

// Maker, model and type are for people, one line each, and may be empty.
struct ListedScanner {
    std::string name;  // by which SANE opens it
    std::string vendor;
    std::string model;
    std::string type;  // "flatbed scanner"
};

// In SANE's order; without those that come through this project's own back end, and entries that
// make no sense. OSTREL_NOT_IMPLEMENTED when SANE's library isn't there or can't begin. Takes
// the library's lock.
DWORD ListScanners(bool isLocalOnly, std::vector<ListedScanner>& scanners);

struct FoundScanner {
    ListedScanner listed;  // of one that SANE doesn't list, the name alone
    std::vector<ScannerButton> buttons;
};

// Opens the device to see that it is there, and asks for its buttons. OSTREL_NOT_FOUND for one that
// isn't there or is this project's own, OSTREL_LOCK_FAILED for one that another program doesn't
// leave for as long as it is waited for; what SANE's list tells of it is told then too. Takes the
// library's lock.
DWORD FindScanner(const std::string& name, FoundScanner& scanner);

// The name under which a device that can't be opened by its own is there now: its own, when it is
// listed, or that of the one device of its kind, for names that change with the USB port and with
// each plugging in. Empty for none, or for several. Under the library's lock.
std::string PresentName(const std::string& name);
