#include "simulator/panel.h"

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "platform/event_pipe.h"
#include "platform/handle.h"
#include "simulator/device_folder.h"
#include "simulator/ini_file.h"
#include "simulator/model_store.h"
#include "simulator/sim_failure.h"

namespace {

namespace fs = std::filesystem;

// A relative path would be another place for each program.
std::string AbsoluteFrom(const char* variable) {
    const char* value = std::getenv(variable);
    return value && value[0] == '/' ? value : "";
}

// ---- Acts

using CChange = void (*)(CDeviceState& state);

struct CActRow {
    const char* name;
    CChange change;
};
// Acts that are a name and nothing more.
constexpr CActRow kActs[] = {
    {"cancel", [](CDeviceState& state) { state.cancelPressed = 1; }},
    {"unload", [](CDeviceState& state) { state.sheetsInTray = 0; }},
    {"open-hatch", [](CDeviceState& state) { state.hatchOpen = 1; }},
    {"close-hatch", [](CDeviceState& state) { state.hatchOpen = 0; }},
    // The sheet that jammed comes out.
    {"clear-jam",
     [](CDeviceState& state) { state.jammed = state.sheetAtHead = state.backDue = 0; }},
    {"film-slide", [](CDeviceState& state) { state.film = kSlide; }},
    {"film-negative", [](CDeviceState& state) { state.film = kNegative; }},
    {"switch-duplex", [](CDeviceState& state) { state.duplexSwitch = 1; }},
    {"switch-simplex", [](CDeviceState& state) { state.duplexSwitch = 0; }},
    {"lamp-off", [](CDeviceState& state) { state.lamp = 0; }},
};

// The number behind `name` and a '-'.
std::optional<std::uint32_t> NumberBehind(std::string_view act, std::string_view name) {
    if (!act.starts_with(name) || act.size() <= name.size() + 1 || act[name.size()] != '-')
        return std::nullopt;
    act.remove_prefix(name.size() + 1);
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(act.data(), act.data() + act.size(), number);
    if (error != std::errc() || end != act.data() + act.size())
        return std::nullopt;
    return number;
}

// A new stack begins with its first sheet, whatever was scanned of the one before.
void Load(CDeviceState& state, std::uint32_t sheets) {
    state.sheetsInTray = sheets;
    state.nextSheet = 1;
}

// For callers outside the toolkit, who get a line to show in place of a code.
template <class TAction>
bool Guarded(std::string* error, TAction action) {
    try {
        action();
        return true;
    } catch (const std::exception& failure) {
        *error = failure.what();
    }
    return false;
}

[[noreturn]] void Fail(const std::string& line) {
    throw CSimFailure(OSTREL_OPEN_FAILED, line);
}

void WriteNew(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file)
        Fail(path + ": can't be written");
}

void MakeFolder(const std::string& path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (error)
        Fail(path + ": the folder can't be made: " + error.message() +
             "; NVQ_SIM_DIR can name another place for simulated scanners");
}

// The folder may be missing on a device that was never opened.
void Act(const CDeviceFolder& folder, const std::string& act) {
    MakeFolder(folder.Panel());
    WriteNew(folder.Panel() + '/' + act, "");
}

}  // namespace

std::string SimulatorFolder() {
    if (std::string own = AbsoluteFrom("NVQ_SIM_DIR"); !own.empty())
        return own;
    std::string states = AbsoluteFrom("XDG_STATE_HOME");
    if (const std::string home = AbsoluteFrom("HOME"); states.empty() && !home.empty())
        states = home + "/.local/state";
    return states.empty() ? states : states + "/nvqdrv/simulator";
}

std::string SimulatedDeviceFolder(const std::string& device) {
    return device.find('/') != std::string::npos ? device : SimulatorFolder() + '/' + device;
}

std::string SimulatedPort(const std::string& deviceFolder) {
    return CDeviceFolder(deviceFolder).Port();
}

bool IsSimulatedPort(const std::string& port) {
    std::string ignored;
    return Guarded(&ignored, [&] { CDeviceFolder::FromPort(port); });
}

// The model is loaded first: a device of a model that there isn't could never be opened.
bool MakeSimulatedDevice(const std::string& deviceFolder, const std::string& model,
                         std::string* error) {
    return Guarded(error, [&] {
        LoadModel(model);
        const CDeviceFolder folder(deviceFolder);
        MakeFolder(folder.Panel());
        const std::string ini = deviceFolder + "/device.ini";
        if (!fs::exists(ini))
            WriteNew(ini,
                     "; A simulated scanner. docs/simulated-scanner.md tells what can stand here.\n"
                     "[simulator]\nmodel=" +
                         model + '\n');
        if (!MakeEventPipe(folder.Port().c_str()))
            Fail(folder.Port() + ": can't be made");
    });
}

void SetDeviceValue(const std::string& deviceFolder, const std::string& section,
                    const std::string& key, const std::string& value) {
    const std::string path = deviceFolder + "/device.ini";
    const std::string text = fs::exists(path) ? ReadSettingsText(path) : std::string();
    WriteNew(path, WithIniValue(text, section, key, value));
}

bool ActOnDevice(const std::string& deviceFolder, const std::string& act, std::string* error) {
    return Guarded(error, [&] {
        if (act.empty() || act.find('/') != std::string::npos)
            Fail('"' + act + "\" is nothing that can be done");
        if (!fs::is_directory(deviceFolder))
            Fail(deviceFolder + ": is no simulated scanner");
        Act(CDeviceFolder(deviceFolder), act);
    });
}

// Who has the device open, to poll it or to wait at its pipe, has the pipe open too. Without
// anybody a press is lost, as it is on a scanner whose computer is off.
bool PressButton(const std::string& deviceFolder, unsigned button, std::string* error) {
    return Guarded(error, [&] {
        if (!fs::is_directory(deviceFolder))
            Fail(deviceFolder + ": is no simulated scanner");
        const CNumbers numbers = LoadDeviceSettings(deviceFolder).m_numbers;
        if (button < 1 || button > numbers.m_buttons)
            Fail("the scanner has " + std::to_string(numbers.m_buttons) + " buttons");
        const CDeviceFolder folder(deviceFolder);
        if (!HasEventListener(folder.Port().c_str()))
            Fail(GetLastError() == static_cast<DWORD>(ERROR_BROKEN_PIPE)
                     ? "nobody listens to the scanner's buttons; nvqscan buttons does"
                     : folder.Port() + ": is no pipe that can be written");
        if ((numbers.m_report & kReportPoll) != 0)
            Act(folder, "press-" + std::to_string(button));
        if ((numbers.m_report & kReportPipe) == 0 ||
            SendEventByte(folder.Port().c_str(), numbers.m_buttonBytes[button - 1]))
            return;
        if (numbers.m_report == kReportPipe)
            Fail("nobody listens to the scanner's buttons any more");
    });
}

bool ApplyAct(const std::string& act, const CSettings& settings, CDeviceState& state) {
    for (const CActRow& row : kActs) {
        if (act == row.name) {
            row.change(state);
            return true;
        }
    }
    if (act == "load") {
        Load(state, settings.m_numbers.m_sheets);
        return true;
    }
    if (const auto sheets = NumberBehind(act, "load")) {
        Load(state, *sheets);
        return true;
    }
    const auto button = NumberBehind(act, "press");
    if (!button || *button < 1 || *button > settings.m_numbers.m_buttons)
        return false;
    // One bit a button: a second press before the poll is the same press.
    state.buttonsPending |= std::uint64_t{1} << (*button - 1);
    return true;
}
