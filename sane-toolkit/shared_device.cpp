#include "sane-toolkit/shared_device.h"

#include <cstring>
#include <map>

#include "controller/toolkit_records.h"
#include "platform/named_lock.h"
#include "platform/sync.h"
#include "platform/told_lines.h"
#include "platform/wait_watch.h"
#include "sane-toolkit/scanner_ports.h"

namespace {

// Programs of this driver wait for each other as long as for other scanners, and for a stranger,
// who doesn't know of it, a moment. Milliseconds.
constexpr DWORD kPatience = 30000;
constexpr DWORD kStrangersPatience = 5000;
constexpr DWORD kPause = 100;

std::map<std::string, std::weak_ptr<CSharedDevice>> g_devices;  // by port; under the lock

// Who waits for the device of this name holds it.
std::string WishName(const std::string& name) {
    return "nvqsane-wanted:" + name;
}

bool IsWanted(const std::string& name) {
    return !CNamedLock(WishName(name).c_str(), 0).IsHeld();
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

DWORD OpenPatiently(const std::string& name, std::unique_ptr<CSaneDevice>& device) {
    DWORD code = CSaneDevice::Open(name, device);
    for (DWORD waited = 0;
         code == OSTREL_LOCK_FAILED && waited < kStrangersPatience && WaitGoesOn();
         waited += kPause) {
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
    std::shared_ptr<CSharedDevice> made(new CSharedDevice(name, samples));
    DWORD code = made->Use(false);
    if (code == OSTREL_NO_ERROR)
        code = made->Learn();
    if (code == OSTREL_NO_ERROR)
        g_devices[port] = device = made;
    return code;
}

DWORD CSharedDevice::OpenInPassing() {
    if (IsWanted(m_name) || !m_hold.Take(0))
        return OSTREL_LOCK_FAILED;
    return CSaneDevice::Open(m_name, m_device);
}

// The wish stands while this waits, and the one before it comes first.
DWORD CSharedDevice::OpenForUse() {
    const CWaitScope wait(WaitCause::ScannerInUse);
    const CNamedLock wish(WishName(m_name).c_str(), kPatience);
    if (!m_hold.Take(kPatience))
        return OSTREL_LOCK_FAILED;
    return OpenPatiently(m_name, m_device);
}

DWORD CSharedDevice::Use(bool isInPassing) {
    if (m_device)
        return OSTREL_NO_ERROR;
    if (!m_hold.IsOpen() && !m_hold.Open("nvqsane-open:" + m_name))
        return OSTREL_OPEN_FAILED;
    const DWORD code = isInPassing ? OpenInPassing() : OpenForUse();
    if (code != OSTREL_NO_ERROR)
        m_hold.GiveBack();
    if (code != OSTREL_NO_ERROR && !isInPassing)
        TellCause("SANE's device " + m_name + ": " + WhyClosed(code));
    return code;
}

bool CSharedDevice::GiveAway() {
    if (IsWanted(m_name)) {
        m_device.reset();
        m_hold.GiveBack();
    }
    return !m_device;
}

// A device that was left with half of another curve gets its own back by being opened anew.
DWORD CSharedDevice::Learn() {
    DWORD code = LearnFacts(*m_device, m_samples, m_facts);
    if (code == OSTREL_NO_ERROR && m_facts.isTorn) {
        m_device.reset();
        code = CSaneDevice::Open(m_name, m_device);
    }
    if (code == OSTREL_NO_ERROR)
        m_buttons = CButtonReader(LearnButtons(*m_device));
    return code;
}
