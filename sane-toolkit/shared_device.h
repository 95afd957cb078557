// The devices of SANE that this process has open: each once, however many objects of the toolkit
// use it, since back ends refuse a second opening. Another program of this driver that wants a
// device waits for it, and one that only polls its buttons gives it away.
#pragma once

#include <memory>
#include <string>

#include "sane-toolkit/sane_device.h"
#include "sane-toolkit/scanner_buttons.h"
#include "sane-toolkit/scanner_facts.h"

// But for Open and Use, who uses any of it holds CSaneLibrary::Lock(), also to let go of it.
class CSharedDevice {
  public:
    // The one that is open at this port, or a new one, opened and learnt. Waits where it is in use.
    // OSTREL_NOT_FOUND for a port or device that there isn't, OSTREL_LOCK_FAILED for one that
    // somebody else doesn't leave. Takes the library's lock.
    static DWORD Open(const std::string& port, std::shared_ptr<CSharedDevice>& device);

    // What the device was like when it was opened first.
    const ScannerFacts& Facts() const { return m_facts; }
    const std::string& Name() const { return m_name; }

    // Opens the device anew if it has been given away, as Open does, within the time. In passing,
    // it is left to whoever waits for it. Takes the library's lock.
    DWORD Use(DWORD milliseconds, bool isInPassing);
    // Closes it if another program waits for it. True when it did.
    bool GiveAway();

    // False while it is given away.
    bool HasDevice() const { return m_device != nullptr; }
    // Behind Open or Use only.
    CSaneDevice& Device() { return *m_device; }
    CButtonReader& Buttons() { return m_buttons; }

  private:
    CSharedDevice(std::string name, ESamples samples)
        : m_name(std::move(name)), m_samples(samples) {}
    static Attempt TryOpen(const std::string& port, std::shared_ptr<CSharedDevice>& device);
    Attempt TryUse(bool isInPassing);
    DWORD Learn();

    const std::string m_name;
    const ESamples m_samples;
    std::unique_ptr<CSaneDevice> m_device;
    ScannerFacts m_facts;
    CButtonReader m_buttons{{}};
};
