// A device of SANE: its options by name, and what they tell of it.
//
// The back ends behind SANE know nothing of threads: every call of the library is made under one
// lock of the process.
#pragma once

#include <sane/sane.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "controller/toolkit_records.h"
#include "platform/device_at_work.h"
#include "sane-toolkit/device_turn.h"
#include "sane-toolkit/scan_stop.h"

// The toolkit's code for a status of SANE. OSTREL_END_OF_MEDIA for the end of a frame.
DWORD CodeOfSane(SANE_Status status);

// False for this project's own back end, also when a server offers it: opened here, it would open
// this module again.
bool IsForeignName(const std::string& name);

// The library, initialised while an object lives.
class CSaneLibrary {
  public:
    // Null when it could not be initialised.
    static std::shared_ptr<CSaneLibrary> Get();
    static std::mutex& Lock();
    ~CSaneLibrary();

  private:
    CSaneLibrary() = default;
};

// Values that an option takes. With a list, those of the list; else from `low` to `high`.
struct SaneRange {
    double low = 0;
    double high = 0;
    double step = 0;  // 0: all between
    std::vector<double> list;

    bool Has(double value) const;
};

// What the window's options made of a window: in mm, as the device rounded it.
struct SaneWindow {
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;
};

// Who uses it holds CSaneLibrary::Lock().
class CSaneDevice {
  public:
    // OSTREL_NOT_FOUND for a device that isn't there, OSTREL_LOCK_FAILED for one that is in use.
    static Attempt Open(const std::string& name, std::unique_ptr<CSaneDevice>& device);
    ~CSaneDevice();
    CSaneDevice(const CSaneDevice&) = delete;
    CSaneDevice& operator=(const CSaneDevice&) = delete;

    SANE_Handle Handle() const { return m_handle; }

    // sane_start, with which the device is at work until it is cancelled.
    SANE_Status Start();
    void Cancel();
    // Somebody has asked the running scan to end.
    bool IsToStop() const { return m_stop && m_stop->IsAsked(); }

    // Each option that is active and has a name, and each group of options, in the device's order.
    void VisitOptions(const std::function<void(const SANE_Option_Descriptor&)>& visit) const;
    // False when there is no such option that can be set now, or the device refuses the value. What
    // an option has already it needn't be set to.
    bool SetText(const char* name, const std::string& value);
    // A word, or for an option of one number the number as text.
    bool Set(const char* name, const std::string& value);
    bool SetNumber(const char* name, double value);
    // All of a table's entries.
    bool SetNumbers(const char* name, const std::vector<double>& values);
    // What the option has, in its own unit.
    std::optional<double> Number(const char* name);
    // All of a table's entries; none for what is no table of numbers.
    std::vector<double> Numbers(const char* name);
    // Numbers that the option has: one, those of a table, or 0 for no option of numbers.
    std::size_t Entries(const char* name) const;
    bool IsSettable(const char* name) const;
    // The words that an option takes.
    std::vector<std::string> Texts(const char* name) const;
    // Also of a table's entries.
    std::optional<SaneRange> Range(const char* name);
    bool IsInMillimetres(const char* name) const;

    // Takes the window that surrounds the wanted one, and tells which one that is.
    DWORD SetWindow(const SaneWindow& wanted, SaneWindow& made);

    // Why options were refused since this was asked last: a failure of the device itself, or what
    // it otherwise means.
    DWORD WhyRefused(DWORD otherwise);

  private:
    SANE_Int OptionCount() const;
    explicit CSaneDevice(std::shared_ptr<CSaneLibrary> library) : m_library(std::move(library)) {}
    // The option's number and descriptor; looked up anew each time, since a write may change
    // others. Null when it isn't there or not active.
    const SANE_Option_Descriptor* Find(const char* name, SANE_Int& number) const;
    bool Control(SANE_Int number, SANE_Action action, void* value);
    void Note(SANE_Status status) const;
    // Whether an option that can't be set, or need not be, has the text.
    bool HasText(SANE_Int number, const SANE_Option_Descriptor& option, const std::string& value);
    // An edge of the window: at or outside of the wanted one.
    bool SetOutward(const char* name, const SaneRange& range, double wanted, bool isLowEnd);

    std::shared_ptr<CSaneLibrary> m_library;
    CDeviceTurn m_turn;
    SANE_Handle m_handle = nullptr;
    mutable DWORD m_trouble = OSTREL_NO_ERROR;
    // While the device is at work.
    std::shared_ptr<CScanStop> m_stop;
    std::optional<CDeviceAtWork> m_work;
};
