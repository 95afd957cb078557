// nvqscan find.
//
// The form for programs, where "installed" has the numbers of 'nvqscan devices':
//
//     {"scanners": [{"name": "test:0", "vendor": "Noname", "model": "frontend-tester",
//                    "type": "virtual device", "installed": ["0000"]}]}

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "sane-toolkit/scanner_list.h"
#include "service/device_registry.h"
#include "tools/command.h"
#include "tools/json_text.h"
#include "tools/sane_scanner.h"
#include "tools/text_table.h"

namespace {

struct FindOptions {
    bool m_isJson = false;
    bool m_isLocal = false;
};

// A scanner of SANE, and what it is installed as.
struct CSeenScanner {
    ListedScanner m_listed;
    std::vector<InstalledDevice> m_installed;
};

// As one word of a command line.
std::string ShellWord(const std::string& text) {
    constexpr char kPlain[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./:@%+=,-";
    if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos)
        return text;
    return "'" + CLI::detail::find_and_replace(text, "'", "'\\''") + "'";
}

// Where SANE looks, and what most often keeps it from seeing a scanner.
void PrintNothing(bool isLocal) {
    const char* const wished = std::getenv("SANE_CONFIG_DIR");
    const std::string folder = wished && *wished ? wished : "/etc/sane.d";
    std::cout << "SANE sees no scanner" << (isLocal ? " at this computer" : "")
              << ". Is it switched on and connected?\n"
                 "SANE looks through the back ends that dll.conf and dll.d in "
              << folder
              << " name, each by\nits own settings there. If 'sudo nvqscan find' sees more, "
                 "you lack the right to use the\ndevice's file: see the owner and group of "
                 "those in /dev/bus/usb.\n";
}

void PrintScanners(const std::vector<CSeenScanner>& scanners) {
    std::vector<std::vector<std::string>> rows = {{"NAME", "MAKER", "MODEL", "TYPE", "INSTALLED"}};
    for (const auto& [listed, devices] : scanners) {
        std::vector<std::string> names;
        for (const InstalledDevice& device : devices)
            names.push_back(device.number + ' ' + device.name);
        rows.push_back({listed.name, listed.vendor, listed.model, listed.type,
                        CLI::detail::join(names, ", ")});
    }
    PrintColumns(std::cout, rows);
    const auto next = std::ranges::find_if(
        scanners, [](const CSeenScanner& scanner) { return scanner.m_installed.empty(); });
    if (next != scanners.end())
        std::cout << "To scan with one: nvqscan install --sane " << ShellWord(next->m_listed.name)
                  << '\n';
}

CJson JsonOf(const CSeenScanner& scanner) {
    CJson numbers = CJson::array();
    for (const InstalledDevice& device : scanner.m_installed)
        numbers.push_back(device.number);
    const ListedScanner& listed = scanner.m_listed;
    return {{"name", listed.name},
            {"vendor", listed.vendor},
            {"model", listed.model},
            {"type", listed.type},
            {"installed", numbers}};
}

int Find(const FindOptions& options) {
    std::vector<InstalledDevice> devices;
    if (const ScanStatus status = ListInstalled(devices); !status.Ok())
        return Complain(status);
    std::vector<ListedScanner> listed;
    const DWORD code = [&] {
        const CSaneWait wait;
        return ListScanners(options.m_isLocal, listed);
    }();
    if (code != OSTREL_NO_ERROR)
        return Complain(SaneFaultText(code), kExitFailed);
    std::vector<CSeenScanner> scanners;
    for (const ListedScanner& one : listed) {
        CSeenScanner& seen = scanners.emplace_back(CSeenScanner{one, {}});
        std::ranges::copy_if(devices, std::back_inserter(seen.m_installed),
                             [&](const auto& device) { return IsSaneScanner(device, one.name); });
    }
    if (options.m_isJson) {
        CJson list = CJson::array();
        for (const CSeenScanner& scanner : scanners)
            list.push_back(JsonOf(scanner));
        PrintJson(std::cout, {{"scanners", list}});
    } else if (scanners.empty()) {
        PrintNothing(options.m_isLocal);
    } else {
        PrintScanners(scanners);
    }
    return kExitDone;
}

}  // namespace

void AddFindCommand(CLI::App& app, CCommandList& commands) {
    const auto options = std::make_shared<FindOptions>();
    CLI::App* find = app.add_subcommand(
        "find", "List the scanners that SANE sees, which 'nvqscan install --sane' installs");
    find->add_flag("--json", options->m_isJson, "Print JSON, for programs");
    find->add_flag("--local", options->m_isLocal,
                   "Those at this computer alone, without a search of the network");
    commands.push_back({find, [options] { return Find(*options); }});
}
