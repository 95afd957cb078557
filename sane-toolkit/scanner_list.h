// The scanners that SANE sees, for those that install them. Each call begins SANE's library and
// ends it, and may take seconds, as back ends look for devices in the network too. They take
// CSaneLibrary::Lock() themselves.
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
// make no sense. OSTREL_NOT_IMPLEMENTED when SANE's library isn't there or can't begin.
DWORD ListScanners(bool isLocalOnly, std::vector<ListedScanner>& scanners);

struct FoundScanner {
    ListedScanner listed;  // of one that SANE doesn't list, the name alone
    std::vector<ScannerButton> buttons;
};

// Opens the device to see that it is there, and asks for its buttons. OSTREL_NOT_FOUND for one that
// isn't there or is this project's own, OSTREL_LOCK_FAILED for one that another program has open;
// what SANE's list tells of it is told then too.
DWORD FindScanner(const std::string& name, FoundScanner& scanner);
