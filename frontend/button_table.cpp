#include "frontend/button_table.h"

#include <algorithm>

#include "diag/log.h"
#include "platform/registry_key.h"
#include "platform/text.h"

namespace {

// Buttons are counted in 16 bits.
constexpr DWORD kMostEvents = 0xFFFF;

bool HasMasks(DWORD subType) {
    return subType == kSubTypeMask || subType == kSubTypeValue;
}

// The subkeys of a key, one after the other. Keys may go away during the walk: the index follows.
class CSubkeyWalk {
  public:
    explicit CSubkeyWalk(HKEY key) : m_key(key), m_count(Count()) {}

    DWORD Count() const {
        DWORD count = 0;
        RegQueryInfoKeyA(m_key, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr,
                         nullptr, nullptr, nullptr, nullptr);
        return count;
    }
    // False behind the last one.
    bool Next(char (&name)[MAX_PATH]) {
        const DWORD count = Count();
        if (count < m_count && m_index > 0)
            --m_index;
        m_count = count;
        DWORD size = MAX_PATH;
        return RegEnumKeyExA(m_key, m_index++, name, &size, nullptr, nullptr, nullptr, nullptr) ==
               ERROR_SUCCESS;
    }

  private:
    // The count is asked for at each step: a key that goes away in between moves those behind it
    // forward by one, and none is left out.
    const HKEY m_key;
    DWORD m_count;
    DWORD m_index = 0;
};

}  // namespace

void CButtonTable::Load(HKEY device, DWORD subType, CLog& log) {
    m_dwDeviceSubType = subType;
    m_pEvents.clear();
    m_pEventMasks.clear();
    CRegistryKey events;
    if (events.Open(device, "Events") != ERROR_SUCCESS)
        return;
    CSubkeyWalk walk(events.Get());
    m_pEvents.resize(std::min(walk.Count(), kMostEvents));
    if (m_pEvents.empty())
        return;
    if (HasMasks(subType))
        m_pEventMasks.resize(m_pEvents.size());
    char name[MAX_PATH];
    while (walk.Next(name)) {
        CRegistryKey event;
        if (event.Open(events.Get(), name) == ERROR_SUCCESS)
            LoadEvent(event.Get(), log);
    }
}

// An event without a number, or with one beyond the table, is the first.
void CButtonTable::LoadEvent(HKEY key, CLog& log) {
    DWORD index = 0;
    ReadNumber(key, "Index", index);
    if (index >= Count())
        index = 0;
    EventEntry& entry = m_pEvents[index];
    ReadText(key, nullptr, entry.name);
    char guid[MAX_PATH];
    if (ReadText(key, "GUID", guid)) {
        log.Format("Button %s index %d mapped to CLSID %s", entry.name, index, guid);
        entry.guid = GUID_NULL;
        CLSIDFromString(WideFromText(guid).c_str(), &entry.guid);
    }
    // Two events with one number: the later one has the place, with its own mask.
    if (!m_pEventMasks.empty()) {
        m_pEventMasks[index] = 0;
        ReadNumber(key, "Mask", m_pEventMasks[index]);
    }
}

bool CButtonTable::IsSignalOnly() const {
    return m_dwDeviceSubType == kSubTypeSignalOnly;
}

DWORD CButtonTable::Decode(BYTE data, CLog& log) const {
    DWORD button = Count();
    // Bytes that mean no event are told in the log: they show a wrong subtype or wrong masks.
    switch (m_dwDeviceSubType) {
        case kSubTypeIndex:
            log.Format("Interrupt Index: %d", data);
            button = std::min<DWORD>(data, Count());
            if (button == Count())
                log.Format("Interrupt Index: the device has %d events, no press", Count());
            break;
        case kSubTypeMask:
            log.Format("Interrupt Mask: Interrupt Data is %lx", data);
            // A mask of nothing takes every byte that gets so far.
            button = FindMask([data](DWORD mask) { return (mask & data) == mask; });
            if (button < Count())
                log.Format("Interrupt Mask:  Button %d pressed", button);
            break;
        case kSubTypeValue:
            log.Format("Interrupt Value: Interrupt Data is 0x%lx", data);
            button = FindMask([data](DWORD value) { return value == data; });
            if (button < Count())
                log.Format("Interrupt Value:  Button %d pressed", button);
            break;
        default:
            break;
    }
    return button;
}

// The first one in the table, for events whose masks overlap.
template <class Fits>
DWORD CButtonTable::FindMask(Fits fits) const {
    const auto found = std::find_if(m_pEventMasks.begin(), m_pEventMasks.end(), fits);
    return static_cast<DWORD>(found - m_pEventMasks.begin());
}
