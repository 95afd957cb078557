// Subcommands of the program: each family adds its own to the command line and tells what to do
// when one of them was given.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "service/scan_client.h"

namespace CLI {
class App;
}

struct CCommand {
    CLI::App* m_app;
    std::function<int()> m_run;  // gives the exit code
};
using CCommandList = std::vector<CCommand>;

// Exit codes of the program.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;  // failed or refused
inline constexpr int kExitUsage = 2;   // wrong use, or input that can't be used
inline constexpr int kExitCancelled = 130;

// One line on standard error; the exit code is handed through.
int Complain(const std::string& text, int code);
// A failure of the service: its words with the result code behind them.
int Complain(const ScanStatus& status);

// The service, which tells its notices on standard error. When no scanner is installed, a simulated
// one is first, and a notice says so. `isQuiet`: without notices.
ScanStatus MakeClient(CScanClient& client, bool isQuiet = false);
// Opens a scanner by that, as CScanClient::Open.
ScanStatus OpenScanner(const std::string& which, CScanDevice& device, bool isQuiet = false);

void AddFindCommand(CLI::App& app, CCommandList& commands);
void AddDeviceCommands(CLI::App& app, CCommandList& commands);
void AddPropertyCommands(CLI::App& app, CCommandList& commands);
void AddOptionsCommand(CLI::App& app, CCommandList& commands);
void AddScanCommand(CLI::App& app, CCommandList& commands);
void AddButtonCommands(CLI::App& app, CCommandList& commands);
void AddLogCommand(CLI::App& app, CCommandList& commands);
void AddProcessCommands(CLI::App& app, CCommandList& commands);
void AddHelpCommand(CLI::App& app, CCommandList& commands);  // last: it knows the others
