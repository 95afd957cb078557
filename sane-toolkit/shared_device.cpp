#include "sane-toolkit/shared_device.h"

#include <cstring>
#include <map>

#include "controller/toolkit.h"
#include "platform/told_lines.h"
#include "sane-toolkit/device_turn.h"
#include "sane-toolkit/scanner_list.h"
#include "sane-toolkit/scanner_ports.h"

namespace {

std::map<std::string, std::weak_ptr<CSharedDevice>> g_devices;  // by port; under the lock

// An empty name for what is no port.
std::string NameAt(const std::string& port, ESamples& samples) {
    constexpr std::pair<const char*, ESamples> kPorts[] = {{kAutoPort, ESamples::Auto},
                                                           {kLightPort, ESamples::Light},
                                                           {kDisplayPort, ESamples::Display}};
    for (const auto& [prefix, meant] : kPorts) {
        if (port.starts_with(prefix)) {
            samples = meant;
            return port.substr(std::strlen(prefix));
        }
    }
    return {};
}

const char* WhyClosed(DWORD code) {
    switch (code) {
        case OSTREL_NOT_FOUND:
            return "there is no such device ('nvqscan find' lists those there are)";
        case OSTREL_LOCK_FAILED:
            return "another program has it open";
        case OSTREL_OPEN_FAILED:
            return "you may not open it, or SANE's library can't start";
        case OSTREL_COMMUNICATION:
            return "it doesn't answer";
        case OSTREL_OUT_OF_MEMORY:
            return "there is not enough memory";
        default:
            return "it can't be opened";
    }
}

// What a device lacks was told by who looked for it.
DWORD Told(const std::string& name, DWORD code) {
    if (code != OSTREL_NO_ERROR && code != OSTREL_NOT_IMPLEMENTED)
        TellCause("SANE's device " + name + ": " + WhyClosed(code));
    return code;
}

}  // namespace

DWORD CSharedDevice::Open(const std::string& port, std::shared_ptr<CSharedDevice>& device) {
    ESamples samples = ESamples::Auto;
    const std::string name = NameAt(port, samples);
    if (name.empty())
        return OSTREL_NOT_FOUND;
    return Told(name, OpenPatiently(name, OSTREL_LOCK_WAIT, [&] {
                    const std::lock_guard lock(CSaneLibrary::Lock());
                    return TryOpen(port, device);
                }));
}

Attempt CSharedDevice::TryOpen(const std::string& port, std::shared_ptr<CSharedDevice>& device) {
    std::shared_ptr<CSharedDevice> shared = g_devices[port].lock();
    const bool isNew = !shared;
    if (isNew) {
        ESamples samples = ESamples::Auto;
        const std::string name = NameAt(port, samples);
        shared.reset(new CSharedDevice(name, samples));
    }
    Attempt attempt = shared->TryUse(false);
    // Busy with something of its own, perhaps, but not with this driver.
    if (attempt.code == OSTREL_NO_ERROR && isNew)
        attempt = {shared->Learn(), true};
    if (attempt.code == OSTREL_NO_ERROR)
        g_devices[port] = device = shared;
    return attempt;
}

DWORD CSharedDevice::Use(DWORD milliseconds, bool isInPassing) {
    const DWORD code = OpenPatiently(m_name, milliseconds, [&] {
        const std::lock_guard lock(CSaneLibrary::Lock());
        return TryUse(isInPassing);
    });
    return isInPassing ? code : Told(m_name, code);
}

// A device that has been plugged in anew is there under another name.
Attempt CSharedDevice::TryUse(bool isInPassing) {
    if (m_device)
        return {OSTREL_NO_ERROR};
    if (isInPassing && IsDeviceWanted(m_name))
        return {OSTREL_LOCK_FAILED};
    const auto library = CSaneLibrary::Get();
    Attempt attempt = CSaneDevice::Open(m_name, m_device);
    if (attempt.code == OSTREL_NOT_FOUND && !isInPassing) {
        const std::string name = PresentName(m_name);
        if (!name.empty())
            attempt = CSaneDevice::Open(name, m_device);
    }
    return attempt;
}

bool CSharedDevice::GiveAway() {
    if (IsDeviceWanted(m_name))
        m_device.reset();
    return !m_device;
}

// A device that was left with half of another curve gets its own back by being opened anew.
DWORD CSharedDevice::Learn() {
    DWORD code = LearnFacts(*m_device, m_samples, m_facts);
    if (code == OSTREL_NO_ERROR && m_facts.isTorn) {
        m_device.reset();
        code = TryUse(false).code;
    }
    if (code == OSTREL_NO_ERROR)
        m_buttons = CButtonReader(LearnButtons(*m_device));
    return code;
}
