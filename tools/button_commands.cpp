// nvqscan buttons and press.
//
// A press goes from the driver's event, on a thread of the service, through a queue to the
// program's own thread, which prints it and runs the command. The command may take its time, and
// may be nvqscan itself: nothing of the driver is held while it runs.

#include <condition_variable>
#include <deque>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>

#include <CLI/CLI.hpp>

#include "platform/shell.h"
#include "platform/text.h"
#include "service/device_registry.h"
#include "simulator/panel.h"
#include "tools/choice_option.h"
#include "tools/command.h"
#include "tools/interrupt_watch.h"
#include "tools/simulated_device.h"

namespace {

// ---- buttons

struct ButtonOptions {
    std::string m_device;
    std::string m_command;
    int m_count = 0;
};

// From the service's thread to the program's own.
class CEventQueue {
  public:
    void Put(const ScanEvent& event) {
        const std::lock_guard guard(m_lock);
        m_events.push_back(event);
        m_changed.notify_one();
    }
    // Nothing when the user interrupts.
    std::optional<ScanEvent> Take() {
        constexpr std::chrono::milliseconds kLookInterval(100);

        std::unique_lock guard(m_lock);
        // A signal can't notify.
        while (m_events.empty()) {
            if (WasInterrupted())
                return std::nullopt;
            m_changed.wait_for(guard, kLookInterval);
        }
        ScanEvent event = m_events.front();
        m_events.pop_front();
        return event;
    }

  private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::deque<ScanEvent> m_events;
};

// A command that fails is told, and the next press runs it again.
void Execute(const std::string& command, const ScanEvent& event) {
    const std::pair<std::string, std::string> variables[] = {
        {"NVQ_EVENT", event.name},
        {"NVQ_EVENT_ID", GuidText(event.guid)},
        // Its number: the backslash of an identifier is one too many for a shell.
        {"NVQ_DEVICE", event.device.substr(event.device.rfind('\\') + 1)},
    };
    if (const int code = RunShellCommand(command, variables); code != 0)
        Complain(command + ": ended with " + std::to_string(code), code);
}

// Presses queue up while a command runs; none is lost.
int WaitForButtons(const ButtonOptions& options) {
    // Who waits for ever has Ctrl-C for the usual end.
    const auto end = [&options] { return options.m_count != 0 ? TellCancelled() : kExitDone; };
    const CInterruptedEnd interrupted(end);
    CEventQueue events;
    CScanSubscription subscription;
    CScanClient client;
    ScanStatus status = MakeClient(client);
    if (status.Ok())
        status = client.Subscribe(
            options.m_device, [&events](const ScanEvent& event) { events.Put(event); },
            subscription);
    if (!status.Ok())
        return Complain(status);
    for (int told = 0; options.m_count == 0 || told < options.m_count; ++told) {
        const auto event = events.Take();
        if (!event)
            break;
        std::cout << event->name << "  " << GuidText(event->guid) << std::endl;
        // Nobody hears of the presses any more.
        if (!std::cout && options.m_command.empty())
            break;
        if (!options.m_command.empty())
            Execute(options.m_command, *event);
    }
    subscription.End();
    return WasInterrupted() ? end() : kExitDone;
}

// ---- press

struct PressOptions {
    unsigned m_button = 0;
    std::string m_device;
};

int Press(const PressOptions& options) {
    std::vector<InstalledDevice> devices;
    ScanStatus status = ListInstalled(devices);
    InstalledDevice device;
    if (status.Ok())
        status = FindInstalled(devices, options.m_device, device);
    std::string folder;
    if (status.Ok())
        status = SimulatedFolderOf(device, folder);
    if (!status.Ok())
        return Complain(status);
    std::string error;
    if (!PressButton(folder, options.m_button, &error))
        return Complain(error, kExitFailed);
    return kExitDone;
}

}  // namespace

void AddButtonCommands(CLI::App& app, CCommandList& commands) {
    const auto buttons = std::make_shared<ButtonOptions>();
    CLI::App* wait =
        app.add_subcommand("buttons", "Wait for presses of a scanner's buttons and tell them");
    AddDevice(*wait, buttons->m_device)->default_str("the first one");
    wait->add_option(
            "--exec", buttons->m_command,
            "Command that the shell runs at each press; it finds the event's name in "
            "NVQ_EVENT, its identifier in NVQ_EVENT_ID, the scanner's number in NVQ_DEVICE")
        ->type_name("COMMAND");
    wait->add_option("--count", buttons->m_count,
                     "End behind so many presses; 0 for never, until Ctrl-C")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str();
    commands.push_back({wait, [buttons] { return WaitForButtons(*buttons); }});

    const auto press = std::make_shared<PressOptions>();
    CLI::App* sub = app.add_subcommand("press", "Press a button of a simulated scanner");
    Suggests(sub->add_option("N", press->m_button, "Which button, counted from 1")->required(),
             {"1", "2", "3", "4"});
    AddDevice(*sub, press->m_device)->default_str("the first one");
    commands.push_back({sub, [press] { return Press(*press); }});
}
