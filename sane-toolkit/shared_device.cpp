#include "sane-toolkit/shared_device.h"

#include <cstring>
#include <map>

#include "controller/toolkit_records.h"
#include "platform/named_lock.h"
#include "platform/sync.h"
#include "platform/told_lines.h"
#include "sane-toolkit/scanner_ports.h"

namespace {

// Whoever polls looks once a second.
constexpr DWORD kPatience = 5000;  // milliseconds
constexpr DWORD kPause = 100;

std::map<std::string, std::weak_ptr<CSharedDevice>> g_devices;  // by port; under the lock

std::string WishName(const std::string& port) {
    return "nvqsane-wanted:" + port;
}

bool IsWanted(const std::string& port) {
    return !CNamedLock(WishName(port).c_str(), 0).IsHeld();
}

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

// The wish stands while this waits, and the one before it comes first.
DWORD OpenPatiently(const std::string& port, const std::string& name,
                    std::unique_ptr<CSaneDevice>& device) {
    const CNamedLock wish(WishName(port).c_str(), kPatience);
    DWORD code = CSaneDevice::Open(name, device);
    for (DWORD waited = 0; code == OSTREL_LOCK_FAILED && waited < kPatience; waited += kPause) {
        Sleep(kPause);
        code = CSaneDevice::Open(name, device);
    }
    return code;
}

}  // namespace

DWORD CSharedDevice::Open(const std::string& port, std::shared_ptr<CSharedDevice>& device) {
    device = g_devices[port].lock();
    if (device)
        return device->Use(false);
    ESamples samples = ESamples::Auto;
    const std::string name = NameAt(port, samples);
    if (name.empty())
        return OSTREL_NOT_FOUND;
    std::shared_ptr<CSharedDevice> made(new CSharedDevice(port, name, samples));
    DWORD code = made->Use(false);
    if (code == OSTREL_NO_ERROR)
        code = made->Learn();
    if (code == OSTREL_NO_ERROR)
        g_devices[port] = device = made;
    return code;
}

DWORD CSharedDevice::Use(bool isInPassing) {
    if (m_device)
        return OSTREL_NO_ERROR;
    if (isInPassing && IsWanted(m_port))
        return OSTREL_LOCK_FAILED;
    DWORD code = CSaneDevice::Open(m_name, m_device);
    if (code == OSTREL_LOCK_FAILED && !isInPassing)
        code = OpenPatiently(m_port, m_name, m_device);
    if (code != OSTREL_NO_ERROR && !isInPassing)
        TellCause("SANE's device " + m_name + ": " + WhyClosed(code));
    return code;
}

bool CSharedDevice::GiveAway() {
    if (IsWanted(m_port))
        m_device.reset();
    return !m_device;
}

// A device that was left with half of another curve gets its own back by being opened anew.
DWORD CSharedDevice::Learn() {
    DWORD code = LearnFacts(*m_device, m_samples, m_facts);
    if (code == OSTREL_NO_ERROR && m_facts.isTorn) {
        m_device.reset();
        code = Use(false);
    }
    if (code == OSTREL_NO_ERROR)
        m_buttons = CButtonReader(LearnButtons(*m_device));
    return code;
}
