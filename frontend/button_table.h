// The events that a device's buttons raise, as the installer wrote them to its registry key, and
// what a byte out of its interrupt pipe means among them.
#pragma once

#include <mutex>
#include <utility>
#include <vector>

#include "platform/registry.h"
#include "platform/types.h"

class CLog;

// What a press of a button raises.
struct EventEntry {
    GUID guid;
    char name[MAX_PATH];
};

// A device's subtype: how its interrupt tells which button it was.
inline constexpr DWORD kSubTypeIndex = 1;       // by the event's number
inline constexpr DWORD kSubTypeSignalOnly = 2;  // not at all: the toolkit has to be asked
inline constexpr DWORD kSubTypeMask = 3;        // by bits; the first event whose mask has no others
inline constexpr DWORD kSubTypeValue = 4;       // by a value of the event's own

class CButtonTable {
  public:
    // Reads the subkeys of "Events" below the device's key; empty without them. What was there
    // before is forgotten.
    void Load(HKEY device, DWORD subType, CLog& log);

    DWORD Count() const { return static_cast<DWORD>(m_pEvents.size()); }
    const EventEntry& operator[](DWORD button) const { return m_pEvents[button]; }
    bool IsSignalOnly() const;

    // The button that a byte means; Count() for none. Not for signals.
    DWORD Decode(BYTE data, CLog& log) const;

  private:
    void LoadEvent(HKEY key, CLog& log);
    template <class Fits>
    DWORD FindMask(Fits fits) const;

    DWORD m_dwDeviceSubType = 0;
    std::vector<EventEntry> m_pEvents;
    std::vector<DWORD> m_pEventMasks;  // of the same length, for the last two ways alone
};

// The event that waits to be fetched. Notification thread and polls set it, the service takes it.
class CLastEvent {
  public:
    void Set(REFGUID guid) {
        const std::lock_guard guard(m_lock);
        m_guidLastEvent = guid;
    }
    // GUID_NULL when none waits.
    GUID Take() {
        const std::lock_guard guard(m_lock);
        return std::exchange(m_guidLastEvent, GUID_NULL);
    }

  private:
    std::mutex m_lock;
    GUID m_guidLastEvent = GUID_NULL;
};
